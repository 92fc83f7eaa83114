// Filelogger_fulldisk_test.cpp - the log on a volume that fills up: a line
// or record that the file cannot take goes whole to standard error, what
// part of it reached the file is cut off again, and once space comes back
// the file takes lines again. On a small volume that CTest mounts for the
// run (tests/support/small-volume.sh); where none could be mounted these
// tests skip and print why.
#include "diagnostics/Filelogger.h"

#include "tests/diagnostics/LogTestSupport.h"
#include "tests/diagnostics/SmallVolume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using vsktest::CFiller;
using vsktest::CLogTest;
using vsktest::CSmallVolume;
using vsktest::CStderrCapture;
using vsktest::CVolumeFolder;
using vsktest::FileExists;
using vsktest::ReadOrMissing;

#ifndef VSK_SMALL_VOLUME_STATE
#error "the build names the small volume's state file (VSK_SMALL_VOLUME_STATE)"
#endif

const CSmallVolume& Volume() {
    static const CSmallVolume volume(VSK_SMALL_VOLUME_STATE);
    return volume;
}

// The file's size in bytes, or -1 when it cannot be had.
long long SizeOf(const std::string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data))
        return -1;
    return (static_cast<long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

// ---------------------------------------------------------------------------
// What Wine does on a full volume
// ---------------------------------------------------------------------------

// Windows fails a write that a full disk cannot take with ERROR_DISK_FULL,
// and nothing of it is written. Wine writes what fits (the rest of the
// file's last block here), reports success with the shorter count, and
// fails only the next write. A failed log line can so leave a part of itself
// in the file, which the log cuts off again.
TEST(SmallVolumeOnWine, WriteFileTakesWhatFitsOnAFullVolumeAndReportsSuccessWithTheShorterCount) {
    if (!Volume().Usable())
        GTEST_SKIP() << Volume().Reason();
    const CVolumeFolder folder(Volume().Root(), "wine-write");
    const std::string path = folder.File("short.bin");
    vsktest::WriteFileBytes(path, std::string(100, 'a'));
    CFiller filler(folder.File("filler.bin"));
    filler.FillUp();
    ASSERT_EQ(0ull, Volume().FreeBytes());

    const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file) << vsktest::Win32ErrorText(GetLastError());
    SetFilePointer(file, 0, nullptr, FILE_END);
    const std::string block(8000, 'b');
    DWORD written = 0;
    const BOOL first = WriteFile(file, block.data(), static_cast<DWORD>(block.size()), &written, nullptr);
    DWORD nextWritten = 0;
    const BOOL next = WriteFile(file, "c", 1, &nextWritten, nullptr);
    const DWORD nextError = GetLastError();
    CloseHandle(file);

    EXPECT_TRUE(first);
    EXPECT_GT(written, 0u);
    EXPECT_LT(written, block.size());
    EXPECT_EQ(100 + static_cast<long long>(written), SizeOf(path));
    EXPECT_FALSE(next);
    EXPECT_EQ(0u, nextWritten);
    EXPECT_EQ(static_cast<DWORD>(ERROR_DISK_FULL), nextError);
}

// ---------------------------------------------------------------------------
// Single lines and records
// ---------------------------------------------------------------------------

// Each test gets its own folder on the volume and the log's load-time
// settings; the stream is closed before the folder goes.
class CFullDiskLogTest : public CLogTest {
protected:
    void SetUp() override {
        CLogTest::SetUp();
        if (!Volume().Usable())
            GTEST_SKIP() << Volume().Reason();
        // A parameterised test's name holds a '/'.
        std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::replace(name.begin(), name.end(), '/', '-');
        m_folder.reset(new CVolumeFolder(Volume().Root(), "log-" + name));
    }
    void TearDown() override {
        CLogTest::TearDown();
        m_folder.reset();
    }

    std::string OnVolume(const std::string& name) const { return m_folder->File(name); }

    std::unique_ptr<CVolumeFolder> m_folder;
};

