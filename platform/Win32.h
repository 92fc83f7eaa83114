// Win32.h - the one place that includes <windows.h> for VoskelLIB.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0501
#endif
#ifndef WINVER
#define WINVER 0x0501
#endif

#include <windows.h>

// Macros of <windows.h> that would rename the library's own members.
#undef CreateFile
#undef GetObject
#undef CreateProcess
#undef CreateWindow
#undef LoadBitmap
#undef DrawText
