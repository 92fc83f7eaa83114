// Filelogger_steps_test.cpp - steps of the log that only show when another
// thread acts in the middle of a call: a line is written without the log's
// lock, the size check of a line whose stream another thread closed goes to
// the file by name, a rotation stops at a generation that cannot be moved,
// and a dump prints the errno of the moment it writes its line.
//
// A thread is held in the middle of a log call by the argument it formats:
// the argument lies on a guard page, and the first read of it runs a
// vectored handler that signals and waits before the read goes on.
#include "diagnostics/Filelogger.h"

#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

namespace {

using vsktest::CLogTest;
using vsktest::FileExists;
using vsktest::ReadOrMissing;

// A zero-terminated text on a guard page. The first read of it holds the
// reading thread until Release() (at most 20 s); Reached() waits for that
// read.
class CHeldArgument {
public:
    explicit CHeldArgument(const char* text) {
        s_self = this;
        m_reached = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        m_release = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        m_page = static_cast<char*>(VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        std::strcpy(m_page, text);
        DWORD old = 0;
        VirtualProtect(m_page, 4096, PAGE_READWRITE | PAGE_GUARD, &old);
        m_handler = AddVectoredExceptionHandler(1, OnException);
    }
    ~CHeldArgument() {
        Release();
        RemoveVectoredExceptionHandler(m_handler);
        VirtualFree(m_page, 0, MEM_RELEASE);
        CloseHandle(m_reached);
        CloseHandle(m_release);
        s_self = nullptr;
    }
    CHeldArgument(const CHeldArgument&) = delete;
    CHeldArgument& operator=(const CHeldArgument&) = delete;

    const char* Text() const { return m_page; }
    bool Reached(DWORD milliseconds = 10000) const {
        return WaitForSingleObject(m_reached, milliseconds) == WAIT_OBJECT_0;
    }
    void Release() { SetEvent(m_release); }

private:
    static LONG WINAPI OnException(EXCEPTION_POINTERS* pointers) {
        const EXCEPTION_RECORD* record = pointers->ExceptionRecord;
        CHeldArgument* self = s_self;
        if (!self || record->ExceptionCode != STATUS_GUARD_PAGE_VIOLATION || record->NumberParameters < 2)
            return EXCEPTION_CONTINUE_SEARCH;
        const auto address = static_cast<std::uintptr_t>(record->ExceptionInformation[1]);
        const auto page = reinterpret_cast<std::uintptr_t>(self->m_page);
        if (address < page || address >= page + 4096)
            return EXCEPTION_CONTINUE_SEARCH;
        SetEvent(self->m_reached);
        WaitForSingleObject(self->m_release, 20000);
        return EXCEPTION_CONTINUE_EXECUTION; // the guard is gone: the read runs again and succeeds
    }

    static CHeldArgument* s_self;
    HANDLE m_reached = nullptr;
    HANDLE m_release = nullptr;
    char* m_page = nullptr;
    void* m_handler = nullptr;
};

CHeldArgument* CHeldArgument::s_self = nullptr;

DWORD WINAPI RunFunction(void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return 0;
}

// A thread running `work`; Join() waits for it at most `milliseconds`.
class CWorker {
public:
    explicit CWorker(std::function<void()> work)
        : m_work(std::move(work)), m_thread(CreateThread(nullptr, 0, RunFunction, &m_work, 0, nullptr)) {}
    ~CWorker() {
        if (m_thread) {
            WaitForSingleObject(m_thread, 30000);
            CloseHandle(m_thread);
        }
    }
    CWorker(const CWorker&) = delete;
    CWorker& operator=(const CWorker&) = delete;

