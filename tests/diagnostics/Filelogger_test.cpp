// Filelogger_test.cpp - the rotating log file against real files: the lazy
// stream, standard error in place of a file, the size check and the
// generations, the dump, the time stamp, and CSLock.
#include "diagnostics/Filelogger.h"

#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using vsktest::CLogTest;
using vsktest::CStderrCapture;
using vsktest::FileExists;
using vsktest::ReadFileBytes;
using vsktest::ReadOrMissing;
using vsktest::WriteFileBytes;

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

TEST_F(CLogTest, PutLineAppendsTheTextAndCrLf) {
    const std::string log = UseLog();
    FileLogger_PutLine("x=%d", 5);
    EXPECT_EQ(ReadFileBytes(log), "x=5\r\n");
}

TEST_F(CLogTest, PutLineAppendsToAnExistingFile) {
    const std::string log = m_dir.File("app.log");
    WriteFileBytes(log, "old\r\n");
    UseLog();
    FileLogger_PutLine("new");
    EXPECT_EQ(ReadFileBytes(log), "old\r\nnew\r\n");
}

TEST_F(CLogTest, PutWritesNoNewlineAndDoesNotFlush) {
    const std::string log = UseLog();
    FileLogger_Put("ab");
    FileLogger_Put("%s", "c");
    EXPECT_EQ(ReadOrMissing(log), "") << "Put leaves its text in the stream's buffer";
    FileLogger_PutLine("d");
    EXPECT_EQ(ReadFileBytes(log), "abcd\r\n");
}

// The log keeps a copy of the record that Put begins, for standard error
// should the file refuse it; past 64 KiB it stops keeping and flushes the
// record as it stands.
TEST_F(CLogTest, PutTextThatNoLineEndsIsFlushedAsItStandsOncePast64KiB) {
    const std::string log = UseLog();
    const std::string piece(1000, 'p');
    for (int i = 0; i < 65; ++i)
        FileLogger_Put("%s", piece.c_str());
    EXPECT_LT(ReadOrMissing(log).size(), 65000u) << "up to 64 KiB the text waits, its end in the stream's buffer";
    FileLogger_Put("%s", piece.c_str());
    EXPECT_EQ(66000u, ReadOrMissing(log).size()) << "past 64 KiB it is flushed";
    FileLogger_PutLine("end");
    EXPECT_EQ(std::string(66000, 'p') + "end\r\n", ReadOrMissing(log));
}

TEST_F(CLogTest, NothingIsWrittenBeyondWhatCallersFormat) {
    const std::string log = UseLog();
    FileLogger_PutLine("%s", "");
    FileLogger_PutLine("a\nb");
    EXPECT_EQ(ReadFileBytes(log), "\r\na\r\nb\r\n");
}

TEST_F(CLogTest, FileIsOpenedOnlyByTheFirstWrite) {
    const std::string log = UseLog();
    EXPECT_FALSE(FileExists(log)) << "naming the file must not create it";
    FileLogger_SetLogFileSize(10);
    FileLogger_SetGenerationNumber(2);
    EXPECT_FALSE(FileExists(log)) << "setters do not open the file";
    FileLogger_PutLine("first");
    EXPECT_TRUE(FileExists(log));
}

TEST_F(CLogTest, SetGenerationNumberClosesTheStreamAndReturnsTrue) {
    const std::string log = UseLog();
    FileLogger_PutLine("one");
    EXPECT_FALSE(DeleteFileA(log.c_str())) << "the file is open";
    EXPECT_TRUE(FileLogger_SetGenerationNumber(5));
    EXPECT_TRUE(DeleteFileA(log.c_str())) << vsktest::Win32ErrorText(GetLastError());
    FileLogger_PutLine("two");
    EXPECT_EQ(ReadFileBytes(log), "two\r\n");
}

TEST_F(CLogTest, SetLogFileSizeClosesTheStream) {
    const std::string log = UseLog();
    FileLogger_PutLine("one");
    FileLogger_SetLogFileSize(1024);
    EXPECT_TRUE(DeleteFileA(log.c_str())) << vsktest::Win32ErrorText(GetLastError());
    FileLogger_PutLine("two");
    EXPECT_EQ(ReadFileBytes(log), "two\r\n");
}

