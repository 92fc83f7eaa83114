// Dirinfo_test.cpp - CDirInfo on real folders under a temporary folder, and
// the failures a real folder cannot produce through replaced search calls.
#include "files/Dirinfo.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"
#include "files/internal/DirinfoHooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using vsktest::CTempDir;

std::vector<std::string> Names(const CDirInfo& info) {
    std::vector<std::string> names;
    for (const WIN32_FIND_DATAA* record : info.DirInfoList)
        names.push_back(record->cFileName);
    return names;
}

std::set<std::string> NameSet(const CDirInfo& info) {
    const std::vector<std::string> names = Names(info);
    return std::set<std::string>(names.begin(), names.end());
}

// The system's own listing, for comparison.
std::vector<std::string> SystemNames(const std::string& pattern) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA record;
    const HANDLE search = FindFirstFileA(pattern.c_str(), &record);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do
        names.push_back(record.cFileName);
    while (FindNextFileA(search, &record));
    FindClose(search);
    return names;
}

// Restores the system's search calls when a test that replaced them ends.
class CFindCallsRestorer {
public:
    ~CFindCallsRestorer() {
        vsk::detail::SetFindFirstFileFunction(nullptr);
        vsk::detail::SetFindNextFileFunction(nullptr);
    }
};

} // namespace

static_assert(std::has_virtual_destructor<CDirInfo>::value, "CDirInfo is polymorphic");
static_assert(!std::is_copy_constructible<CDirInfo>::value && !std::is_copy_assignable<CDirInfo>::value,
              "CDirInfo owns its records: not copyable");

TEST(CDirInfo, FindRecordIs320Bytes) { EXPECT_EQ(320u, sizeof(WIN32_FIND_DATAA)); }

TEST(CDirInfo, NewObjectHasAnEmptyList) {
    CDirInfo info;
    EXPECT_TRUE(info.DirInfoList.empty());
}

TEST(CDirInfo, ListsFilesAndFoldersWithDotEntriesInSystemOrder) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("a.txt"), "abc");
    vsktest::WriteFileBytes(dir.File("b.bin"), std::string(1000, 'x'));
    ASSERT_TRUE(CreateDirectoryA(dir.File("sub").c_str(), nullptr));

    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo((dir.Path() + "\\*.*").c_str()));
    EXPECT_EQ(SystemNames(dir.Path() + "\\*.*"), Names(info));
    EXPECT_EQ((std::set<std::string>{".", "..", "a.txt", "b.bin", "sub"}), NameSet(info));
    for (const WIN32_FIND_DATAA* record : info.DirInfoList) {
        const std::string name = record->cFileName;
        SCOPED_TRACE(name);
        const bool folder = (record->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        EXPECT_EQ(name == "." || name == ".." || name == "sub", folder);
        if (name == "b.bin") {
            EXPECT_EQ(1000u, record->nFileSizeLow);
            EXPECT_EQ(0u, record->nFileSizeHigh);
        }
    }
}

TEST(CDirInfo, EachRecordIsASeparateCopyOfTheWholeFindRecord) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("one"), "1");
    vsktest::WriteFileBytes(dir.File("two"), "22");

    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("*").c_str()));
    ASSERT_EQ(4u, info.DirInfoList.size());
    std::set<const void*> addresses(info.DirInfoList.begin(), info.DirInfoList.end());
    EXPECT_EQ(4u, addresses.size());
    // The whole record is copied: the alternate name and times as the system gave them.
    WIN32_FIND_DATAA system;
    const HANDLE search = FindFirstFileA(dir.File("two").c_str(), &system);
    ASSERT_NE(INVALID_HANDLE_VALUE, search);
    FindClose(search);
    for (const WIN32_FIND_DATAA* record : info.DirInfoList) {
        if (std::string(record->cFileName) != "two")
            continue;
        EXPECT_EQ(system.nFileSizeLow, record->nFileSizeLow);
        EXPECT_EQ(system.ftLastWriteTime.dwLowDateTime, record->ftLastWriteTime.dwLowDateTime);
        EXPECT_EQ(system.ftLastWriteTime.dwHighDateTime, record->ftLastWriteTime.dwHighDateTime);
        EXPECT_STREQ(system.cAlternateFileName, record->cAlternateFileName);
    }
}

