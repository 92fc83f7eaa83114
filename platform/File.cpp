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

} // namespace

HANDLE CreateFileDocumented(const char* name, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    if (WritesToReadOnlyFile(name, access, disposition)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    return ::CreateFileA(name, access, share, nullptr, disposition, flags, nullptr);
}

} // namespace vsk::detail
