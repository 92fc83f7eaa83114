// Vskpipe_test.cpp - pipes, child processes with their standard streams on
// pipes, and a thread's window list, with a real child program.
#include "files/Commonfunctions.h"
#include "files/Vskpipe.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"
#include "files/internal/CommonfunctionsHooks.h"
#include "files/internal/VskpipeHooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// The child program built beside this test program.
std::string ChildPath() {
    char path[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string folder(path, n);
    folder.erase(folder.find_last_of('\\') + 1);
    return folder + "vsk_pipe_child.exe";
}

std::string ChildCommand(const std::string& arguments) {
    std::string command = "\"" + ChildPath() + "\"";
    if (!arguments.empty())
        command += " " + arguments;
    return command;
}

bool IsInheritable(void* handle) {
    DWORD flags = 0;
    if (!GetHandleInformation(handle, &flags))
        return false;
    return (flags & HANDLE_FLAG_INHERIT) != 0;
}

bool IsOpen(void* handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != 0;
}

// Reads until the end of the pipe (every write end closed).
std::string ReadToEnd(void* handle) {
    std::string all;
    char buffer[512];
    for (;;) {
        DWORD read = 0;
        if (!ReadFile(handle, buffer, sizeof buffer, &read, nullptr) || read == 0)
            break;
        all.append(buffer, read);
    }
    return all;
}

void WriteAll(void* handle, const std::string& bytes) {
    DWORD written = 0;
    ASSERT_TRUE(WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        << vsktest::Win32ErrorText(GetLastError());
    ASSERT_EQ(bytes.size(), written);
}

DWORD WaitExitCode(void* process) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 30000));
    DWORD code = 0xFFFFFFFF;
    GetExitCodeProcess(process, &code);
    return code;
}

// Records the pipe maker's arguments (and can make it fail), calling the
// system for the real pipes.
struct PipeCall {
    DWORD length;
    bool descriptorNull;
    BOOL inherit;
    unsigned long size;
};
std::vector<PipeCall> g_pipeCalls;
bool g_failPipe = false;

int __stdcall RecordingCreatePipe(void** read, void** write, void* attributes, unsigned long size) {
    auto* sa = static_cast<SECURITY_ATTRIBUTES*>(attributes);
    g_pipeCalls.push_back({sa->nLength, sa->lpSecurityDescriptor == nullptr, sa->bInheritHandle, size});
    if (g_failPipe) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    return CreatePipe(read, write, sa, size);
}

class RecordedPipes : public ::testing::Test {
protected:
    void SetUp() override {
        g_pipeCalls.clear();
        g_failPipe = false;
        m_previous = vsk::detail::SetCreatePipeFunction(RecordingCreatePipe);
    }
    void TearDown() override {
        vsk::detail::SetCreatePipeFunction(m_previous);
        g_failPipe = false;
    }
    vsk::detail::CreatePipeFn m_previous = nullptr;
};

} // namespace

TEST(CVskPipe, StartsWithBothEndsInvalid) {
    vsk::CVskPipe pipe;
    EXPECT_EQ(INVALID_HANDLE_VALUE, pipe.ReadHandle());
    EXPECT_EQ(INVALID_HANDLE_VALUE, pipe.WriteHandle());
}

TEST(CVskPipe, CreateMakesInheritableEndsThatCarryBytes) {
    vsk::CVskPipe pipe;
    pipe.Create(1, 0);
    ASSERT_NE(INVALID_HANDLE_VALUE, pipe.ReadHandle());
    ASSERT_NE(INVALID_HANDLE_VALUE, pipe.WriteHandle());
    EXPECT_TRUE(IsInheritable(pipe.ReadHandle()));
    EXPECT_TRUE(IsInheritable(pipe.WriteHandle()));
    WriteAll(pipe.WriteHandle(), "abc");
    pipe.CloseWrite();
    EXPECT_EQ(INVALID_HANDLE_VALUE, pipe.WriteHandle());
    EXPECT_EQ("abc", ReadToEnd(pipe.ReadHandle()));
}

