// FileloggerHooks.h - the hooks that tests of Filelogger.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

namespace vsk::detail {

/// The standard-handle lookup FileLogger_AllocConsole calls, with the
/// signature of GetStdHandle. Tests replace it to give an invalid handle,
/// which a new console never gives on this platform; nullptr restores the
/// system's. Returns the previous one. Thread safety: none.
using GetStdHandleFn = void*(__stdcall*)(unsigned long which);
VSK_API GetStdHandleFn SetGetStdHandleFunction(GetStdHandleFn function);

} // namespace vsk::detail