TEST(CDirInfo, PatternWithWildCardsListsOnlyTheMatches) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("x1.log"), "");
    vsktest::WriteFileBytes(dir.File("x2.log"), "");
    vsktest::WriteFileBytes(dir.File("y.txt"), "");

    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("*.log").c_str()));
    EXPECT_EQ((std::set<std::string>{"x1.log", "x2.log"}), NameSet(info));
}

TEST(CDirInfo, PatternMatchingNothingInAnExistingFolderGivesZeroAndAnEmptyList) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("a.txt"), "");

    CDirInfo info;
    SetLastError(0);
    EXPECT_EQ(0, info.GetDirInfo(dir.File("*.none").c_str()));
    EXPECT_TRUE(info.DirInfoList.empty());
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
}

TEST(CDirInfo, PatternInAMissingFolderGivesMinusOne) {
    CTempDir dir;
    CDirInfo info;
    EXPECT_EQ(-1, info.GetDirInfo((dir.Path() + "\\missing\\*.*").c_str()));
    EXPECT_TRUE(info.DirInfoList.empty());
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
}

TEST(CDirInfo, SecondSearchFreesTheFirstListing) {
    CTempDir dir;
    ASSERT_TRUE(CreateDirectoryA(dir.File("first").c_str(), nullptr));
    ASSERT_TRUE(CreateDirectoryA(dir.File("second").c_str(), nullptr));
    vsktest::WriteFileBytes(dir.File("first\\a"), "");
    vsktest::WriteFileBytes(dir.File("first\\b"), "");
    vsktest::WriteFileBytes(dir.File("second\\c"), "");

    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("first\\*.*").c_str()));
    ASSERT_EQ((std::set<std::string>{".", "..", "a", "b"}), NameSet(info));
    ASSERT_EQ(0, info.GetDirInfo(dir.File("second\\*.*").c_str()));
    EXPECT_EQ((std::set<std::string>{".", "..", "c"}), NameSet(info));
    // A failing search also starts from an empty list.
    EXPECT_EQ(-1, info.GetDirInfo(dir.File("gone\\*.*").c_str()));
    EXPECT_TRUE(info.DirInfoList.empty());
}

TEST(CDirInfo, ReleaseDirInfoEmptiesTheListAndMayBeRepeated) {
    CTempDir dir;
    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("*.*").c_str()));
    EXPECT_EQ(2u, info.DirInfoList.size());
    info.ReleaseDirInfo();
    EXPECT_TRUE(info.DirInfoList.empty());
    info.ReleaseDirInfo();
    EXPECT_TRUE(info.DirInfoList.empty());
}

TEST(CDirInfo, DotEntriesAppearForANonRootFolder) {
    CTempDir dir;
    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo((dir.Path() + "\\*.*").c_str()));
    const std::vector<std::string> names = Names(info);
    EXPECT_NE(names.end(), std::find(names.begin(), names.end(), "."));
    EXPECT_NE(names.end(), std::find(names.begin(), names.end(), ".."));
}

TEST(CDirInfo, ThousandEntriesAreAllListed) {
    CTempDir dir;
    for (int i = 0; i < 1000; ++i)
        vsktest::WriteFileBytes(dir.File("f" + std::to_string(i)), "");
    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("*.*").c_str()));
    EXPECT_EQ(1002u, info.DirInfoList.size());
    EXPECT_EQ(1002u, NameSet(info).size());
}

TEST(CDirInfo, DoubleByteNameWithTrailByte5CIsListed) {
    CTempDir dir;
    const std::string name = "\x95\x5C\x8E\xA6.txt"; // "表示.txt" in code page 932
    vsktest::WriteFileBytes(dir.File(name), "z");
    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("*.txt").c_str()));
    ASSERT_EQ(1u, info.DirInfoList.size());
    EXPECT_EQ(name, info.DirInfoList[0]->cFileName);
}

