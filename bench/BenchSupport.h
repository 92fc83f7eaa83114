// BenchSupport.h - timing helpers shared by the benchmarks.
#pragma once

#include "platform/Win32.h"

#include <algorithm>
#include <cstdio>

namespace vskbench {

/// Seconds of the fastest of `rounds` runs of `body`.
template <typename Body>
double BestSeconds(int rounds, Body body) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    double best = 1e30;
    for (int i = 0; i < rounds; ++i) {
        LARGE_INTEGER start, stop;
        QueryPerformanceCounter(&start);
        body();
        QueryPerformanceCounter(&stop);
        best = std::min(best, double(stop.QuadPart - start.QuadPart) / double(frequency.QuadPart));
    }
    return best;
}

/// Prints one result in the form tools/run-bench.sh gathers into its report:
/// "RESULT|name|value|goal|met" (or "NOT MET"). `value` is a ratio for
/// comparisons and the measured figure for absolute goals.
inline void PrintResult(const char* name, double value, const char* goalText, bool met) {
    std::printf("RESULT|%s|%.3f|%s|%s\n", name, value, goalText, met ? "met" : "NOT MET");
}

/// Prints a figure that explains a result but has no goal of its own, in the
/// form tools/run-bench.sh lists under the report's table:
/// "MEASURE|name|value|what the value means".
inline void PrintMeasure(const char* name, double value, const char* meaning) {
    std::printf("%-58s %.3f (%s)\n", name, value, meaning);
    std::printf("MEASURE|%s|%.3f|%s\n", name, value, meaning);
}

/// Prints one comparison: library time, baseline time, and how the ratio
/// stands against the goal (`higherIsBetter`: library speed / baseline speed).
inline void Report(const char* name, double librarySeconds, double baselineSeconds, double goal,
                   const char* goalText) {
    const double ratio = baselineSeconds / librarySeconds; // >1: library faster
    std::printf("%-58s library %10.3f us  baseline %10.3f us  speed ratio %8.2fx  goal %s: %s\n", name,
                librarySeconds * 1e6, baselineSeconds * 1e6, ratio, goalText, ratio >= goal ? "met" : "NOT MET");
    PrintResult(name, ratio, goalText, ratio >= goal);
}

} // namespace vskbench
