// VskpipeHooks.h - the hooks that tests of Vskpipe.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

namespace vsk::detail {

/// The pipe maker CVskPipe::Create calls, with the signature of CreatePipe
/// (the attributes point to a SECURITY_ATTRIBUTES). Tests replace it to see
/// its arguments and to make it fail; nullptr restores the system's.
/// Returns the previous one. Thread safety: none.
using CreatePipeFn = int(__stdcall*)(void** read, void** write, void* attributes, unsigned long size);
VSK_API CreatePipeFn SetCreatePipeFunction(CreatePipeFn function);

/// The handle closer of CVskPipe's assignment and destructor, with the
/// signature of CloseHandle. Tests replace it to see the order of the two
/// closes, which the system cannot show; nullptr restores the system's.
/// Returns the previous one. Thread safety: none.
using CloseHandleFn = int(__stdcall*)(void* handle);
VSK_API CloseHandleFn SetCloseHandleFunction(CloseHandleFn function);

} // namespace vsk::detail
