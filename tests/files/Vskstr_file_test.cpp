// Vskstr_file_test.cpp - CVskStr::LoadFromFile and CVskStr::SaveToFile on
// real files under a temporary folder.
#include "foundation/Vskstr.h"

#include "files/VskFile.h"
#include "platform/Win32.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace {

using vskstr::CVskStr;
using vsktest::CTempDir;

// The messages as code page 932 bytes.
const char* const kOpenFailed = "\x83\x74\x83\x40\x83\x43\x83\x8B\x82\xCC\x83\x49\x81\x5B\x83\x76\x83\x93\x82\xC9"
                                "\x8E\xB8\x94\x73\x82\xB5\x82\xDC\x82\xB5\x82\xBD"; // ファイルのオープンに失敗しました
const char* const kSizeLimit = "\x83\x74\x83\x40\x83\x43\x83\x8B\x83\x54\x83\x43\x83\x59\x90\xA7\x8C\xC0"; // ファイルサイズ制限
const char* const kReadFailed = "\x83\x74\x83\x40\x83\x43\x83\x8B\x82\xCC\x93\xC7\x82\xDD\x8D\x9E\x82\xDD\x82\xC9"
                                "\x8E\xB8\x94\x73"; // ファイルの読み込みに失敗
const char* const kWriteFailed = "\x83\x74\x83\x40\x83\x43\x83\x8B\x82\xCC\x8F\x91\x82\xAB\x8D\x9E\x82\xDD\x82\xC9"
                                 "\x8E\xB8\x94\x73"; // ファイルの書き込みに失敗

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), static_cast<std::size_t>(s.Length())); }

// Every byte value, NULs, CR LF, lone CR and LF, and double-byte text.
std::string BinaryContent() {
    std::string bytes("line one\r\nline two\r\n\0\0mid\rlone\nend\r\n", 36);
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    bytes += "\x95\x5C\x8E\xA6\r\n";
    return bytes;
}

// The runtime's first C++ exception in a process sets up its exception
// handling and leaves the thread's last error at 0 on the way; one thrown
// here first lets the tests see the last error that the library leaves.
void PrimeExceptionHandling() {
    try {
        throw std::runtime_error("primed");
    } catch (const std::runtime_error&) {
    }
}

template <typename Exception>
std::string MessageOf(const std::function<void()>& action) {
    PrimeExceptionHandling();
    try {
        action();
    } catch (const Exception& e) {
        return e.what();
    } catch (const std::exception& e) {
        return std::string("other exception: ") + e.what();
    }
    return "no exception";
}

void MakeSizedFile(const std::string& path, unsigned long long size) {
    const HANDLE h = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, h) << vsktest::Win32ErrorText(GetLastError());
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(size);
    const bool ok = SetFilePointerEx(h, position, nullptr, FILE_BEGIN) && SetEndOfFile(h);
    const DWORD error = GetLastError();
    CloseHandle(h);
    ASSERT_TRUE(ok) << vsktest::Win32ErrorText(error);
}

} // namespace

TEST(CVskStrLoadFromFile, ThreeBytesWithANulGiveLengthThree) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("anb"), std::string("a\0b", 3));
    CVskStr s;
    s.LoadFromFile(dir.File("anb").c_str());
    EXPECT_EQ(3, s.Length());
    EXPECT_EQ(std::string("a\0b", 3), Bytes(s));
    EXPECT_STREQ("a", static_cast<System::AnsiString>(s).c_str());
}

TEST(CVskStrLoadFromFile, SaveAndLoadRoundTripBinaryContent) {
    CTempDir dir;
    const std::string path = dir.File("round.bin");
    const std::string content = BinaryContent();
    const CVskStr original(content.data(), static_cast<int>(content.size()));
    original.SaveToFile(path.c_str());
    EXPECT_EQ(content, vsktest::ReadFileBytes(path)); // no line-end translation, no BOM
    CVskStr loaded("something else");
    loaded.LoadFromFile(path.c_str());
    EXPECT_EQ(content, Bytes(loaded));
    EXPECT_TRUE(loaded == original);
}

TEST(CVskStrLoadFromFile, EmptyFileThrowsOutOfRangeAndLeavesTheStringEmpty) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("empty"), "");
    CVskStr s("was here");
    EXPECT_THROW(s.LoadFromFile(dir.File("empty").c_str()), std::out_of_range);
    EXPECT_EQ(0, s.Length());
    EXPECT_TRUE(vskfile::CVskFile::Delete(dir.File("empty").c_str())) << "the file was closed";
}

TEST(CVskStrLoadFromFile, MissingFileThrowsTheOpenMessage) {
    CTempDir dir;
    CVskStr s("keep");
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { s.LoadFromFile(dir.File("missing").c_str()); }));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_EQ("keep", Bytes(s));
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { s.LoadFromFile(dir.File("no\\such\\file").c_str()); }));
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { s.LoadFromFile(""); }));
}

