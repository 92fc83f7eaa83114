// Vskstr_bench.cpp - CVskStr against std::string and snprintf, measured in one
// run. Speed ratio = baseline time / library time (above 1: library faster).
#include "bench/BenchSupport.h"
#include "foundation/Vskstr.h"

#include <cstdio>
#include <deque>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;
using vskbench::BestSeconds;
using vskbench::Report;

volatile int g_sink = 0;

void CopyAndAssign() {
    const std::string bytes(1 << 20, 'x');
    const CVskStr source(bytes.data(), static_cast<int>(bytes.size()));
    constexpr int kCopies = 1000;
    const double library = BestSeconds(5, [&] {
        for (int i = 0; i < kCopies; ++i) {
            CVskStr copy(source);
            CVskStr assigned;
            assigned = copy;
            g_sink += assigned.Length();
        }
    });
    const double baseline = BestSeconds(5, [&] {
        for (int i = 0; i < kCopies; ++i) {
            std::string copy(bytes);
            std::string assigned;
            assigned = copy;
            g_sink += static_cast<int>(assigned.size());
        }
    });
    Report("copy + assign of 1 MiB: CVskStr vs std::string", library, baseline, 100.0, ">= 100x");
}

void FormatShortLine() {
    constexpr int kLines = 100000;
    const double library = BestSeconds(5, [&] {
        CVskStr line;
        for (int i = 0; i < kLines; ++i) {
            line.Format("%s=%d", "timeout", i);
            g_sink += line.Length();
        }
    });
    const double snprintfBaseline = BestSeconds(5, [&] {
        std::string line;
        for (int i = 0; i < kLines; ++i) {
            line.resize(256);
            line.resize(std::snprintf(&line[0], 256, "%s=%d", "timeout", i));
            g_sink += static_cast<int>(line.size());
        }
    });
    const double msvcrtBaseline = BestSeconds(5, [&] {
        std::string line;
        for (int i = 0; i < kLines; ++i) {
            line.resize(256);
            line.resize(_snprintf(&line[0], 256, "%s=%d", "timeout", i));
            g_sink += static_cast<int>(line.size());
        }
    });
    Report("Format(\"%s=%d\") vs snprintf into std::string", library, snprintfBaseline, 0.5, ">= 0.5x");
    Report("Format(\"%s=%d\") vs msvcrt _snprintf into std::string", library, msvcrtBaseline, 0.5, ">= 0.5x");
}

// 1 MiB of "abcdefghi," pieces: 104,858 separators.
std::string PiecesText(const char* piece = "abcdefghi,") {
    std::string text;
    while (text.size() < (1u << 20))
        text += piece;
    return text;
}

void ReplaceAllOneMiB() {
    const std::string text = PiecesText();
    const CVskStr source(text.c_str());
    const double library = BestSeconds(5, [&] {
        CVskStr s(source);
        s.ReplaceAll(",", ";;");
        g_sink += s.Length();
    });
    const double baseline = BestSeconds(5, [&] {
        std::string out;
        out.reserve(text.size());
        std::size_t from = 0;
        for (std::size_t p; (p = text.find(',', from)) != std::string::npos; from = p + 1) {
            out.append(text, from, p - from);
            out += ";;";
        }
        out.append(text, from, std::string::npos);
        g_sink += static_cast<int>(out.size());
    });
    Report("ReplaceAll, 1 MiB, ~100,000 matches vs one-pass std::string", library, baseline, 1.0 / 3.0,
           ">= 0.33x");
}

void SplitOneMiB(const char* name, const char* piece) {
    const std::string text = PiecesText(piece);
    const CVskStr source(text.c_str());
    const double library = BestSeconds(5, [&] {
        std::deque<CVskStr> pieces;
        vskstr::SplitString(pieces, source, ",");
        g_sink += static_cast<int>(pieces.size());
    });
    const double baseline = BestSeconds(5, [&] {
        std::deque<std::string> pieces;
        std::size_t from = 0;
        while (from < text.size()) {
            std::size_t p = text.find(',', from);
            if (p == std::string::npos)
                p = text.size();
            pieces.push_back(text.substr(from, p - from));
            from = p + 1;
        }
        g_sink += static_cast<int>(pieces.size());
    });
    Report(name, library, baseline, 1.0 / 3.0, ">= 0.33x");
}

} // namespace

int main() {
    std::printf("CVskStr benchmarks (speed ratio = baseline time / library time)\n");
    CopyAndAssign();
    FormatShortLine();
    ReplaceAllOneMiB();
    SplitOneMiB("SplitString, 1 MiB into ~100,000 pieces vs std::string::find", "abcdefghi,");
    // Pieces too long for std::string's inline buffer: both sides allocate
    // once per piece, which shows what the short-piece ratio is made of.
    SplitOneMiB("  (same, 25-byte pieces, ~40,000 of them)", "abcdefghijklmnopqrstuvwx,");
    return 0;
}
