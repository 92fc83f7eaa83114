// Commonfunctions_paths_test.cpp - the path-name functions: taking a path
// apart and putting it together as text, the executable's own name, and the
// unit's two constants.
#include "files/Commonfunctions.h"

#include "platform/Win32.h"
#include "files/internal/CommonfunctionsHooks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using vskstr::CVskStr;

// The exact bytes of a string, NUL bytes included.
std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

CVskStr Str(const std::string& bytes) { return CVskStr(bytes.data(), static_cast<int>(bytes.size())); }

// Double-byte characters of code page 932 whose second byte is 0x5C ('\').
const std::string kHyo = "\x95\x5C"; // 表
const std::string kSo = "\x83\x5C";  // ソ
const std::string kNou = "\x94\x5C"; // 能

TEST(PathCodePage, TestsRunUnderCodePage932) {
    // The double-byte cases below mean something only there.
    ASSERT_EQ(GetACP(), 932u);
    ASSERT_TRUE(IsDBCSLeadByte(0x95));
}

// ---------------------------------------------------------------------------
// Table of cases: input, then each function's result
// ---------------------------------------------------------------------------

struct CSplitCase {
    std::string path;
    std::string filePath;
    std::string fileName;
    std::string ext;
    std::string nameNoExt;
};

void ExpectSplit(const CSplitCase& c) {
    SCOPED_TRACE("path '" + c.path + "'");
    EXPECT_EQ(Bytes(vsk::ExtractFilePath(Str(c.path))), c.filePath);
    EXPECT_EQ(Bytes(vsk::ExtractFileName(Str(c.path))), c.fileName);
    EXPECT_EQ(Bytes(vsk::ExtractFileExt(Str(c.path))), c.ext);
    EXPECT_EQ(Bytes(vsk::ExtractFileNameNoExt(Str(c.path))), c.nameNoExt);
}

TEST(ExtractFunctions, OrdinaryFullName) {
    ExpectSplit({"C:\\dir\\file.txt", "C:\\dir\\", "file.txt", "txt", "file"});
}

TEST(ExtractFunctions, TrailingSeparatorLeavesAnEmptyName) {
    ExpectSplit({"C:\\dir\\", "C:\\dir\\", "", "", ""});
}

TEST(ExtractFunctions, ForwardSlashIsAnOrdinaryCharacter) {
    ExpectSplit({"C:/dir/file.txt", "", "C:/dir/file.txt", "txt", "C:/dir/file"});
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:/dir/")), "C:/dir/\\");
}

TEST(ExtractFunctions, DriveColonIsAnOrdinaryCharacter) {
    ExpectSplit({"C:file", "", "C:file", "", "C:file"});
}

TEST(ExtractFunctions, UncNames) {
    ExpectSplit({"\\\\server\\share", "\\\\server\\", "share", "", "share"});
    ExpectSplit({"\\\\server", "\\\\", "server", "", "server"});
}

TEST(ExtractFunctions, DotFilesAndTrailingDots) {
    ExpectSplit({".profile", "", ".profile", "profile", ""});
    ExpectSplit({"name.", "", "name.", "", "name"});
    ExpectSplit({"a.b.c", "", "a.b.c", "c", "a.b"});
    ExpectSplit({"C:\\d\\.profile", "C:\\d\\", ".profile", "profile", ""});
}

TEST(ExtractFunctions, FullStopOnlyInAFolderNameIsNoExtension) {
    ExpectSplit({"C:\\rel1.2\\readme", "C:\\rel1.2\\", "readme", "", "readme"});
}

TEST(ExtractFunctions, EmptyText) { ExpectSplit({"", "", "", "", ""}); }

TEST(ExtractFunctions, OneCharacter) {
    ExpectSplit({"\\", "\\", "", "", ""});
    ExpectSplit({".", "", ".", "", ""});
    ExpectSplit({"a", "", "a", "", "a"});
    ExpectSplit({"/", "", "/", "", "/"});
}

TEST(ExtractFunctions, OnlySeparators) {
    ExpectSplit({"\\\\\\\\", "\\\\\\\\", "", "", ""});
    EXPECT_EQ(Bytes(vsk::AddDirSep("\\\\\\")), "\\\\\\");
}

TEST(ExtractFunctions, OnlyFullStops) {
    ExpectSplit({"....", "", "....", "", "..."});
    ExpectSplit({"C:\\..", "C:\\", "..", "", "."});
}

