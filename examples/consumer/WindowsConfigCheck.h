// WindowsConfigCheck.h - included after the library's headers: fails the
// build when they changed how the program's <windows.h> is configured.
#pragma once

#include <windows.h>

#ifndef CONSUMER_LEAN_WINDOWS
// The program defined nothing, so <windows.h> must be as it comes: the whole
// header set, the function names that stand for their A or W forms, and the
// toolchain's own system version (newer than the one the library builds for).
// (NOMINMAX is not looked at: this toolchain's C++ standard library defines
// it itself. The header check defines min and max macros instead.)
#if defined(WIN32_LEAN_AND_MEAN)
#error "a library header configured <windows.h> for the program"
#endif
#if !defined(CreateFile) || !defined(CreateWindow) || !defined(CreateProcess) || !defined(GetObject) ||      \
    !defined(LoadBitmap) || !defined(DrawText)
#error "a library header removed a macro of <windows.h>"
#endif
#if _WIN32_WINNT == 0x0501 || WINVER == 0x0501
#error "a library header chose the program's system version"
#endif
#ifndef ShellExecute
#error "a library header made <windows.h> lean"
#endif
#endif
