// Vskmemorymanager_fatal_test.cpp - the block pool's fatal misuses, run in a
// child program: the real message box is read and closed, and the child must
// then end with exit code 1. The check of a second free exists only in a
// debug build of the pool, so its cases run in a child built with one.
#include "platform/Win32.h"

#include "tests/support/MessageBoxWatcher.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using vsktest::CMessageBoxWatcher;

// "CMemoryManagerPool : newしたサイズがDWORDバイト未満です" in code page 932.
const std::string kSmallBlockText =
    "CMemoryManagerPool : new\x82\xb5\x82\xbd\x83\x54\x83\x43\x83\x59\x82\xaa"
    "DWORD\x83\x6f\x83\x43\x83\x67\x96\xa2\x96\x9e\x82\xc5\x82\xb7";
// "newしたアドレス以外をdeleteに渡した" in code page 932.
const std::string kForeignAddressText =
    "new\x82\xb5\x82\xbd\x83\x41\x83\x68\x83\x8c\x83\x58\x88\xc8\x8a\x4f\x82\xf0"
    "delete\x82\xc9\x93\x6e\x82\xb5\x82\xbd";
// "deleteしたアドレスをもう一度deleteに渡した" in code page 932.
const std::string kSecondFreeText =
    "delete\x82\xb5\x82\xbd\x83\x41\x83\x68\x83\x8c\x83\x58\x82\xf0\x82\xe0\x82\xa4\x88\xea\x93\x78"
    "delete\x82\xc9\x93\x6e\x82\xb5\x82\xbd";

// The child built against the library, and the one built with a debug build
// of the pool's own source (NDEBUG not defined).
const char kLibraryChild[] = "vsk_pool_child.exe";
const char kDebugChild[] = "vsk_pool_debug_child.exe";

struct ChildResult {
    bool started = false;
    bool ended = false;
    DWORD exitCode = 0;
    std::vector<CMessageBoxWatcher::Box> boxes;
};

// Runs the pool's child program `child` with `arguments` while a watcher
// closes the boxes of its main thread.
ChildResult RunChild(const std::string& arguments, const char* child = kLibraryChild) {
    ChildResult result;
    const std::string program = vsktest::ProgramFolder() + "\\" + child;
    std::string commandLine = "\"" + program + "\" " + arguments;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    result.started = CreateProcessA(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                    &startup, &info) != FALSE;
    if (!result.started)
        return result;
    {
        CMessageBoxWatcher watcher(info.dwThreadId);
        result.ended = WaitForSingleObject(info.hProcess, 120000) == WAIT_OBJECT_0;
        result.boxes = watcher.Boxes();
    }
    if (!result.ended)
        TerminateProcess(info.hProcess, 99);
    GetExitCodeProcess(info.hProcess, &result.exitCode);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return result;
}

// The caption that a message box without a caption of its own gets on this
// system, read from a box this test shows the same way.
std::string DefaultCaption() {
    CMessageBoxWatcher watcher;
    MessageBoxA(nullptr, "caption probe", nullptr, MB_OK);
    const std::vector<CMessageBoxWatcher::Box> boxes = watcher.Boxes();
    return boxes.empty() ? "<no box>" : boxes[0].caption;
}

void ExpectFatalBox(const ChildResult& child, const std::string& text) {
    ASSERT_TRUE(child.started) << vsktest::Win32ErrorText(GetLastError());
    ASSERT_TRUE(child.ended) << "the child did not end within 120 s";
    ASSERT_EQ(child.boxes.size(), 1u);
    EXPECT_EQ(child.boxes[0].text, text);
    EXPECT_EQ(child.boxes[0].caption, DefaultCaption());
    EXPECT_EQ(child.boxes[0].buttons, 1) << "one OK button";
    EXPECT_FALSE(child.boxes[0].icon) << "a plain MB_OK box";
    EXPECT_EQ(child.exitCode, 1u);
}

TEST(CMemoryManagerPoolFatal, ControlTheWatcherSeesAnIconWhereABoxHasOne) {
    CMessageBoxWatcher watcher;
    MessageBoxA(nullptr, "icon probe", nullptr, MB_OK | MB_ICONERROR);
    MessageBoxA(nullptr, "plain probe", nullptr, MB_OK);
    const std::vector<CMessageBoxWatcher::Box> boxes = watcher.Boxes();
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_TRUE(boxes[0].icon);
    EXPECT_FALSE(boxes[1].icon);
}