// Runs vsk_first_failure_child (beside this program) on `path`; its exit code
// is the last error its catch block saw, or a code of 1000 and above.
DWORD FirstFailureChildExitCode(const std::string& path) {
    char exe[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, exe, MAX_PATH);
    std::string program(exe, n);
    program = program.substr(0, program.find_last_of('\\') + 1) + "vsk_first_failure_child.exe";
    std::string commandLine = "\"" + program + "\" \"" + path + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessA(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &info))
        return 2000 + GetLastError();
    WaitForSingleObject(info.hProcess, 60000);
    DWORD code = 3000;
    GetExitCodeProcess(info.hProcess, &code);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return code;
}

// The runtime sets its exception handling up at the first C++ exception of a
// process and clears the thread's last error on the way; the library does
// that set-up when it is loaded, so its first failure still leaves the
// system's error for the caller.
TEST(CVskStrLoadFromFile, FirstFailureOfAFreshProcessLeavesTheSystemErrorToTheCaller) {
    CTempDir dir;
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), FirstFailureChildExitCode(dir.File("missing")));
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), FirstFailureChildExitCode(dir.File("no\\such\\file")));
}

TEST(CVskStrLoadFromFile, MessagesAreTheCodePage932Texts) {
    EXPECT_EQ("ファイルのオープンに失敗しました", std::string(kOpenFailed));
    EXPECT_EQ("ファイルサイズ制限", std::string(kSizeLimit));
    EXPECT_EQ("ファイルの読み込みに失敗", std::string(kReadFailed));
    EXPECT_EQ("ファイルの書き込みに失敗", std::string(kWriteFailed));
}

TEST(CVskStrLoadFromFile, FileHeldForWritingByAnotherHandleCannotBeOpened) {
    CTempDir dir;
    const std::string path = dir.File("held");
    vsktest::WriteFileBytes(path, "data");
    const HANDLE writer = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, writer);
    CVskStr s;
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { s.LoadFromFile(path.c_str()); }));
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
    CloseHandle(writer);
}

TEST(CVskStrLoadFromFile, RegionLockedByAnotherHandleThrowsTheReadMessage) {
    CTempDir dir;
    const std::string path = dir.File("locked");
    vsktest::WriteFileBytes(path, "0123456789");
    const HANDLE locker =
        CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, locker);
    ASSERT_TRUE(LockFile(locker, 2, 0, 3, 0)) << vsktest::Win32ErrorText(GetLastError());
    CVskStr s("previous text");
    EXPECT_EQ(kReadFailed, MessageOf<std::runtime_error>([&] { s.LoadFromFile(path.c_str()); }));
    EXPECT_EQ(static_cast<DWORD>(ERROR_LOCK_VIOLATION), GetLastError());
    EXPECT_EQ(10, s.Length()) << "the text has the file's length";
    UnlockFile(locker, 2, 0, 3, 0);
    CloseHandle(locker);
    EXPECT_TRUE(vskfile::CVskFile::Delete(path.c_str())) << "the file was closed after the failure";
}

TEST(CVskStrLoadFromFile, FileHeldByAnotherReaderLoads) {
    CTempDir dir;
    const std::string path = dir.File("read");
    vsktest::WriteFileBytes(path, "data");
    const HANDLE reader =
        CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, reader);
    CVskStr s;
    s.LoadFromFile(path.c_str());
    EXPECT_EQ("data", Bytes(s));
    CloseHandle(reader);
}

TEST(CVskStrLoadFromFile, LoadingIntoASharedStringLeavesTheOtherSharersUnchanged) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("new"), "new text");
    CVskStr a("old");
    CVskStr b(a);
    CVskStr c(a);
    ASSERT_EQ(3, a.GetRefCount());
    b.LoadFromFile(dir.File("new").c_str());
    EXPECT_EQ("new text", Bytes(b));
    EXPECT_EQ("old", Bytes(a));
    EXPECT_EQ("old", Bytes(c));
    EXPECT_EQ(2, a.GetRefCount());
    EXPECT_EQ(1, b.GetRefCount());
}

TEST(CVskStrLoadFromFile, DefaultConstructedStringDoesNotChangeTheSharedEmptyText) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("x"), "xyz");
    CVskStr s;
    s.LoadFromFile(dir.File("x").c_str());
    EXPECT_EQ("xyz", Bytes(s));
    EXPECT_EQ(0, CVskStr().Length());
}

TEST(CVskStrLoadFromFile, LongerTextIsCutAndShorterTextGrows) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("five"), "12345");
    CVskStr longer("a much longer text than five bytes");
    longer.LoadFromFile(dir.File("five").c_str());
    EXPECT_EQ("12345", Bytes(longer));
    CVskStr shorter("ab");
    shorter.LoadFromFile(dir.File("five").c_str());
    EXPECT_EQ("12345", Bytes(shorter));
}

TEST(CVskStrLoadFromFile, DoubleByteFileNameWithTrailByte5C) {
    CTempDir dir;
    const std::string path = dir.File("\x95\x5C.txt"); // "表.txt"
    CVskStr("\x95\x5C\r\n").SaveToFile(path.c_str());
    CVskStr s;
    s.LoadFromFile(path.c_str());
    EXPECT_EQ("\x95\x5C\r\n", Bytes(s));
}

