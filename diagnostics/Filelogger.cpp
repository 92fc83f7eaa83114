// Filelogger.cpp - the rotating log file.
#include "diagnostics/Filelogger.h"

#include "platform/Replaceable.h"
#include "platform/ScopedHandle.h"
#include "platform/Stdio.h"
#include "diagnostics/internal/FileloggerHooks.h"
#include "diagnostics/internal/FileloggerParts.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <stdexcept>
#include <string>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Filelogger, StartUp, ExitRoutine)

bool _FileLogger_IsAutoFuncNameLogger = false;

namespace {

// The module state: one per process, guarded by g_section.
CRITICAL_SECTION g_section;
bool g_sectionReady = false;
char* g_name = nullptr;
// The open log file, or stderr in its place, or null.
FILE* g_stream = nullptr;
// The log file while g_stream is a file.
vsk::detail::CLogFile g_file;
unsigned int g_limitKib = 1024;
int g_generations = 1;
char g_timestamp[32];

// Lines of FileLogger_PutLine that are between finding the stream and their
// flush. Their writers do not hold the lock, so closing the stream waits for
// them: the stream is never closed under a line that is being written.
std::atomic<int> g_writers{0};
// The calling thread's share of g_writers.
thread_local int t_linesWriting = 0;

void* __stdcall SystemGetStdHandle(unsigned long which) { return GetStdHandle(which); }

vsk::detail::CReplaceable<vsk::detail::GetStdHandleFn> g_getStdHandle{SystemGetStdHandle};

// Append, text; "N" keeps the handle out of child processes, which would
// otherwise keep the file open and make the rotation's rename fail.
const char* const kOpenMode = "aN";

void StartUp() {
    InitializeCriticalSection(&g_section);
    g_sectionReady = true;
}

void ExitRoutine() {
    if (!g_sectionReady)
        return;
    g_sectionReady = false;
    DeleteCriticalSection(&g_section);
}

// One line of FileLogger_PutLine counted in g_writers from Begin() (under
// the lock, so that no close slips in between finding the stream and the
// count) until End() or the end of the scope, whichever comes first: a
// formatting that throws (text that cannot be allocated) leaves no count
// behind that a close would wait for.
class CLineInWriting {
public:
    CLineInWriting() = default;
    ~CLineInWriting() { End(); }
    CLineInWriting(const CLineInWriting&) = delete;
    CLineInWriting& operator=(const CLineInWriting&) = delete;