// ---------------------------------------------------------------------------
// Double-byte characters whose second byte is 0x5C
// ---------------------------------------------------------------------------

TEST(ExtractFunctionsDoubleByte, TrailByte5CIsNotASeparator) {
    ExpectSplit({"C:\\dir\\" + kHyo, "C:\\dir\\", kHyo, "", kHyo});
    ExpectSplit({"C:\\" + kHyo + "\\" + kSo + ".txt", "C:\\" + kHyo + "\\", kSo + ".txt", "txt", kSo});
    // Without multibyte awareness this would split after 0x95.
    ExpectSplit({kHyo, "", kHyo, "", kHyo});
    ExpectSplit({"dir" + kHyo + kSo + kNou, "", "dir" + kHyo + kSo + kNou, "", "dir" + kHyo + kSo + kNou});
}

TEST(ExtractFunctionsDoubleByte, SeparatorRightAfterATrailByte5C) {
    // "表\" : the real separator is the third byte.
    ExpectSplit({kHyo + "\\x.y", kHyo + "\\", "x.y", "y", "x"});
    ExpectSplit({kHyo + "\\", kHyo + "\\", "", "", ""});
}

TEST(ExtractFunctionsDoubleByte, ExtensionAfterADoubleByteName) {
    ExpectSplit({"C:\\" + kNou + "." + kSo, "C:\\", kNou + "." + kSo, kSo, kNou});
}

TEST(AddDirSepDoubleByte, TrailByte5CAtTheEndIsNotASeparator) {
    EXPECT_EQ(Bytes(vsk::AddDirSep(Str("C:\\" + kHyo))), "C:\\" + kHyo + "\\");
    EXPECT_EQ(Bytes(vsk::AddDirSep(Str(kHyo))), kHyo + "\\");
    EXPECT_EQ(Bytes(vsk::AddDirSep(Str(kHyo + "\\"))), kHyo + "\\");
}

TEST(ChangeFileExtDoubleByte, KeepsTheDoubleByteFolder) {
    EXPECT_EQ(Bytes(vsk::ChangeFileExt(Str("C:\\" + kHyo + "\\" + kSo + ".txt"), "log")),
              "C:\\" + kHyo + "\\" + kSo + ".log");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt(Str(kHyo), "x")), kHyo + ".x");
}

// ---------------------------------------------------------------------------
// Unpaired lead bytes and embedded NUL bytes
// ---------------------------------------------------------------------------

TEST(ExtractFunctionsBadInput, UnpairedLeadByteAtTheEnd) {
    // A lead byte with nothing after it is a character of its own.
    ExpectSplit({"C:\\dir\\abc\x95", "C:\\dir\\", "abc\x95", "", "abc\x95"});
    ExpectSplit({"C:\\\x95", "C:\\", "\x95", "", "\x95"});
    ExpectSplit({"\x95", "", "\x95", "", "\x95"});
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:\\\x95")), "C:\\\x95\\");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("a.b\x95", "c")), "a.c");
}

TEST(ExtractFunctionsBadInput, LeadByteBeforeASeparatorPairsWithIt) {
    // 0x95 0x5C is one character, so this text holds no separator at all.
    ExpectSplit({"abc\x95\\def", "", "abc\x95\\def", "", "abc\x95\\def"});
}

TEST(ExtractFunctionsBadInput, SearchesEndAtTheFirstNul) {
    // Separators and full stops after a NUL byte are not seen; the pieces
    // are taken from the whole text, NUL bytes and all.
    const std::string path("C:\\d\\a\0b\\c.e", 12);
    const CVskStr s = Str(path);
    EXPECT_EQ(Bytes(vsk::ExtractFilePath(s)), "C:\\d\\");
    EXPECT_EQ(Bytes(vsk::ExtractFileName(s)), std::string("a\0b\\c.e", 7));
    EXPECT_EQ(Bytes(vsk::ExtractFileExt(s)), "");
    EXPECT_EQ(Bytes(vsk::ExtractFileNameNoExt(s)), std::string("a\0b\\c.e", 7));
    EXPECT_EQ(Bytes(vsk::AddDirSep(s)), path + "\\");
    EXPECT_EQ(Bytes(s), path) << "the argument is never changed";
}