// The choice pinned here: a line that a full disk took only in part is cut
// out of the file again, so that the file holds whole lines only, and the
// line goes whole to standard error. The C runtime alone leaves that part in
// the file, where the next line would be glued to it.
TEST_F(CFullDiskLogTest, APartOfALineThatReachedTheFileIsCutOffAgainAndTheLineGoesWholeToStandardError) {
    const std::string log = OnVolume("app.log");
    const std::string probe = OnVolume("probe.txt");
    vsktest::WriteFileBytes(probe, "a\r\nb\r\n");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    FileLogger_PutLine("a");
    FileLogger_PutLine("b");
    CFiller filler(OnVolume("filler.bin"));
    filler.FillUp();
    ASSERT_EQ(0ull, Volume().FreeBytes());
    const std::string line(6000, 'l');

    // Without the log: the C runtime leaves a part of the failed line.
    FILE* raw = std::fopen(probe.c_str(), "a");
    ASSERT_NE(nullptr, raw);
    std::fputs(line.c_str(), raw);
    std::fputc('\n', raw);
    const int flushed = std::fflush(raw);
    std::fclose(raw);
    ASSERT_NE(0, flushed) << "the full volume took the whole line";
    ASSERT_GT(SizeOf(probe), 6) << "no part of the line reached the file, so there is nothing to cut off";

    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutLine("%s", line.c_str());
    EXPECT_EQ(line + "\n", capture.Finish());
    EXPECT_EQ("a\r\nb\r\n", ReadOrMissing(log));

    filler.Remove();
    FileLogger_PutLine("c");
    EXPECT_EQ("a\r\nb\r\nc\r\n", ReadOrMissing(log)) << "the file takes lines again, nothing glued to them";
}

