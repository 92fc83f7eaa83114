// Filelogger.h - the rotating log file.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <windows.h>

#include <cstdarg>

VSK_DECLARE_UNIT(Filelogger)

/// The process-wide log file. Lines are appended to the file that
/// FileLogger_SetLogFileName names; while no name is set, or while the named
/// file cannot be opened, output goes to the C runtime's standard error.
///
/// Every line written with FileLogger_PutLine is followed by a size check:
/// when the file has reached the size limit (FileLogger_SetLogFileSize, in
/// KiB, 1024 at load), the file is shifted into generations: "name.N" is
/// removed, "name.i" becomes "name.(i+1)", the file becomes "name.1", and the
/// next write starts a fresh file. N is FileLogger_SetGenerationNumber (1 at
/// load). With 0 generations the removal of the still open file fails on
/// Windows, so the file keeps growing. Text written with FileLogger_Put alone
/// is never measured.
///
/// Example (limit 1 KiB, 3 generations, "log.1" and "log.3" present): the
/// line that brings "log" to 1024 bytes removes "log.3", skips the missing
/// "log.2", renames "log.1" to "log.2" and "log" to "log.1".
///
/// The file is opened lazily, by the first write after load, after a setter,
/// after a rotation and after FileLogger_AllocConsole/FileLogger_FreeConsole,
/// in append text mode; its handle is not inherited by child processes, so a
/// running child never keeps the file from being renamed. Lines end with
/// "\n", which the text stream writes as CR LF.
///
/// A full disk loses nothing and tears nothing. The file takes a record
/// whole or not at all; a record is the text written since the last line
/// ended: what FileLogger_Put wrote, then the line of FileLogger_PutLine
/// that ends it (a failure report is one). When a write or a flush fails,
/// the part of the record that did reach the file is cut off again, so the
/// file holds whole lines only; the record goes to standard error, whole and
/// once, as lines go there while the file cannot be opened; and the stream
/// is closed, so that the next write opens the file again and, once there is
/// space, the file takes lines again. Nothing is kept back to be written
/// later after another line. A rotation onto a full disk renames the files
/// as always; the new file's lines go to standard error until it takes them.
///
/// Example (a full disk, a record of three calls):
///   FileLogger_PutTimestamp();
///   FileLogger_Put("%s(%d): %s: ", "a.cpp", 7, "Save");
///   FileLogger_PutLine("disk full");
///   // standard error: "2026-11-22 14:23:32.045 a.cpp(7): Save: disk full\n"
///   // the file: as before the record
///
/// Text of FileLogger_Put waits in the stream's buffer for the line that
/// ends its record, and the log keeps a copy for standard error; a record
/// that passes 64 KiB before its line is flushed as it stands, and a later
/// failure sends only what follows. The cut assumes this process is the
/// file's only writer: lines that another process appended since this
/// process's last line would be cut with it. Only a file on a disk is cut;
/// what reached a pipe or device given as the log stays there.
///
/// Errors: none of these functions reports a failure to write; exceptions
/// inside FileLogger_Put and FileLogger_PutLine are caught there.
///
/// Thread safety: any thread may call any function. One re-entrant critical
/// section guards the state. FileLogger_Put holds it across its output;
/// FileLogger_PutLine takes it only to find the stream and for the size check,
/// and writes its line whole in one write (under the stream's own lock), so
/// its line may interleave with other threads' output only between whole
/// writes: text that another thread's FileLogger_Put wrote meanwhile comes
/// before it. No bytes are lost: the stream is not closed while a line is
/// being written to it. FileLogger_Dump keeps its lines together.
extern "C" {

/// Switches the entry/exit trace of AutoFuncNameLogger (VskDebug.h); false at
/// load. Read without synchronisation.
VSK_API extern bool _FileLogger_IsAutoFuncNameLogger;

/// Writes the formatted text (vfprintf); no newline, no flush (until the
/// record passes 64 KiB), no size check. When the file refuses the text, the
/// record so far goes to standard error and the stream is closed.
VSK_API void FileLogger_Put(const char* format, ...) __attribute__((format(ms_printf, 1, 2)));

/// Writes the formatted text and "\n", flushes, then checks the size and
/// rotates the file when it has reached the limit. When the file cannot take
/// the line, the record it ends goes whole to standard error and the stream
/// is closed (see above).
VSK_API void FileLogger_PutLine(const char* format, ...) __attribute__((format(ms_printf, 1, 2)));

/// Writes the local time as "YYYY-MM-DD hh:mm:ss.mmm " (note the blank).
///
/// Example: "2026-11-22 14:23:32.045 "
VSK_API void FileLogger_PutTimestamp();

/// Closes the stream and sets the size limit in KiB; 0 rotates on every line.
VSK_API void FileLogger_SetLogFileSize(unsigned int kib);

/// Closes the stream and sets how many old generations are kept; always true.
VSK_API bool FileLogger_SetGenerationNumber(int n);

/// Closes the stream and names the log file (a copy of `name` is kept);
/// nullptr returns logging to standard error. Returns false only when the
/// copy cannot be allocated (the name is then unset).
VSK_API bool FileLogger_SetLogFileName(const char* name);

/// Writes a report of the current C and Win32 error state, as one time-stamped
/// record: "<file>(<line>): <func>: auto dump infomation." followed by the
/// lines "\terrno     = % 8d <strerror text>" and
/// "\tLastError = %08x <system text>" (the texts without trailing CR/LF; a
/// code without system text ends its line with the blank after the code).
VSK_API void FileLogger_Dump(const char* file, int line, const char* func);

/// Closes the stream, creates a console and points standard output, input and
/// error at it, writing "initialized STDOUT", "initialized STDIN" (both to
/// standard output) and "initialized STDERR" (to standard error). Stops
/// silently at the first step that fails.
VSK_API void FileLogger_AllocConsole();

/// Closes the stream and detaches the process from its console.
VSK_API void FileLogger_FreeConsole();

} // extern "C"