TEST(ExtractFunctionsBadInput, NulRightAfterTheLastSeparator) {
    const CVskStr s = Str(std::string("C:\\\0x.y", 7));
    EXPECT_EQ(Bytes(vsk::ExtractFilePath(s)), "C:\\");
    EXPECT_EQ(Bytes(vsk::ExtractFileName(s)), std::string("\0x.y", 4));
    EXPECT_EQ(Bytes(vsk::ExtractFileExt(s)), "");
    EXPECT_EQ(Bytes(vsk::AddDirSep(s)), std::string("C:\\\0x.y\\", 8));
}

TEST(ExtractFunctionsBadInput, OnlyNulBytes) {
    const CVskStr s = Str(std::string(3, '\0'));
    ExpectSplit({std::string(3, '\0'), "", std::string(3, '\0'), "", std::string(3, '\0')});
    EXPECT_EQ(Bytes(vsk::AddDirSep(s)), std::string(3, '\0') + "\\");
}

// ---------------------------------------------------------------------------
// Long paths
// ---------------------------------------------------------------------------

// A path of exactly `length` bytes: "C:" followed by "\abcdefg" components,
// ending in "name.ext".
std::string LongPath(std::size_t length) {
    std::string path = "C:";
    while (path.size() + 8 + 9 <= length)
        path += "\\abcdefg";
    path += "\\";
    path.append(length - path.size() - 4, 'n');
    path += ".ext";
    return path;
}

TEST(ExtractFunctionsBadInput, Path32000Bytes) {
    const std::string path = LongPath(32000);
    ASSERT_EQ(path.size(), 32000u);
    const std::size_t last = path.rfind('\\');
    const std::string name = path.substr(last + 1);
    ExpectSplit({path, path.substr(0, last + 1), name, "ext", name.substr(0, name.size() - 4)});
    EXPECT_EQ(Bytes(vsk::AddDirSep(Str(path))), path + "\\");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt(Str(path), "log")), path.substr(0, path.size() - 3) + "log");
}

TEST(ExtractFunctionsBadInput, Path32000BytesOfSeparatorsAndOfFullStops) {
    const std::string separators(32000, '\\');
    ExpectSplit({separators, separators, "", "", ""});
    EXPECT_EQ(Bytes(vsk::AddDirSep(Str(separators))), separators);
    const std::string dots(32000, '.');
    ExpectSplit({dots, "", dots, "", dots.substr(1)});
}

TEST(ExtractFunctionsBadInput, Path32000BytesOfDoubleByteCharacters) {
    std::string path;
    while (path.size() < 32000)
        path += kHyo;
    ExpectSplit({path, "", path, "", path});
    EXPECT_EQ(Bytes(vsk::AddDirSep(Str(path))), path + "\\");
}

// ---------------------------------------------------------------------------
// ChangeFileExt and AddDirSep
// ---------------------------------------------------------------------------

TEST(ChangeFileExt, ReplacesTheExtension) {
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("C:\\a\\b.txt", "log")), "C:\\a\\b.log");
}

TEST(ChangeFileExt, EmptyExtensionKeepsTheFullStop) {
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("C:\\a\\b.txt", "")), "C:\\a\\b.");
}

TEST(ChangeFileExt, ExtensionWithItsOwnFullStopGivesTwo) {
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("C:\\a\\b.txt", ".log")), "C:\\a\\b..log");
}

TEST(ChangeFileExt, NameWithoutExtensionGetsOne) {
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("noext", "x")), "noext.x");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("C:\\rel1.2\\readme", "md")), "C:\\rel1.2\\readme.md");
}

TEST(ChangeFileExt, EdgeTexts) {
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("", "")), ".");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("", "x")), ".x");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("C:\\dir\\", "x")), "C:\\dir\\.x");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt(".profile", "x")), ".x");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("a.b.c", "d")), "a.b.d");
    // The extension is appended whole, NUL bytes included.
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("a.b", Str(std::string("x\0y", 3)))), std::string("a.x\0y", 5));
}

TEST(AddDirSep, EmptyTextStaysEmpty) { EXPECT_EQ(Bytes(vsk::AddDirSep("")), ""); }

TEST(AddDirSep, AppendsOneSeparator) {
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:")), "C:\\");
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:\\dir")), "C:\\dir\\");
    EXPECT_EQ(Bytes(vsk::AddDirSep("a")), "a\\");
}

TEST(AddDirSep, KeepsATrailingSeparator) {
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:\\")), "C:\\");
    EXPECT_EQ(Bytes(vsk::AddDirSep("\\")), "\\");
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:\\dir\\")), "C:\\dir\\");
}

