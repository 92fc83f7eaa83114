// DirinfoHooks.h - the hooks that tests of Dirinfo.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "platform/Win32.h"

namespace vsk::detail {

/// The search calls CDirInfo::GetDirInfo makes, with the signatures of
/// FindFirstFileA and FindNextFileA. Tests replace them to produce failures
/// that a real folder cannot (a folder that may not be read when the tests
/// run with every right, a search that breaks off half way); nullptr restores
/// the system's. Each setter returns the function it replaces.
/// Thread safety: none.
using FindFirstFileFn = HANDLE(WINAPI*)(const char* pattern, WIN32_FIND_DATAA* record);
using FindNextFileFn = BOOL(WINAPI*)(HANDLE search, WIN32_FIND_DATAA* record);
VSK_API FindFirstFileFn SetFindFirstFileFunction(FindFirstFileFn function);
VSK_API FindNextFileFn SetFindNextFileFunction(FindNextFileFn function);

} // namespace vsk::detail
