// Stdio.h - C runtime stream calls with the documented Windows behaviour.
// Internal; not exported.
#pragma once

#include <cstdio>

namespace vsk::detail {

/// `fopen(name, mode)` for a mode that writes ("a", "w", "r+" ...), refusing
/// a file whose read-only attribute is set as Windows refuses it: null with
/// errno EACCES.
///
/// Wine running as root (as the test machines do) opens a read-only file for
/// writing, because the attribute is only a Unix permission bit there;
/// tests/diagnostics/Stdio_platform_test.cpp pins it.
std::FILE* OpenWritableStream(const char* name, const char* mode);

/// Makes the standard stream `stream` (stdin, stdout or stderr) read and write
/// descriptor `fd` (0, 1 or 2), so that a descriptor that was just pointed at
/// a new handle with `_dup2` is what the stream uses, as it always is with
/// msvcrt.dll on Windows (its standard streams stay on descriptors 0 to 2).
///
/// Wine's msvcrt.dll puts the standard streams of a program started without
/// standard handles (a GUI program) on descriptor -2, as later runtimes do, so
/// they stay dead after `_dup2`; tests/diagnostics/Filelogger_process_test.cpp
/// (AllocConsole.GuiProgram...) pins it.
void BindStandardStream(std::FILE* stream, int fd);

} // namespace vsk::detail