// ---------------------------------------------------------------------------
// Arguments
// ---------------------------------------------------------------------------

TEST(PathFunctions, NeverChangeTheirArguments) {
    const CVskStr path("C:\\dir\\file.txt");
    const CVskStr ext("log");
    vsk::ExtractFilePath(path);
    vsk::ExtractFileName(path);
    vsk::ExtractFileExt(path);
    vsk::ExtractFileNameNoExt(path);
    vsk::ChangeFileExt(path, ext);
    vsk::AddDirSep(path);
    EXPECT_EQ(Bytes(path), "C:\\dir\\file.txt");
    EXPECT_EQ(Bytes(ext), "log");
    EXPECT_EQ(path.GetRefCount(), 1) << "no result keeps a share of the argument";
}

// ---------------------------------------------------------------------------
// GetAppPath
// ---------------------------------------------------------------------------

TEST(GetAppPath, IsTheExecutableNameTheSystemReports) {
    char expected[MAX_PATH * 2] = {};
    const DWORD n = GetModuleFileNameA(nullptr, expected, sizeof expected);
    ASSERT_GT(n, 0u);
    const CVskStr path = vsk::GetAppPath();
    EXPECT_EQ(Bytes(path), std::string(expected, n));
    EXPECT_EQ(Bytes(vsk::ExtractFileName(path)), "test_files.exe");
    EXPECT_EQ(Bytes(vsk::ExtractFileExt(path)), "exe");
    EXPECT_EQ(path.c_str()[1], ':');
}

TEST(GetAppPath, IsNotTheLibraryModule) {
    char library[MAX_PATH * 2] = {};
    ASSERT_GT(GetModuleFileNameA(GetModuleHandleA("voskellib.dll"), library, sizeof library), 0u);
    EXPECT_NE(Bytes(vsk::GetAppPath()), std::string(library));
}

// The system call cannot be made to fail for the running program, so these
// two replace it (the library's own seam) to see what GetAppPath does then.
struct CModuleFileNameCall {
    static inline int calls = 0;
    static inline void* module = reinterpret_cast<void*>(1);
    static inline unsigned long size = 0;
    static inline bool bufferWasZeroed = false;
    static void Record(void* m, char* buffer, unsigned long s) {
        ++calls;
        module = m;
        size = s;
        bufferWasZeroed = true;
        for (unsigned long i = 0; i < s; ++i)
            bufferWasZeroed = bufferWasZeroed && buffer[i] == 0;
    }
};

unsigned long __stdcall FailingModuleFileName(void* module, char* buffer, unsigned long size) {
    CModuleFileNameCall::Record(module, buffer, size);
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
}

unsigned long __stdcall FillingModuleFileName(void* module, char* buffer, unsigned long size) {
    CModuleFileNameCall::Record(module, buffer, size);
    // A name that does not fit: the whole buffer, no terminator.
    std::memset(buffer, 'x', size);
    return size;
}

class CModuleFileNameStub : public ::testing::Test {
protected:
    void SetUp() override { CModuleFileNameCall::calls = 0; }
    void TearDown() override { vsk::detail::SetModuleFileNameFunction(nullptr); }
};

TEST_F(CModuleFileNameStub, FailingSystemCallThrowsGetAppPath_Mock) {
    vsk::detail::SetModuleFileNameFunction(FailingModuleFileName);
    try {
        vsk::GetAppPath();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "GetAppPath()");
    }
    EXPECT_EQ(CModuleFileNameCall::calls, 1);
    EXPECT_EQ(CModuleFileNameCall::module, nullptr) << "the process's own module";
    EXPECT_EQ(CModuleFileNameCall::size, 520u);
    EXPECT_TRUE(CModuleFileNameCall::bufferWasZeroed);
}

TEST_F(CModuleFileNameStub, TruncatedNameIsKeptAs520Bytes_Mock) {
    // Truncation is not detected: the 520 bytes come back as they are, and
    // nothing past the buffer is read although it holds no terminator.
    vsk::detail::SetModuleFileNameFunction(FillingModuleFileName);
    EXPECT_EQ(Bytes(vsk::GetAppPath()), std::string(520, 'x'));
}