TEST(CVskPipe, CreateWithoutInheritMakesPrivateEnds) {
    vsk::CVskPipe pipe;
    pipe.Create(0, 0);
    EXPECT_TRUE(IsOpen(pipe.ReadHandle()));
    EXPECT_FALSE(IsInheritable(pipe.ReadHandle()));
    EXPECT_FALSE(IsInheritable(pipe.WriteHandle()));
}

TEST_F(RecordedPipes, CreatePassesTwelveByteAttributesTheInheritFlagAndTheSize) {
    vsk::CVskPipe pipe;
    pipe.Create(1, 1);
    pipe.Create(0, 4096);
    ASSERT_EQ(2u, g_pipeCalls.size());
    EXPECT_EQ(12u, g_pipeCalls[0].length);
    EXPECT_TRUE(g_pipeCalls[0].descriptorNull);
    EXPECT_EQ(1, g_pipeCalls[0].inherit);
    EXPECT_EQ(1ul, g_pipeCalls[0].size);
    EXPECT_EQ(0, g_pipeCalls[1].inherit);
    EXPECT_EQ(4096ul, g_pipeCalls[1].size);
}

TEST_F(RecordedPipes, FailedCreateThrowsItsMessageAndKeepsTheEnds) {
    vsk::CVskPipe pipe;
    g_failPipe = true;
    try {
        pipe.Create(1, 0);
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        // "CVskPipe::Create() :"
        EXPECT_EQ(std::string("\x43\x56\x73\x6B\x50\x69\x70\x65\x3A\x3A\x43\x72\x65\x61\x74\x65\x28\x29\x20\x3A"),
                  e.what());
    }
    EXPECT_EQ(INVALID_HANDLE_VALUE, pipe.ReadHandle());
    EXPECT_EQ(INVALID_HANDLE_VALUE, pipe.WriteHandle());
}

TEST(CVskPipe, CreateAgainDoesNotCloseTheEndsItHeld) {
    vsk::CVskPipe pipe;
    pipe.Create(1, 0);
    void* firstRead = pipe.ReadHandle();
    void* firstWrite = pipe.WriteHandle();
    pipe.Create(1, 0);
    EXPECT_NE(firstRead, pipe.ReadHandle());
    EXPECT_TRUE(IsOpen(firstRead));
    EXPECT_TRUE(IsOpen(firstWrite));
    CloseHandle(firstRead);
    CloseHandle(firstWrite);
}

TEST(CVskPipe, CopyDuplicatesBothEndsInheritableOnTheSamePipe) {
    vsk::CVskPipe original;
    original.Create(0, 0);
    vsk::CVskPipe copy(original);
    EXPECT_NE(original.ReadHandle(), copy.ReadHandle());
    EXPECT_NE(original.WriteHandle(), copy.WriteHandle());
    EXPECT_TRUE(IsInheritable(copy.ReadHandle())) << "duplicates are inheritable even of private ends";
    EXPECT_TRUE(IsInheritable(copy.WriteHandle()));
    WriteAll(copy.WriteHandle(), "via copy");
    copy.CloseWrite();
    original.CloseWrite();
    EXPECT_EQ("via copy", ReadToEnd(original.ReadHandle()));
}

TEST(CVskPipe, AssignmentClosesHeldEndsAndDuplicatesTheSource) {
    vsk::CVskPipe source;
    source.Create(1, 0);
    vsk::CVskPipe target;
    target.Create(1, 0);
    HANDLE watch = INVALID_HANDLE_VALUE; // a private read end of the target's old pipe
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), target.ReadHandle(), GetCurrentProcess(), &watch, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    target = source;
    // The old pipe's only write end was closed by the assignment: its reader sees the end.
    EXPECT_EQ("", ReadToEnd(watch));
    EXPECT_EQ(static_cast<DWORD>(ERROR_BROKEN_PIPE), GetLastError());
    CloseHandle(watch);
    WriteAll(target.WriteHandle(), "x");
    target.CloseWrite();
    source.CloseWrite();
    EXPECT_EQ("x", ReadToEnd(source.ReadHandle()));
}

