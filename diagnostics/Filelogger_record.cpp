// Filelogger_record.cpp - part of unit Filelogger: the open log file takes a
// record whole or not at all; what it refuses goes whole to standard error.
#include "diagnostics/internal/FileloggerParts.h"

#include "platform/Stdio.h"
#include "platform/Win32.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <io.h>

namespace {

// The stream's own lock (re-entrant for its holder), held across the writes
// of one record and the cut that may follow them.
class CStreamLock {
public:
    explicit CStreamLock(std::FILE* stream) : m_stream(stream) { _lock_file(m_stream); }
    ~CStreamLock() { _unlock_file(m_stream); }
    CStreamLock(const CStreamLock&) = delete;
    CStreamLock& operator=(const CStreamLock&) = delete;

private:
    std::FILE* m_stream;
};

bool WriteAll(std::FILE* stream, const char* text, std::size_t size) {
    return size == 0 || std::fwrite(text, 1, size, stream) == size;
}

// The two pieces as one write to standard error, where a line goes when
// the log file cannot take it: together, whatever other threads write there.
void SendToStandardError(const char* record, std::size_t recordSize, const char* text, std::size_t size) {
    CStreamLock hold(stderr);
    WriteAll(stderr, record, recordSize);
    WriteAll(stderr, text, size);
    std::fflush(stderr);
}

// Whether the descriptor translates "\n" to CR LF. The log opens its file
// without saying, so the program's default mode decides.
bool IsTextMode(int fd) {
    const int previous = _setmode(fd, _O_TEXT);
    if (previous != -1 && previous != _O_TEXT)
        _setmode(fd, previous);
    return previous == _O_TEXT;
}

} // namespace

namespace vsk::detail {

bool CLogFile::Open(const char* name, const char* mode) {
    std::FILE* stream = OpenWritableStream(name, mode);
    if (!stream)
        return false;
    const int keptErrno = errno;
    const int fd = _fileno(stream);
    const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(fd));
    // The file's end now is where the first record will begin.
    m_end = GetFileType(handle) == FILE_TYPE_DISK ? _lseeki64(fd, 0, SEEK_END) : -1;
    m_textMode = IsTextMode(fd);
    errno = keptErrno;
    m_stream = stream;
    ClearRecord();
    return true;
}

bool CLogFile::Add(const char* text, std::size_t size) {
    CStreamLock hold(m_stream);
    if (m_recordSize + size <= kLongestKeptRecord && Keep(text, size))
        return WriteAll(m_stream, text, size) || Refuse(nullptr, 0);
    return Write(text, size);
}

bool CLogFile::EndRecord(const char* line, std::size_t size) {
    CStreamLock hold(m_stream);
    return Write(line, size);
}

bool CLogFile::Settle() {
    CStreamLock hold(m_stream);
    return m_recordSize == 0 || Write(nullptr, 0);
}

void CLogFile::Close() {
    std::fclose(m_stream);
    m_stream = nullptr;
    m_end = -1;
    std::free(m_record);
    m_record = nullptr;
    m_recordCapacity = 0;
    ClearRecord();
}

long CLogFile::Tell() {
    CStreamLock hold(m_stream);
    const long position = std::ftell(m_stream);
    if (position >= 0 && m_recordSize == 0 && m_end >= 0)
        m_end = position;
    return position;
}

// Copies `text` into the record. False when there is no memory for it.
bool CLogFile::Keep(const char* text, std::size_t size) {
    if (m_recordSize + size > m_recordCapacity) {
        const std::size_t capacity = std::max<std::size_t>({m_recordSize + size, 2 * m_recordCapacity, 256});
        char* grown = static_cast<char*>(std::realloc(m_record, capacity));
        if (!grown)
            return false;
        m_record = grown;
        m_recordCapacity = capacity;
    }
    std::memcpy(m_record + m_recordSize, text, size);
    m_recordSize += size;
    m_recordFileBytes += FileBytes(text, size);
    return true;
}

// Writes `text` after the record (whose bytes the stream has already) and
// flushes both; the record is then done. Under the stream's lock.
bool CLogFile::Write(const char* text, std::size_t size) {
    if (!WriteAll(m_stream, text, size) || std::fflush(m_stream) != 0)
        return Refuse(text, size);
    if (m_end >= 0)
        m_end += m_recordFileBytes + FileBytes(text, size);
    ClearRecord();
    return true;
}

// After a failed write: the record and `text` leave the file and go to
// standard error. Always false. Under the stream's lock.
bool CLogFile::Refuse(const char* text, std::size_t size) {
    // A failed flush drops what the buffer held; what a failed write of a
    // long text left in it goes now, or is dropped now. Either way nothing
    // stays to be written later after another line, and what did reach the
    // file is cut off below.
    std::fflush(m_stream);
    CutBack();
    SendToStandardError(m_record, m_recordSize, text, size);
    ClearRecord();
    return false;
}

// Cuts the file back to the end of its last whole record. A full disk can
// take part of a write: Wine writes what fits and fails only the next write
// (SmallVolumeOnWine.WriteFileTakesWhatFits... pins it), and the C runtime
// writes a long text in several pieces of which the first may fit.
void CLogFile::CutBack() {
    if (m_end < 0)
        return;
    const HANDLE file = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(m_stream)));
    LARGE_INTEGER size;
    if (file == INVALID_HANDLE_VALUE || !GetFileSizeEx(file, &size) || size.QuadPart <= m_end)
        return;
    LARGE_INTEGER end;
    end.QuadPart = m_end;
    if (SetFilePointerEx(file, end, nullptr, FILE_BEGIN))
        SetEndOfFile(file);
}

void CLogFile::ClearRecord() {
    m_recordSize = 0;
    m_recordFileBytes = 0;
}

// How many bytes `text` makes in the file.
std::int64_t CLogFile::FileBytes(const char* text, std::size_t size) const {
    std::int64_t bytes = static_cast<std::int64_t>(size);
    if (m_textMode)
        bytes += std::count(text, text + size, '\n');
    return bytes;
}

} // namespace vsk::detail
