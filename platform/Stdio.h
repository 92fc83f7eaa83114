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

} // namespace vsk::detail
