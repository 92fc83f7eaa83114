// VskpipeHooks.h - the hooks that tests of Vskpipe.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

namespace vsk::detail {

/// The pipe maker CVskPipe::Create calls, with the signature of CreatePipe
/// (the attributes point to a SECURITY_ATTRIBUTES).
using CreatePipeFn = int(__stdcall*)(void** read, void** write, void* attributes, unsigned long size);
/// The handle closer of CVskPipe's assignment and destructor, with the
/// signature of CloseHandle.
using CloseHandleFn = int(__stdcall*)(void* handle);

/// The unit's hooks, reached through vsk_InternalHooks.
struct VskpipeHookTable {
    CreatePipeFn (*setCreatePipeFunction)(CreatePipeFn function);
    CloseHandleFn (*setCloseHandleFunction)(CloseHandleFn function);
};
/// Defined in Vskpipe.cpp; not exported.
extern const VskpipeHookTable kVskpipeHookTable;

/// Replaces the pipe maker; tests see its arguments and make it fail.
/// nullptr restores the system's. Returns the previous one.
/// Thread safety: none.
inline CreatePipeFn SetCreatePipeFunction(CreatePipeFn function) {
    return vsk_InternalHooks()->vskpipe->setCreatePipeFunction(function);
}

/// Replaces the handle closer; tests see the order of the two closes, which
/// the system cannot show. nullptr restores the system's. Returns the
/// previous one. Thread safety: none.
inline CloseHandleFn SetCloseHandleFunction(CloseHandleFn function) {
    return vsk_InternalHooks()->vskpipe->setCloseHandleFunction(function);
}

} // namespace vsk::detail
