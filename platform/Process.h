// Process.h - process and window-enumeration calls with the documented
// Windows behaviour. Internal; not exported.
#pragma once

#include "platform/Win32.h"

namespace vsk::detail {

/// Gives a handle that CreateProcessA returned the inheritance that its
/// security attributes asked for (`attributes` may be null: nothing changes).
///
/// Windows makes the returned process (thread) handle inheritable when
/// lpProcessAttributes (lpThreadAttributes) has bInheritHandle set; Wine 8
/// returns it non-inheritable. tests/files/Process_platform_test.cpp pins it.
void ApplyInheritance(HANDLE handle, const SECURITY_ATTRIBUTES* attributes);

/// EnumThreadWindows with its documented result: FALSE when the thread has
/// no window or when the callback returned FALSE, else TRUE.
///
/// Wine 8 returns TRUE for a thread without windows;
/// tests/files/Process_platform_test.cpp pins it.
BOOL EnumThreadWindowsDocumented(DWORD threadId, WNDENUMPROC callback, LPARAM context);

} // namespace vsk::detail
