// DirinfoHooks.h - the hooks that tests of Dirinfo.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"
#include "platform/Win32.h"

namespace vsk::detail {

/// The search calls CDirInfo::GetDirInfo makes, with the signatures of
/// FindFirstFileA and FindNextFileA.
using FindFirstFileFn = HANDLE(WINAPI*)(const char* pattern, WIN32_FIND_DATAA* record);
using FindNextFileFn = BOOL(WINAPI*)(HANDLE search, WIN32_FIND_DATAA* record);

/// The unit's hooks, reached through vsk_InternalHooks.
struct DirinfoHookTable {
    FindFirstFileFn (*setFindFirstFileFunction)(FindFirstFileFn function);
    FindNextFileFn (*setFindNextFileFunction)(FindNextFileFn function);
};
/// Defined in Dirinfo.cpp; not exported.
extern const DirinfoHookTable kDirinfoHookTable;

/// Replace the search calls. Tests produce failures that a real folder
/// cannot (a folder that may not be read when the tests run with every
/// right, a search that breaks off half way); nullptr restores the system's.
/// Each returns the function it replaces. Thread safety: none.
inline FindFirstFileFn SetFindFirstFileFunction(FindFirstFileFn function) {
    return vsk_InternalHooks()->dirinfo->setFindFirstFileFunction(function);
}
inline FindNextFileFn SetFindNextFileFunction(FindNextFileFn function) {
    return vsk_InternalHooks()->dirinfo->setFindNextFileFunction(function);
}

} // namespace vsk::detail