TEST(CVskPipe, SelfAssignmentKeepsTheEnds) {
    vsk::CVskPipe pipe;
    pipe.Create(1, 0);
    void* read = pipe.ReadHandle();
    void* write = pipe.WriteHandle();
    vsk::CVskPipe& alias = pipe;
    pipe = alias;
    EXPECT_EQ(read, pipe.ReadHandle());
    EXPECT_EQ(write, pipe.WriteHandle());
    EXPECT_TRUE(IsOpen(read));
    EXPECT_TRUE(IsOpen(write));
}

TEST(CVskPipe, AssigningAnEmptyPipeFirstClosesTheTargetsEnds) {
    vsk::CVskPipe target;
    target.Create(1, 0);
    HANDLE watch = INVALID_HANDLE_VALUE;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), target.ReadHandle(), GetCurrentProcess(), &watch, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    vsk::CVskPipe empty;
    target = empty;
    EXPECT_EQ("", ReadToEnd(watch)) << "the write end was closed";
    EXPECT_EQ(static_cast<DWORD>(ERROR_BROKEN_PIPE), GetLastError());
    CloseHandle(watch);
}

TEST(CVskPipe, DestructorClosesBothEnds) {
    HANDLE watch = INVALID_HANDLE_VALUE;
    {
        vsk::CVskPipe pipe;
        pipe.Create(1, 0);
        ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), pipe.ReadHandle(), GetCurrentProcess(), &watch, 0, FALSE,
                                    DUPLICATE_SAME_ACCESS));
    }
    EXPECT_EQ("", ReadToEnd(watch));
    EXPECT_EQ(static_cast<DWORD>(ERROR_BROKEN_PIPE), GetLastError());
    CloseHandle(watch);
}

TEST(CreateProcessA, NullProcessAndThreadPointersCloseBothAndStillReturnTrue) {
    std::string command = ChildCommand("exit 0");
    const unsigned long before = vsktest::OpenHandleCount();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(vsk::CreateProcessA(nullptr, &command[0], SW_HIDE, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr))
            << vsktest::Win32ErrorText(GetLastError());
    }
    EXPECT_EQ(before, vsktest::OpenHandleCount()) << "no process or thread handle is left open";
}

TEST(CreateProcessA, HandsOverTheProcessAndThreadHandles) {
    std::string command = ChildCommand("exit 7");
    void* process = nullptr;
    void* thread = nullptr;
    ASSERT_TRUE(vsk::CreateProcessA(nullptr, &command[0], SW_HIDE, nullptr, &process, &thread, nullptr, nullptr,
                                    nullptr))
        << vsktest::Win32ErrorText(GetLastError());
    ASSERT_NE(nullptr, process);
    ASSERT_NE(nullptr, thread);
    EXPECT_EQ(7u, WaitExitCode(process));
    EXPECT_TRUE(IsInheritable(process)) << "the process attributes are inheritable";
    CloseHandle(thread);
    CloseHandle(process);
}

TEST(CreateProcessA, ChildSeesTheStartUpRecordWithShowWindowAndStandardHandles) {
    vsk::CVskPipe out;
    out.Create(1, 0);
    std::string command = ChildCommand("startup");
    void* process = nullptr;
    ASSERT_TRUE(vsk::CreateProcessA(nullptr, &command[0], SW_SHOWMINNOACTIVE, nullptr, &process, nullptr, nullptr,
                                    out.WriteHandle(), nullptr));
    out.CloseWrite();
    const std::string report = ReadToEnd(out.ReadHandle());
    EXPECT_EQ(0u, WaitExitCode(process));
    CloseHandle(process);
    EXPECT_EQ("cb=68 flags=257 show=7", report);
}

TEST(CreateProcessA, MissingProgramReturnsFalseWithTheSystemsLastError) {
    std::string command = "\"C:\\no\\such\\folder\\vsk-missing-program.exe\"";
    SetLastError(0);
    EXPECT_FALSE(vsk::CreateProcessA(nullptr, &command[0], SW_HIDE, nullptr, nullptr, nullptr, nullptr, nullptr,
                                     nullptr));
    const DWORD error = GetLastError();
    EXPECT_TRUE(error == ERROR_PATH_NOT_FOUND || error == ERROR_FILE_NOT_FOUND) << error;
}

