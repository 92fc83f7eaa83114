// SelectdirectoryHooks.h - the hooks that tests of Selectdirectory.h use to replace a system call.
// Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"
#include "platform/Win32.h"

#include <shlobj.h>

namespace vsk::detail {

/// The path lookup of the folder chooser's status text, with the shape of
/// SHGetPathFromIDListA.
using PathFromItemsFn = BOOL(__stdcall*)(LPCITEMIDLIST items, char* path);

/// The unit's hooks, reached through vsk_InternalHooks.
struct SelectdirectoryHookTable {
    PathFromItemsFn (*setStatusPathFunction)(PathFromItemsFn fn);
};
/// Defined in Selectdirectory.cpp; not exported.
extern const SelectdirectoryHookTable kSelectdirectoryHookTable;

/// Replaces the path lookup that the dialog's callback makes for the status
/// text; tests make it throw, which the callback cannot do on its own
/// (nullptr restores the system's). Returns the previous one.
/// Thread safety: none.
inline PathFromItemsFn SetStatusPathFunction(PathFromItemsFn fn) {
    return vsk_InternalHooks()->selectdirectory->setStatusPathFunction(fn);
}

} // namespace vsk::detail
