// Filelogger_exitpath_test.cpp - every way out of a log call leaves the log
// usable: a line whose text cannot be allocated, an argument that cannot be
// read under the crash guard, a stream write that fails (its text then goes
// whole to standard error). After each, another thread logs, a rotation
// renames the file and the name can be changed, all within a second; a
// watchdog ends the program when that hangs, so a held log fails the run
// instead of blocking it.
#include "diagnostics/Filelogger.h"
#include "diagnostics/VskDebug.h"

#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vsktest::CLogTest;
using vsktest::FileExists;
using vsktest::ReadOrMissing;

// Takes the C heap until no block of `floor` bytes or more can be had, in
// falling sizes so that it takes few blocks; Release() gives it all back.
// Nothing may allocate between construction and Release() but the code under
// test (gtest's assertions allocate).
class CHeapExhaustion {
public:
    explicit CHeapExhaustion(std::size_t floor) {
        m_blocks.reserve(1 << 16);
        for (std::size_t size = 256u << 20; size > floor; size /= 4)
            TakeAll(size);
        TakeAll(floor);
    }
    ~CHeapExhaustion() { Release(); }
    CHeapExhaustion(const CHeapExhaustion&) = delete;
    CHeapExhaustion& operator=(const CHeapExhaustion&) = delete;

    // Whether `size` bytes can be allocated now (the block is given back).
    static bool CanAllocate(std::size_t size) {
        void* block = std::malloc(size);
        std::free(block);
        return block != nullptr;
    }

    void Release() {
        for (void* block : m_blocks)
            std::free(block);
        m_blocks.clear();
    }

private:
    void TakeAll(std::size_t size) {
        while (m_blocks.size() < m_blocks.capacity()) {
            void* block = std::malloc(size);
            if (!block)
                return;
            m_blocks.push_back(block);
        }
    }

    std::vector<void*> m_blocks;
};

DWORD WINAPI RunFunction(void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return 0;
}

// Runs `work` on another thread and gives the milliseconds it took. A call
// that has not returned after ten seconds holds the log for good: the test
// program ends at once with exit code 3 rather than block every later test.
DWORD RunWithWatchdog(std::function<void()> work, const char* what) {
    const DWORD start = GetTickCount();
    const HANDLE thread = CreateThread(nullptr, 0, RunFunction, &work, 0, nullptr);
    if (!thread) {
        ADD_FAILURE() << "no thread for " << what;
        return 0;
    }
    if (WaitForSingleObject(thread, 10000) != WAIT_OBJECT_0) {
        std::fprintf(stdout, "watchdog: %s has not returned after 10 s; the log is held\n", what);
        std::fflush(stdout);
        TerminateProcess(GetCurrentProcess(), 3);
    }
    CloseHandle(thread);
    return GetTickCount() - start;
}

// On another thread: a line into the current log, a change of name, a
// rotation that renames the new file to ".1", and a change of name again.
void ExpectLogUsableFromAnotherThread(const std::string& next) {
    bool named = false;
    bool unnamed = false;
    const DWORD elapsed = RunWithWatchdog(
        [&] {
            FileLogger_PutLine("another thread logs");
            named = FileLogger_SetLogFileName(next.c_str());
            FileLogger_SetLogFileSize(0);
            FileLogger_PutLine("rotated away");
            unnamed = FileLogger_SetLogFileName(nullptr);
        },
        "the other thread's log calls");
    EXPECT_LT(elapsed, 1000u);
    EXPECT_TRUE(named);
    EXPECT_TRUE(unnamed);
    EXPECT_FALSE(FileExists(next));
    EXPECT_EQ("rotated away\r\n", ReadOrMissing(next + ".1"));
}

// The line's length is past the formatter's 512-byte first try, so its text
// goes to the heap.
std::string LongText() { return std::string(2000, 'x'); }

// ---------------------------------------------------------------------------
// A text that cannot be allocated
// ---------------------------------------------------------------------------

TEST_F(CLogTest, PutLineWhoseTextCannotBeAllocatedLeavesTheLogUsable) {
    const std::string log = UseLog();
    FileLogger_PutLine("before");
    const std::string text = LongText();
    bool exhausted = false;
    {
        CHeapExhaustion heap(text.size() + 1);
        exhausted = !CHeapExhaustion::CanAllocate(text.size() + 1);
        FileLogger_PutLine("%s", text.c_str());
        heap.Release();
    }
    ASSERT_TRUE(exhausted) << "the heap still had room, so the line's text was not refused";
    EXPECT_EQ("before\r\n", ReadOrMissing(log));
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
    EXPECT_EQ("before\r\nanother thread logs\r\n", ReadOrMissing(log));
}

