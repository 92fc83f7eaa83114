// Filelogger_bench.cpp - FileLogger_PutLine of a 60-byte line against the C
// runtime's fprintf + fflush of the same line to a stream opened the same
// way, and rotation every 1 MiB against no rotation.
// Usage: Filelogger_bench [lines per round]
#include "bench/BenchSupport.h"
#include "diagnostics/Filelogger.h"
#include "platform/Win32.h"

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

double Now() {
    static LARGE_INTEGER frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return f;
    }();
    LARGE_INTEGER t;
    QueryPerformanceCounter(&t);
    return static_cast<double>(t.QuadPart) / static_cast<double>(frequency.QuadPart);
}

std::string MakeFolder() {
    char base[MAX_PATH];
    GetTempPathA(MAX_PATH, base);
    std::string folder = std::string(base) + "vsk-log-bench-" + std::to_string(GetCurrentProcessId());
    CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

void RemoveLogs(const std::string& path) {
    DeleteFileA(path.c_str());
    for (int i = 1; i <= 9; ++i)
        DeleteFileA((path + "." + std::to_string(i)).c_str());
}

// The line: 60 bytes of text, plus the line end.
const char* const kLine = "0123456789 the quick brown fox jumps over the lazy dog 01234";

double BaselineLinesPerSecond(const std::string& path, int lines) {
    RemoveLogs(path);
    FILE* f = std::fopen(path.c_str(), "aN");
    if (!f)
        return 0;
    const double start = Now();
    for (int i = 0; i < lines; ++i) {
        __ms_fprintf(f, "%s\n", kLine);
        std::fflush(f);
    }
    const double seconds = Now() - start;
    std::fclose(f);
    return lines / seconds;
}

double LoggerLinesPerSecond(const std::string& path, int lines, unsigned int limitKib) {
    RemoveLogs(path);
    FileLogger_SetLogFileName(path.c_str());
    FileLogger_SetLogFileSize(limitKib);
    FileLogger_SetGenerationNumber(3);
    const double start = Now();
    for (int i = 0; i < lines; ++i)
        FileLogger_PutLine("%s", kLine);
    const double seconds = Now() - start;
    FileLogger_SetLogFileName(nullptr);
    return lines / seconds;
}

} // namespace

int main(int argc, char** argv) {
    const int lines = argc > 1 ? std::atoi(argv[1]) : vskbench::Count(100000);
    const std::string folder = MakeFolder();
    const std::string path = folder + "\\bench.log";
    static_assert(sizeof "0123456789 the quick brown fox jumps over the lazy dog 01234" == 61, "a 60-byte line");

    // Rounds alternate between the cases, and each case keeps its best round,
    // so that a busy moment of the machine does not decide a ratio.
    double baseline = 0, logger = 0, rotating = 0;
    for (int round = 0; round < vskbench::Rounds(3); ++round) {
        baseline = std::max(baseline, BaselineLinesPerSecond(path, lines));
        logger = std::max(logger, LoggerLinesPerSecond(path, lines, 1024 * 1024));
        rotating = std::max(rotating, LoggerLinesPerSecond(path, lines, 1024));
    }
    RemoveLogs(path);
    RemoveDirectoryA(folder.c_str());

    const double bytesPerLine = 62.0; // 60 bytes, CR LF
    std::printf("lines per round: %d (%.1f MiB)\n", lines, lines * bytesPerLine / 1048576.0);
    std::printf("fprintf + fflush (baseline):        %10.0f lines/s\n", baseline);
    std::printf("FileLogger_PutLine, no rotation:    %10.0f lines/s  ratio %.2f (goal >= 0.80): %s\n", logger,
                logger / baseline, vskbench::Verdict(logger / baseline >= 0.80));
    std::printf("FileLogger_PutLine, rotation 1 MiB: %10.0f lines/s  ratio %.2f against no rotation (goal >= 0.70): %s\n",
                rotating, rotating / logger, vskbench::Verdict(rotating / logger >= 0.70));
    vskbench::PrintResult("FileLogger_PutLine vs fprintf + fflush", logger / baseline, ">= 0.80x", logger / baseline >= 0.80);
    vskbench::PrintResult("FileLogger_PutLine, rotation 1 MiB vs no rotation", rotating / logger, ">= 0.70x",
                          rotating / logger >= 0.70);
    return vskbench::Finish(0);
}
