// File.h - file opening with the documented Windows behaviour.
// Internal; not exported.
#pragma once

#include "platform/Win32.h"

namespace vsk::detail {

/// `CreateFileA(name, access, share, nullptr, disposition, flags, nullptr)`,
/// refusing to open an existing file whose read-only attribute is set for
/// writing, as Windows refuses it: INVALID_HANDLE_VALUE with
/// ERROR_ACCESS_DENIED, the file untouched (not truncated). CREATE_NEW is
/// left to the system, which refuses any existing file with ERROR_FILE_EXISTS.
///
/// Wine running as root (as the test machines do) opens a read-only file for
/// writing and even truncates it, because the attribute is only a Unix
/// permission bit there; tests/files/File_platform_test.cpp pins it.
HANDLE CreateFileDocumented(const char* name, DWORD access, DWORD share, DWORD disposition, DWORD flags);

/// `ReadFile(file, buffer, size, got, nullptr)`, failing as Windows fails a
/// read of bytes that another handle has locked exclusively (LockFile /
/// LockFileEx): FALSE with ERROR_LOCK_VIOLATION, nothing read, the file
/// pointer unmoved. Shared locks and the caller's own locks do not stop it.
/// A handle without a file pointer (a pipe) reads as the system reads it.
///
/// Wine does not apply byte-range locks to reads;
/// tests/files/File_platform_test.cpp pins it. Where the system applies them
/// (Windows), this is ReadFile itself. Under Wine a caller's exclusive lock
/// of exactly the read's first byte, or of exactly the rest of the range,
/// becomes shared by the check: the system releases the oldest lock of a
/// range, and the check's own locks cannot be told from the caller's.
BOOL ReadFileDocumented(HANDLE file, void* buffer, DWORD size, DWORD* got);

/// Whether this system's ReadFile ignores other handles' byte-range locks
/// (Wine's does), so that ReadFileDocumented checks them itself.
bool PlatformReadsIgnoreLocks();

} // namespace vsk::detail