namespace vsk::detail {

/// FileLogger_Put with an argument list.
VSK_API void FileLoggerVPut(const char* format, std::va_list args);
/// FileLogger_PutLine with an argument list.
VSK_API void FileLoggerVPutLine(const char* format, std::va_list args);

/// Writes the head of a failure report: the time stamp, then
/// "<file>(<line>): <func>: " (the form every unit's report starts with).
VSK_API void PutReportHead(const char* file, int line, const char* func);

/// How far the calling thread holds the log: how often it has entered the
/// log's lock, and how many lines it is writing. A structured exception
/// that takes the crash guard's jump skips the destructors between the
/// fault and the guard; the guard takes this before its body and gives
/// it to ReturnLogTo afterwards, so that a fault inside a log call does not
/// leave the log held for good.
struct CLogHold {
    long lockEntries;
    int linesWriting;
};
VSK_API CLogHold CurrentLogHold();

/// Leaves the log's lock and ends the lines that the calling thread took
/// beyond `hold`. Never throws.
VSK_API void ReturnLogTo(const CLogHold& hold);

} // namespace vsk::detail

/// A scoped hold on a Win32 critical section that counts how often this object
/// has entered it; the destructor leaves it as often as it was entered, however
/// the scope is left.
///
/// Example:
///   CSLock lock(&section, true);  // entered once
///   lock.Unlock();                // left
///   lock.Unlock();                // throws std::logic_error "CSLock::Unlock()"
///
/// Thread safety: one object belongs to one thread (the thread that enters is
/// the one that must leave). Lifetime: the critical section must outlive the
/// object.
class VSK_API CSLock {
public:
    /// Keeps `section`; enters it at once when `lockNow` is true.
    explicit CSLock(CRITICAL_SECTION* section, bool lockNow = true);
    /// Leaves the section as often as this object entered it. Never throws.
    ~CSLock();
    CSLock(const CSLock&) = delete;
    CSLock& operator=(const CSLock&) = delete;

    /// Enters the section once more.
    void Lock();
    /// Leaves the section once.
    /// Errors: std::logic_error "CSLock::Unlock()" when this object holds nothing.
    void Unlock();
    /// How often this object holds the section now.
    int Count() const { return m_count; }

private:
    CRITICAL_SECTION* m_section;
    int m_count;
};
