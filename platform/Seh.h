// Seh.h - a scoped structured-exception guard for a compiler without
// __try/__except (GCC on i686). Internal; not exported.
#pragma once

#include "platform/Win32.h"

#include <type_traits>

namespace vsk::detail {

/// Called on the faulting thread, inside the system's exception dispatch,
/// with the exception's code and pointers, while the faulting frames are
/// still on the stack. It may throw a C++ exception: the guard catches it
/// there, unwinds the structured-exception chain to the guard (RtlUnwind),
/// resumes at the guard's own frame and throws it again from there, so it
/// never travels through the system's dispatcher frames. A filter that
/// returns lets the exception go on to the handlers further out.
using SehFilter = void (*)(unsigned long code, EXCEPTION_POINTERS* pointers, void* context);

/// Runs `body(bodyContext)` with a registration of its own on the thread's
/// exception chain (fs:[0]), removed again however the body ends. A C++
/// exception of the body passes through unchanged. The guard is a running
/// call into the system (CallbackBoundary.h): an exception that a callback
/// keeps for it while the body runs is thrown when the body returns.
///
/// What runs after a structured exception whose filter threw:
/// - where the faulting instruction lies in code with unwind information
///   (the library, the tests and the examples are built with non-call
///   exceptions and asynchronous unwind tables), the filter's exception is
///   thrown as if from the faulting instruction: every destructor between
///   the fault and the guard runs, once, innermost first, and catch blocks
///   on the way see it as any C++ exception;
/// - the same where the fault lies in a leaf function without unwind
///   information (a C runtime function such as strlen) that has pushed
///   nothing but its frame pointer yet: the exception starts at its caller;
/// - otherwise the guard's jump: a stack overflow, a fault deeper inside
///   code without unwind information (a system DLL, the C runtime), in code
///   built without non-call exceptions, or in a noexcept function (where an
///   exception would end the process). The frames between the fault and the
///   guard are left without running their destructors: a lock they hold
///   stays held, a handle they own stays open. The library's running calls
///   among them end there; an exception one of them held goes to the guard,
///   which reports it as a later one (CallbackBoundary.h).
/// Thread safety: any thread; the registration belongs to the calling thread.
void RunSehGuarded(void (*body)(void*), void* bodyContext, SehFilter filter, void* filterContext);

/// The same for any callable.
template <typename Body>
void SehGuarded(Body&& body, SehFilter filter, void* filterContext) {
    using Callable = std::remove_reference_t<Body>;
    RunSehGuarded([](void* p) { (*static_cast<Callable*>(p))(); }, const_cast<void*>(static_cast<const void*>(&body)),
                  filter, filterContext);
}

/// The head of the calling thread's exception chain (fs:[0]).
void* SehChainHead();

} // namespace vsk::detail
