// FileloggerHooks.h - the hooks that tests of Filelogger.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

namespace vsk::detail {

/// The standard-handle lookup FileLogger_AllocConsole calls, with the
/// signature of GetStdHandle.
using GetStdHandleFn = void*(__stdcall*)(unsigned long which);

/// The unit's hooks, reached through vsk_InternalHooks.
struct FileloggerHookTable {
    GetStdHandleFn (*setGetStdHandleFunction)(GetStdHandleFn function);
};
/// Defined in Filelogger.cpp; not exported.
extern const FileloggerHookTable kFileloggerHookTable;

/// Replaces the standard-handle lookup; tests give an invalid handle, which
/// a new console never gives on this platform. nullptr restores the
/// system's. Returns the previous one. Thread safety: none.
inline GetStdHandleFn SetGetStdHandleFunction(GetStdHandleFn function) {
    return vsk_InternalHooks()->filelogger->setGetStdHandleFunction(function);
}

} // namespace vsk::detail
