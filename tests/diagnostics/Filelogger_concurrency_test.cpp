// Filelogger_concurrency_test.cpp - many threads writing through one rotating
// log: every payload arrives exactly once across the generations and no byte
// is lost; dumps keep their three parts together.
#include "diagnostics/Filelogger.h"

#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

using vsktest::CLogTest;
using vsktest::FileExists;
using vsktest::ReadFileBytes;

// The log's generations from the oldest to the current file, concatenated;
// `files` gets how many exist.
std::string AllGenerations(const std::string& log, int generations, int& files) {
    std::string all;
    files = 0;
    for (int i = generations; i >= 1; --i) {
        const std::string name = log + "." + std::to_string(i);
        if (FileExists(name)) {
            all += ReadFileBytes(name);
            ++files;
        }
    }
    if (FileExists(log)) {
        all += ReadFileBytes(log);
        ++files;
    }
    return all;
}

// Counts the tokens "[t.iiiii]" in `text` into `seen` (threads x lines);
// returns what is left of the text once tokens, CR and LF are taken out.
std::string CountTokens(const std::string& text, int threads, int lines, std::vector<int>& seen) {
    seen.assign(threads * lines, 0);
    std::string rest;
    for (std::size_t i = 0; i < text.size();) {
        int t = 0, n = 0, used = 0;
        if (text[i] == '[' && std::sscanf(text.c_str() + i, "[%1d.%5d]%n", &t, &n, &used) == 2 && used == 9 &&
            t < threads && n < lines) {
            ++seen[t * lines + n];
            i += used;
        } else {
            if (text[i] != '\r' && text[i] != '\n')
                rest += text[i];
            ++i;
        }
    }
    return rest;
}

void WriteTokens(int thread, int lines) {
    for (int i = 0; i < lines; ++i)
        FileLogger_PutLine("[%d.%05d]", thread, i);
}

TEST_F(CLogTest, EightThreadsOfTwentyThousandLinesLoseNothingAcrossRotations) {
    constexpr int kThreads = 8;
    constexpr int kLines = 20000;
    constexpr int kGenerations = 100;
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(32);
    FileLogger_SetGenerationNumber(kGenerations);

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(WriteTokens, t, kLines);
    for (std::thread& thread : threads)
        thread.join();
    FileLogger_SetLogFileName(nullptr);

    int files = 0;
    const std::string all = AllGenerations(log, kGenerations, files);
    EXPECT_FALSE(FileExists(log + "." + std::to_string(kGenerations))) << "the oldest generation must not be full";
    EXPECT_GT(files, 40) << "the log rotated";
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads) * kLines * 11) << "9 bytes of token and CR LF per line";
    std::vector<int> seen;
    const std::string rest = CountTokens(all, kThreads, kLines, seen);
    EXPECT_EQ(rest, "") << "only whole tokens and line ends";
    int missing = 0, repeated = 0;
    for (int count : seen) {
        missing += count == 0;
        repeated += count > 1;
    }
    EXPECT_EQ(missing, 0);
    EXPECT_EQ(repeated, 0);
}

TEST_F(CLogTest, SettersThatCloseTheStreamWhileThreadsWriteLoseNothing) {
    constexpr int kThreads = 4;
    constexpr int kLines = 5000;
    const std::string log = UseLog();
    FileLogger_SetGenerationNumber(50);
    std::atomic<bool> done{false};
    std::thread closer([&] {
        unsigned int kib = 8;
        while (!done) {
            FileLogger_SetLogFileSize(kib);
            kib = kib == 8 ? 16 : 8;
            Sleep(0);
        }
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(WriteTokens, t, kLines);
    for (std::thread& thread : threads)
        thread.join();
    done = true;
    closer.join();
    FileLogger_SetLogFileName(nullptr);

    int files = 0;
    const std::string all = AllGenerations(log, 50, files);
    EXPECT_FALSE(FileExists(log + ".50"));
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kThreads) * kLines * 11);
    std::vector<int> seen;
    EXPECT_EQ(CountTokens(all, kThreads, kLines, seen), "");
    for (int i = 0; i < kThreads * kLines; ++i)
        ASSERT_EQ(seen[i], 1) << "token " << i / kLines << "." << i % kLines;
}

TEST_F(CLogTest, ConcurrentDumpsKeepTheirThreePartsTogether) {
    constexpr int kThreads = 4;
    constexpr int kDumps = 300;
    constexpr int kGenerations = 200;
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(8);
    FileLogger_SetGenerationNumber(kGenerations);

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            const std::string func = "thread" + std::to_string(t);
            for (int i = 0; i < kDumps; ++i) {
                errno = t + 1;
                SetLastError(static_cast<DWORD>(0x20000000 + t));
                FileLogger_Dump("dump.cpp", i, func.c_str());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    FileLogger_SetLogFileName(nullptr);

    int files = 0;
    const std::string all = AllGenerations(log, kGenerations, files);
    EXPECT_GT(files, 5) << "the dumps rotated the log";
    // One record: time stamp, prefix and first line, then the errno line and
    // the LastError line, each record's numbers from its own thread.
    const std::regex record(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} dump\.cpp\((\d+)\): thread(\d): )"
                            R"(auto dump infomation\.\r\n\terrno     =        (\d) [^\r\n]*\r\n)"
                            R"(\tLastError = 2000000(\d) \r\n)");
    std::vector<int> seen(kThreads * kDumps, 0);
    std::size_t at = 0;
    int records = 0;
    auto it = std::sregex_iterator(all.begin(), all.end(), record);
    for (; it != std::sregex_iterator(); ++it) {
        const std::smatch& m = *it;
        ASSERT_EQ(static_cast<std::size_t>(m.position(0)), at) << "text between records: "
                                                               << all.substr(at, m.position(0) - at);
        const int line = std::stoi(m[1]);
        const int thread = std::stoi(m[2]);
        ASSERT_LT(thread, kThreads);
        ASSERT_LT(line, kDumps);
        EXPECT_EQ(std::stoi(m[3]), thread + 1) << "errno of the dumping thread";
        EXPECT_EQ(std::stoi(m[4]), thread) << "last error of the dumping thread";
        ++seen[thread * kDumps + line];
        at = m.position(0) + m.length(0);
        ++records;
    }
    EXPECT_EQ(at, all.size()) << "text after the last record";
    EXPECT_EQ(records, kThreads * kDumps);
    for (int i = 0; i < kThreads * kDumps; ++i)
        EXPECT_EQ(seen[i], 1) << "dump " << i;
}

} // namespace
