// CommonfunctionsHooks.h - the hooks that tests of Commonfunctions.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

namespace vsk::detail {

/// The call GetAppPath makes, with the shape of GetModuleFileNameA.
using ModuleFileNameFn = unsigned long(__stdcall*)(void* module, char* buffer, unsigned long size);

/// The unit's hooks, reached through vsk_InternalHooks.
struct CommonfunctionsHookTable {
    ModuleFileNameFn (*setModuleFileNameFunction)(ModuleFileNameFn function);
};
/// Defined in Commonfunctions.cpp; not exported.
extern const CommonfunctionsHookTable kCommonfunctionsHookTable;

/// Replaces the call GetAppPath makes; tests make it fail or fill the whole
/// buffer. nullptr restores the system's. Returns the previous one.
/// Thread safety: none.
inline ModuleFileNameFn SetModuleFileNameFunction(ModuleFileNameFn function) {
    return vsk_InternalHooks()->commonfunctions->setModuleFileNameFunction(function);
}

} // namespace vsk::detail
