// FileloggerParts.h - what the source files of unit Filelogger share: the
// open log file and the record it is being given. Internal: not installed,
// not for programs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace vsk::detail {

/// The open log file: its stream, where its last whole record ends, and the
/// text of the record that FileLogger_Put has begun in it.
///
/// A record is the text given since the last line ended: what
/// FileLogger_Put added, then the line of FileLogger_PutLine that ends it.
/// The file takes a record whole or not at all. When a write or a flush
/// fails (a full disk), what the stream's buffer still holds is dropped,
/// whatever part of the record reached the file is cut off again, and the
/// whole record goes to standard error, once; the member then returns false
/// and the caller closes the stream, so that the next write opens the file
/// anew. Nothing is left behind to be flushed later after another line.
///
/// Only a file on a disk can be cut back; for a pipe or a device what
/// reached it stays there (the record still goes whole to standard error).
///
/// Thread safety: the members that write take the stream's own lock, so a
/// record and its cut never interleave with another thread's. The log's
/// lock keeps Open, Add, Settle and Close from running beside each other;
/// the count of lines in writing keeps the stream open under EndRecord,
/// which runs without the log's lock.
///
/// Lifetime: constant-initialised and never destroyed, so a line written
/// while the library unloads still finds it; the record's memory goes back
/// when the stream is closed (an open stream, and with it the memory, is
/// left at unload as the C runtime's own streams are).
class CLogFile {
public:
    constexpr CLogFile() = default;

    /// Opens the file `name` with the C runtime `mode` (an append mode).
    /// False when it cannot be opened (errno as the open left it).
    bool Open(const char* name, const char* mode);

    /// The open stream, or null.
    std::FILE* Stream() const { return m_stream; }

    /// Adds `text` (FileLogger_Put) to the record; it goes into the stream's
    /// buffer, not flushed. A record that would pass kLongestKeptRecord, or
    /// whose copy cannot be allocated, is flushed with the text at once.
    /// False when the file refused it (see the class).
    bool Add(const char* text, std::size_t size);

    /// Ends the record with `line` (its "\n" included) and flushes.
    /// False when the file refused it (see the class).
    bool EndRecord(const char* line, std::size_t size);

    /// Flushes the record begun, if any: done before the stream is closed.
    /// False when the file refused it (see the class).
    bool Settle();

    /// Closes the stream (what its buffer holds is flushed) and gives back
    /// the record's memory.
    void Close();

    /// The stream's position (ftell: -1 when it cannot be given). Between
    /// records it also brings the known end of the last whole record up to
    /// date, so that appends of another process since are not cut off.
    long Tell();

    /// The longest record kept whole for standard error: past it the record
    /// is flushed as it stands, and a later failure cuts back and sends only
    /// what follows.
    static constexpr std::size_t kLongestKeptRecord = 64 * 1024;

private:
    bool Keep(const char* text, std::size_t size);
    bool Write(const char* text, std::size_t size);
    bool Refuse(const char* text, std::size_t size);
    void CutBack();
    void ClearRecord();
    std::int64_t FileBytes(const char* text, std::size_t size) const;

    std::FILE* m_stream = nullptr;
    // Where the last whole record ends in the file; -1 when the stream is
    // not a disk file, which cannot be cut back.
    std::int64_t m_end = -1;
    // Text mode writes every "\n" as CR LF: two bytes in the file.
    bool m_textMode = true;
    // The record begun: its text as given, and what it makes in the file.
    char* m_record = nullptr;
    std::size_t m_recordSize = 0;
    std::size_t m_recordCapacity = 0;
    std::int64_t m_recordFileBytes = 0;
};

} // namespace vsk::detail