TEST(CreateProcessA, CurrentDirectoryIsGivenToTheChild) {
    vsktest::CTempDir dir;
    std::string command = ChildCommand("exit 3");
    void* process = nullptr;
    ASSERT_TRUE(vsk::CreateProcessA(nullptr, &command[0], SW_HIDE, dir.Path().c_str(), &process, nullptr,
                                    nullptr, nullptr, nullptr));
    EXPECT_EQ(3u, WaitExitCode(process));
    CloseHandle(process);
    std::string badDir = ChildCommand("exit 3");
    EXPECT_FALSE(vsk::CreateProcessA(nullptr, &badDir[0], SW_HIDE, "C:\\no\\such\\folder", nullptr, nullptr,
                                     nullptr, nullptr, nullptr));
}

TEST_F(RecordedPipes, UsePipeEchoesInputAndReadsOutputAndErrorSeparately) {
    vsk::CVskPipe in, out, err;
    std::string command = ChildCommand("");
    void* process = nullptr;
    ASSERT_TRUE(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, &process, nullptr, &in, &out,
                                          &err))
        << vsktest::Win32ErrorText(GetLastError());
    ASSERT_EQ(3u, g_pipeCalls.size()) << "three pipes: output, error, input";
    for (const PipeCall& call : g_pipeCalls) {
        EXPECT_EQ(1, call.inherit);
        EXPECT_EQ(1ul, call.size);
    }
    EXPECT_TRUE(IsInheritable(in.WriteHandle()));
    EXPECT_TRUE(IsInheritable(out.ReadHandle()));
    // The child's ends are the caller's business: close them here.
    in.CloseRead();
    out.CloseWrite();
    err.CloseWrite();
    std::string output, error;
    std::thread outReader([&] { output = ReadToEnd(out.ReadHandle()); });
    std::thread errReader([&] { error = ReadToEnd(err.ReadHandle()); });
    // "日本語" in code page 932 and a long run, more than the pipe's buffer.
    const std::string input = "hello\r\n\x93\xFA\x96\x7B\x8C\xEA\r\n" + std::string(20000, 'z');
    // The child inherited a copy of the input's write end too, so its input
    // never ends by itself: 0x04 tells it to stop.
    WriteAll(in.WriteHandle(), input + "\x04");
    in.CloseWrite();
    outReader.join();
    errReader.join();
    EXPECT_EQ(0u, WaitExitCode(process));
    CloseHandle(process);
    EXPECT_EQ(input, output);
    EXPECT_EQ("VSK-CHILD-STDERR\n", error);
}

TEST_F(RecordedPipes, UsePipeWithOutputAndErrorAsOneObjectMakesOnePipeForBoth) {
    vsk::CVskPipe in, both;
    std::string command = ChildCommand("");
    void* process = nullptr;
    ASSERT_TRUE(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, &process, nullptr, &in, &both,
                                          &both));
    EXPECT_EQ(2u, g_pipeCalls.size()) << "one pipe for output and error, one for input";
    in.CloseRead();
    both.CloseWrite();
    std::string output;
    std::thread reader([&] { output = ReadToEnd(both.ReadHandle()); });
    WriteAll(in.WriteHandle(), "echo me\x04");
    in.CloseWrite();
    reader.join();
    EXPECT_EQ(0u, WaitExitCode(process));
    CloseHandle(process);
    // The child writes its marker before it reads: one stream, both texts in order.
    EXPECT_EQ("VSK-CHILD-STDERR\necho me", output);
}

TEST_F(RecordedPipes, UsePipeWithNoPipesBehavesLikeCreateProcessWithoutStandardHandles) {
    std::string command = ChildCommand("exit 5");
    void* process = nullptr;
    ASSERT_TRUE(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, &process, nullptr, nullptr,
                                          nullptr, nullptr));
    EXPECT_TRUE(g_pipeCalls.empty());
    EXPECT_EQ(5u, WaitExitCode(process));
    CloseHandle(process);
}

