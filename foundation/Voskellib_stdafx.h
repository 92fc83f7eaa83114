// Voskellib_stdafx.h - declarations shared by every unit of VoskelLIB.
#pragma once

/// Marks what voskellib.dll exports: dllexport while building the DLL,
/// dllimport for the programs and packages that use it.
#if defined(VOSKELLIB_BUILDING_DLL)
#define VSK_API __declspec(dllexport)
#else
#define VSK_API __declspec(dllimport)
#endif

/// Declares a unit's entries `Unit::Initialize` and `Unit::Finalize`, called by
/// the package loader, and `Unit::Counter`, which reads the unit's start-up
/// counter (0 when not started, -n after n more initialisations than
/// finalisations).
#define VSK_DECLARE_UNIT(Unit)                                                                     \
    namespace Unit {                                                                               \
    VSK_API void Initialize();                                                                     \
    VSK_API void Finalize();                                                                       \
    VSK_API int Counter();                                                                         \
    }

namespace vsk::detail {

/// One unit's start-up counter. Only the first `Initialize` runs the unit's
/// start-up routine and only the matching last `Finalize` runs its exit
/// routine; other calls only count. Not locked: the loader calls units one
/// after the other on one thread.
class CUnitCounter {
public:
    using Routine = void (*)();
    constexpr CUnitCounter(const char* name, Routine startUp, Routine exitRoutine)
        : m_name(name), m_startUp(startUp), m_exit(exitRoutine) {}
    void Initialize();
    void Finalize();
    int Counter() const { return m_counter; }

private:
    const char* m_name;
    Routine m_startUp;
    Routine m_exit;
    int m_counter = 0;
};

} // namespace vsk::detail

/// Defines a unit's entries over one `CUnitCounter`; `startUp` and `exitRoutine`
/// may be nullptr for units that only count.
#define VSK_DEFINE_UNIT(Unit, startUp, exitRoutine)                                                \
    namespace Unit {                                                                               \
    namespace {                                                                                    \
    vsk::detail::CUnitCounter g_unitCounter(#Unit, startUp, exitRoutine);                          \
    }                                                                                              \
    void Initialize() { g_unitCounter.Initialize(); }                                              \
    void Finalize() { g_unitCounter.Finalize(); }                                                  \
    int Counter() { return g_unitCounter.Counter(); }                                              \
    }

VSK_DECLARE_UNIT(Voskellib_stdafx)