TEST_F(CLogTest, SetLogFileNameMovesToTheNewFile) {
    const std::string first = UseLog("first.log");
    FileLogger_PutLine("a");
    const std::string second = UseLog("second.log");
    FileLogger_PutLine("b");
    EXPECT_EQ(ReadFileBytes(first), "a\r\n");
    EXPECT_EQ(ReadFileBytes(second), "b\r\n");
}

TEST_F(CLogTest, HundredKibMessageIsWrittenWhole) {
    const std::string log = UseLog();
    std::string big(100 * 1024, 'x');
    for (std::size_t i = 0; i < big.size(); i += 97)
        big[i] = static_cast<char>('a' + i % 26);
    FileLogger_PutLine("<%s>", big.c_str());
    EXPECT_EQ(ReadFileBytes(log), "<" + big + ">\r\n");
}

// ---------------------------------------------------------------------------
// Standard error in place of a file
// ---------------------------------------------------------------------------

TEST_F(CLogTest, WithNoNameOutputGoesToStandardError) {
    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_Put("a%d", 1);
    FileLogger_PutLine("b");
    EXPECT_EQ(capture.Finish(), "a1b\n");
}

TEST_F(CLogTest, WithNoNameNoRotationHappensEvenAtLimitZero) {
    FileLogger_SetLogFileSize(0);
    FileLogger_SetGenerationNumber(2);
    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("a");
    FileLogger_PutLine("b");
    EXPECT_EQ(capture.Finish(), "a\nb\n");
    EXPECT_FALSE(FileExists(m_dir.File("stderr.txt.1")));
}

TEST_F(CLogTest, SetLogFileNameNullReturnsTrueAndGoesBackToStandardError) {
    const std::string log = UseLog();
    FileLogger_PutLine("to file");
    EXPECT_TRUE(FileLogger_SetLogFileName(nullptr));
    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("to stderr");
    EXPECT_EQ(capture.Finish(), "to stderr\n");
    EXPECT_EQ(ReadFileBytes(log), "to file\r\n");
}

TEST_F(CLogTest, MissingFolderFallsBackToStandardErrorUntilASetterCloses) {
    const std::string folder = m_dir.File("later");
    const std::string log = folder + "\\app.log";
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    {
        CStderrCapture capture(m_dir.File("stderr1.txt"));
        FileLogger_PutLine("lost to stderr");
        EXPECT_EQ(capture.Finish(), "lost to stderr\n");
    }
    ASSERT_TRUE(CreateDirectoryA(folder.c_str(), nullptr));
    {
        // The failed open is not retried while the stream stays set.
        CStderrCapture capture(m_dir.File("stderr2.txt"));
        FileLogger_PutLine("still stderr");
        EXPECT_EQ(capture.Finish(), "still stderr\n");
        EXPECT_FALSE(FileExists(log));
    }
    FileLogger_SetLogFileSize(1024);
    FileLogger_PutLine("kept");
    FileLogger_PutLine("kept too");
    EXPECT_EQ(ReadFileBytes(log), "kept\r\nkept too\r\n");
}

TEST_F(CLogTest, ReadOnlyFileFallsBackToStandardErrorAndNoLaterLineIsLost) {
    const std::string log = m_dir.File("ro.log");
    WriteFileBytes(log, "before\r\n");
    ASSERT_TRUE(SetFileAttributesA(log.c_str(), FILE_ATTRIBUTE_READONLY));
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    {
        CStderrCapture capture(m_dir.File("stderr.txt"));
        FileLogger_PutLine("refused");
        EXPECT_EQ(capture.Finish(), "refused\n");
    }
    EXPECT_EQ(ReadFileBytes(log), "before\r\n");
    ASSERT_TRUE(SetFileAttributesA(log.c_str(), FILE_ATTRIBUTE_NORMAL));
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    FileLogger_PutLine("after");
    EXPECT_EQ(ReadFileBytes(log), "before\r\nafter\r\n");
}