    bool Join(DWORD milliseconds) const { return m_thread && WaitForSingleObject(m_thread, milliseconds) == WAIT_OBJECT_0; }

private:
    std::function<void()> m_work;
    HANDLE m_thread;
};

// ---------------------------------------------------------------------------
// Which calls hold the log's lock while they format
// ---------------------------------------------------------------------------

TEST_F(CLogTest, PutLineFormatsWithoutTheLockSoASecondThreadsLineIsNotHeldBack) {
    const std::string log = UseLog();
    CHeldArgument held("first");
    CWorker first([&] { FileLogger_PutLine("%s", held.Text()); });
    ASSERT_TRUE(held.Reached());
    CWorker second([] { FileLogger_PutLine("second"); });
    const bool secondReturned = second.Join(3000);
    held.Release();
    ASSERT_TRUE(first.Join(10000));
    EXPECT_TRUE(secondReturned) << "the second line waited for the first one's formatting";
    EXPECT_EQ("second\r\nfirst\r\n", ReadOrMissing(log));
}

TEST_F(CLogTest, PutHoldsTheLockWhileItFormatsSoASecondThreadsLineWaits) {
    const std::string log = UseLog();
    CHeldArgument held("first");
    CWorker first([&] { FileLogger_Put("%s", held.Text()); });
    ASSERT_TRUE(held.Reached());
    CWorker second([] { FileLogger_PutLine("second"); });
    const bool secondReturnedWhileHeld = second.Join(500);
    held.Release();
    ASSERT_TRUE(first.Join(10000));
    ASSERT_TRUE(second.Join(10000));
    EXPECT_FALSE(secondReturnedWhileHeld);
    EXPECT_EQ("firstsecond\r\n", ReadOrMissing(log));
}

// ---------------------------------------------------------------------------
// The size check of a line whose stream was closed meanwhile
// ---------------------------------------------------------------------------

// A line is held in its formatting; another thread names a new log (which
// waits for the line); the line ends and its size check finds no stream, so
// it measures the new file by name.
TEST_F(CLogTest, SizeCheckWithoutAStreamMeasuresTheNamedFileAndRotatesIt) {
    const std::string log = UseLog();
    const std::string next = m_dir.File("next.log");
    vsktest::WriteFileBytes(next, "already there\r\n");
    FileLogger_SetLogFileSize(0);
    FileLogger_PutLine("rotated");
    CHeldArgument held("held");
    CWorker line([&] { FileLogger_PutLine("%s", held.Text()); });
    ASSERT_TRUE(held.Reached());
    CWorker rename([&] { FileLogger_SetLogFileName(next.c_str()); });
    EXPECT_FALSE(rename.Join(300)) << "closing the stream waits for the line being written";
    held.Release();
    ASSERT_TRUE(line.Join(10000));
    ASSERT_TRUE(rename.Join(10000));
    EXPECT_EQ("held\r\n", ReadOrMissing(log));
    // Nothing was written into next.log, yet it was measured and rotated.
    EXPECT_FALSE(FileExists(next));
    EXPECT_EQ("already there\r\n", ReadOrMissing(next + ".1"));
}

TEST_F(CLogTest, SizeCheckWithoutAStreamOfAMissingFileSetsErrnoToNoSuchFile) {
    const std::string log = UseLog();
    const std::string next = m_dir.File("next.log");
    // The limit is not reached: a size taken from the stream would leave
    // errno alone.
    CHeldArgument held("held");
    int errnoAfter = -1;
    CWorker line([&] {
        errno = 0;
        FileLogger_PutLine("%s", held.Text());
        errnoAfter = errno;
    });
    ASSERT_TRUE(held.Reached());
    CWorker rename([&] { FileLogger_SetLogFileName(next.c_str()); });
    EXPECT_FALSE(rename.Join(300)) << "closing the stream waits for the line being written";
    held.Release();
    ASSERT_TRUE(line.Join(10000));
    ASSERT_TRUE(rename.Join(10000));
    EXPECT_EQ(ENOENT, errnoAfter);
    EXPECT_FALSE(FileExists(next));
    EXPECT_FALSE(FileExists(next + ".1"));
    EXPECT_EQ("held\r\n", ReadOrMissing(log));
}

// ---------------------------------------------------------------------------
// Rotation
// ---------------------------------------------------------------------------

// "app.log.2" is open without delete sharing, so it cannot be renamed to
// "app.log.3" (an error other than "not found"): the rotation stops there,
// and the log is not renamed although "app.log.1" is free.
TEST_F(CLogTest, RenameFailureOfAMiddleGenerationStopsTheRotation) {
    const std::string log = UseLog();
    vsktest::WriteFileBytes(log + ".2", "second\r\n");
    FileLogger_SetGenerationNumber(3);
    FileLogger_SetLogFileSize(0);
    const HANDLE open = CreateFileA((log + ".2").c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, open);
    FileLogger_PutLine("stays");
    CloseHandle(open);
    EXPECT_EQ("stays\r\n", ReadOrMissing(log));
    EXPECT_FALSE(FileExists(log + ".1"));
    EXPECT_EQ("second\r\n", ReadOrMissing(log + ".2"));
    EXPECT_FALSE(FileExists(log + ".3"));
    // The next line tries again and gets through.
    FileLogger_PutLine("moves");
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ("stays\r\nmoves\r\n", ReadOrMissing(log + ".1"));
    EXPECT_EQ("second\r\n", ReadOrMissing(log + ".3"));
}

// ---------------------------------------------------------------------------
// Dump
// ---------------------------------------------------------------------------

// The errno text is taken before the dump writes; the value is read after
// the time stamp and prefix are written. Here the first write opens the log,
// which fails (its folder does not exist) and sets errno to 2.
TEST_F(CLogTest, DumpPrintsTheErrnoOfItsLineWithTheTextOfItsStart) {
    const std::string missing = m_dir.File("no-such-folder\\app.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(missing.c_str()));
    vsktest::CStderrCapture capture(m_dir.File("stderr.txt"));
    errno = EACCES;
    SetLastError(0);
    FileLogger_Dump("d.cpp", 4, "Dump");
    const std::string text = vsktest::MaskTimestamps(capture.Finish());
    const std::string expected = "<TS>d.cpp(4): Dump: auto dump infomation.\n\terrno     =        2 " +
                                 std::string(std::strerror(EACCES)) + "\n\tLastError = 00000000 ";
    EXPECT_EQ(0u, text.find(expected))
        << text;
}

} // namespace