TEST_F(CModuleFileNameStub, RemovingTheStubRestoresTheSystemCall) {
    vsk::detail::SetModuleFileNameFunction(FailingModuleFileName);
    vsk::detail::SetModuleFileNameFunction(nullptr);
    char expected[MAX_PATH * 2] = {};
    const DWORD n = GetModuleFileNameA(nullptr, expected, sizeof expected);
    EXPECT_EQ(Bytes(vsk::GetAppPath()), std::string(expected, n));
    EXPECT_EQ(CModuleFileNameCall::calls, 0);
}

// ---------------------------------------------------------------------------
// The unit's constants
// ---------------------------------------------------------------------------

TEST(PathConstants, ExistWhileTheUnitIsStarted) {
    ASSERT_LT(Commonfunctions::Counter(), 0) << "the package starts the unit when it is loaded";
    const CVskStr* separator = vsk::detail::PathSeparatorConstant();
    const CVskStr* mark = vsk::detail::ExtensionMarkConstant();
    ASSERT_NE(separator, nullptr);
    ASSERT_NE(mark, nullptr);
    EXPECT_EQ(Bytes(*separator), std::string("\x5C", 1));
    EXPECT_EQ(Bytes(*mark), std::string("\x2E", 1));
}

TEST(PathConstants, NestedInitializeAndFinalizeKeepThem) {
    const CVskStr* separator = vsk::detail::PathSeparatorConstant();
    Commonfunctions::Initialize();
    EXPECT_EQ(vsk::detail::PathSeparatorConstant(), separator);
    Commonfunctions::Finalize();
    EXPECT_EQ(vsk::detail::PathSeparatorConstant(), separator);
}

TEST(PathConstants, ExitRoutineDestroysThemAndStartUpMakesThemAgain) {
    int finalized = 0;
    while (Commonfunctions::Counter() < 0) {
        Commonfunctions::Finalize();
        ++finalized;
    }
    ASSERT_GT(finalized, 0);
    EXPECT_EQ(vsk::detail::PathSeparatorConstant(), nullptr);
    EXPECT_EQ(vsk::detail::ExtensionMarkConstant(), nullptr);
    // Outside the unit's lifetime the functions still give their results.
    EXPECT_EQ(Bytes(vsk::ExtractFileExt("C:\\d\\a.b")), "b");
    EXPECT_EQ(Bytes(vsk::ChangeFileExt("C:\\d\\a.b", "c")), "C:\\d\\a.c");
    EXPECT_EQ(Bytes(vsk::AddDirSep("C:")), "C:\\");
    for (int i = 0; i < finalized; ++i)
        Commonfunctions::Initialize();
    ASSERT_NE(vsk::detail::PathSeparatorConstant(), nullptr);
    EXPECT_EQ(Bytes(*vsk::detail::PathSeparatorConstant()), "\\");
    EXPECT_EQ(Bytes(*vsk::detail::ExtensionMarkConstant()), ".");
}

// ---------------------------------------------------------------------------
// Threads
// ---------------------------------------------------------------------------

TEST(PathFunctions, ManyThreadsShareTheConstantsSafely) {
    // The constants are only read, never copied: their reference counts
    // (plain integers) stay untouched by any number of threads.
    const CVskStr* separator = vsk::detail::PathSeparatorConstant();
    const CVskStr* mark = vsk::detail::ExtensionMarkConstant();
    ASSERT_NE(separator, nullptr);
    const int separatorCount = separator->GetRefCount();
    const int markCount = mark->GetRefCount();
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &wrong] {
            const CVskStr path(("C:\\dir" + std::to_string(t) + "\\" + kHyo + ".txt").c_str());
            for (int i = 0; i < 20000; ++i) {
                if (Bytes(vsk::ExtractFilePath(path)) != "C:\\dir" + std::to_string(t) + "\\" ||
                    Bytes(vsk::ExtractFileExt(path)) != "txt" ||
                    Bytes(vsk::ChangeFileExt(path, "log")) !=
                        "C:\\dir" + std::to_string(t) + "\\" + kHyo + ".log" ||
                    Bytes(vsk::AddDirSep(path)) != Bytes(path) + "\\" ||
                    Bytes(vsk::MakeFullPath("C:\\a\\b", "..\\c")) != "C:\\a\\c" ||
                    Bytes(vsk::MakeRelPath("C:\\a\\b", "C:\\a\\c")) != "..\\c")
                    ++wrong;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(separator->GetRefCount(), separatorCount);
    EXPECT_EQ(mark->GetRefCount(), markCount);
}

} // namespace