TEST_F(CLogTest, FiveThousandCharacterNameFallsBackToStandardError) {
    const std::string name = m_dir.Path() + "\\" + std::string(5000 - m_dir.Path().size() - 1, 'n');
    ASSERT_EQ(name.size(), 5000u);
    ASSERT_TRUE(FileLogger_SetLogFileName(name.c_str()));
    FileLogger_SetLogFileSize(0); // the check then runs, and must cope with the name
    {
        CStderrCapture capture(m_dir.File("stderr.txt"));
        FileLogger_PutLine("long name");
        FileLogger_PutLine("again");
        EXPECT_EQ(capture.Finish(), "long name\nagain\n");
    }
    FileLogger_SetLogFileSize(1024);
    const std::string log = UseLog();
    FileLogger_PutLine("back");
    EXPECT_EQ(ReadFileBytes(log), "back\r\n");
}

TEST_F(CLogTest, UnopenableNameRotatesAtLimitZeroOnlyByName) {
    // The check measures standard error (ftell of a stream that is not a
    // file gives -1, that is 0 KiB): a limit of 0 still "rotates", which
    // renames nothing here because there is no file.
    const std::string log = m_dir.File("none\\app.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    FileLogger_SetLogFileSize(0);
    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("one");
    FileLogger_PutLine("two");
    EXPECT_EQ(capture.Finish(), "one\ntwo\n");
}

TEST_F(CLogTest, UnopenableNameIsMeasuredByStandardErrorAndRotatedByName) {
    // A folder cannot be opened as the log: output goes to standard error,
    // and the size check measures standard error. Once that passes the
    // limit, the rotation works on the names: "logdir.1" goes and the
    // folder itself becomes "logdir.1".
    const std::string name = m_dir.File("logdir");
    ASSERT_TRUE(CreateDirectoryA(name.c_str(), nullptr));
    vsktest::WriteFileBytes(name + ".1", "old");
    ASSERT_TRUE(FileLogger_SetLogFileName(name.c_str()));
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(1);
    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("short");
    EXPECT_EQ(ReadOrMissing(name + ".1"), "old") << "standard error holds 6 bytes: below 1 KiB";
    FileLogger_PutLine("%s", std::string(1100, 'e').c_str());
    const std::string written = capture.Finish();
    EXPECT_EQ(written.size(), 6u + 1101u);
    EXPECT_FALSE(FileExists(name));
    const DWORD attributes = GetFileAttributesA((name + ".1").c_str());
    ASSERT_NE(attributes, INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(attributes & FILE_ATTRIBUTE_DIRECTORY) << "the folder took the first generation's name";
}

// ---------------------------------------------------------------------------
// Size check and rotation
// ---------------------------------------------------------------------------

// Writes lines until the file holds exactly `bytes` bytes (each line is
// its text plus CR LF); the limit must not be passed on the way.
void FillTo(std::size_t bytes) {
    while (bytes > 0) {
        const std::size_t line = std::min<std::size_t>(bytes, 500);
        FileLogger_PutLine("%s", std::string(line - 2, 'f').c_str());
        bytes -= line;
    }
}

TEST_F(CLogTest, FileOneByteShortOfTheLimitDoesNotRotate) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(1);
    FillTo(1023);
    EXPECT_EQ(ReadFileBytes(log).size(), 1023u);
    EXPECT_FALSE(FileExists(log + ".1"));
}

TEST_F(CLogTest, LineThatReachesExactlyTheLimitRotates) {
    const std::string log = UseLog();
    WriteFileBytes(log + ".1", "stale generation\r\n");
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(1);
    FillTo(1022);
    FileLogger_PutLine("%s", ""); // 1024 bytes: written, flushed, then rotated
    EXPECT_FALSE(FileExists(log)) << "the next line opens a new file";
    const std::string old = ReadOrMissing(log + ".1");
    EXPECT_EQ(old.size(), 1024u);
    EXPECT_EQ(old.substr(1019), "f\r\n\r\n");
    FileLogger_PutLine("fresh");
    EXPECT_EQ(ReadFileBytes(log), "fresh\r\n");
    EXPECT_FALSE(FileExists(log + ".2"));
}

TEST_F(CLogTest, OneMibLimitRotatesAtOneMib) {
    const std::string log = UseLog();
    const std::string line(1022, 'm'); // 1 KiB with CR LF
    for (int i = 0; i < 1023; ++i)
        FileLogger_PutLine("%s", line.c_str());
    FileLogger_PutLine("%s", std::string(1021, 'm').c_str());
    EXPECT_EQ(ReadFileBytes(log).size(), 1048575u);
    FileLogger_PutLine("%s", "");
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ(ReadOrMissing(log + ".1").size(), 1048577u);
}

TEST_F(CLogTest, LimitZeroRotatesEveryLine) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(0);
    FileLogger_SetGenerationNumber(3);
    for (const char* text : {"a", "b", "c", "d"})
        FileLogger_PutLine("%s", text);
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ(ReadOrMissing(log + ".1"), "d\r\n");
    EXPECT_EQ(ReadOrMissing(log + ".2"), "c\r\n");
    EXPECT_EQ(ReadOrMissing(log + ".3"), "b\r\n");
    EXPECT_FALSE(FileExists(log + ".4"));
}