TEST_F(RecordedPipes, UsePipeOnlyForOutputLeavesTheOtherStreamsWithoutPipes) {
    vsk::CVskPipe out;
    std::string command = ChildCommand("startup");
    void* process = nullptr;
    ASSERT_TRUE(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, &process, nullptr, nullptr, &out,
                                          nullptr));
    EXPECT_EQ(1u, g_pipeCalls.size());
    out.CloseWrite();
    const std::string report = ReadToEnd(out.ReadHandle());
    EXPECT_EQ(0u, WaitExitCode(process));
    CloseHandle(process);
    EXPECT_EQ("cb=68 flags=257 show=0", report);
}

TEST_F(RecordedPipes, UsePipeWithAMissingProgramReturnsFalseKeepsTheLastErrorAndStillHandsOverThePipes) {
    vsk::CVskPipe in, out, err;
    std::string command = "\"C:\\no\\such\\folder\\vsk-missing-program.exe\"";
    SetLastError(0);
    EXPECT_FALSE(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, nullptr, nullptr, &in, &out,
                                           &err));
    const DWORD error = GetLastError();
    EXPECT_TRUE(error == ERROR_PATH_NOT_FOUND || error == ERROR_FILE_NOT_FOUND) << error;
    EXPECT_TRUE(IsOpen(in.WriteHandle()));
    EXPECT_TRUE(IsOpen(out.ReadHandle()));
    EXPECT_TRUE(IsOpen(err.ReadHandle()));
}

TEST_F(RecordedPipes, UsePipeLetsAFailedPipePassAsItsException) {
    vsk::CVskPipe out;
    g_failPipe = true;
    std::string command = ChildCommand("exit 0");
    EXPECT_THROW(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, nullptr, nullptr, nullptr, &out,
                                           nullptr),
                 std::runtime_error);
    EXPECT_EQ(INVALID_HANDLE_VALUE, out.ReadHandle());
}

TEST(GetWindowList, NullListIsAnInvalidArgument) {
    try {
        vsk::GetWindowList(GetCurrentThreadId(), nullptr);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        // "GetWindowList : list==NULL"
        EXPECT_EQ(std::string("\x47\x65\x74\x57\x69\x6E\x64\x6F\x77\x4C\x69\x73\x74\x20\x3A\x20"
                              "\x6C\x69\x73\x74\x3D\x3D\x4E\x55\x4C\x4C"),
                  e.what());
    }
}

TEST(GetWindowList, AppendsTheThreadsWindowsToANonEmptyList) {
    HWND first = CreateWindowExA(0, "STATIC", "one", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                 GetModuleHandleA(nullptr), nullptr);
    HWND second = CreateWindowExA(0, "STATIC", "two", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                  GetModuleHandleA(nullptr), nullptr);
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    void* const kept = reinterpret_cast<void*>(0x1234);
    std::vector<void*> list{kept};
    EXPECT_TRUE(vsk::GetWindowList(GetCurrentThreadId(), &list));
    ASSERT_GE(list.size(), 3u);
    EXPECT_EQ(kept, list[0]);
    EXPECT_NE(list.end(), std::find(list.begin() + 1, list.end(), static_cast<void*>(first)));
    EXPECT_NE(list.end(), std::find(list.begin() + 1, list.end(), static_cast<void*>(second)));
    DestroyWindow(first);
    DestroyWindow(second);
}

TEST(GetWindowList, ThreadWithoutWindowsAddsNothing) {
    std::vector<void*> list{nullptr};
    bool result = true;
    std::thread worker([&] { result = vsk::GetWindowList(GetCurrentThreadId(), &list); });
    worker.join();
    EXPECT_EQ(1u, list.size());
    EXPECT_FALSE(result) << "EnumThreadWindows returns 0 when it finds no window";
}