TEST(CDirInfo, TheSearchHandleIsClosedWhenTheListingEnds) {
    CTempDir dir;
    ASSERT_TRUE(CreateDirectoryA(dir.File("sub").c_str(), nullptr));
    vsktest::WriteFileBytes(dir.File("sub\\a"), "");
    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("sub\\*.*").c_str()));
    // An open search would keep the folder from being removed on Windows, and
    // would show up as a handle in the count.
    const unsigned long before = vsktest::OpenHandleCount();
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(0, info.GetDirInfo(dir.File("sub\\*.*").c_str()));
    EXPECT_EQ(before, vsktest::OpenHandleCount());
    ASSERT_TRUE(DeleteFileA(dir.File("sub\\a").c_str()));
    EXPECT_TRUE(RemoveDirectoryA(dir.File("sub").c_str())) << vsktest::Win32ErrorText(GetLastError());
}

// A folder that may not be read cannot be made while the tests run with every
// right (as root, or as a Windows administrator with backup rights), so the
// first search call is replaced by one that refuses as such a folder does.
namespace {
HANDLE WINAPI FindFirstAccessDenied(const char*, WIN32_FIND_DATAA*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}
HANDLE WINAPI FindFirstSharingViolation(const char*, WIN32_FIND_DATAA*) {
    SetLastError(ERROR_SHARING_VIOLATION);
    return INVALID_HANDLE_VALUE;
}
int g_nextCalls = 0;
// Yields one record of the real search, then breaks off as a failing network
// folder does.
BOOL WINAPI FindNextBreaksAfterOne(HANDLE search, WIN32_FIND_DATAA* record) {
    if (g_nextCalls++ == 0)
        return FindNextFileA(search, record);
    SetLastError(ERROR_NETNAME_DELETED);
    return FALSE;
}
} // namespace

TEST(CDirInfo, MockedAccessDeniedFolderGivesZeroAndAnEmptyList) {
    const CFindCallsRestorer restorer;
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("a"), "");
    CDirInfo info;
    ASSERT_EQ(0, info.GetDirInfo(dir.File("*.*").c_str()));
    ASSERT_FALSE(info.DirInfoList.empty());
    vsk::detail::SetFindFirstFileFunction(FindFirstAccessDenied);
    EXPECT_EQ(0, info.GetDirInfo(dir.File("*.*").c_str()));
    EXPECT_TRUE(info.DirInfoList.empty());
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
}

TEST(CDirInfo, MockedOtherFirstSearchErrorGivesMinusOne) {
    const CFindCallsRestorer restorer;
    CTempDir dir;
    vsk::detail::SetFindFirstFileFunction(FindFirstSharingViolation);
    CDirInfo info;
    EXPECT_EQ(-1, info.GetDirInfo(dir.File("*.*").c_str()));
    EXPECT_TRUE(info.DirInfoList.empty());
}

TEST(CDirInfo, MockedSearchBreakingOffGivesMinusOneAndKeepsWhatWasRead) {
    const CFindCallsRestorer restorer;
    CTempDir dir;
    for (const char* name : {"a", "b", "c"})
        vsktest::WriteFileBytes(dir.File(name), "");
    g_nextCalls = 0;
    vsk::detail::SetFindNextFileFunction(FindNextBreaksAfterOne);
    CDirInfo info;
    EXPECT_EQ(-1, info.GetDirInfo(dir.File("*.*").c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_NETNAME_DELETED), GetLastError());
    const std::vector<std::string> expected = SystemNames(dir.File("*.*"));
    ASSERT_EQ(2u, info.DirInfoList.size());
    EXPECT_EQ(expected[0], info.DirInfoList[0]->cFileName);
    EXPECT_EQ(expected[1], info.DirInfoList[1]->cFileName);
}

TEST(CDirInfo, SettersReturnThePreviousFunctionAndNullRestoresTheSystem) {
    const CFindCallsRestorer restorer;
    const vsk::detail::FindFirstFileFn system = vsk::detail::SetFindFirstFileFunction(FindFirstAccessDenied);
    EXPECT_EQ(FindFirstAccessDenied, vsk::detail::SetFindFirstFileFunction(nullptr));
    EXPECT_EQ(system, vsk::detail::SetFindFirstFileFunction(nullptr));
    CTempDir dir;
    CDirInfo info;
    EXPECT_EQ(0, info.GetDirInfo(dir.File("*.*").c_str()));
    EXPECT_EQ(2u, info.DirInfoList.size());
}
