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

// Whether a lock of `length` bytes at `offset` (exclusive with
// LOCKFILE_EXCLUSIVE_LOCK in `flags`, else shared) is granted to this handle
// at once. A granted lock is released again; a refusal leaves the system's
// error.
bool ProbeLockGranted(HANDLE file, ULONGLONG offset, DWORD length, DWORD flags) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    if (!LockFileEx(file, flags | LOCKFILE_FAIL_IMMEDIATELY, 0, length, 0, &at))
        return false;
    UnlockFileEx(file, 0, length, 0, &at);
    return true;
}

// Whether a shared lock is refused to this handle, which under Wine happens
// only where another handle holds an exclusive lock (this handle's own locks
// do not refuse it).
bool SharedLockRefused(HANDLE file, ULONGLONG offset, DWORD length) {
    return !ProbeLockGranted(file, offset, length, 0) && GetLastError() == ERROR_LOCK_VIOLATION;
}

// Whether another handle holds an exclusive lock on any of the `size` bytes
// that a read at the current file pointer would take.
bool ReadIsLockedOut(HANDLE file, DWORD size) {
    LARGE_INTEGER position{};
    LARGE_INTEGER end{};
    if (size == 0 || !SetFilePointerEx(file, end, &position, FILE_CURRENT) || !GetFileSizeEx(file, &end))
        return false;
    if (position.QuadPart >= end.QuadPart)
        return false; // nothing to read there
    const LONGLONG available = end.QuadPart - position.QuadPart;
    const DWORD length = available < size ? static_cast<DWORD>(available) : size;
    const ULONGLONG offset = static_cast<ULONGLONG>(position.QuadPart);
    // With no lock of anyone's over the range an exclusive lock is granted;
    // then it is the only lock of exactly that range, so releasing it
    // releases nothing else.
    if (ProbeLockGranted(file, offset, length, LOCKFILE_EXCLUSIVE_LOCK))
        return false;
    // Some lock is there. A release takes the oldest lock of exactly its
    // range, which could be the caller's own: the shared probes cover the
    // range in two pieces, so that a caller who locked exactly the range it
    // reads keeps that lock.
    return SharedLockRefused(file, offset, 1) || (length > 1 && SharedLockRefused(file, offset + 1, length - 1));
}

} // namespace

bool PlatformReadsIgnoreLocks() {
    // Wine's reads do; its ntdll is the one that names its version.
    static const bool ignores =
        GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
    return ignores;
}

BOOL ReadFileDocumented(HANDLE file, void* buffer, DWORD size, DWORD* got) {
    const DWORD lastError = GetLastError();
    if (PlatformReadsIgnoreLocks() && ReadIsLockedOut(file, size)) {
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
