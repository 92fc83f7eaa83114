// Vskstrw_bench.cpp - narrow to wide and back through CVskStrW against the
// system's conversions called directly, on 1 MiB of Japanese text; the heap
// and pool bytes a short live wide string costs.
#include "bench/BenchSupport.h"
#include "bench/LiveStringBytes.h"
#include "foundation/Vskstrw.h"

#include <string>

namespace {

// 100,000 wide strings of 1 to 15 characters, all alive at once; the text's
// own bytes are two a character.
void LiveShortWideStrings() {
    vskbench::ReportBytesPerLiveString<vskstr::CVskStrW>(
        "100,000 live wide strings of 1-15 characters: overhead bytes a string", vskbench::Count(100000),
        [](int i) { return vskstr::CVskStrW(L"abcdefghijklmno", 1 + i % 15); },
        [](const vskstr::CVskStrW& s) { return s.Length() * sizeof(wchar_t); });
}

} // namespace

int main() {
    LiveShortWideStrings();
    // "日本語のテキスト、abc " in code page 932, repeated to 1 MiB.
    const std::string piece = "\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x83\x65\x83\x4C\x83\x58\x83\x67\x81\x41""abc ";
    const std::size_t size = static_cast<std::size_t>(vskbench::Count(1024 * 1024));
    std::string text;
    while (text.size() + piece.size() <= size)
        text += piece;
    const vskstr::CVskStr narrow(text.c_str());
    std::size_t sink = 0;

    const double library = vskbench::BestSeconds(15, [&] {
        vskstr::CVskStrW wide(narrow);
        vskstr::CVskStr back(wide);
        sink += back.Length();
    });
    const double baseline = vskbench::BestSeconds(15, [&] {
        const int n = MultiByteToWideChar(1, 1, narrow.c_str(), -1, nullptr, 0);
        std::wstring wide(n, L'\0');
        MultiByteToWideChar(1, 1, narrow.c_str(), -1, &wide[0], n);
        const int m = WideCharToMultiByte(1, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
        std::string back(m, '\0');
        WideCharToMultiByte(1, 0, wide.c_str(), -1, &back[0], m, nullptr, nullptr);
        sink += back.size();
    });
    // The goal: within 1.5x of the direct calls, i.e. a speed ratio of at least 1/1.5.
    vskbench::Report("1 MiB Japanese narrow->wide->narrow vs direct API calls", library, baseline, 1.0 / 1.5,
                     ">= 0.67x");
    return vskbench::Finish(sink == 0);
}