TEST(CMemoryManagerPoolFatal, ControlChildEndsNormallyWithoutABox) {
    const ChildResult child = RunChild("control");
    ASSERT_TRUE(child.started);
    ASSERT_TRUE(child.ended);
    EXPECT_TRUE(child.boxes.empty());
    EXPECT_EQ(child.exitCode, 0u);
}

TEST(CMemoryManagerPoolFatal, BlockSizeFourIsAccepted) {
    const ChildResult child = RunChild("small 4 0");
    ASSERT_TRUE(child.ended);
    EXPECT_TRUE(child.boxes.empty());
    EXPECT_EQ(child.exitCode, 2u);
}

TEST(CMemoryManagerPoolFatal, BlockSizeThreeEndsTheProcessEvenThoughRoundingWouldGiveFour) {
    ExpectFatalBox(RunChild("small 3 1"), kSmallBlockText);
}

TEST(CMemoryManagerPoolFatal, BlockSizeZeroUnalignedEndsTheProcess) {
    ExpectFatalBox(RunChild("small 0 0"), kSmallBlockText);
}

TEST(CMemoryManagerPoolFatal, FreeOfALargerHeapBlockEndsTheProcess) {
    ExpectFatalBox(RunChild("foreign-large"), kForeignAddressText);
}

TEST(CMemoryManagerPoolFatal, FreeOfAStackAddressEndsTheProcess) {
    ExpectFatalBox(RunChild("foreign-stack"), kForeignAddressText);
}

TEST(CMemoryManagerPoolFatal, FreeOfAnAddressInsideABlockEndsTheProcess) {
    ExpectFatalBox(RunChild("foreign-interior"), kForeignAddressText);
}

TEST(CMemoryManagerPoolFatal, FreeOfAnotherPoolsBlockEndsTheProcess) {
    ExpectFatalBox(RunChild("foreign-other-pool"), kForeignAddressText);
}

// The block freed last comes back from alloc without a second walk of the
// handed-out set; the set must still refuse a block of the same chunk that
// alloc never handed out.
TEST(CMemoryManagerPoolFatal, FreeOfANeverHandedOutBlockAfterAReuseEndsTheProcess) {
    ExpectFatalBox(RunChild("foreign-fresh-after-reuse"), kForeignAddressText);
}

// ---- a second free ----------------------------------------------------------

TEST(CMemoryManagerPoolFatal, DebugBuildSecondFreeOfTheBlockFreedLastEndsTheProcess) {
    ExpectFatalBox(RunChild("double-free", kDebugChild), kSecondFreeText);
}

TEST(CMemoryManagerPoolFatal, DebugBuildDoesNotCatchASecondFreeWithAnotherFreeInBetween) {
    const ChildResult child = RunChild("double-free-between", kDebugChild);
    ASSERT_TRUE(child.started) << vsktest::Win32ErrorText(GetLastError());
    ASSERT_TRUE(child.ended);
    EXPECT_TRUE(child.boxes.empty());
    EXPECT_EQ(child.exitCode, 2u);
}

TEST(CMemoryManagerPoolFatal, DebugBuildTakesABlockFreedAgainAfterItCameBackFromAlloc) {
    const ChildResult child = RunChild("free-alloc-free", kDebugChild);
    ASSERT_TRUE(child.started) << vsktest::Win32ErrorText(GetLastError());
    ASSERT_TRUE(child.ended);
    EXPECT_TRUE(child.boxes.empty());
    EXPECT_EQ(child.exitCode, 0u);
}

TEST(CMemoryManagerPoolFatal, DebugBuildKeepsTheOtherMisusesAsTheyAre) {
    ExpectFatalBox(RunChild("foreign-stack", kDebugChild), kForeignAddressText);
    ExpectFatalBox(RunChild("small 3 1", kDebugChild), kSmallBlockText);
    const ChildResult control = RunChild("control", kDebugChild);
    ASSERT_TRUE(control.ended);
    EXPECT_TRUE(control.boxes.empty());
    EXPECT_EQ(control.exitCode, 0u);
}

TEST(CMemoryManagerPoolFatal, ReleaseBuildSecondFreeIsNotDetected) {
#ifndef NDEBUG
    GTEST_SKIP() << "this is a debug build: its library catches the second free";
#endif
    const ChildResult child = RunChild("double-free");
    ASSERT_TRUE(child.started) << vsktest::Win32ErrorText(GetLastError());
    ASSERT_TRUE(child.ended);
    EXPECT_TRUE(child.boxes.empty());
    EXPECT_EQ(child.exitCode, 2u);
}

} // namespace
