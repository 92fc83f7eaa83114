// Win32.h - <windows.h> as the library's own sources see it.
#pragma once

// The project configures the system headers once, for every translation unit
// it compiles (vsk_build_options in CMakeLists.txt): the lean header set, no
// min and max macros, and the oldest system the library supports. Definitions
// on the command line reach a unit whatever it includes first, so all units
// see the same declarations. Public headers set none of this: they include
// the system headers they need as they are, and a program's configuration
// stays the program's.
#if !defined(WIN32_LEAN_AND_MEAN) || !defined(NOMINMAX) || !defined(_WIN32_WINNT) || !defined(WINVER)
#error "compile the library's sources with the system header configuration of vsk_build_options"
#endif

#include <windows.h>
