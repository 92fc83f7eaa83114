// Voskellib.cpp - the package unit: unit counters, the package-level
// initialisation in unit order, and the DLL entry point.
#include "foundation/Voskellib.h"

#include "platform/LastError.h"
#include "platform/Win32.h"
#include "foundation/internal/VoskellibHooks.h"
#include "foundation/internal/VskstrrefcntLifetime.h"

#include <utility>

namespace {
vsk::package::UnitObserver g_observer = nullptr;
vsk::package::UnitRoutineObserver g_routineObserver = nullptr;

void Notify(const char* unit, bool starting) {
    if (g_observer)
        g_observer(unit, starting);
}

// Runs a unit's start-up or exit routine, if it has one.
void RunRoutine(const char* unit, bool startUp, void (*routine)()) {
    if (!routine)
        return;
    if (g_routineObserver)
        g_routineObserver(unit, startUp);
    routine();
}
} // namespace

namespace vsk::detail {

void CUnitCounter::Initialize() {
    const int old = m_counter;
    m_counter = old - 1;
    if (old != 0)
        return;
    Notify(m_name, true);
    RunRoutine(m_name, true, m_startUp);
}

void CUnitCounter::Finalize() {
    const int old = m_counter;
    m_counter = old + 1;
    if (old != -1)
        return;
    Notify(m_name, false);
    RunRoutine(m_name, false, m_exit);
}

} // namespace vsk::detail

VSK_DEFINE_UNIT(Voskellib, nullptr, nullptr)

namespace vsk::package {

// The unit order is the package's contains list (see Voskellib.rc); the two
// lists are checked against each other by the package tests.
void Initialize() {
    Voskellib::Initialize();
    Cloneable::Initialize();
    Filelogger::Initialize();
    Vskpipe::Initialize();
    Thread::Initialize();
    Vskolednd::Initialize();
    Vskstrbase::Initialize();
    Commonfunctions::Initialize();
    Vskdatetime::Initialize();
    Vskdebug::Initialize();
    Dirinfo::Initialize();
    Vskfile::Initialize();
    Vskstr::Initialize();
    Commfuncbcb::Initialize();
    Selectdirectory::Initialize();
    Vskalgorithm::Initialize();
    Vskcheckers::Initialize();
    Vskdib::Initialize();
    Vskmath::Initialize();
    Vskmem::Initialize();
    Vskmemorymanager::Initialize();
    Vskrefcnt::Initialize();
    Vskserializeif::Initialize();
    Vskstringbuffer::Initialize();
    Vskstrrefcnt::Initialize();
    Vskstrw::Initialize();
    Vskwnd::Initialize();
    Vskwndimefull::Initialize();
    Ubaserefcnt::Initialize();
    Voskellib_stdafx::Initialize();
}

void Finalize() {
    Voskellib_stdafx::Finalize();
    Ubaserefcnt::Finalize();
    Vskwndimefull::Finalize();
    Vskwnd::Finalize();
    Vskstrw::Finalize();
    Vskstrrefcnt::Finalize();
    Vskstringbuffer::Finalize();
    Vskserializeif::Finalize();
    Vskrefcnt::Finalize();
    Vskmemorymanager::Finalize();
    Vskmem::Finalize();
    Vskmath::Finalize();
    Vskdib::Finalize();
    Vskcheckers::Finalize();
    Vskalgorithm::Finalize();
    Selectdirectory::Finalize();
    Commfuncbcb::Finalize();
    Vskstr::Finalize();
    Vskfile::Finalize();
    Dirinfo::Finalize();
    Vskdebug::Finalize();
    Vskdatetime::Finalize();
    Commonfunctions::Finalize();
    Vskstrbase::Finalize();
    Vskolednd::Finalize();
    Thread::Finalize();
    Vskpipe::Finalize();
    Filelogger::Finalize();
    Cloneable::Finalize();
    Voskellib::Finalize();
}

const VoskellibHookTable kVoskellibHookTable = {
    [](UnitObserver observer) { return std::exchange(g_observer, observer); },
    [](UnitRoutineObserver observer) { return std::exchange(g_routineObserver, observer); },
};

} // namespace vsk::package

namespace {

// The C++ runtime sets its exception handling up at the first exception of a
// process and clears the thread's last error on the way. The library's
// failures throw and leave the system's error for the caller to read, so the
// set-up is done here, before any of them can be the first.
void SetUpExceptionHandling() {
    const vsk::detail::CLastErrorKeeper keep;
    try {
        throw 0;
    } catch (int) {
    }
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        SetUpExceptionHandling();
        vsk::package::Initialize();
        break;
    case DLL_PROCESS_DETACH:
        vsk::package::Finalize();
        // Null: the program unloads the library and goes on; what the
        // library took from the system must go back. Otherwise the process
        // is ending and takes everything with it.
        if (!reserved)
            vsk::detail::NoteLibraryUnloading();
        break;
    case DLL_THREAD_DETACH:
        // A thread's cached string blocks go back for the others to use.
        vsk::detail::ReleaseStringBufferCache();
        break;
    default:
        break;
    }
    return TRUE;
}
