// Filelogger_process_test.cpp - the log and the debug print seen from other
// processes: the debugger channel read by a real debugger loop, rotation
// while a child holds inherited handles, and a console made for a GUI program.
#include "diagnostics/Filelogger.h"
#include "diagnostics/VskDebug.h"

#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using vsktest::CLogTest;
using vsktest::FileExists;
using vsktest::ReadFileBytes;
using vsktest::ReadOrMissing;

struct CChild {
    PROCESS_INFORMATION info{};
    bool started = false;
    ~CChild() {
        if (!started)
            return;
        if (WaitForSingleObject(info.hProcess, 0) == WAIT_TIMEOUT)
            TerminateProcess(info.hProcess, 99);
        WaitForSingleObject(info.hProcess, 10000);
        CloseHandle(info.hThread);
        CloseHandle(info.hProcess);
    }
};

bool StartChild(CChild& child, const std::string& program, const std::string& arguments, DWORD flags,
                BOOL inheritHandles) {
    std::string commandLine = "\"" + program + "\" " + arguments;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    child.started = CreateProcessA(program.c_str(), &commandLine[0], nullptr, nullptr, inheritHandles, flags, nullptr,
                                   nullptr, &startup, &child.info) != FALSE;
    return child.started;
}

// ---------------------------------------------------------------------------
// The debugger channel
// ---------------------------------------------------------------------------

// Runs the child under the debug interface and collects every string it sends
// to the debugger, in order.
std::vector<std::string> DebugStringsOf(const std::string& arguments, std::string& error) {
    std::vector<std::string> strings;
    CChild child;
    const std::string program = vsktest::ProgramFolder() + "\\vsk_log_child.exe";
    if (!StartChild(child, program, arguments, DEBUG_ONLY_THIS_PROCESS, FALSE)) {
        error = "cannot start the child: " + vsktest::Win32ErrorText(GetLastError());
        return strings;
    }
    for (;;) {
        DEBUG_EVENT event;
        if (!WaitForDebugEvent(&event, 30000)) {
            error = "no debug event within 30 s";
            DebugActiveProcessStop(child.info.dwProcessId);
            return strings;
        }
        DWORD status = DBG_CONTINUE;
        switch (event.dwDebugEventCode) {
        case CREATE_PROCESS_DEBUG_EVENT:
            if (event.u.CreateProcessInfo.hFile)
                CloseHandle(event.u.CreateProcessInfo.hFile);
            break;
        case LOAD_DLL_DEBUG_EVENT:
            if (event.u.LoadDll.hFile)
                CloseHandle(event.u.LoadDll.hFile);
            break;
        case OUTPUT_DEBUG_STRING_EVENT: {
            const OUTPUT_DEBUG_STRING_INFO& info = event.u.DebugString;
            std::string text(info.nDebugStringLength, '\0');
            SIZE_T read = 0;
            ReadProcessMemory(child.info.hProcess, info.lpDebugStringData, &text[0], text.size(), &read);
            text.resize(read);
            if (!text.empty() && text.back() == '\0')
                text.pop_back();
            if (info.fUnicode)
                text = "<unicode>";
            strings.push_back(text);
            break;
        }
        case EXCEPTION_DEBUG_EVENT:
            if (event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT)
                status = DBG_EXCEPTION_NOT_HANDLED;
            break;
        default:
            break;
        }
        const bool exited = event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT;
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
        if (exited)
            break;
    }
    return strings;
}

// The strings between two markers.
std::vector<std::string> Between(const std::vector<std::string>& strings, const std::string& from,
                                 const std::string& to) {
    std::vector<std::string> result;
    bool inside = false;
    for (const std::string& s : strings) {
        if (s == from) {
            inside = true;
        } else if (s == to) {
            break;
        } else if (inside) {
            result.push_back(s);
        }
    }
    return result;
}

class DebuggerChannel : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_strings = DebugStringsOf("debugprint", s_error);
    }
    void SetUp() override {
        ASSERT_TRUE(s_error.empty()) << s_error;
        ASSERT_FALSE(s_strings.empty()) << "the debugger received nothing";
        ASSERT_EQ(s_strings.back(), "<end>");
    }
    static std::vector<std::string> s_strings;
    static std::string s_error;
};