TEST_F(CLogTest, ThreeGenerationsSkipAMissingMiddleGeneration) {
    const std::string log = UseLog();
    WriteFileBytes(log + ".1", "one\r\n");
    WriteFileBytes(log + ".3", "three\r\n");
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(3);
    FillTo(1024);
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ(ReadOrMissing(log + ".1").size(), 1024u);
    EXPECT_EQ(ReadOrMissing(log + ".2"), "one\r\n");
    EXPECT_FALSE(FileExists(log + ".3")) << "the oldest generation is removed";
}

TEST_F(CLogTest, GenerationsShiftOnEachRotation) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(0);
    FileLogger_SetGenerationNumber(2);
    FileLogger_PutLine("1");
    FileLogger_PutLine("2");
    FileLogger_PutLine("3");
    EXPECT_EQ(ReadOrMissing(log + ".1"), "3\r\n");
    EXPECT_EQ(ReadOrMissing(log + ".2"), "2\r\n");
    EXPECT_FALSE(FileExists(log + ".3"));
}

TEST_F(CLogTest, GenerationCountZeroKeepsTheFileGrowing) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(0);
    FillTo(3000);
    EXPECT_EQ(ReadOrMissing(log).size(), 3000u) << "the removal of the open file fails";
    EXPECT_FALSE(FileExists(log + ".1"));
    EXPECT_FALSE(FileExists(log + ".0"));
}

TEST_F(CLogTest, NegativeGenerationCountBehavesAsZero) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(0);
    FileLogger_SetGenerationNumber(-3);
    FileLogger_PutLine("a");
    FileLogger_PutLine("b");
    EXPECT_EQ(ReadOrMissing(log), "a\r\nb\r\n");
}

TEST_F(CLogTest, PutFragmentsNeverRotateUntilALineFollows) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(1);
    for (int i = 0; i < 300; ++i)
        FileLogger_Put("%s", "0123456789");
    EXPECT_FALSE(FileExists(log + ".1"));
    FileLogger_PutLine("end");
    EXPECT_FALSE(FileExists(log));
    std::string expected;
    for (int i = 0; i < 300; ++i)
        expected += "0123456789";
    EXPECT_EQ(ReadOrMissing(log + ".1"), expected + "end\r\n");
}

