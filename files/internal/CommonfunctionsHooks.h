// CommonfunctionsHooks.h - the hooks that tests of Commonfunctions.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

#include <vector>

namespace vsk::detail {

/// The call GetAppPath makes, with the shape of GetModuleFileNameA.
using ModuleFileNameFn = unsigned long(__stdcall*)(void* module, char* buffer, unsigned long size);

/// The step of GetWindowList that appends one window to the caller's list.
using WindowListAppendFn = void (*)(std::vector<void*>* list, void* window);

/// The unit's hooks, reached through vsk_InternalHooks.
struct CommonfunctionsHookTable {
    ModuleFileNameFn (*setModuleFileNameFunction)(ModuleFileNameFn function);
    WindowListAppendFn (*setWindowListAppend)(WindowListAppendFn function);
};
/// Defined in Commonfunctions.cpp; not exported.
extern const CommonfunctionsHookTable kCommonfunctionsHookTable;

/// Replaces the call GetAppPath makes; tests make it fail or fill the whole
/// buffer. nullptr restores the system's. Returns the previous one.
/// Thread safety: none.
inline ModuleFileNameFn SetModuleFileNameFunction(ModuleFileNameFn function) {
    return vsk_InternalHooks()->commonfunctions->setModuleFileNameFunction(function);
}

/// Replaces the step that appends a window to GetWindowList's list; tests
/// make it throw, as only a lack of memory could (nullptr restores the
/// library's own). Returns the previous one.
/// Thread safety: none.
inline WindowListAppendFn SetWindowListAppend(WindowListAppendFn function) {
    return vsk_InternalHooks()->commonfunctions->setWindowListAppend(function);
}

} // namespace vsk::detail