// A record (time stamp, report prefix, message: the form of every failure
// report) that the full disk refuses goes to standard error as one text.
TEST_F(CFullDiskLogTest, ARecordTheFullDiskRefusesGoesWholeToStandardErrorOnce) {
    const std::string log = OnVolume("app.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    // A line that ends on a block boundary, so that the file has no room
    // left in its last block.
    FileLogger_PutLine("%s", std::string(4094, 'o').c_str());
    CFiller filler(OnVolume("filler.bin"));
    filler.FillUp();
    ASSERT_EQ(0ull, Volume().FreeBytes());

    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutTimestamp();
    FileLogger_Put("%s(%d): %s: ", "full.cpp", 7, "Report");
    FileLogger_PutLine("disk %s", "full");
    EXPECT_EQ("<TS>full.cpp(7): Report: disk full\n", vsktest::MaskTimestamps(capture.Finish()));
    EXPECT_EQ(4096, SizeOf(log));

    filler.Remove();
    FileLogger_PutLine("after");
    EXPECT_EQ(std::string(4094, 'o') + "\r\nafter\r\n", ReadOrMissing(log));
}

// The beginning of a record longer than the stream's buffer is written
// while FileLogger_Put adds it; when that fails, the beginning goes to
// standard error at once and the line that ends the record follows it there.
TEST_F(CFullDiskLogTest, ARecordWhoseBeginningTheFullDiskRefusesGoesWholeToStandardError) {
    const std::string log = OnVolume("app.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    FileLogger_PutLine("%s", std::string(4094, 'o').c_str());
    CFiller filler(OnVolume("filler.bin"));
    filler.FillUp();
    ASSERT_EQ(0ull, Volume().FreeBytes());

    const std::string head(6000, 'h');
    CStderrCapture capture(m_dir.File("stderr.txt"));
    FileLogger_PutTimestamp();
    FileLogger_Put("%s", head.c_str());
    FileLogger_PutLine("tail");
    EXPECT_EQ("<TS>" + head + "tail\n", vsktest::MaskTimestamps(capture.Finish()));
    EXPECT_EQ(4096, SizeOf(log));

    filler.Remove();
    FileLogger_PutLine("after");
    EXPECT_EQ(std::string(4094, 'o') + "\r\nafter\r\n", ReadOrMissing(log));
}

// The disk fills while the log rotates: the renames need no space and
// succeed, the new file is made but takes nothing. Its lines go to standard
// error, each line's write opens the file anew, and once there is space
// again the new file takes them.
TEST_F(CFullDiskLogTest, RotationOntoAFullDiskSendsTheLinesToStandardErrorUntilSpaceComesBack) {
    const std::string log = OnVolume("app.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    FileLogger_SetLogFileSize(1);
    FileLogger_SetGenerationNumber(2);
    const std::string first(1000, 'f');
    FileLogger_PutLine("%s", first.c_str());
    ASSERT_FALSE(FileExists(log + ".1")) << "1002 bytes are below the limit";
    CFiller filler(OnVolume("filler.bin"));
    filler.FillUp();
    ASSERT_EQ(0ull, Volume().FreeBytes());

    CStderrCapture capture(m_dir.File("stderr.txt"));
    const std::string second(100, 's');
    FileLogger_PutLine("%s", second.c_str()); // fits into the file's last block, and passes the limit
    FileLogger_PutLine("one");
    FileLogger_PutLine("two");
    EXPECT_EQ("one\ntwo\n", capture.Finish());
    EXPECT_EQ(first + "\r\n" + second + "\r\n", ReadOrMissing(log + ".1"));
    EXPECT_EQ("", ReadOrMissing(log)) << "the new file is there and empty";

    filler.Remove();
    FileLogger_PutLine("three");
    EXPECT_EQ("three\r\n", ReadOrMissing(log));
    EXPECT_EQ(first + "\r\n" + second + "\r\n", ReadOrMissing(log + ".1"));
}

// ---------------------------------------------------------------------------
// A thousand lines onto a volume that fills twice
// ---------------------------------------------------------------------------

constexpr int kLines = 1000;
constexpr int kBodyLength = 400;
constexpr int kGenerations = 100; // more than ever fill the volume: no line is rotated away

// Line n: "L<nnnn> ", 400 letters that depend on n, " L<nnnn>". A torn or
// glued line matches no line.
std::string LineText(int n) {
    char number[8];
    std::snprintf(number, sizeof number, "L%04d", n);
    std::string line = std::string(number) + " ";
    for (int k = 0; k < kBodyLength; ++k)
        line += static_cast<char>('a' + (n * 7 + k) % 26);
    return line + " " + number;
}

void WriteLines(int from, int to, int thread, int threads) {
    for (int n = from; n < to; ++n) {
        if (n % threads == thread)
            FileLogger_PutLine("%s", LineText(n).c_str());
    }
}

void WriteLinesOnThreads(int from, int to, int threads) {
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back(WriteLines, from, to, t, threads);
    for (std::thread& writer : writers)
        writer.join();
}

// Where the lines were found.
struct CLineCount {
    std::vector<int> seen = std::vector<int>(kLines, 0);
    std::vector<std::string> strays; // text that is no whole line
    int inFiles = 0;
    int secondHalfInFiles = 0;
    int firstHalfOnStandardError = 0;
    int secondHalfOnStandardError = 0;
};

// Counts the lines of `text`, each ended by `end`.
void CountLines(const std::string& text, const std::string& end, bool fromFiles, CLineCount& count) {
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t stop = text.find(end, at);
        if (stop == std::string::npos) {
            count.strays.push_back("<unended> " + text.substr(at, 40));
            return;
        }
        const std::string line = text.substr(at, stop - at);
        at = stop + end.size();
        int n = -1;
        if (std::sscanf(line.c_str(), "L%4d ", &n) != 1 || n < 0 || n >= kLines || line != LineText(n)) {
            count.strays.push_back(line.substr(0, 40) +
                                   (line.size() > 40 ? "... (" + std::to_string(line.size()) + ")" : ""));
            continue;
        }
        ++count.seen[n];
        const bool second = n >= kLines / 2;
        if (fromFiles) {
            ++count.inFiles;
            count.secondHalfInFiles += second;
        } else {
            (second ? count.secondHalfOnStandardError : count.firstHalfOnStandardError) += 1;
        }
    }
}

// The old generations "name.1" ... "name.<kGenerations>", oldest first,
// read and deleted.
std::string TakeGenerations(const std::string& log, int& taken) {
    std::string text;
    for (int i = kGenerations; i >= 1; --i) {
        const std::string name = log + "." + std::to_string(i);
        if (!FileExists(name))
            continue;
        text += vsktest::ReadFileBytes(name);
        DeleteFileA(name.c_str());
        ++taken;
    }
    return text;
}

struct CFillCase {
    const char* name;
    int threads;
    bool rotating;
};

class CFullDiskLogCount : public CFullDiskLogTest, public ::testing::WithParamInterface<CFillCase> {};

// The lines fill the volume more than three times over. A filler takes a
// third of it at first; halfway through, the filler is deleted and the old
// generations are taken away (read, then deleted), so that the file takes
// lines again until the volume is full once more. In the end every line is
// found exactly once, whole, in a file or on standard error.
TEST_P(CFullDiskLogCount, EveryLineArrivesOnceAndWholeInTheFilesOrOnStandardError) {
    const CFillCase& fill = GetParam();
    ASSERT_GE(static_cast<unsigned long long>(kLines) * (kBodyLength + 14), 3 * Volume().TotalBytes())
        << "the lines must fill the volume several times over";
    const std::string log = OnVolume("app.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    if (fill.rotating) {
        FileLogger_SetLogFileSize(8);
        FileLogger_SetGenerationNumber(kGenerations);
    }
    CFiller filler(OnVolume("filler.bin"));
    ASSERT_TRUE(filler.Add(Volume().TotalBytes() / 3));

    CStderrCapture capture(m_dir.File("stderr.txt"));
    WriteLinesOnThreads(0, kLines / 2, fill.threads);
    int generations = 0;
    std::string files = TakeGenerations(log, generations);
    filler.Remove();
    WriteLinesOnThreads(kLines / 2, kLines, fill.threads);
    FileLogger_SetLogFileName(nullptr);
    const std::string standardError = capture.Finish();
    files += TakeGenerations(log, generations);
    files += ReadOrMissing(log);

    CLineCount count;
    CountLines(files, "\r\n", true, count);
    CountLines(standardError, "\n", false, count);
    int missing = 0, repeated = 0;
    std::string examples;
    for (int n = 0; n < kLines; ++n) {
        if (count.seen[n] != 1 && examples.size() < 200)
            examples += " L" + std::to_string(n) + "x" + std::to_string(count.seen[n]);
        missing += count.seen[n] == 0;
        repeated += count.seen[n] > 1;
    }
    EXPECT_EQ(0, missing) << examples;
    EXPECT_EQ(0, repeated) << examples;
    EXPECT_TRUE(count.strays.empty())
        << count.strays.size() << " torn or glued, the first: " << count.strays[0];
    // The volume was full in both halves, and the file took lines again
    // once there was space.
    EXPECT_GT(count.firstHalfOnStandardError, 0);
    EXPECT_GT(count.secondHalfOnStandardError, 0);
    EXPECT_GT(count.secondHalfInFiles, 0);
    if (fill.rotating)
        EXPECT_GT(generations, 4) << "the log rotated";
    else
        EXPECT_EQ(0, generations);
    std::printf("[          ] %d lines in the files, %d on standard error\n", count.inFiles,
                count.firstHalfOnStandardError + count.secondHalfOnStandardError);
}

INSTANTIATE_TEST_SUITE_P(FullDisk, CFullDiskLogCount,
                         ::testing::Values(CFillCase{"OneWriterNoRotation", 1, false},
                                           CFillCase{"EightWritersNoRotation", 8, false},
                                           CFillCase{"OneWriterRotating", 1, true},
                                           CFillCase{"EightWritersRotating", 8, true}),
                         [](const ::testing::TestParamInfo<CFillCase>& info) { return info.param.name; });

} // namespace
