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
/// exception of the body passes through unchanged.
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
