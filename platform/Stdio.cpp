// Stdio.cpp - C runtime stream calls with the documented Windows behaviour.
#include "platform/Stdio.h"

#include "platform/Win32.h"

#include <cerrno>

namespace vsk::detail {

std::FILE* OpenWritableStream(const char* name, const char* mode) {
    const DWORD attributes = GetFileAttributesA(name);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) &&
        !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        errno = EACCES;
        return nullptr;
    }
    return std::fopen(name, mode);
}

void BindStandardStream(std::FILE* stream, int fd) {
    if (_fileno(stream) == fd)
        return;
    stream->_file = fd;
    std::clearerr(stream);
}

} // namespace vsk::detail
