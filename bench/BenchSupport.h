// BenchSupport.h - timing, reporting and the quick mode shared by the benchmarks.
#pragma once

#include "platform/Win32.h"

#include <psapi.h>

#include <algorithm>
#include <cstdio>

namespace vskbench {

/// The environment variable that puts every benchmark in its quick mode.
constexpr const char* kQuickVariable = "VSK_BENCH_QUICK";
/// What the quick mode divides every count by.
constexpr int kQuickDivisor = 100;

/// True when the environment variable VSK_BENCH_QUICK is set to a value other
/// than "0": every count is divided by kQuickDivisor, every comparison runs
/// one round, and no goal is judged (the verdict reads "quick"). The test run
/// uses it to see that every benchmark still works; its figures mean nothing.
inline bool Quick() {
    static const bool quick = [] {
        char value[8] = {};
        const DWORD length = GetEnvironmentVariableA(kQuickVariable, value, sizeof value);
        return length > 0 && length < sizeof value && !(value[0] == '0' && value[1] == '\0');
    }();
    return quick;
}

/// `count` as it stands, or divided by kQuickDivisor (at least 1) in the quick mode.
inline int Count(int count) {
    return Quick() ? std::max(1, count / kQuickDivisor) : count;
}

/// `rounds` as it stands, or 1 in the quick mode.
inline int Rounds(int rounds) {
    return Quick() ? 1 : rounds;
}

/// Seconds of the fastest of `rounds` runs of `body` (one run in the quick mode).
template <typename Body>
double BestSeconds(int rounds, Body body) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    double best = 1e30;
    for (int i = 0; i < Rounds(rounds); ++i) {
        LARGE_INTEGER start, stop;
        QueryPerformanceCounter(&start);
        body();
        QueryPerformanceCounter(&stop);
        best = std::min(best, double(stop.QuadPart - start.QuadPart) / double(frequency.QuadPart));
    }
    return best;
}

/// The best seconds of each of two bodies over `rounds` rounds that run one
/// and then the other, so that both see the same load of the machine.
template <typename Library, typename Baseline>
void BestSecondsAlternating(int rounds, Library library, Baseline baseline, double& libraryBest,
                            double& baselineBest) {
    libraryBest = 1e30;
    baselineBest = 1e30;
    for (int round = 0; round < Rounds(rounds); ++round) {
        libraryBest = std::min(libraryBest, BestSeconds(1, library));
        baselineBest = std::min(baselineBest, BestSeconds(1, baseline));
    }
}

/// Prints one result in the form tools/run-bench.sh gathers into its report:
/// "RESULT|name|value|goal|met" (or "NOT MET", or "quick" in the quick mode,
/// where no goal is judged). `value` is a ratio for comparisons and the
/// measured figure for absolute goals.
inline void PrintResult(const char* name, double value, const char* goalText, bool met) {
    std::printf("RESULT|%s|%.3f|%s|%s\n", name, value, goalText, Quick() ? "quick" : met ? "met" : "NOT MET");
}

/// Prints a figure that explains a result but has no goal of its own, in the
/// form tools/run-bench.sh lists under the report's table:
/// "MEASURE|name|value|what the value means".
inline void PrintMeasure(const char* name, double value, const char* meaning) {
    std::printf("%-58s %.3f (%s)\n", name, value, meaning);
    std::printf("MEASURE|%s|%.3f|%s\n", name, value, meaning);
}

/// The verdict word of a human-readable line: "met", "NOT MET" or "quick".
inline const char* Verdict(bool met) {
    return Quick() ? "quick" : met ? "met" : "NOT MET";
}

/// Prints one comparison: library time, baseline time, and how the ratio
/// stands against the goal (`higherIsBetter`: library speed / baseline speed).
inline void Report(const char* name, double librarySeconds, double baselineSeconds, double goal,
                   const char* goalText) {
    const double ratio = baselineSeconds / librarySeconds; // >1: library faster
    std::printf("%-58s library %10.3f us  baseline %10.3f us  speed ratio %8.2fx  goal %s: %s\n", name,
                librarySeconds * 1e6, baselineSeconds * 1e6, ratio, goalText, Verdict(ratio >= goal));
    PrintResult(name, ratio, goalText, ratio >= goal);
}

/// How much slower than its bound the library may be: 5%.
constexpr double kBoundGoal = 1.05;

/// Prints a comparison against a bound: the step that the library's behaviour
/// fixes, measured alone in the same run (for example the C runtime's
/// formatter under Format). The bound is printed as a figure of its own
/// (`boundName`, nanoseconds per `unit`); the result is library time / bound
/// time, and the goal is met within 5% of the bound.
inline void ReportAgainstBound(const char* name, double librarySeconds, const char* boundName,
                               double boundSeconds, int units, const char* unit) {
    const double cost = librarySeconds / boundSeconds; // 1: as fast as the bound
    std::printf("%-58s library %10.3f ns  bound %10.3f ns a %s  cost %6.3fx  goal <= %.2fx: %s\n", name,
                librarySeconds / units * 1e9, boundSeconds / units * 1e9, unit, cost, kBoundGoal,
                Verdict(cost <= kBoundGoal));
    char meaning[96];
    std::snprintf(meaning, sizeof meaning, "ns a %s: the bound, measured alone in the same run", unit);
    PrintMeasure(boundName, boundSeconds / units * 1e9, meaning);
    PrintResult(name, cost, "<= 1.05x the bound (within 5%)", cost <= kBoundGoal);
}

/// Prints the peak working set of this process (the most physical memory it
/// has held at one time), for the end of each benchmark program.
inline void PrintPeakWorkingSet() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        PrintMeasure("peak working set, MiB", double(counters.PeakWorkingSetSize) / 1048576.0,
                     "the most memory the benchmark held at one time");
    else
        std::printf("peak working set: GetProcessMemoryInfo failed, error %lu\n", GetLastError());
}

/// The end of a benchmark's main: prints the peak working set and gives back
/// `exitCode`.
inline int Finish(int exitCode) {
    PrintPeakWorkingSet();
    std::fflush(stdout);
    return exitCode;
}

} // namespace vskbench