std::vector<std::string> DebuggerChannel::s_strings;
std::string DebuggerChannel::s_error;

TEST_F(DebuggerChannel, DebugPrintSendsExactlyTheFormattedText) {
    EXPECT_EQ(Between(s_strings, "<begin>", "<mid>"), std::vector<std::string>{"5"});
}

TEST_F(DebuggerChannel, DebugPrintBCBSendsNothing) {
    EXPECT_EQ(Between(s_strings, "<mid>", "<nul>"), std::vector<std::string>{});
}

TEST_F(DebuggerChannel, DebugPrintEndsTheTextAtItsFirstNul) {
    EXPECT_EQ(Between(s_strings, "<nul>", "<long>"), std::vector<std::string>{"a"});
}

TEST_F(DebuggerChannel, DebugPrintOfMoreThanTheFirstBufferIsSentWhole) {
    EXPECT_EQ(Between(s_strings, "<long>", "<end>"), std::vector<std::string>{std::string(1000, 'x')});
}

TEST_F(CLogTest, DebugPrintAndDebugPrintBCBWriteNothingToTheLogOrStandardError) {
    const std::string log = UseLog();
    vsktest::CStderrCapture capture(m_dir.File("stderr.txt"));
    VskDebugPrint("%d", 5);
    VskDebugPrintBCB("%d", 5);
    FileLogger_SetLogFileName(nullptr);
    VskDebugPrint("%d", 5);
    VskDebugPrintBCB("%d", 5);
    EXPECT_EQ(capture.Finish(), "");
    EXPECT_FALSE(FileExists(log));
}

// ---------------------------------------------------------------------------
// Child processes that inherit handles
// ---------------------------------------------------------------------------

struct CEvent {
    HANDLE handle;
    std::string name;
    CEvent() {
        char text[64];
        static int counter = 0;
        std::snprintf(text, sizeof text, "vsk-log-child-%lu-%d", GetCurrentProcessId(), ++counter);
        name = text;
        handle = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    }
    ~CEvent() { CloseHandle(handle); }
};

// Lets a waiting child go and checks that it ends normally.
void Release(CChild& child, CEvent& event) {
    SetEvent(event.handle);
    EXPECT_EQ(WaitForSingleObject(child.info.hProcess, 20000), WAIT_OBJECT_0);
    DWORD code = 0;
    GetExitCodeProcess(child.info.hProcess, &code);
    EXPECT_EQ(code, 0u);
}

TEST_F(CLogTest, ChildStartedWithInheritanceDoesNotStopRotation) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(2);
    FileLogger_PutLine("open before the child starts");
    CEvent event;
    CChild child;
    ASSERT_TRUE(StartChild(child, vsktest::ProgramFolder() + "\\vsk_log_child.exe", "wait " + event.name, 0, TRUE))
        << vsktest::Win32ErrorText(GetLastError());
    const std::string line(998, 'c'); // 1000 bytes with CR LF
    FileLogger_PutLine("%s", line.c_str());
    EXPECT_FALSE(FileExists(log)) << "the file was renamed while the child runs";
    EXPECT_TRUE(FileExists(log + ".1"));
    FileLogger_PutLine("after");
    EXPECT_EQ(ReadOrMissing(log), "after\r\n");
    // Once more with the reopened file, the child still running.
    const std::string longer(1020, 'd'); // 7 + 1022 bytes pass the limit
    FileLogger_PutLine("%s", longer.c_str());
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ(ReadOrMissing(log + ".2").size(), 1030u);
    EXPECT_EQ(ReadOrMissing(log + ".1"), "after\r\n" + longer + "\r\n");
    Release(child, event);
}

