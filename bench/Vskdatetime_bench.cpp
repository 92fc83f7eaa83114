// Vskdatetime_bench.cpp - CVskDatetime::Format against the C runtime's
// strftime of the same fields into a std::string, measured in one run. Speed ratio =
// baseline time / library time (above 1: library faster; "within 5x" means at
// least 0.2).
#include "bench/BenchSupport.h"
#include "calendar/Vskdatetime.h"

#include <cstdlib>
#include <ctime>
#include <string>

namespace {

using vskbench::Report;

volatile int g_sink = 0;

template <typename Library, typename Baseline>
void Compare(const char* name, int count, Library libraryRound, Baseline baselineRound, double goal,
             const char* goalText) {
    // Rounds alternate, so that both sides see the same machine load.
    double library = 0, baseline = 0;
    vskbench::BestSecondsAlternating(7, libraryRound, baselineRound, library, baseline);
    Report(name, library / count, baseline / count, goal, goalText);
}

void FormatAgainstStrftime() {
    // A fixed zone, so both sides convert the same way.
    _putenv("TZ=JST-9");
    _tzset();
    const int kCount = vskbench::Count(20000);
    const long first = 1173053047L; // 2007-03-05 09:04:07 JST
    const vskstr::CVskStr pattern("YYYY/MM/DD hh:mm:ss (ddd)");
    // Same text on both sides, checked once.
    {
        const vskstr::CVskStr text = CVskDatetime(first).Format(pattern);
        char buffer[64];
        const __time32_t value = first;
        std::strftime(buffer, sizeof buffer, "%Y/%m/%d %H:%M:%S (%a)", _localtime32(&value));
        if (std::string(text.c_str()) != buffer) {
            std::printf("Format and strftime disagree: '%s' vs '%s'\n", text.c_str(), buffer);
            return;
        }
    }
    auto libraryRound = [&] {
        for (int i = 0; i < kCount; ++i) {
            const vskstr::CVskStr text = CVskDatetime(first + i * 61L).Format(pattern);
            g_sink += text.Length();
        }
    };
    auto baselineRound = [&] {
        for (int i = 0; i < kCount; ++i) {
            const __time32_t value = first + i * 61L;
            char buffer[64];
            const std::size_t n = std::strftime(buffer, sizeof buffer, "%Y/%m/%d %H:%M:%S (%a)", _localtime32(&value));
            const std::string text(buffer, n);
            g_sink += static_cast<int>(text.size());
        }
    };
    Compare("Format(\"YYYY/MM/DD hh:mm:ss (ddd)\") vs strftime", kCount, libraryRound, baselineRound, 0.2,
            ">= 0.2x (within 5x)");
}

} // namespace

int main() {
    FormatAgainstStrftime();
    return vskbench::Finish(0);
}
