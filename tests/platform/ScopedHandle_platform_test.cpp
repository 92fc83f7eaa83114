// ScopedHandle_platform_test.cpp - the one owner of system handles, with
// real files, searches and memory.
#include "platform/ScopedHandle.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

using vsk::detail::CScopedFindHandle;
using vsk::detail::CScopedGlobalMemory;
using vsk::detail::CScopedKernelHandle;
using vsk::detail::CScopedLocalMemory;

namespace {

// Opens `path` for writing with no sharing: while this handle is open, no
// other open of the file succeeds.
HANDLE OpenExclusive(const std::string& path) {
    return CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool CanOpen(const std::string& path) {
    const HANDLE other = OpenExclusive(path);
    if (other == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(other);
    return true;
}

} // namespace

TEST(ScopedHandle, MovableButNotCopyable) {
    static_assert(!std::is_copy_constructible_v<CScopedKernelHandle>);
    static_assert(!std::is_copy_assignable_v<CScopedKernelHandle>);
    static_assert(std::is_nothrow_move_constructible_v<CScopedKernelHandle>);
    static_assert(std::is_nothrow_move_assignable_v<CScopedKernelHandle>);
    SUCCEED();
}

TEST(ScopedHandle, ClosesTheFileWhenItGoes) {
    vsktest::CTempDir dir;
    const std::string path = dir.Path() + "\\owned.txt";
    {
        const CScopedKernelHandle file(OpenExclusive(path));
        ASSERT_TRUE(file);
        EXPECT_FALSE(CanOpen(path)) << "held without sharing";
    }
    EXPECT_TRUE(CanOpen(path)) << "closed at the end of its scope";
}

TEST(ScopedHandle, AMoveHandsTheHandleOverAndClosesOnlyOnce) {
    vsktest::CTempDir dir;
    const std::string path = dir.Path() + "\\moved.txt";
    CScopedKernelHandle outer;
    EXPECT_FALSE(outer);
    {
        CScopedKernelHandle inner(OpenExclusive(path));
        const HANDLE raw = inner.Get();
        outer = std::move(inner);
        EXPECT_FALSE(inner);
        EXPECT_EQ(raw, outer.Get());
    }
    EXPECT_FALSE(CanOpen(path)) << "the moved-from owner closed nothing";
    outer.Reset();
    EXPECT_TRUE(CanOpen(path));
}

TEST(ScopedHandle, ReleaseGivesTheHandleUpWithoutClosingIt) {
    vsktest::CTempDir dir;
    const std::string path = dir.Path() + "\\released.txt";
    HANDLE raw;
    {
        CScopedKernelHandle file(OpenExclusive(path));
        raw = file.Release();
        EXPECT_FALSE(file);
    }
    EXPECT_FALSE(CanOpen(path));
    EXPECT_TRUE(CloseHandle(raw));
}

TEST(ScopedHandle, TheInvalidHandleValueAndNullAreNotHeld) {
    const CScopedKernelHandle failedOpen(CreateFileA("Z:\\no\\such\\folder\\file.txt", GENERIC_READ, 0, nullptr,
                                                     OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(failedOpen);
    const CScopedKernelHandle none(nullptr);
    EXPECT_FALSE(none);
}

TEST(ScopedHandle, ClosingKeepsTheThreadsLastError) {
    vsktest::CTempDir dir;
    {
        const CScopedKernelHandle file(OpenExclusive(dir.Path() + "\\error.txt"));
        SetLastError(ERROR_FILE_EXISTS);
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_EXISTS), GetLastError());
    {
        CScopedKernelHandle file(OpenExclusive(dir.Path() + "\\error2.txt"));
        SetLastError(ERROR_DISK_FULL);
        file.Reset();
        EXPECT_EQ(static_cast<DWORD>(ERROR_DISK_FULL), GetLastError());
    }
}

TEST(ScopedHandle, AFindHandleIsClosedSoTheFolderCanGo) {
    vsktest::CTempDir dir;
    const std::string folder = dir.Path() + "\\searched";
    ASSERT_TRUE(CreateDirectoryA(folder.c_str(), nullptr));
    WIN32_FIND_DATAA record;
    {
        const CScopedFindHandle search(FindFirstFileA((folder + "\\*").c_str(), &record));
        ASSERT_TRUE(search);
        EXPECT_FALSE(FindNextFileA(search.Get(), &record) && FindNextFileA(search.Get(), &record));
    }
    EXPECT_TRUE(RemoveDirectoryA(folder.c_str())) << GetLastError();
    const CScopedFindHandle nothing(FindFirstFileA((folder + "\\*").c_str(), &record));
    EXPECT_FALSE(nothing);
}

// 3 GiB in 1 MiB blocks, more than a 32-bit process can hold at once: the
// loop gets through only if every block is freed when its owner goes.
TEST(ScopedHandle, LocalAndGlobalMemoryAreFreed) {
    constexpr SIZE_T kBlock = 1024 * 1024;
    for (int i = 0; i < 3072; ++i) {
        const CScopedLocalMemory local(LocalAlloc(LMEM_FIXED, kBlock));
        ASSERT_TRUE(local) << "local block " << i;
        const CScopedGlobalMemory global(GlobalAlloc(GMEM_MOVEABLE, kBlock));
        ASSERT_TRUE(global) << "global block " << i;
    }
}