TEST_F(CLogTest, RotationBlockedByAnOpenOldestGenerationIsRetriedByTheNextLine) {
    const std::string log = UseLog();
    WriteFileBytes(log + ".1", "held\r\n");
    FileLogger_SetLogFileSize(0);
    FileLogger_SetGenerationNumber(1);
    HANDLE held = CreateFileA((log + ".1").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                              nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    FileLogger_PutLine("a");
    FileLogger_PutLine("b");
    EXPECT_EQ(ReadOrMissing(log), "a\r\nb\r\n") << "the file goes on growing";
    CloseHandle(held);
    FileLogger_PutLine("c");
    EXPECT_FALSE(FileExists(log));
    EXPECT_EQ(ReadOrMissing(log + ".1"), "a\r\nb\r\nc\r\n");
}

// ---------------------------------------------------------------------------
// Time stamp and dump
// ---------------------------------------------------------------------------

TEST_F(CLogTest, TimestampIsLocalTimeWithMillisecondsAndATrailingBlank) {
    const std::string log = UseLog();
    SYSTEMTIME before;
    GetLocalTime(&before);
    FileLogger_PutTimestamp();
    FileLogger_PutLine("x");
    const std::string text = ReadFileBytes(log);
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match,
                                 std::regex(R"((\d{4})-(\d{2})-(\d{2}) (\d{2}):(\d{2}):(\d{2})\.(\d{3}) x\r\n)")))
        << text;
    EXPECT_EQ(std::stoi(match[1]), before.wYear);
    EXPECT_EQ(std::stoi(match[2]), before.wMonth);
    EXPECT_LE(std::stoi(match[7]), 999);
    EXPECT_EQ(text.size(), 24u + 3u);
}

std::string SystemText(DWORD code) {
    char* text = nullptr;
    const DWORD n = FormatMessageA(0x1300, nullptr, code, GetUserDefaultLangID(), reinterpret_cast<char*>(&text), 0,
                                   nullptr);
    std::string result = n ? std::string(text, n) : std::string();
    if (text)
        LocalFree(text);
    while (!result.empty() && (result.back() == '\r' || result.back() == '\n'))
        result.pop_back();
    return result;
}

TEST_F(CLogTest, DumpWritesTheErrnoAndLastErrorWithTheirTexts) {
    const std::string log = UseLog();
    const std::string systemText = SystemText(ERROR_FILE_NOT_FOUND);
    ASSERT_FALSE(systemText.empty()) << "the system has a text for error 2";
    errno = ENOENT;
    SetLastError(ERROR_FILE_NOT_FOUND);
    FileLogger_Dump("f.cpp", 7, "g");
    const std::string errnoText = std::strerror(ENOENT);
    // "auto dump infomation." with the misspelling, "\terrno     = " and the
    // number right-aligned in 8 places after a sign blank.
    EXPECT_EQ(vsktest::MaskTimestamps(ReadFileBytes(log)),
              "<TS>f.cpp(7): g: auto dump infomation.\r\n"
              "\terrno     =        2 " +
                  errnoText + "\r\n\tLastError = 00000002 " + systemText + "\r\n");
}

TEST_F(CLogTest, DumpOfACodeWithoutSystemTextEndsWithTheBlankAfterTheCode) {
    const std::string log = UseLog();
    ASSERT_TRUE(SystemText(0x2000ABCDu).empty());
    errno = 0;
    SetLastError(0x2000ABCDu);
    FileLogger_Dump("src\\a.cpp", 12, "Func");
    const std::string text = vsktest::MaskTimestamps(ReadFileBytes(log));
    const std::string errnoLine = "\terrno     =        0 " + std::string(std::strerror(0));
    EXPECT_EQ(text, "<TS>src\\a.cpp(12): Func: auto dump infomation.\r\n" + errnoLine +
                        "\r\n\tLastError = 2000abcd \r\n");
}