    void Begin() {
        ++g_writers;
        // The thread's own variable is found once: each lookup of a
        // thread-local variable is a call on this platform.
        m_threadShare = &t_linesWriting;
        ++*m_threadShare;
    }
    // Lowers the count once, however often it is called.
    void End() {
        if (!m_threadShare)
            return;
        --*m_threadShare;
        m_threadShare = nullptr;
        --g_writers;
    }

private:
    // The calling thread's t_linesWriting while the line is counted.
    int* m_threadShare = nullptr;
};

// The hold on the module's lock. Outside the unit's lifetime (before its
// start-up or after its exit routine) there is no lock to take, and the
// loader runs on one thread then.
class CLogLock {
public:
    CLogLock() : m_lock(g_sectionReady ? &g_section : nullptr, g_sectionReady) {}

private:
    CSLock m_lock;
};

// Under the lock.
FILE* ObtainStream() {
    if (g_stream)
        return g_stream;
    g_stream = g_name && g_file.Open(g_name, kOpenMode) ? g_file.Stream() : stderr;
    return g_stream;
}

// Under the lock. A record that Put began goes into the file first (or, when
// the file refuses it, whole to standard error).
void CloseStream() {
    while (g_writers.load() > 0)
        SwitchToThread();
    if (g_stream && g_stream != stderr) {
        g_file.Settle();
        g_file.Close();
    }
    g_stream = nullptr;
}

// The file's size in bytes, or false when it cannot be had. Under the lock.
bool CurrentSize(std::int64_t& size) {
    if (g_stream) {
        size = static_cast<std::int64_t>(g_stream == stderr ? std::ftell(stderr) : g_file.Tell());
        return true;
    }
    const vsk::detail::CScopedKernelHandle file(
        CreateFileA(g_name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) {
        errno = ENOENT;
        return false;
    }
    DWORD high = 0;
    const DWORD low = GetFileSize(file.Get(), &high);
    if (low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR)
        return false;
    size = static_cast<std::int64_t>((static_cast<std::uint64_t>(high) << 32) | low);
    return true;
}

// Shifts the generations: "name.N" goes, "name.i" becomes "name.(i+1)", the
// file becomes "name.1". Under the lock.
void Rotate() {
    const std::size_t size = std::strlen(g_name) + 20;
    char* from = static_cast<char*>(std::malloc(size));
    char* to = static_cast<char*>(std::malloc(size));
    if (from && to) {
        if (g_generations > 0) {
            bool shifted = true;
            std::snprintf(to, size, "%s.%d", g_name, g_generations);
            if (std::remove(to) != 0 && errno != ENOENT)
                shifted = false; // retried by the next line
            for (int i = g_generations - 1; shifted && i >= 1; --i) {
                std::snprintf(from, size, "%s.%d", g_name, i);
                std::snprintf(to, size, "%s.%d", g_name, i + 1);
                if (std::rename(from, to) != 0 && errno != ENOENT)
                    shifted = false;
            }
            if (shifted) {
                CloseStream();
                std::snprintf(to, size, "%s.%d", g_name, 1);
                std::rename(g_name, to);
            }
        } else {
            // The stream stays open: on Windows this removal fails and the
            // file keeps growing, which is what "no generations" means here.
            std::remove(g_name);
        }
    }
    std::free(from);
    std::free(to);
}

// The size check after a line. Under the lock.
void CheckSizeAndRotate() {
    if (!g_name)
        return;
    std::int64_t bytes = 0;
    if (!CurrentSize(bytes))
        return;
    const std::int64_t kib = bytes / 1024;
    const auto high = static_cast<std::int32_t>(static_cast<std::uint64_t>(kib) >> 32);
    const auto low = static_cast<std::uint32_t>(static_cast<std::uint64_t>(kib));
    if (high < 0)
        return;
    if (high == 0 && g_limitKib > low)
        return;
    Rotate();
}

// The text of `format` with `args` as the C runtime's own vfprintf
// (msvcrt.dll, not the toolchain's replacement that <cstdio> selects for
// C++) would write it: its format conventions are those the log's callers
// write. With `newline` a "\n" follows the text, so that a line is written
// with one fwrite: the stream's lock is then held across the whole line, and
// text that threads write at the same moment interleaves only between whole
// writes. The text is formatted before anything is written: when an
// argument cannot be read, the fault leaves no stream locked for good. A
// text of up to 510 bytes stays on the stack.
class CFormattedText {
public:
    CFormattedText(const char* format, std::va_list args, bool newline) {
        const std::size_t room = sizeof m_small - 1; // the newline's byte
        std::va_list first;
        va_copy(first, args);
        const int fitted = _vsnprintf(m_small, room, format, first);
        va_end(first);
        if (fitted >= 0 && static_cast<std::size_t>(fitted) < room)
            m_size = static_cast<std::size_t>(fitted);
        else
            FormatLarge(format, args);
        if (newline)
            m_data[m_size++] = '\n';
    }
    CFormattedText(const CFormattedText&) = delete;
    CFormattedText& operator=(const CFormattedText&) = delete;

    const char* Data() const { return m_data; }
    std::size_t Size() const { return m_size; }

private:
    // A format that the runtime refuses gives no text.
    void FormatLarge(const char* format, std::va_list args) {
        std::va_list counting;
        va_copy(counting, args);
        const int length = _vscprintf(format, counting);
        va_end(counting);
        if (length < 0)
            return;
        m_large.assign(static_cast<std::size_t>(length) + 2, '\0'); // text, newline, terminator
        std::va_list second;
        va_copy(second, args);
        _vsnprintf(&m_large[0], static_cast<std::size_t>(length) + 1, format, second);
        va_end(second);
        m_data = &m_large[0];
        m_size = static_cast<std::size_t>(length);
    }

    char m_small[512];
    std::string m_large;
    char* m_data = m_small;
    std::size_t m_size = 0;
};

// Writes `text` to standard error standing in for the log file. A failure
// there has nowhere else to go.
void WriteToStandardError(const CFormattedText& text) { std::fwrite(text.Data(), 1, text.Size(), stderr); }

// Length of `text` without its trailing CR and LF characters.
int TrimmedLength(const char* text, int length) {
    while (length > 0 && (text[length - 1] == '\r' || text[length - 1] == '\n'))
        --length;
    return length;
}

// Points the C runtime descriptor `fd` at the standard handle `which`, and
// the standard stream of that descriptor with it.
bool AttachStandardHandle(DWORD which, int fd, FILE* stream) {
    HANDLE handle = g_getStdHandle(which);
    if (handle == INVALID_HANDLE_VALUE || handle == nullptr)
        return false;
    const int wrapped = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_TEXT);
    if (wrapped == -1)
        return false;
    if (_dup2(wrapped, fd) != 0) {
        _close(wrapped);
        return false;
    }
    _close(wrapped);
    vsk::detail::BindStandardStream(stream, fd);
    return true;
}

} // namespace