TEST(CVskStrLoadFromFile, OneMebibyteFileLoadsWhole) {
    CTempDir dir;
    std::string content(1 << 20, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>((i * 7919) >> 3);
    vsktest::WriteFileBytes(dir.File("mib"), content);
    CVskStr s;
    s.LoadFromFile(dir.File("mib").c_str());
    EXPECT_EQ(content, Bytes(s));
}

// The size check lets 4026531838 bytes through; a 32-bit process's string
// then cannot hold them, so the load fails in the string, not in the check.
TEST(CVskStrLoadFromFile, SizeLimitIs4026531838Bytes) {
    CTempDir dir;
    const std::string path = dir.File("huge");
    MakeSizedFile(path, 4026531838ULL);
    CVskStr s("keep");
    const std::string allowed = MessageOf<std::runtime_error>([&] { s.LoadFromFile(path.c_str()); });
    EXPECT_NE(kSizeLimit, allowed);
    EXPECT_THROW(s.LoadFromFile(path.c_str()), std::length_error);

    MakeSizedFile(path, 4026531839ULL);
    CVskStr t("keep");
    CVskStr sharer(t);
    EXPECT_EQ(kSizeLimit, MessageOf<std::runtime_error>([&] { t.LoadFromFile(path.c_str()); }));
    EXPECT_EQ("keep", Bytes(t));
    EXPECT_EQ("keep", Bytes(sharer));
    for (unsigned long long size : {0xFFFFFFFFULL, 0x100000000ULL, 5ULL << 32}) {
        SCOPED_TRACE(size);
        MakeSizedFile(path, size);
        EXPECT_EQ(kSizeLimit, MessageOf<std::runtime_error>([&] { t.LoadFromFile(path.c_str()); }));
    }
    EXPECT_TRUE(vskfile::CVskFile::Delete(path.c_str())) << "the file was closed after every failure";
}

TEST(CVskStrSaveToFile, EmptyStringCreatesOrTruncatesTheFile) {
    CTempDir dir;
    const std::string path = dir.File("e");
    CVskStr().SaveToFile(path.c_str());
    EXPECT_EQ("", vsktest::ReadFileBytes(path));
    vsktest::WriteFileBytes(path, "previous content");
    CVskStr("").SaveToFile(path.c_str());
    EXPECT_EQ("", vsktest::ReadFileBytes(path));
}

TEST(CVskStrSaveToFile, ReplacesALongerFileWhole) {
    CTempDir dir;
    const std::string path = dir.File("r");
    vsktest::WriteFileBytes(path, std::string(10000, 'z'));
    CVskStr("short\r\n").SaveToFile(path.c_str());
    EXPECT_EQ("short\r\n", vsktest::ReadFileBytes(path));
}

TEST(CVskStrSaveToFile, WritesTheFullLengthWithNuls) {
    CTempDir dir;
    const std::string path = dir.File("n");
    CVskStr(std::string("\0a\0\0b\0", 6).c_str(), 6).SaveToFile(path.c_str());
    EXPECT_EQ(std::string("\0a\0\0b\0", 6), vsktest::ReadFileBytes(path));
}

TEST(CVskStrSaveToFile, WriteThatFailsThrowsTheWriteMessage) {
    // A pipe whose reader has gone opens, but takes no bytes.
    vsktest::CPipeWithoutReader pipe("str-save");
    ASSERT_TRUE(pipe.Ok());
    const CVskStr text(std::string(10000, 'x').c_str());
    EXPECT_EQ(kWriteFailed, MessageOf<std::runtime_error>([&] { text.SaveToFile(pipe.Name().c_str()); }));
}

TEST(CVskStrSaveToFile, FileThatCannotBeCreatedThrowsTheOpenMessage) {
    CTempDir dir;
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { CVskStr("x").SaveToFile(dir.File("no\\such").c_str()); }));
    EXPECT_EQ(static_cast<DWORD>(ERROR_PATH_NOT_FOUND), GetLastError());

    const std::string readOnly = dir.File("ro");
    vsktest::WriteFileBytes(readOnly, "keep");
    ASSERT_TRUE(SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { CVskStr("x").SaveToFile(readOnly.c_str()); }));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
    EXPECT_EQ("keep", vsktest::ReadFileBytes(readOnly));
    SetFileAttributesA(readOnly.c_str(), FILE_ATTRIBUTE_NORMAL);

    const std::string held = dir.File("held");
    vsktest::WriteFileBytes(held, "keep");
    const HANDLE reader = CreateFileA(held.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, reader);
    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { CVskStr("x").SaveToFile(held.c_str()); }));
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
    CloseHandle(reader);
    EXPECT_EQ("keep", vsktest::ReadFileBytes(held));

    EXPECT_EQ(kOpenFailed, MessageOf<std::runtime_error>([&] { CVskStr("x").SaveToFile(dir.Path().c_str()); }));
}

TEST(CVskStrSaveToFile, FileIsClosedAfterSaving) {
    CTempDir dir;
    const std::string path = dir.File("c");
    CVskStr("abc").SaveToFile(path.c_str());
    const HANDLE h = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, h);
    CloseHandle(h);
}
