// CommFuncBCB_bench.cpp - CReg::Match against calling the POSIX interface's
// regexec directly; DrawLineDDA against drawing the same dashes with
// MoveToEx/LineTo; SetHorizontalExtentAuto against a GetTextExtentPoint32A
// loop; each pair measured in one run. Speed ratio = baseline time / library
// time (above 1: library faster; "within 1.2x" means at least 0.83).
#include "bench/BenchSupport.h"
#include "framework/CommFuncBCB.h"

#include <pcre2posix.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

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
    const int kMatches = vskbench::Count(20000);
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
    double library = 0, baseline = 0;
    vskbench::BestSecondsAlternating(9, libraryRound, baselineRound, library, baseline);
    regfree(&direct);
    Report(name, library / kMatches, baseline / kMatches, 1.0 / 1.2, ">= 0.83x");
}

void CALLBACK CollectPoint(int x, int y, LPARAM data) {
    reinterpret_cast<std::vector<std::pair<int, int>>*>(data)->push_back({x, y});
}

// A 4,000-point line (gap 2, dash 3) on a memory context with a DIB section.
void DashedLine() {
    constexpr int kWidth = 4000;
    constexpr int kHeight = 64;
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = kWidth;
    info.bmiHeader.biHeight = kHeight;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    HDC dc = CreateCompatibleDC(nullptr);
    HBITMAP bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ oldBitmap = SelectObject(dc, bitmap);
    Graphics::TCanvas canvas;
    canvas.Handle = dc;
    // The dashes, worked out once for the baseline.
    std::vector<std::pair<int, int>> points;
    LineDDA(0, 0, kWidth, kHeight - 1, &CollectPoint, reinterpret_cast<LPARAM>(&points));
    std::vector<std::pair<std::pair<int, int>, std::pair<int, int>>> dashes;
    for (std::size_t i = 0; i < points.size(); i += 5)
        dashes.push_back({points[i], points[std::min(i + 3, points.size() - 1)]});
    HPEN pen = CreatePen(PS_SOLID, 1, 0);
    auto libraryRound = [&] { vsk::bcb::DrawLineDDA(&canvas, 0, 0, kWidth, kHeight - 1, 2, 3); };
    auto baselineRound = [&] {
        HGDIOBJ oldPen = SelectObject(dc, pen);
        for (const auto& d : dashes) {
            MoveToEx(dc, d.first.first, d.first.second, nullptr);
            LineTo(dc, d.second.first, d.second.second);
        }
        SelectObject(dc, oldPen);
    };
    double library = 1e30;
    double baseline = 1e30;
    for (int round = 0; round < vskbench::Rounds(9); ++round) {
        library = std::min(library, BestSeconds(3, libraryRound));
        baseline = std::min(baseline, BestSeconds(3, baselineRound));
    }
    std::printf("(%u points visited, %u dashes)\n", static_cast<unsigned>(points.size()),
                static_cast<unsigned>(dashes.size()));
    Report("DrawLineDDA 4000 points gap 2 dash 3 vs MoveToEx/LineTo", library, baseline, 1.0 / 1.5, ">= 0.67x");
    canvas.Handle = nullptr;
    DeleteObject(pen);
    SelectObject(dc, oldBitmap);
    DeleteObject(bitmap);
    DeleteDC(dc);
}

// 10,000 items of mixed single- and double-byte text.
void ListBoxExtent() {
    const int kItems = vskbench::Count(10000);
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    SendMessageA(box.Handle, WM_SETREDRAW, FALSE, 0);
    std::vector<std::string> texts;
    for (int i = 0; i < kItems; ++i) {
        texts.push_back("item " + std::to_string(i) + (i % 3 == 0 ? " 表示ソ" : " text"));
        box.Items->Add(texts.back().c_str());
    }
    HWND window = box.Handle;
    HDC dc = GetDC(window);
    HGDIOBJ oldFont = nullptr;
    if (HFONT font = reinterpret_cast<HFONT>(SendMessageA(window, WM_GETFONT, 0, 0)))
        oldFont = SelectObject(dc, font);
    auto libraryRound = [&] { vsk::bcb::SetHorizontalExtentAuto(&box); };
    // The same work written directly: each text read from the list box, measured, the widest set.
    auto fromListBoxRound = [&] {
        const int count = static_cast<int>(SendMessageA(window, LB_GETCOUNT, 0, 0));
        char text[256];
        int widest = 0;
        for (int i = 0; i < count; ++i) {
            const int length = static_cast<int>(SendMessageA(window, LB_GETTEXT, i, reinterpret_cast<LPARAM>(text)));
            SIZE size;
            if (GetTextExtentPoint32A(dc, text, length, &size) && size.cx > widest)
                widest = size.cx;
        }
        SendMessageA(window, LB_SETHORIZONTALEXTENT, widest, 0);
    };
    // The texts measured from memory, without asking the list box for them.
    auto fromMemoryRound = [&] {
        int widest = 0;
        for (const std::string& t : texts) {
            SIZE size;
            if (GetTextExtentPoint32A(dc, t.data(), static_cast<int>(t.size()), &size) && size.cx > widest)
                widest = size.cx;
        }
        SendMessageA(window, LB_SETHORIZONTALEXTENT, widest, 0);
    };
    double library = 1e30;
    double fromListBox = 1e30;
    double fromMemory = 1e30;
    for (int round = 0; round < vskbench::Rounds(5); ++round) {
        library = std::min(library, BestSeconds(1, libraryRound));
        fromListBox = std::min(fromListBox, BestSeconds(1, fromListBoxRound));
        fromMemory = std::min(fromMemory, BestSeconds(1, fromMemoryRound));
    }
    Report("SetHorizontalExtentAuto 10000 items vs LB_GETTEXT+extent loop", library, fromListBox, 1.0 / 1.5,
           ">= 0.67x");
    Report("SetHorizontalExtentAuto 10000 items vs extent loop on texts", library, fromMemory, 1.0 / 1.5,
           ">= 0.67x");
    if (oldFont)
        SelectObject(dc, oldFont);
    ReleaseDC(window, dc);
}

} // namespace

int main() {
    DashedLine();
    ListBoxExtent();
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
    return vskbench::Finish(0);
}
