// CommFuncBCB_bench.cpp - CReg::Match against calling the POSIX interface's
// regexec directly, measured in one run. Speed ratio = baseline time / library
// time (above 1: library faster; "within 1.2x" means at least 0.83).
#include "bench/BenchSupport.h"
#include "framework/CommFuncBCB.h"

#include <pcre2posix.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

using vskbench::BestSeconds;
using vskbench::Report;

volatile int g_sink = 0;

void MatchOneKib(const char* name, const char* pattern, const std::string& bytes) {
    const System::AnsiString text(bytes.data(), static_cast<int>(bytes.size()));
    vsk::bcb::CReg reg(pattern);
    regex_t direct;
    if (regcomp(&direct, pattern, 0) != 0) {
        std::printf("%s: pattern does not compile\n", name);
        return;
    }
    constexpr int kMatches = 20000;
    auto libraryRound = [&] {
        for (int i = 0; i < kMatches; ++i) {
            g_sink += reg.Match(text) ? 1 : 0;
        }
    };
    auto baselineRound = [&] {
        for (int i = 0; i < kMatches; ++i) {
            regmatch_t matches[3];
            const int result = regexec(&direct, text.c_str(), 3, matches, 0);
            g_sink += (result == 0 && matches[0].rm_so == 0 && matches[0].rm_eo == text.Length()) ? 1 : 0;
        }
    };
    // Rounds alternate, so that both sides see the same machine load.
    double library = 1e30;
    double baseline = 1e30;
    for (int round = 0; round < 9; ++round) {
        library = std::min(library, BestSeconds(1, libraryRound));
        baseline = std::min(baseline, BestSeconds(1, baselineRound));
    }
    regfree(&direct);
    Report(name, library / kMatches, baseline / kMatches, 1.0 / 1.2, ">= 0.83x");
}

} // namespace

int main() {
    std::string letters;
    for (int i = 0; letters.size() < 1024; ++i) {
        letters += static_cast<char>(i % 7 == 6 ? ' ' : 'a' + i % 26);
    }
    letters.resize(1024);
    MatchOneKib("CReg::Match 1 KiB, whole match '[a-z ]*' vs regexec", "[a-z ]*", letters);
    MatchOneKib("CReg::Match 1 KiB, word run '(\\w+ )*\\w*' vs regexec", "(\\w+ )*\\w*", letters);
    std::string miss = letters;
    miss.back() = '!';
    MatchOneKib("CReg::Match 1 KiB, no match '.*z!q' vs regexec", ".*z!q", miss);
    return 0;
}