TEST_F(CLogTest, PutWhoseTextCannotBeAllocatedLeavesTheLogUsable) {
    const std::string log = UseLog();
    FileLogger_PutLine("before");
    const std::string text = LongText();
    bool exhausted = false;
    {
        CHeapExhaustion heap(text.size() + 1);
        exhausted = !CHeapExhaustion::CanAllocate(text.size() + 1);
        FileLogger_Put("%s", text.c_str());
        heap.Release();
    }
    ASSERT_TRUE(exhausted) << "the heap still had room, so the text was not refused";
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
    EXPECT_EQ("before\r\nanother thread logs\r\n", ReadOrMissing(log));
}

TEST_F(CLogTest, SetLogFileNameWhoseCopyCannotBeAllocatedReturnsFalseAndLeavesNoName) {
    const std::string log = UseLog();
    const std::string longName = m_dir.File(std::string(1500, 'n'));
    bool result = true;
    {
        CHeapExhaustion heap(longName.size() + 1);
        result = FileLogger_SetLogFileName(longName.c_str());
        heap.Release();
    }
    EXPECT_FALSE(result);
    // No name: the line goes to standard error, not to the old file.
    vsktest::CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("without a name");
    EXPECT_EQ("without a name\n", capture.Finish()); // standard error is binary here
    EXPECT_FALSE(FileExists(log));
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
}

// ---------------------------------------------------------------------------
// An argument that cannot be read, under the crash guard
// ---------------------------------------------------------------------------

const char* const kUnreadable = reinterpret_cast<const char*>(1);

std::string GuardedMessage(const std::function<void()>& body) {
    try {
        vsk::detail::ExceptionFilterGuarded(body, "exit.cpp", 1, "Body");
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "<returned>";
}

TEST_F(CLogTest, PutLineOfAnUnreadableArgumentUnderTheCrashGuardLeavesTheLogUsable) {
    const std::string log = UseLog();
    EXPECT_EQ("\x97\x5C\x8A\xFA\x82\xB9\x82\xCA\x97\xE1\x8A\x4F\x82\xAA\x94\xAD\x90\xB6\x82\xB5\x82\xDC\x82\xB5\x82"
              "\xBD",
              GuardedMessage([] { FileLogger_PutLine("%s", kUnreadable); }));
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
    EXPECT_NE(std::string::npos, ReadOrMissing(log).find("\r\nanother thread logs\r\n"));
}

TEST_F(CLogTest, PutOfAnUnreadableArgumentUnderTheCrashGuardLeavesTheLogUsable) {
    const std::string log = UseLog();
    EXPECT_NE("<returned>", GuardedMessage([] { FileLogger_Put("%s", kUnreadable); }));
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
    EXPECT_NE(std::string::npos, ReadOrMissing(log).find("\r\nanother thread logs\r\n"));
}

// ---------------------------------------------------------------------------
// A stream write that fails: a pipe whose reader has gone
// ---------------------------------------------------------------------------

// The pipe takes neither line: the first goes whole to standard error when
// its write fails, and the stream is closed; the second finds no pipe to
// open (its one instance is gone) and goes to standard error as well.
TEST_F(CLogTest, PutLineWhoseWriteFailsGoesWholeToStandardErrorAndLeavesTheLogUsable) {
    vsktest::CPipeWithoutReader pipe("log-putline");
    ASSERT_TRUE(pipe.Ok());
    ASSERT_TRUE(FileLogger_SetLogFileName(pipe.Name().c_str()));
    const std::string text(8000, 'w');
    vsktest::CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("%s", text.c_str());
    FileLogger_PutLine("%s", text.c_str());
    EXPECT_EQ(text + "\n" + text + "\n", capture.Finish());
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
}

TEST_F(CLogTest, PutWhoseWriteFailsGoesWholeToStandardErrorAndLeavesTheLogUsable) {
    vsktest::CPipeWithoutReader pipe("log-put");
    ASSERT_TRUE(pipe.Ok());
    ASSERT_TRUE(FileLogger_SetLogFileName(pipe.Name().c_str()));
    const std::string text(8000, 'w');
    vsktest::CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_Put("%s", text.c_str());
    FileLogger_Put("%s", text.c_str());
    EXPECT_EQ(text + text, capture.Finish());
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
}

TEST_F(CLogTest, DumpWhoseWriteFailsLeavesTheLogUsable) {
    vsktest::CPipeWithoutReader pipe("log-dump");
    ASSERT_TRUE(pipe.Ok());
    ASSERT_TRUE(FileLogger_SetLogFileName(pipe.Name().c_str()));
    const std::string text(8000, 'w');
    FileLogger_Put("%s", text.c_str());
    FileLogger_Dump("dump.cpp", 2, "Dump");
    ExpectLogUsableFromAnotherThread(m_dir.File("next.log"));
}

} // namespace
