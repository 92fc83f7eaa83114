// Replaceable.h - a system function that tests may replace. Internal; not
// exported.
#pragma once

namespace vsk::detail {

/// Calls the system's function `Fn` unless a test has put another in its
/// place: tests give what the platform cannot produce on demand (a failed
/// pipe, a handle that cannot be closed). Replace(nullptr) puts the system's
/// function back.
/// Thread safety: none for Replace; tests replace a function while nothing
/// else calls it.
///
/// Example:
///   CReplaceable<CloseHandleFn> g_closeHandle{SystemCloseHandle};
///   g_closeHandle(handle);
template <typename Fn>
class CReplaceable {
public:
    constexpr explicit CReplaceable(Fn system) : m_system(system), m_current(system) {}

    template <typename... Args>
    auto operator()(Args... args) const {
        return m_current(args...);
    }

    /// Puts `function` (the system's when null) in place and returns the
    /// one it replaces.
    Fn Replace(Fn function) {
        const Fn previous = m_current;
        m_current = function ? function : m_system;
        return previous;
    }

private:
    Fn m_system;
    Fn m_current;
};

} // namespace vsk::detail