TEST_F(CLogTest, DumpReadsTheLastErrorBeforeAnythingElse) {
    // Opening the log file on the way (a first write) sets the last error;
    // the dump must report the caller's code.
    const std::string log = UseLog();
    errno = EINVAL;
    SetLastError(ERROR_ACCESS_DENIED);
    FileLogger_Dump("f", 1, "g");
    const std::string text = ReadFileBytes(log);
    EXPECT_NE(text.find("\tLastError = 00000005 " + SystemText(ERROR_ACCESS_DENIED) + "\r\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("\terrno     =       22 " + std::string(std::strerror(EINVAL)) + "\r\n"), std::string::npos)
        << text;
}

TEST_F(CLogTest, DumpIsALineAndSoSubjectToRotation) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(0);
    FileLogger_SetGenerationNumber(1);
    FileLogger_Dump("f", 1, "g");
    EXPECT_FALSE(FileExists(log));
    EXPECT_NE(ReadOrMissing(log + ".1").find("auto dump infomation."), std::string::npos);
}

// ---------------------------------------------------------------------------
// Unit and lock
// ---------------------------------------------------------------------------

TEST(FileloggerUnit, IsStartedWhenTheLibraryIsLoaded) { EXPECT_LT(Filelogger::Counter(), 0); }

TEST_F(CLogTest, UnitInitializeAgainAndItsMatchingFinalizeKeepTheLock) {
    // Only the first Initialize and the last Finalize run the unit's
    // routines: a nested pair neither makes nor deletes the critical section.
    const int before = Filelogger::Counter();
    Filelogger::Initialize();
    EXPECT_EQ(Filelogger::Counter(), before - 1);
    Filelogger::Finalize();
    EXPECT_EQ(Filelogger::Counter(), before);
    const std::string log = UseLog();
    std::thread other([] { FileLogger_PutLine("from another thread"); });
    other.join();
    FileLogger_Dump("f", 1, "g");
    EXPECT_NE(ReadFileBytes(log).find("from another thread\r\n"), std::string::npos);
}

// Read while this program starts, after the library has been loaded and
// before any test can change it.
const bool g_autoFuncNameFlagAtLoad = _FileLogger_IsAutoFuncNameLogger;

TEST(FileloggerUnit, AutoFuncNameFlagIsExportedAndFalseAtLoad) {
    EXPECT_FALSE(g_autoFuncNameFlagAtLoad);
}

bool HeldByAnotherThread(CRITICAL_SECTION* section) {
    bool entered = false;
    std::thread probe([&] {
        entered = TryEnterCriticalSection(section) != FALSE;
        if (entered)
            LeaveCriticalSection(section);
    });
    probe.join();
    return !entered;
}

class CSLockTest : public ::testing::Test {
protected:
    void SetUp() override { InitializeCriticalSection(&m_section); }
    void TearDown() override { DeleteCriticalSection(&m_section); }
    CRITICAL_SECTION m_section;
};

TEST_F(CSLockTest, ConstructorWithTrueHoldsTheSection) {
    CSLock lock(&m_section, true);
    EXPECT_EQ(lock.Count(), 1);
    EXPECT_TRUE(HeldByAnotherThread(&m_section));
}

TEST_F(CSLockTest, ConstructorWithFalseHoldsNothing) {
    CSLock lock(&m_section, false);
    EXPECT_EQ(lock.Count(), 0);
    EXPECT_FALSE(HeldByAnotherThread(&m_section));
}

TEST_F(CSLockTest, UnlockWithNothingHeldThrowsLogicError) {
    CSLock lock(&m_section, false);
    try {
        lock.Unlock();
        FAIL() << "no exception";
    } catch (const std::logic_error& e) {
        EXPECT_STREQ(e.what(), "CSLock::Unlock()");
    }
}

TEST_F(CSLockTest, UnlockLeavesOnceAndASecondUnlockThrows) {
    CSLock lock(&m_section, true);
    lock.Unlock();
    EXPECT_EQ(lock.Count(), 0);
    EXPECT_FALSE(HeldByAnotherThread(&m_section));
    EXPECT_THROW(lock.Unlock(), std::logic_error);
}

TEST_F(CSLockTest, DestructorReleasesEveryHold) {
    {
        CSLock lock(&m_section, true);
        lock.Lock();
        lock.Lock();
        EXPECT_EQ(lock.Count(), 3);
    }
    EXPECT_FALSE(HeldByAnotherThread(&m_section));
}

TEST_F(CSLockTest, DestructorReleasesWhenAnExceptionLeavesTheScope) {
    try {
        CSLock lock(&m_section, true);
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_FALSE(HeldByAnotherThread(&m_section));
}

} // namespace