namespace vsk::detail {

void FileLoggerVPut(const char* format, std::va_list args) {
    try {
        CLogLock lock;
        FILE* stream = ObtainStream();
        const CFormattedText text(format, args, false);
        if (stream == stderr)
            WriteToStandardError(text);
        else if (!g_file.Add(text.Data(), text.Size()))
            CloseStream(); // the next write tries the file again
    } catch (...) {
    }
}

void FileLoggerVPutLine(const char* format, std::va_list args) {
    try {
        FILE* stream;
        CLineInWriting line;
        {
            CLogLock lock;
            stream = ObtainStream();
            line.Begin();
        }
        const CFormattedText text(format, args, true);
        bool written = true;
        if (stream == stderr) {
            WriteToStandardError(text);
            std::fflush(stderr);
        } else {
            written = g_file.EndRecord(text.Data(), text.Size());
        }
        line.End();
        CLogLock lock;
        // The file refused the line, which went to standard error: the
        // stream is closed, so that the next write tries the file again
        // (unless another thread closed it meanwhile).
        if (!written && g_stream == stream)
            CloseStream();
        CheckSizeAndRotate();
    } catch (...) {
    }
}

const FileloggerHookTable kFileloggerHookTable = {
    [](GetStdHandleFn function) { return g_getStdHandle.Replace(function); },
};

CLogHold CurrentLogHold() {
    CLogHold hold{0, t_linesWriting};
    if (g_sectionReady && reinterpret_cast<DWORD_PTR>(g_section.OwningThread) == GetCurrentThreadId())
        hold.lockEntries = g_section.RecursionCount;
    return hold;
}

void PutReportHead(const char* file, int line, const char* func) {
    FileLogger_PutTimestamp();
    FileLogger_Put("%s(%d): %s: ", file, line, func);
}

void ReturnLogTo(const CLogHold& hold) {
    while (t_linesWriting > hold.linesWriting) {
        --t_linesWriting;
        --g_writers;
    }
    if (!g_sectionReady)
        return;
    while (reinterpret_cast<DWORD_PTR>(g_section.OwningThread) == GetCurrentThreadId() &&
           g_section.RecursionCount > hold.lockEntries)
        LeaveCriticalSection(&g_section);
}

} // namespace vsk::detail