namespace {

int g_appends = 0;

// Appends like the library, but runs out of memory at the second window.
void AppendFailingAtTheSecond(std::vector<void*>* list, void* window) {
    if (++g_appends == 2)
        throw std::bad_alloc();
    list->push_back(window);
}

class CFailingWindowListAppend {
public:
    CFailingWindowListAppend() : m_previous(vsk::detail::SetWindowListAppend(&AppendFailingAtTheSecond)) {
        g_appends = 0;
    }
    ~CFailingWindowListAppend() { vsk::detail::SetWindowListAppend(m_previous); }
    CFailingWindowListAppend(const CFailingWindowListAppend&) = delete;
    CFailingWindowListAppend& operator=(const CFailingWindowListAppend&) = delete;

private:
    vsk::detail::WindowListAppendFn m_previous;
};

} // namespace

TEST(GetWindowList, AFailureInsideTheEnumerationIsThrownAfterItAndLeavesTheRestOutMockedBecauseMemoryDoesNotRunOutOnDemand) {
    std::vector<HWND> windows;
    for (int i = 0; i < 3; ++i) {
        windows.push_back(CreateWindowExA(0, "STATIC", "w", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                          GetModuleHandleA(nullptr), nullptr));
        ASSERT_NE(nullptr, windows.back());
    }
    std::vector<void*> list;
    {
        CFailingWindowListAppend failing;
        // The system's enumeration calls the library back; the exception
        // waits for the enumeration to return and leaves GetWindowList.
        EXPECT_THROW(vsk::GetWindowList(GetCurrentThreadId(), &list), std::bad_alloc);
        EXPECT_EQ(2, g_appends) << "no window is appended after the failure";
    }
    EXPECT_EQ(1u, list.size());
    for (HWND window : windows)
        DestroyWindow(window);
    // The next call is not touched by the earlier failure.
    std::vector<void*> again;
    EXPECT_NO_THROW(vsk::GetWindowList(GetCurrentThreadId(), &again));
}

namespace {

// Starts the child in its "handles" mode and gives what it reported.
std::string ChildHandles(const std::function<bool(char* command)>& start, const vsktest::CTempDir& dir) {
    const std::string report = dir.File("handles.txt");
    std::string command = ChildCommand("handles \"" + report + "\"");
    if (!start(&command[0]))
        return "<not started>";
    for (int i = 0; i < 300 && GetFileAttributesA(report.c_str()) == INVALID_FILE_ATTRIBUTES; ++i)
        Sleep(100);
    Sleep(200);
    return vsktest::ReadFileBytes(report);
}

} // namespace

