// File.cpp - file opening with the documented Windows behaviour.
#include "platform/File.h"

namespace vsk::detail {

namespace {

// Whether the open would write to an existing file that is marked read-only.
bool WritesToReadOnlyFile(const char* name, DWORD access, DWORD disposition) {
    constexpr DWORD kWriting = GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA;
    if (!(access & kWriting) || disposition == CREATE_NEW || !name)
        return false;
    const DWORD attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) &&
           !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// Whether another handle holds an exclusive lock on any of the `size` bytes
// that a read at the current file pointer would take. A shared lock of our
// own over the range fails only where someone else locked exclusively; where
// it is granted it is released at once.
bool ReadIsLockedOut(HANDLE file, DWORD size) {
    LARGE_INTEGER position{};
    LARGE_INTEGER end{};
    if (size == 0 || !SetFilePointerEx(file, end, &position, FILE_CURRENT) || !GetFileSizeEx(file, &end))
        return false;
    if (position.QuadPart >= end.QuadPart)
        return false; // nothing to read there
    const LONGLONG available = end.QuadPart - position.QuadPart;
    const DWORD length = available < size ? static_cast<DWORD>(available) : size;
    OVERLAPPED at{};
    at.Offset = position.LowPart;
    at.OffsetHigh = static_cast<DWORD>(position.HighPart);
    if (LockFileEx(file, LOCKFILE_FAIL_IMMEDIATELY, 0, length, 0, &at)) {
        UnlockFileEx(file, 0, length, 0, &at);
        return false;
    }
    return GetLastError() == ERROR_LOCK_VIOLATION;
}

} // namespace

BOOL ReadFileDocumented(HANDLE file, void* buffer, DWORD size, DWORD* got) {
    const DWORD lastError = GetLastError();
    if (ReadIsLockedOut(file, size)) {
        *got = 0;
        SetLastError(ERROR_LOCK_VIOLATION);
        return FALSE;
    }
    SetLastError(lastError);
    return ReadFile(file, buffer, size, got, nullptr);
}

HANDLE CreateFileDocumented(const char* name, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    if (WritesToReadOnlyFile(name, access, disposition)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    return ::CreateFileA(name, access, share, nullptr, disposition, flags, nullptr);
}

} // namespace vsk::detail
