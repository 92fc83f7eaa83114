// CommonfunctionsHooks.h - the hooks that tests of Commonfunctions.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

namespace vsk::detail {

/// The call GetAppPath makes, with the shape of GetModuleFileNameA. Tests
/// replace it to make the call fail or fill the whole buffer; nullptr
/// restores the system's. Returns the previous one. Thread safety: none.
using ModuleFileNameFn = unsigned long(__stdcall*)(void* module, char* buffer, unsigned long size);
VSK_API ModuleFileNameFn SetModuleFileNameFunction(ModuleFileNameFn function);

} // namespace vsk::detail
