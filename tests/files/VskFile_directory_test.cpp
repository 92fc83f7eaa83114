// VskFile_directory_test.cpp - CreateAllDirectory, RemoveDirectoryForce with
// its log reports, CanUseFileName, IsLocalPath and IsNetworkPath, on real
// folders under a temporary folder.
#include "files/VskFile.h"

#include "files/Dirinfo.h"
#include "platform/Win32.h"
#include "tests/diagnostics/LogTestSupport.h"
#include "tests/support/TestSupport.h"
#include "files/internal/DirinfoHooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

using vskfile::CanUseFileName;
using vskfile::CreateAllDirectory;
using vskfile::IsLocalPath;
using vskfile::IsNetworkPath;
using vskfile::RemoveDirectoryForce;
using vsktest::CLogTest;
using vsktest::CTempDir;
using vsktest::FileExists;
using vsktest::ReadOrMissing;

const char* const kHyou = "\x95\x5C"; // "表" in code page 932: trail byte '\'

bool IsFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// Every path under `folder` (relative, files and folders), for comparing trees.
void Collect(const std::string& folder, const std::string& prefix, std::set<std::string>& out) {
    CDirInfo info;
    if (info.GetDirInfo((folder + "\\*.*").c_str()) != 0)
        return;
    for (const WIN32_FIND_DATAA* entry : info.DirInfoList) {
        const std::string name = entry->cFileName;
        if (name == "." || name == "..")
            continue;
        out.insert(prefix + name);
        if (entry->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
            Collect(folder + "\\" + name, prefix + name + "\\", out);
    }
}

std::set<std::string> Tree(const std::string& folder) {
    std::set<std::string> out;
    Collect(folder, "", out);
    return out;
}

// The entries of `folder` in the order the system lists them, dots left out.
std::vector<std::string> ListingOrder(const std::string& folder) {
    CDirInfo info;
    EXPECT_EQ(0, info.GetDirInfo((folder + "\\*.*").c_str()));
    std::vector<std::string> names;
    for (const WIN32_FIND_DATAA* entry : info.DirInfoList)
        if (std::strcmp(entry->cFileName, ".") != 0 && std::strcmp(entry->cFileName, "..") != 0)
            names.push_back(entry->cFileName);
    return names;
}

void MakeFolder(const std::string& path) {
    ASSERT_TRUE(CreateDirectoryA(path.c_str(), nullptr)) << path << ": " << vsktest::Win32ErrorText(GetLastError());
}

// Sets the current folder for the scope and puts the old one back.
class CCurrentFolder {
public:
    explicit CCurrentFolder(const std::string& folder) {
        GetCurrentDirectoryA(MAX_PATH, m_saved);
        SetCurrentDirectoryA(folder.c_str());
    }
    ~CCurrentFolder() { SetCurrentDirectoryA(m_saved); }
    CCurrentFolder(const CCurrentFolder&) = delete;
    CCurrentFolder& operator=(const CCurrentFolder&) = delete;

private:
    char m_saved[MAX_PATH];
};

std::string Report(int line, const std::string& message) {
    return "<TS>VskFile(" + std::to_string(line) + "): RemoveDirectoryForce: " + message + "\r\n";
}

// ---- Paths that the narrow API cannot reach ---------------------------------
// The test reaches them itself through the wide API in the "\\?\" form, which
// takes every name as it is and any length.

std::wstring Wide(const std::string& text) {
    const int length = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    std::wstring wide(std::size_t(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, &wide[0], length);
    wide.resize(std::size_t(length) - 1);
    return wide;
}

// `path` (absolute, every name exact) in the "\\?\" form.
std::wstring Exact(const std::string& path) {
    return path.compare(0, 4, "\\\\?\\") == 0 ? Wide(path) : L"\\\\?\\" + Wide(path);
}

bool IsExactFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesW(Exact(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool ExactExists(const std::string& path) {
    return GetFileAttributesW(Exact(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

void WriteExactFile(const std::string& path, const std::string& bytes) {
    const HANDLE file = CreateFileW(Exact(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file) << path << ": " << vsktest::Win32ErrorText(GetLastError());
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, bytes.data(), DWORD(bytes.size()), &written, nullptr));
    CloseHandle(file);
}

// A folder path of exactly `length` bytes: `folder` + "\\" + `tag` + "\\" and
// as many `fill` bytes as it takes.
std::string PathOfLength(const std::string& folder, const std::string& tag, std::size_t length,
                         char fill = 'x') {
    const std::string parent = folder + "\\" + tag + "\\";
    EXPECT_LT(parent.size(), length);
    EXPECT_LE(length - parent.size(), 255u) << "one name holds at most 255 characters";
    return parent + std::string(length - parent.size(), fill);
}

} // namespace

// ---------------------------------------------------------------------------
// CAN_NOT_USE_FILE_NAME, CanUseFileName
// ---------------------------------------------------------------------------

TEST(CanNotUseFileName, IsTheElevenForbiddenCharacters) {
    EXPECT_STREQ("\x5C\x2F\x3A\x2C\x3B\x2A\x3F\x22\x3C\x3E\x7C", vskfile::CAN_NOT_USE_FILE_NAME);
    EXPECT_EQ(11u, std::strlen(vskfile::CAN_NOT_USE_FILE_NAME));
}

TEST(CanUseFileName, EachForbiddenCharacterIsRefusedAnywhere) {
    for (const char* c = vskfile::CAN_NOT_USE_FILE_NAME; *c; ++c) {
        SCOPED_TRACE(std::string(1, *c));
        EXPECT_FALSE(CanUseFileName((std::string(1, *c)).c_str()));
        EXPECT_FALSE(CanUseFileName(("name" + std::string(1, *c) + "x").c_str()));
        EXPECT_FALSE(CanUseFileName(("name." + std::string(1, *c)).c_str()));
    }
}

TEST(CanUseFileName, CommaAndSemicolonAreRefused) {
    EXPECT_FALSE(CanUseFileName("a,b"));
    EXPECT_FALSE(CanUseFileName("a;b"));
}

TEST(CanUseFileName, EmptyAndOrdinaryNamesAreAllowed) {
    EXPECT_TRUE(CanUseFileName(""));
    EXPECT_TRUE(CanUseFileName("report 2024 (final).txt"));
    EXPECT_TRUE(CanUseFileName("a.b.c"));
    EXPECT_TRUE(CanUseFileName("#$%&'()=~^[]{}@`+!"));
}

TEST(CanUseFileName, TrailByte5CIsNotABackslash) {
    EXPECT_TRUE(CanUseFileName(kHyou));
    EXPECT_TRUE(CanUseFileName((std::string(kHyou) + kHyou + ".txt").c_str()));
    EXPECT_TRUE(CanUseFileName("\x83\x7C")); // "ポ": trail byte '|'
    EXPECT_FALSE(CanUseFileName((std::string(kHyou) + "\\").c_str()));
    EXPECT_FALSE(CanUseFileName((std::string(kHyou) + "|").c_str()));
}

TEST(CanUseFileName, LeadByteAtTheEndDoesNotReadPastTheName) {
    // Forbidden characters lie just after each name's terminating NUL.
    const char afterLead[] = "ab\x95\0\\|";
    EXPECT_TRUE(CanUseFileName(afterLead));
    const char onlyLead[] = "\x95\0\\";
    EXPECT_TRUE(CanUseFileName(onlyLead));
    const char forbiddenBefore[] = "a|\x95\0";
    EXPECT_FALSE(CanUseFileName(forbiddenBefore));
}

TEST(CanUseFileName, NullNameIsRefusedAsABadArgument) {
    SetLastError(0);
    EXPECT_FALSE(CanUseFileName(nullptr));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(CanUseFileName, ThirtyTwoThousandCharacterName) {
    std::string name(32000, 'a');
    EXPECT_TRUE(CanUseFileName(name.c_str()));
    name.back() = '?';
    EXPECT_FALSE(CanUseFileName(name.c_str()));
}

// ---------------------------------------------------------------------------
// IsLocalPath, IsNetworkPath
// ---------------------------------------------------------------------------

TEST(IsLocalPath, LetterAndColonAtTheStart) {
    const struct {
        const char* path;
        bool local;
    } table[] = {
        {"c:", true},         {"C:\\x", true},      {"z:rel", true},   {"A:", true},
        {"1:", false},        {"\\\\srv\\x", false}, {"", false},       {"c", false},
        {":c", false},        {"@:", false},        {"[:", false},     {"`:", false},
        {"{:", false},        {"cc:", false},       {"\\c:", false},   {"\x82\x60:", false}, // full-width "Ａ"
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(row.local, IsLocalPath(row.path));
    }
    EXPECT_FALSE(IsLocalPath(nullptr));
}

TEST(IsNetworkPath, TwoBackslashesAtTheStart) {
    const struct {
        const char* path;
        bool network;
    } table[] = {
        {"\\\\srv", true}, {"\\\\", true},  {"\\\\?\\c:\\x", true}, {"\\x", false}, {"\\", false},
        {"", false},       {"c:\\", false}, {"//srv", false},       {"x\\\\", false},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(row.network, IsNetworkPath(row.path));
    }
    EXPECT_FALSE(IsNetworkPath(nullptr));
}

// ---------------------------------------------------------------------------
// CreateAllDirectory
// ---------------------------------------------------------------------------

TEST(CreateAllDirectory, MakesEveryMissingParent) {
    CTempDir dir;
    const std::string path = dir.File("a\\b\\c");
    EXPECT_TRUE(CreateAllDirectory(path.c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_TRUE(IsFolder(dir.File("a")));
    EXPECT_TRUE(IsFolder(dir.File("a\\b")));
    EXPECT_TRUE(IsFolder(path));
    EXPECT_EQ((std::set<std::string>{"a", "a\\b", "a\\b\\c"}), Tree(dir.Path()));
}

TEST(CreateAllDirectory, MakesAChainUnderTheDriveRoot) {
    const std::string top = "C:\\vskfile-cad-" + std::to_string(GetCurrentProcessId());
    const std::string path = top + "\\b\\c";
    ASSERT_FALSE(FileExists(top));
    EXPECT_TRUE(CreateAllDirectory(path.c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_TRUE(IsFolder(top));
    EXPECT_TRUE(IsFolder(top + "\\b"));
    EXPECT_TRUE(IsFolder(path));
    RemoveDirectoryA(path.c_str());
    RemoveDirectoryA((top + "\\b").c_str());
    EXPECT_TRUE(RemoveDirectoryA(top.c_str()));
}

TEST(CreateAllDirectory, ExistingFolderIsFalse) {
    CTempDir dir;
    SetLastError(0);
    EXPECT_FALSE(CreateAllDirectory(dir.Path().c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ALREADY_EXISTS), GetLastError());
    ASSERT_TRUE(CreateAllDirectory(dir.File("x\\y").c_str()));
    EXPECT_FALSE(CreateAllDirectory(dir.File("x\\y").c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ALREADY_EXISTS), GetLastError());
}

TEST(CreateAllDirectory, ExistingParentNeedsNoClimb) {
    CTempDir dir;
    EXPECT_TRUE(CreateAllDirectory(dir.File("only").c_str()));
    EXPECT_TRUE(IsFolder(dir.File("only")));
}

TEST(CreateAllDirectory, RelativeNameWithoutBackslashAndAMissingParentIsFalse) {
    CTempDir dir;
    const CCurrentFolder here(dir.Path());
    EXPECT_FALSE(CreateAllDirectory("nosuch/child"));
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_TRUE(Tree(dir.Path()).empty());
    // A relative name whose parent exists is made where the current folder is.
    EXPECT_TRUE(CreateAllDirectory("plain"));
    EXPECT_TRUE(CreateAllDirectory("rel\\deeper"));
    EXPECT_EQ((std::set<std::string>{"plain", "rel", "rel\\deeper"}), Tree(dir.Path()));
}

TEST(CreateAllDirectory, TrailingBackslashIsTrue) {
    CTempDir dir;
    EXPECT_TRUE(CreateAllDirectory(dir.File("x\\y\\").c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_EQ((std::set<std::string>{"x", "x\\y"}), Tree(dir.Path()));
}

TEST(CreateAllDirectory, DoubleByteNamesWithTrailByte5CAreNotSplit) {
    CTempDir dir;
    // The last byte of the path is 0x5C, the trail byte of "表".
    const std::string endsInTrail = dir.File(std::string("x\\a") + kHyou);
    EXPECT_TRUE(CreateAllDirectory(endsInTrail.c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_EQ((std::set<std::string>{"x", std::string("x\\a") + kHyou}), Tree(dir.Path()));

    const std::string nested = dir.File(std::string(kHyou) + "\\" + kHyou + "\\c");
    EXPECT_TRUE(CreateAllDirectory(nested.c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_TRUE(IsFolder(dir.File(kHyou)));
    EXPECT_TRUE(IsFolder(dir.File(std::string(kHyou) + "\\" + kHyou)));
    EXPECT_TRUE(IsFolder(nested));
    EXPECT_EQ((std::set<std::string>{"x", std::string("x\\a") + kHyou, kHyou, std::string(kHyou) + "\\" + kHyou,
                                     std::string(kHyou) + "\\" + kHyou + "\\c"}),
              Tree(dir.Path()));
}

TEST(CreateAllDirectory, LeadByteAtTheEndDoesNotReadPastThePath) {
    CTempDir dir;
    // The path ends in a lone lead byte; a "\\" lies after its terminating
    // NUL. The parent is found before the lead byte.
    std::string buffer = dir.File("miss\\a\x95");
    const std::size_t length = buffer.size();
    buffer += std::string("\0\\zz", 4);
    const bool made = CreateAllDirectory(buffer.c_str());
    EXPECT_EQ(length, std::strlen(buffer.c_str()));
    EXPECT_TRUE(IsFolder(dir.File("miss")));
    // Whatever the system makes of the lone lead byte, the result matches it.
    EXPECT_EQ(made ? 2u : 1u, Tree(dir.Path()).size());
}

TEST(CreateAllDirectory, FileInTheWayIsFalse) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("file"), "x");
    EXPECT_FALSE(CreateAllDirectory(dir.File("file\\sub\\deeper").c_str()));
    EXPECT_EQ((std::set<std::string>{"file"}), Tree(dir.Path()));
}

TEST(CreateAllDirectory, MissingDriveIsFalse) {
    // Drives are mapped down from C:; the last letters are free in the test prefix.
    char drive[] = "Q:\\a\\b";
    for (char letter = 'Q'; letter <= 'Y'; ++letter) {
        drive[0] = letter;
        const char root[] = {letter, ':', '\\', '\0'};
        if (GetDriveTypeA(root) == DRIVE_NO_ROOT_DIR)
            break;
    }
    EXPECT_FALSE(CreateAllDirectory(drive));
}

TEST(CreateAllDirectory, EmptyTooLongAndNullPathsAreFalse) {
    EXPECT_FALSE(CreateAllDirectory(""));
    CTempDir dir;
    std::string deep = dir.Path();
    while (deep.size() < 32000)
        deep += "\\abcdefghij";
    EXPECT_FALSE(CreateAllDirectory(deep.c_str()));
    EXPECT_TRUE(Tree(dir.Path()).size() < 40u); // stopped when the system refused the length
    SetLastError(0);
    EXPECT_FALSE(CreateAllDirectory(nullptr));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

// Windows makes no folder whose path is longer than 248 bytes through the
// narrow API without the "\\?\" form (room is kept for an 8.3 name below
// it); Wine makes them up to 260 bytes, the most its narrow functions take.
TEST(CreateAllDirectory, PlatformMakesPathsOf249To260BytesOnlyWhereItDeviates) {
    CTempDir dir;
    std::vector<bool> made249To260;
    for (const std::size_t length : {248u, 249u, 256u, 259u, 260u, 261u}) {
        SCOPED_TRACE(std::to_string(length) + " bytes");
        const std::string path = PathOfLength(dir.Path(), "L" + std::to_string(length), length);
        ASSERT_EQ(length, path.size());
        SetLastError(0);
        const bool made = CreateAllDirectory(path.c_str());
        const DWORD error = GetLastError();
        std::printf("platform CreateAllDirectory of a %u-byte path: %s\n", unsigned(length),
                    made ? (length > 248 ? "made (deviation)" : "made") : "refused");
        if (length <= 248) {
            EXPECT_TRUE(made) << vsktest::Win32ErrorText(error);
        } else if (length > 260) {
            EXPECT_FALSE(made);
            EXPECT_EQ(static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE), error);
        } else {
            made249To260.push_back(made);
            if (!made) {
                EXPECT_EQ(static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE), error);
            }
        }
        EXPECT_EQ(made, IsExactFolder(path));
    }
    EXPECT_EQ(std::count(made249To260.begin(), made249To260.end(), made249To260.front()),
              std::ptrdiff_t(made249To260.size()))
        << "every length from 249 to 260 bytes goes the same way";
}

// ---------------------------------------------------------------------------
// RemoveDirectoryForce
// ---------------------------------------------------------------------------

using RemoveDirectoryForceTest = CLogTest;

TEST_F(RemoveDirectoryForceTest, RemovesATreeFourLevelsDeepWithFiveHundredFiles) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("root");
    std::vector<std::string> folders{root};
    MakeFolder(root);
    for (int a = 0; a < 2; ++a) {
        const std::string pa = root + "\\a" + std::to_string(a);
        MakeFolder(pa);
        folders.push_back(pa);
        for (int b = 0; b < 3; ++b) {
            const std::string pb = pa + "\\b" + std::to_string(b);
            MakeFolder(pb);
            folders.push_back(pb);
            for (int c = 0; c < 2; ++c) {
                const std::string pc = pb + "\\c" + std::to_string(c);
                MakeFolder(pc);
                folders.push_back(pc);
            }
        }
    }
    MakeFolder(root + "\\" + kHyou);
    folders.push_back(root + "\\" + kHyou);
    for (int i = 0; i < 500; ++i)
        vsktest::WriteFileBytes(folders[i % folders.size()] + "\\f" + std::to_string(i) + ".dat", std::to_string(i));
    // Hidden and system files go as well (folders[19] is a1\b2\c0, folders[1] is a0).
    ASSERT_TRUE(SetFileAttributesA((folders[19] + "\\f19.dat").c_str(), FILE_ATTRIBUTE_HIDDEN));
    ASSERT_TRUE(SetFileAttributesA((folders[1] + "\\f1.dat").c_str(), FILE_ATTRIBUTE_SYSTEM));
    ASSERT_EQ(500u + folders.size() - 1, Tree(root).size());

    EXPECT_TRUE(RemoveDirectoryForce(root.c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_FALSE(FileExists(root));
    EXPECT_TRUE(Tree(work.Path()).empty());
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

TEST_F(RemoveDirectoryForceTest, EmptyFolderIsRemoved) {
    CTempDir work;
    MakeFolder(work.File("empty"));
    EXPECT_TRUE(RemoveDirectoryForce(work.File("empty").c_str()));
    EXPECT_FALSE(FileExists(work.File("empty")));
}

TEST_F(RemoveDirectoryForceTest, MissingFolderIsFalseWithoutAReport) {
    const std::string log = UseLog();
    CTempDir work;
    EXPECT_FALSE(RemoveDirectoryForce(work.File("missing").c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

TEST_F(RemoveDirectoryForceTest, NullPathIsFalseWithoutAReport) {
    const std::string log = UseLog();
    EXPECT_FALSE(RemoveDirectoryForce(nullptr));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

// The search is replaced so that a broken guard could never list and delete
// the real root of the drive; it only records that it was asked.
int g_searchesAsked = 0;

HANDLE WINAPI FindFirstRecordedAndRefused(const char*, WIN32_FIND_DATAA*) {
    ++g_searchesAsked;
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

TEST_F(RemoveDirectoryForceTest, MockedSearchEmptyPathIsRefusedAsPathNotFoundWithoutListingTheDriveRoot) {
    const std::string log = UseLog();
    g_searchesAsked = 0;
    vsk::detail::SetFindFirstFileFunction(FindFirstRecordedAndRefused);
    SetLastError(NO_ERROR);
    const bool removed = RemoveDirectoryForce("");
    const DWORD error = GetLastError();
    vsk::detail::SetFindFirstFileFunction(nullptr);
    EXPECT_FALSE(removed);
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), error);
    EXPECT_EQ(0, g_searchesAsked);
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

TEST_F(RemoveDirectoryForceTest, PathOfAFileIsFalseAndTheFileStays) {
    const std::string log = UseLog();
    CTempDir work;
    vsktest::WriteFileBytes(work.File("file"), "x");
    EXPECT_FALSE(RemoveDirectoryForce(work.File("file").c_str()));
    EXPECT_TRUE(FileExists(work.File("file")));
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

// The read-only file lies three folders down; every folder on the way up
// reports in turn. Entries the listing gives before the failing one are gone,
// the ones after it stay.
TEST_F(RemoveDirectoryForceTest, ReadOnlyFileStopsItAndReportsAtTheFixedLines) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("root");
    const std::string a = root + "\\a";
    const std::string b = a + "\\b";
    const std::string c = b + "\\c";
    for (const std::string& folder : {root, a, b, c})
        MakeFolder(folder);
    for (const std::string& folder : {root, a, b, c})
        for (int i = 0; i < 6; ++i)
            vsktest::WriteFileBytes(folder + "\\f" + std::to_string(i), "x");
    MakeFolder(a + "\\side");
    vsktest::WriteFileBytes(a + "\\side\\s", "x");
    const std::string readOnly = c + "\\ro.txt";
    vsktest::WriteFileBytes(readOnly, "keep");
    ASSERT_TRUE(SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_READONLY));

    // What must stay: at each level, the failing entry and what is listed after it.
    std::set<std::string> expected;
    const struct {
        std::string folder;
        std::string failing;
    } levels[] = {{root, "a"}, {a, "b"}, {b, "c"}, {c, "ro.txt"}};
    for (const auto& level : levels) {
        const std::vector<std::string> order = ListingOrder(level.folder);
        auto at = std::find(order.begin(), order.end(), level.failing);
        ASSERT_NE(order.end(), at);
        for (; at != order.end(); ++at) {
            const std::string full = level.folder + "\\" + *at;
            expected.insert(full);
            if (IsFolder(full) && *at != level.failing) {
                std::set<std::string> below = Tree(full);
                for (const std::string& name : below)
                    expected.insert(full + "\\" + name);
            }
        }
    }

    SetLastError(0);
    EXPECT_FALSE(RemoveDirectoryForce(root.c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError()) << "the deletion's error survives the reports";

    std::set<std::string> left;
    for (const std::string& name : Tree(root))
        left.insert(root + "\\" + name);
    left.insert(root);
    expected.insert(root);
    EXPECT_EQ(expected, left);
    EXPECT_EQ("keep", vsktest::ReadFileBytes(readOnly));

    const std::string text = vsktest::ReadFileBytes(log);
    EXPECT_EQ(Report(650, "delete error : file is " + readOnly) + Report(642, "delete error : folder is " + c) +
                  Report(642, "delete error : folder is " + b) + Report(642, "delete error : folder is " + a),
              vsktest::MaskTimestamps(text));
    // Four time stamps, each at the start of a report line.
    EXPECT_EQ(4, std::distance(std::sregex_iterator(text.begin(), text.end(), vsktest::TimestampPattern()),
                               std::sregex_iterator()));
    ASSERT_TRUE(SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST_F(RemoveDirectoryForceTest, ReportLineBytesAreExact) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("r");
    MakeFolder(root);
    const std::string file = root + "\\" + kHyou + ".txt";
    vsktest::WriteFileBytes(file, "x");
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(RemoveDirectoryForce(root.c_str()));
    const std::string text = vsktest::ReadFileBytes(log);
    ASSERT_GE(text.size(), 24u);
    EXPECT_TRUE(std::regex_match(text.substr(0, 24), vsktest::TimestampPattern()));
    EXPECT_EQ("VskFile(650): RemoveDirectoryForce: delete error : file is " + file + "\r\n", text.substr(24));
    ASSERT_TRUE(SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST_F(RemoveDirectoryForceTest, FileHeldOpenByAnotherHandleStopsIt) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("root");
    MakeFolder(root);
    MakeFolder(root + "\\sub");
    const std::string held = root + "\\sub\\held.bin";
    vsktest::WriteFileBytes(held, "x");
    const HANDLE holder = CreateFileA(held.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, holder);
    EXPECT_FALSE(RemoveDirectoryForce(root.c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
    CloseHandle(holder);
    EXPECT_TRUE(FileExists(held));
    EXPECT_EQ(Report(650, "delete error : file is " + held) + Report(642, "delete error : folder is " + root + "\\sub"),
              vsktest::MaskTimestamps(vsktest::ReadFileBytes(log)));
    // With the handle gone the same call finishes the work.
    EXPECT_TRUE(RemoveDirectoryForce(root.c_str()));
    EXPECT_FALSE(FileExists(root));
}

// A file opened with delete sharing can be deleted, but it stays in its
// folder until its last handle closes, so the folder cannot be removed.
TEST_F(RemoveDirectoryForceTest, FolderThatCannotBeRemovedReportsAtLine658) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("root");
    const std::string sub = root + "\\sub";
    MakeFolder(root);
    MakeFolder(sub);
    const std::string pending = sub + "\\pending";
    vsktest::WriteFileBytes(pending, "x");
    const HANDLE holder = CreateFileA(pending.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, holder);
    EXPECT_FALSE(RemoveDirectoryForce(root.c_str()));
    const DWORD error = GetLastError();
    CloseHandle(holder);
    EXPECT_EQ(static_cast<DWORD>(ERROR_DIR_NOT_EMPTY), error);
    EXPECT_EQ(Report(658, "delete error : folder is " + sub) + Report(642, "delete error : folder is " + sub),
              vsktest::MaskTimestamps(vsktest::ReadFileBytes(log)));
    EXPECT_TRUE(IsFolder(sub));
    EXPECT_FALSE(FileExists(pending)); // gone with its last handle
    EXPECT_TRUE(RemoveDirectoryForce(root.c_str()));
}

TEST_F(RemoveDirectoryForceTest, DoubleByteFolderNamesWithTrailByte5CAreRemoved) {
    CTempDir work;
    const std::string root = work.File(kHyou);
    ASSERT_TRUE(CreateAllDirectory((root + "\\" + kHyou + "\\" + kHyou).c_str()));
    vsktest::WriteFileBytes(root + "\\" + kHyou + "\\" + kHyou + "\\" + kHyou, "x");
    vsktest::WriteFileBytes(root + "\\" + kHyou + "\\x" + kHyou, "y");
    EXPECT_TRUE(RemoveDirectoryForce(root.c_str())) << vsktest::Win32ErrorText(GetLastError());
    EXPECT_TRUE(Tree(work.Path()).empty());
}

// ---------------------------------------------------------------------------
// RemoveDirectoryForce: every tree that CreateAllDirectory makes
// ---------------------------------------------------------------------------

namespace {

// A tree made by CreateAllDirectory calls: each path below the tree's root
// (given with "\\?\" when `exactForm`), and the exact folders they make.
struct CMadeTree {
    const char* what;
    bool exactForm;
    std::vector<std::string> calls;   // relative to the tree's root
    std::vector<std::string> folders; // relative, exact names
};

// The trees, for a root of `rootLength` bytes. Paths of 257 to 260 bytes
// leave no room for "\*.*" in the narrow API; the system drops spaces and
// dots at the end of a path's last name, but not before a trailing "\" nor
// in the "\\?\" form.
std::vector<CMadeTree> MadeTrees(std::size_t rootLength) {
    const auto fill = [&](std::size_t total, const std::string& parent) {
        return std::string(total - rootLength - 1 - parent.size() - 1, 'x');
    };
    const std::string at259 = "long\\" + fill(259, "long");
    const std::string at260 = "long\\" + fill(260, "long");
    const std::string at256 = "exact\\" + fill(256, "exact");
    return {
        {"a 259-byte path", false, {at259}, {"long", at259}},
        {"a 260-byte path", false, {at260}, {"long", at260}},
        {"a 256-byte path in the \\\\?\\ form (260 bytes)", true, {at256}, {"exact", at256}},
        {"names ending in a space, made as \"name \\\"", false, {"sp \\", "sp \\in \\"}, {"sp ", "sp \\in "}},
        {"names ending in dots and spaces in the \\\\?\\ form",
         true,
         {"dot.\\space \\both. \\dots..", "dot.\\.x."},
         {"dot.", "dot.\\space ", "dot.\\space \\both. ", "dot.\\space \\both. \\dots..", "dot.\\.x."}},
    };
}

// Makes `tree` under `root` with CreateAllDirectory and puts a file into
// every folder of it. False when the system refuses a path that long
// (Windows, see PlatformMakesPathsOf249To260BytesOnlyWhereItDeviates).
bool MakeTree(const std::string& root, const CMadeTree& tree) {
    for (const std::string& call : tree.calls) {
        const std::string path = (tree.exactForm ? "\\\\?\\" : "") + root + "\\" + call;
        if (!CreateAllDirectory(path.c_str())) {
            const DWORD error = GetLastError();
            EXPECT_EQ(static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE), error) << path;
            return false;
        }
    }
    for (const std::string& folder : tree.folders) {
        EXPECT_TRUE(IsExactFolder(root + "\\" + folder)) << folder;
        WriteExactFile(root + "\\" + folder + "\\file.txt", "x");
    }
    return true;
}

} // namespace

TEST_F(RemoveDirectoryForceTest, RemovesEveryTreeCreateAllDirectoryMakes) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("tree");
    for (const CMadeTree& tree : MadeTrees(root.size())) {
        SCOPED_TRACE(tree.what);
        MakeFolder(root);
        if (!MakeTree(root, tree)) {
            std::printf("skipped: this system makes no %s\n", tree.what);
            RemoveDirectoryA(root.c_str());
            continue;
        }
        EXPECT_TRUE(RemoveDirectoryForce(root.c_str())) << vsktest::Win32ErrorText(GetLastError());
        EXPECT_FALSE(ExactExists(root));
        for (const std::string& folder : tree.folders)
            EXPECT_FALSE(ExactExists(root + "\\" + folder)) << folder;
    }
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

// The path each tree was made with names its deepest folder for
// RemoveDirectoryForce as well.
TEST_F(RemoveDirectoryForceTest, RemovesAFolderByThePathCreateAllDirectoryMadeItWith) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("tree");
    for (const CMadeTree& tree : MadeTrees(root.size())) {
        SCOPED_TRACE(tree.what);
        MakeFolder(root);
        if (!MakeTree(root, tree)) {
            std::printf("skipped: this system makes no %s\n", tree.what);
            RemoveDirectoryA(root.c_str());
            continue;
        }
        const std::string made = (tree.exactForm ? "\\\\?\\" : "") + root + "\\" + tree.calls.back();
        EXPECT_TRUE(RemoveDirectoryForce(made.c_str()))
            << made << ": " << vsktest::Win32ErrorText(GetLastError());
        EXPECT_FALSE(ExactExists(root + "\\" + tree.folders.back()));
        EXPECT_TRUE(IsExactFolder(root + "\\" + tree.folders.front()));
        EXPECT_TRUE(RemoveDirectoryForce(root.c_str()));
    }
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

// A path whose last name ends in spaces or dots names the folder the system
// finds by it, which has them cut, as CreateAllDirectory made it of the same
// path: a folder whose name really ends so is reached by "name \" or the
// "\\?\" form.
TEST_F(RemoveDirectoryForceTest, ChoicePathEndingInASpaceOrDotNamesTheFolderTheSystemFindsByIt) {
    const std::string log = UseLog();
    CTempDir work;
    ASSERT_TRUE(CreateAllDirectory(work.File("plain. .").c_str()));
    ASSERT_TRUE(IsExactFolder(work.File("plain")));
    EXPECT_TRUE(RemoveDirectoryForce(work.File("plain. .").c_str()));
    EXPECT_FALSE(ExactExists(work.File("plain")));

    ASSERT_TRUE(CreateAllDirectory(work.File("sp \\").c_str()));
    ASSERT_TRUE(IsExactFolder(work.File("sp ")));
    SetLastError(0);
    EXPECT_FALSE(RemoveDirectoryForce(work.File("sp ").c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());
    EXPECT_TRUE(IsExactFolder(work.File("sp ")));
    EXPECT_EQ("<missing>", ReadOrMissing(log));
    EXPECT_TRUE(RemoveDirectoryForce(work.File("sp \\").c_str()));
    EXPECT_FALSE(ExactExists(work.File("sp ")));
}

// The reports name the paths as the caller wrote them, joined with the
// entries' names, at any length.
TEST_F(RemoveDirectoryForceTest, ReportsNamePathsLongerThanMaxPathInFull) {
    const std::string log = UseLog();
    CTempDir work;
    const std::string root = work.File("root");
    const std::string deep = PathOfLength(root, "long", 260);
    if (!CreateAllDirectory(deep.c_str())) {
        ASSERT_EQ(static_cast<DWORD>(ERROR_FILENAME_EXCED_RANGE), GetLastError());
        GTEST_SKIP() << "this system makes no 260-byte path through the narrow API (Windows stops at 248)";
    }
    const std::string readOnly = deep + "\\ro.txt";
    WriteExactFile(readOnly, "keep");
    ASSERT_TRUE(SetFileAttributesW(Exact(readOnly).c_str(), FILE_ATTRIBUTE_READONLY));
    SetLastError(0);
    EXPECT_FALSE(RemoveDirectoryForce(root.c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
    EXPECT_EQ(Report(650, "delete error : file is " + readOnly) +
                  Report(642, "delete error : folder is " + deep) +
                  Report(642, "delete error : folder is " + root + "\\long"),
              vsktest::MaskTimestamps(vsktest::ReadFileBytes(log)));
    EXPECT_TRUE(ExactExists(readOnly));
    ASSERT_TRUE(SetFileAttributesW(Exact(readOnly).c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_TRUE(RemoveDirectoryForce(root.c_str()));
    EXPECT_FALSE(ExactExists(root));
}

// A relative path and one with "/" name the folder the system finds by them.
TEST_F(RemoveDirectoryForceTest, RelativePathsAndSlashesNameTheFolderTheSystemFinds) {
    CTempDir work;
    const CCurrentFolder here(work.Path());
    ASSERT_TRUE(CreateAllDirectory("rel\\a\\b"));
    vsktest::WriteFileBytes(work.File("rel\\a\\b\\f"), "x");
    EXPECT_TRUE(RemoveDirectoryForce("rel/a"));
    EXPECT_TRUE(IsFolder(work.File("rel")));
    EXPECT_FALSE(FileExists(work.File("rel\\a")));
    EXPECT_TRUE(RemoveDirectoryForce("rel\\"));
    EXPECT_TRUE(Tree(work.Path()).empty());
}