TEST(InheritedHandleControl, AFileOpenedWithoutTheFlagIsHeldOpenByAChild) {
    // Shows that the test above can fail: a stream opened with plain "a" is
    // inherited, and the child's copy keeps the file from being renamed.
    vsktest::CTempDir dir;
    const std::string path = dir.File("plain.log");
    FILE* f = std::fopen(path.c_str(), "a");
    ASSERT_NE(f, nullptr);
    std::fputs("x\n", f);
    std::fflush(f);
    CEvent event;
    CChild child;
    ASSERT_TRUE(StartChild(child, vsktest::ProgramFolder() + "\\vsk_log_child.exe", "wait " + event.name, 0, TRUE));
    std::fclose(f);
    const bool renamed = MoveFileA(path.c_str(), (path + ".1").c_str()) != FALSE;
    const DWORD error = GetLastError();
    Release(child, event);
    EXPECT_FALSE(renamed) << "the child's inherited handle must keep the file open";
    if (!renamed) {
        EXPECT_EQ(error, static_cast<DWORD>(ERROR_SHARING_VIOLATION)) << vsktest::Win32ErrorText(error);
    }
}

// ---------------------------------------------------------------------------
// A console for a GUI program
// ---------------------------------------------------------------------------

TEST(AllocConsole, GuiProgramGetsAConsoleWithItsThreeStandardStreams) {
    vsktest::CTempDir dir;
    const std::string result = dir.File("console.txt");
    CChild child;
    // Windows never attaches a GUI program to its parent's console; Wine 8
    // attaches it to the (hidden) console of a console parent, where
    // AllocConsole then fails. DETACHED_PROCESS gives the Windows start.
    const std::string program = vsktest::ProgramFolder() + "\\vsk_log_gui_child.exe";
    ASSERT_TRUE(StartChild(child, program, result, DETACHED_PROCESS, FALSE))
        << vsktest::Win32ErrorText(GetLastError());
    ASSERT_EQ(WaitForSingleObject(child.info.hProcess, 60000), WAIT_OBJECT_0);
    DWORD code = 1;
    GetExitCodeProcess(child.info.hProcess, &code);
    ASSERT_EQ(code, 0u);
    EXPECT_EQ(ReadOrMissing(result), "initialized STDOUT\n"
                                     "initialized STDIN\n"
                                     "initialized STDERR\n"
                                     "log line 7\n"
                                     "stdout-console=1\n");
}

} // namespace

namespace {

// Runs the GUI child in `mode` (its result file last) and gives the result
// file's text.
std::string RunGuiChild(const std::string& mode, const vsktest::CTempDir& dir) {
    const std::string result = dir.File("console.txt");
    const std::string program = vsktest::ProgramFolder() + "\\vsk_log_gui_child.exe";
    std::string commandLine = "\"" + program + "\" " + mode + " " + result;
    STARTUPINFOA plain{};
    plain.cb = sizeof plain;
    CChild child;
    child.started = CreateProcessA(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, DETACHED_PROCESS,
                                   nullptr, nullptr, &plain, &child.info) != FALSE;
    if (!child.started)
        return "<not started: " + vsktest::Win32ErrorText(GetLastError()) + ">";
    if (WaitForSingleObject(child.info.hProcess, 60000) != WAIT_OBJECT_0)
        return "<child did not end>";
    DWORD code = 1;
    GetExitCodeProcess(child.info.hProcess, &code);
    if (code != 0)
        return "<child exit code " + std::to_string(code) + ">";
    return ReadOrMissing(result);
}

} // namespace

// The process has a console already, so AllocConsole fails: the call only
// closes the log's stream (the log file can be renamed) and writes nothing.
TEST(AllocConsole, WhenAllocConsoleFailsOnlyTheStreamIsClosedAndNothingIsWritten) {
    vsktest::CTempDir dir;
    EXPECT_EQ("moved=1\n", RunGuiChild("twice", dir));
}

// An invalid standard input: after the output is attached and announced, the
// last error (6) is printed as eight hexadecimal digits and nothing else
// follows (no input or error stream is attached). A new console always gives
// a valid input handle here, even to a program whose parent handed over the
// invalid value, so the child's lookup of the standard handles is replaced.
TEST(AllocConsole, InvalidInputHandlePrintsTheLastErrorAsEightHexDigitsDrivenByALookupBecauseANewConsoleAlwaysHasInput) {
    vsktest::CTempDir dir;
    EXPECT_EQ("initialized STDOUT\n00000006\n", RunGuiChild("noinput", dir));
}

TEST(FreeConsole, ClosesTheLogsStreamAndDetachesTheConsole) {
    vsktest::CTempDir dir;
    EXPECT_EQ("console=0\nmoved=1\n", RunGuiChild("freeconsole", dir));
}