// Standard handles that CreateProcessA is given as null are passed on as
// null. This platform puts the new console's handles in their place in the
// child (where the documented behaviour leaves them null), so what the child
// can tell apart is null from the invalid value: it never sees the invalid
// value for a null handle.
TEST(CreateProcessA, NullStandardHandlesArePassedAsNullNotAsTheInvalidValue) {
    vsktest::CTempDir dir;
    const std::string report = ChildHandles(
        [](char* command) {
            return vsk::CreateProcessA(nullptr, command, SW_HIDE, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        },
        dir);
    EXPECT_EQ(0u, report.find("in=")) << report;
    EXPECT_EQ(std::string::npos, report.find("ffffffff")) << report;
}

TEST(CreateProcessA, ChildRunsInANewConsoleOfItsOwn) {
    // This program's own console (if it has one) gets a title of its own, so
    // that a child sharing it would report that title.
    const bool parentHasConsole = SetConsoleTitleA("vsk-parent-console") != 0;
    vsktest::CTempDir dir;
    const std::string report = ChildHandles(
        [](char* command) {
            return vsk::CreateProcessA(nullptr, command, SW_HIDE, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        },
        dir);
    EXPECT_EQ(std::string::npos, report.find("title=<none>")) << report << " (parent console: " << parentHasConsole
                                                              << ")";
    EXPECT_EQ(std::string::npos, report.find("title=vsk-parent-console")) << report;
    EXPECT_NE(std::string::npos, report.find("title=")) << report;
}

TEST_F(RecordedPipes, UsePipePassesTheInvalidValueForStreamsWithoutAPipe) {
    vsktest::CTempDir dir;
    vsk::CVskPipe out;
    const std::string report = ChildHandles(
        [&](char* command) {
            return vsk::CreateProcessUsePipe(nullptr, command, SW_HIDE, nullptr, nullptr, nullptr, nullptr, &out,
                                             nullptr);
        },
        dir);
    EXPECT_EQ(0u, report.find("in=ffffffff out=")) << report;
    EXPECT_NE(std::string::npos, report.find(" err=ffffffff title=")) << report;
    EXPECT_EQ(std::string::npos, report.find("out=ffffffff")) << report;
}

namespace {

// Each pipe the recorder makes carries its number ("1", "2", "3") from the
// start, so that the caller's pipes tell in which order they were made.
int __stdcall NumberingCreatePipe(void** read, void** write, void* attributes, unsigned long size) {
    if (!RecordingCreatePipe(read, write, attributes, size))
        return FALSE;
    const char number = static_cast<char>('0' + g_pipeCalls.size());
    DWORD written = 0;
    WriteFile(*write, &number, 1, &written, nullptr);
    return TRUE;
}

// The first byte waiting in a pipe, without waiting for one.
std::string FirstByte(void* read) {
    DWORD available = 0;
    if (!PeekNamedPipe(read, nullptr, 0, nullptr, &available, nullptr) || available == 0)
        return "<empty>";
    char byte = 0;
    DWORD got = 0;
    ReadFile(read, &byte, 1, &got, nullptr);
    return std::string(1, byte);
}

} // namespace

TEST_F(RecordedPipes, UsePipeMakesTheOutputThenTheErrorThenTheInputPipe) {
    vsk::detail::SetCreatePipeFunction(NumberingCreatePipe);
    vsk::CVskPipe in, out, err;
    // No child reads or writes them: the program does not exist.
    std::string command = "\"C:\\no\\such\\folder\\vsk-missing-program.exe\"";
    EXPECT_FALSE(vsk::CreateProcessUsePipe(nullptr, &command[0], SW_HIDE, nullptr, nullptr, nullptr, &in, &out,
                                           &err));
    ASSERT_EQ(3u, g_pipeCalls.size());
    EXPECT_EQ("1", FirstByte(out.ReadHandle()));
    EXPECT_EQ("2", FirstByte(err.ReadHandle()));
    EXPECT_EQ("3", FirstByte(in.ReadHandle()));
}

namespace {

std::vector<void*> g_closed;

int __stdcall RecordingCloseHandle(void* handle) {
    g_closed.push_back(handle);
    return CloseHandle(handle);
}

// Records the handles that pipes close, in order, while it lives.
class CCloseRecorder {
public:
    CCloseRecorder() {
        g_closed.clear();
        m_previous = vsk::detail::SetCloseHandleFunction(RecordingCloseHandle);
    }
    ~CCloseRecorder() { vsk::detail::SetCloseHandleFunction(m_previous); }
    CCloseRecorder(const CCloseRecorder&) = delete;
    CCloseRecorder& operator=(const CCloseRecorder&) = delete;

private:
    vsk::detail::CloseHandleFn m_previous = nullptr;
};

} // namespace

TEST(CVskPipe, DestructorClosesTheWriteEndBeforeTheReadEndRecordedBecauseThePlatformCannotShowTheOrder) {
    vsk::CVskPipe* pipe = new vsk::CVskPipe;
    pipe->Create(0, 0);
    void* const read = pipe->ReadHandle();
    void* const write = pipe->WriteHandle();
    {
        CCloseRecorder recorder;
        delete pipe;
    }
    ASSERT_EQ(2u, g_closed.size());
    EXPECT_EQ(write, g_closed[0]);
    EXPECT_EQ(read, g_closed[1]);
}

TEST(CVskPipe, AssignmentClosesTheWriteEndBeforeTheReadEndRecordedBecauseThePlatformCannotShowTheOrder) {
    vsk::CVskPipe target;
    target.Create(0, 0);
    void* const read = target.ReadHandle();
    void* const write = target.WriteHandle();
    const vsk::CVskPipe empty;
    {
        CCloseRecorder recorder;
        target = empty;
    }
    ASSERT_EQ(2u, g_closed.size());
    EXPECT_EQ(write, g_closed[0]);
    EXPECT_EQ(read, g_closed[1]);
}
