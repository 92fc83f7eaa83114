// CallbackBoundary.h - one rule for C++ exceptions raised where the system
// calls the library back. Internal; not exported.
//
// The system's frames (user32 calling a window procedure, ole32 calling a COM
// method, an enumeration or LineDDA callback, the exception dispatcher) cannot
// be unwound by a C++ exception. So every such callback catches at its
// boundary and hands the exception to KeepCaughtException, which applies the
// rule:
//   - the exception is kept for the innermost library call on the thread that
//     entered the system and is still running (a CSystemCallScope: the
//     message loop, DoDragDrop, the folder chooser, DrawLineDDA...); that
//     call stops what it does where it has a way to (its stop action) and
//     throws the exception from its own frame once the system call returned;
//   - with no such call running (the program pumps messages itself, or the
//     system calls the library on its own), the exception is handed to the
//     reporter (the log, installed by a higher layer) and kept for the
//     boundary's collecting call (vsk::RethrowDragDropHookError, ...); no
//     other call ever sees it, so a kept error never fails a later,
//     unrelated operation.
// A call keeps the first exception; a later one while it still holds one is
// handed to the reporter only. A call that ends without throwing what it
// holds (it ended by another exception) hands it on to the next call out.
// tests/platform/CallbackBoundary_platform_test.cpp pins the rule.
#pragma once

#include <cstddef>
#include <exception>

namespace vsk::detail {

/// Where a boundary lies in the library's source; the failure report of an
/// exception that no running call takes names it.
struct CBoundarySite {
    const char* file;
    int line;
    const char* function;
};

/// The site of the boundary written here, in function `function` (a literal).
#define VSK_BOUNDARY_SITE(function) (::vsk::detail::CBoundarySite{__FILE__, __LINE__, function})

/// The documented call that collects, on its thread, what boundaries of one
/// kind caught while no library call was running. Compared by address: each
/// collecting call owns one object of its own.
struct CErrorCollector {
    const char* name;
};

/// Called for an exception that no running call takes: one caught while no
/// call was running (it is kept for its collecting call too), or a later one
/// of a call that holds one already (it goes no further). Must not throw.
using ErrorReporter = void (*)(const std::exception_ptr& error, const CBoundarySite& site);

/// Installs the reporter (nullptr: none) and returns the previous one. A
/// higher layer installs it at start-up.
/// Thread safety: any thread; calls on other threads see the new one soon.
ErrorReporter SetErrorReporter(ErrorReporter reporter);

/// What a running call does to stop once an exception has been kept for it
/// (cancel its dialog, wake its wait). Must not throw.
using StopAction = void (*)(void* context);

/// A library call that entered the system, which may call the library back:
/// made before the system call, on the calling thread, and destroyed in the
/// reverse order of making (it is a scope). While it is the innermost one on
/// its thread, boundaries keep their exceptions for it. The calls of a thread
/// are linked through the scopes themselves, so the thread keeps nothing but
/// a pointer: a thread-local object with a destructor is not safe here (the
/// C runtime may free a thread's storage before running such destructors).
///
/// Example:
///   CSystemCallScope call;
///   ::DispatchMessageA(&msg);   // a window procedure may keep an exception
///   call.RethrowError();        // thrown here, from the library's frame
class CSystemCallScope {
public:
    /// Pushes the call on the thread's stack of running calls. `kind` tags
    /// it (compared by address) for InnermostCallIs.
    explicit CSystemCallScope(const void* kind = nullptr) noexcept;
    /// Pops the call; an exception it still holds goes to the next call out
    /// (or, with none, to the reporter and the exception's collector).
    ~CSystemCallScope();
    CSystemCallScope(const CSystemCallScope&) = delete;
    CSystemCallScope& operator=(const CSystemCallScope&) = delete;

    /// True while an exception is kept for this call.
    bool Failed() const;
    /// Throws the exception kept for this call, if any, and forgets it.
    void RethrowError();
    /// Gives the kept exception (null when none) and forgets it.
    std::exception_ptr TakeError();
    /// Keeps `error` for this call itself, as a boundary that knows its call
    /// does (the structured-exception guard's handler): the first one stays
    /// and runs the stop action, a later one goes to the report. `collector`
    /// collects it should the call end without throwing it while no call
    /// runs outside.
    void Keep(std::exception_ptr error, const CBoundarySite& site,
              const CErrorCollector* collector = nullptr) noexcept;
    /// Sets what to do once an exception is kept (nullptr: nothing); runs it
    /// at once when one is kept already.
    void SetStopAction(StopAction action, void* context);
    /// Ends every call made after this one, innermost first, as their
    /// destructors would; what they held goes to the next call out, and at
    /// last to this one. For a jump over their frames (the guard's), made
    /// before the jump while their objects are still there.
    void AbandonInnerCalls() noexcept;

private:
    friend bool InnermostCallFailed();
    friend bool InnermostCallIs(const void*);
    friend void SetInnermostStopAction(const void*, StopAction, void*);
    friend std::size_t RunningCallCount();

    void Pop() noexcept;

    CSystemCallScope* m_outer;
    const void* m_kind;
    std::exception_ptr m_error;
    CBoundarySite m_site;
    const CErrorCollector* m_collector;
    StopAction m_stop;
    void* m_stopContext;
};

/// Call inside `catch (...)` at a boundary: keeps the exception being handled
/// by the rule above; `collector` (may be null: reported only) collects it
/// when no call is running. Never throws.
void KeepCaughtException(const CBoundarySite& site, const CErrorCollector* collector) noexcept;

/// Runs `body` as a boundary: an exception leaving it is kept by the rule
/// above. True when `body` returned normally.
template <typename Body>
bool RunAtBoundary(const CBoundarySite& site, const CErrorCollector* collector, Body&& body) noexcept {
    try {
        body();
        return true;
    } catch (...) {
        KeepCaughtException(site, collector);
        return false;
    }
}

/// True when a call is running on the thread and an exception is kept for
/// the innermost one.
bool InnermostCallFailed();

/// True when the innermost running call of the thread was made with `kind`.
bool InnermostCallIs(const void* kind);

/// Sets the stop action of the innermost running call when it was made with
/// `kind` (see CSystemCallScope::SetStopAction); else does nothing.
void SetInnermostStopAction(const void* kind, StopAction action, void* context);

/// Throws the exception kept on this thread for `collector`, if any, and
/// forgets it. One that no collecting call took when its thread ends stays
/// allocated (it was reported when it happened).
void RethrowCollectedError(const CErrorCollector& collector);

/// The number of calls running on this thread.
std::size_t RunningCallCount();

} // namespace vsk::detail