extern "C" {

void FileLogger_Put(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    vsk::detail::FileLoggerVPut(format, args);
    va_end(args);
}

void FileLogger_PutLine(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    vsk::detail::FileLoggerVPutLine(format, args);
    va_end(args);
}

void FileLogger_PutTimestamp() {
    CLogLock lock;
    SYSTEMTIME now;
    GetLocalTime(&now);
    std::snprintf(g_timestamp, sizeof g_timestamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d ", now.wYear, now.wMonth,
                  now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    FileLogger_Put("%s", g_timestamp);
}

void FileLogger_SetLogFileSize(unsigned int kib) {
    CLogLock lock;
    CloseStream();
    g_limitKib = kib;
}

bool FileLogger_SetGenerationNumber(int n) {
    CLogLock lock;
    CloseStream();
    g_generations = n;
    return true;
}

bool FileLogger_SetLogFileName(const char* name) {
    CLogLock lock;
    CloseStream();
    std::free(g_name);
    g_name = nullptr;
    if (!name)
        return true;
    const std::size_t size = std::strlen(name) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    if (!copy)
        return false;
    std::memcpy(copy, name, size);
    g_name = copy;
    return true;
}

void FileLogger_Dump(const char* file, int line, const char* func) {
    const DWORD lastError = GetLastError();
    CLogLock lock;
    char* systemText = nullptr;
    DWORD systemLength = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                            FORMAT_MESSAGE_FROM_SYSTEM,
                                        nullptr, lastError, GetUserDefaultLangID(),
                                        reinterpret_cast<char*>(&systemText), 0, nullptr);
    if (systemLength == 0) {
        systemText = nullptr;
        systemLength = 0;
    }
    const vsk::detail::CScopedLocalMemory systemTextMemory(systemText);
    const char* errnoText = std::strerror(errno);
    const int errnoLength = TrimmedLength(errnoText, static_cast<int>(std::strlen(errnoText)));
    const int systemTextLength = TrimmedLength(systemText, static_cast<int>(systemLength));

    vsk::detail::PutReportHead(file, line, func);
    FileLogger_PutLine("auto dump infomation.\n\terrno     = % 8d %.*s\n\tLastError = %08x %.*s", errno, errnoLength,
                       errnoText, static_cast<unsigned>(lastError), systemTextLength,
                       systemText ? systemText : "");
}

void FileLogger_AllocConsole() {
    CLogLock lock;
    CloseStream();
    if (!AllocConsole())
        return;
    if (!AttachStandardHandle(STD_OUTPUT_HANDLE, 1, stdout))
        return;
    std::fputs("initialized STDOUT\n", stdout);
    std::fflush(stdout);

    HANDLE input = g_getStdHandle(STD_INPUT_HANDLE);
    if (input == INVALID_HANDLE_VALUE || input == nullptr) {
        char code[16];
        std::snprintf(code, sizeof code, "%08x", static_cast<unsigned>(GetLastError()));
        std::printf("%s", code);
        std::fflush(stdout);
        return;
    }
    if (!AttachStandardHandle(STD_INPUT_HANDLE, 0, stdin))
        return;
    std::fputs("initialized STDIN\n", stdout);
    std::fflush(stdout);

    if (!AttachStandardHandle(STD_ERROR_HANDLE, 2, stderr))
        return;
    std::fputs("initialized STDERR\n", stderr);
    std::fflush(stderr);
}

void FileLogger_FreeConsole() {
    CLogLock lock;
    CloseStream();
    FreeConsole();
}

} // extern "C"

CSLock::CSLock(CRITICAL_SECTION* section, bool lockNow) : m_section(section), m_count(0) {
    if (lockNow)
        Lock();
}

CSLock::~CSLock() {
    try {
        while (m_count > 0)
            Unlock();
    } catch (...) {
    }
}

void CSLock::Lock() {
    EnterCriticalSection(m_section);
    ++m_count;
}

void CSLock::Unlock() {
    if (m_count < 1)
        throw std::logic_error("CSLock::Unlock()");
    LeaveCriticalSection(m_section);
    --m_count;
}
