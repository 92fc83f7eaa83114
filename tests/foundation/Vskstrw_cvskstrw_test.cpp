// Vskstrw_cvskstrw_test.cpp - the UTF-16 string: sharing, conversions through
// the OEM code page, formatting and the wide search and replace operations.
#include "foundation/Vskstrw.h"

#include "platform/Win32.h"
#include "tests/threading/ImportSlots.h"
#include "foundation/internal/VskstrHooks.h"
#include "foundation/internal/VskstrwHooks.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using vskstr::CVskStr;
using vskstr::CVskStrW;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }
std::wstring Units(const CVskStrW& s) { return std::wstring(s.c_str(), s.Length()); }

// Records every call of the conversions and can make the second call of a
// conversion (the one that writes) fail, as a broken code page would.
struct ConversionCall {
    bool toWide;
    unsigned int codePage;
    unsigned long flags;
    int length;
    bool outNull;
    int outLength;
    bool defaultCharNull;
    bool usedDefaultNull;
    int result;
};
std::vector<ConversionCall> g_calls;
bool g_failWrite = false;

int __stdcall RecordingToWide(unsigned int codePage, unsigned long flags, const char* text, int length, wchar_t* out,
                              int outLength) {
    int result = ::MultiByteToWideChar(codePage, flags, text, length, out, outLength);
    if (g_failWrite && !g_calls.empty())
        result = 0;
    g_calls.push_back({true, codePage, flags, length, out == nullptr, outLength, true, true, result});
    return result;
}

int __stdcall RecordingToNarrow(unsigned int codePage, unsigned long flags, const wchar_t* text, int length,
                                char* out, int outLength, const char* defaultChar, int* usedDefault) {
    int result = ::WideCharToMultiByte(codePage, flags, text, length, out, outLength, defaultChar, usedDefault);
    if (g_failWrite && !g_calls.empty())
        result = 0;
    g_calls.push_back({false, codePage, flags, length, out == nullptr, outLength, defaultChar == nullptr,
                       usedDefault == nullptr, result});
    return result;
}

class RecordedConversion : public ::testing::Test {
protected:
    void SetUp() override {
        g_calls.clear();
        g_failWrite = false;
        m_previous = vsk::detail::SetCodePageConverters({RecordingToWide, RecordingToNarrow});
    }
    void TearDown() override {
        vsk::detail::SetCodePageConverters(m_previous);
        g_failWrite = false;
    }
    vsk::detail::CodePageConverters m_previous{};
};

std::vector<int> g_passes;
void RecordPass(int count) { g_passes.push_back(count); }

class WideFormatPasses : public ::testing::Test {
protected:
    void SetUp() override {
        g_passes.clear();
        m_previous = vsk::detail::SetWideFormatPassObserver(RecordPass);
    }
    void TearDown() override { vsk::detail::SetWideFormatPassObserver(m_previous); }
    vsk::detail::FormatPassObserver m_previous = nullptr;
};

// "日本語テキスト" in code page 932.
const char kJapaneseCp932[] = "\x93\xFA\x96\x7B\x8C\xEA\x83\x65\x83\x4C\x83\x58\x83\x67";

} // namespace

TEST(CVskStrW, DefaultStringsShareTheOneEmptyWideBuffer) {
    CVskStrW a;
    CVskStrW b;
    EXPECT_EQ(0, a.Length());
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(L'\0', a.c_str()[0]);
    EXPECT_EQ(INT_MAX, a.GetRefCount()) << "the empty buffer lasts for ever: its count is fixed";
    // The narrow and the wide empty buffers are different objects.
    CVskStr narrow;
    EXPECT_NE(static_cast<const void*>(narrow.c_str()), static_cast<const void*>(a.c_str()));
}

TEST(CVskStrW, CopiesShareAndWritesCopyFirst) {
    CVskStrW a(L"abc");
    CVskStrW b(a);
    EXPECT_EQ(2, a.GetRefCount());
    EXPECT_EQ(a.c_str(), b.c_str());
    b.SubStr(1, 1);
    EXPECT_EQ(L"b", Units(b));
    EXPECT_EQ(L"abc", Units(a));
    EXPECT_EQ(1, a.GetRefCount());
}

TEST(CVskStrW, NullWideTextIsAnInvalidArgument) {
    try {
        CVskStrW w(static_cast<const wchar_t*>(nullptr));
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ("CVskStrW::CVskStrW()", e.what());
    }
    EXPECT_THROW(CVskStrW(L"a", -1), std::length_error);
}

TEST(CVskStrW, PointerAndLengthKeepsNulUnits) {
    CVskStrW w(L"a\0b", 3);
    EXPECT_EQ(3, w.Length());
    EXPECT_EQ(std::wstring(L"a\0b", 3), Units(w));
}

TEST(CVskStrWConversion, JapaneseRoundTripsThroughCodePage932) {
    ASSERT_EQ(932u, GetOEMCP()) << "the tests run with the OEM code page at 932";
    CVskStr narrow(kJapaneseCp932);
    CVskStrW wide(narrow);
    EXPECT_EQ(std::wstring(L"\u65E5\u672C\u8A9E\u30C6\u30AD\u30B9\u30C8"), Units(wide));
    EXPECT_EQ(7, wide.Length()) << "lengths count 16-bit units";
    CVskStr back(wide);
    EXPECT_EQ(std::string(kJapaneseCp932), Bytes(back));
    EXPECT_EQ(14, back.Length());
}

TEST(CVskStrWConversion, HalfWidthKatakanaAndAsciiRoundTrip) {
    CVskStr narrow("A\xB1\xB2z"); // A, half-width katakana a and i, z
    CVskStrW wide(narrow);
    EXPECT_EQ(std::wstring(L"A\uFF71\uFF72z"), Units(wide));
    EXPECT_EQ(std::string("A\xB1\xB2z"), Bytes(CVskStr(wide)));
}

TEST(CVskStrWConversion, CharacterTheCodePageLacksBecomesTheDefaultCharacterSilently) {
    CPINFO info{};
    ASSERT_TRUE(GetCPInfo(CP_OEMCP, &info));
    const char defaultChar = static_cast<char>(info.DefaultChar[0]);
    EXPECT_EQ('?', defaultChar);
    CVskStrW wide(L"a\uD55Cb"); // a Hangul syllable: not in code page 932
    CVskStr narrow;
    ASSERT_NO_THROW(narrow = CVskStr(wide));
    EXPECT_EQ(std::string("a") + defaultChar + "b", Bytes(narrow));
}

TEST(CVskStrWConversion, EmbeddedNulEndsTheNarrowText) {
    CVskStr narrow("ab\0cd", 5);
    ASSERT_EQ(5, narrow.Length());
    CVskStrW wide(narrow);
    EXPECT_EQ(L"ab", Units(wide));
}

TEST(CVskStrWConversion, EmbeddedNulEndsTheWideText) {
    CVskStrW wide(L"ab\0cd", 5);
    CVskStr narrow(wide);
    EXPECT_EQ("ab", Bytes(narrow));
}

TEST_F(RecordedConversion, EmptyNarrowConvertsToEmptyWideAndBackWithTheTerminatorOnly) {
    CVskStrW wide{CVskStr()};
    EXPECT_EQ(0, wide.Length());
    ASSERT_EQ(2u, g_calls.size());
    EXPECT_EQ(1, g_calls[0].result) << "n is 1: the terminator only";
    EXPECT_EQ(1, g_calls[1].outLength);
    CVskStr back(wide);
    EXPECT_EQ(0, back.Length());
    ASSERT_EQ(4u, g_calls.size());
    EXPECT_EQ(1, g_calls[2].result);
    EXPECT_EQ(1, g_calls[3].outLength);
}

TEST_F(RecordedConversion, ToWideUsesTheOemCodePageWithPrecomposedAndTheTerminator) {
    CVskStrW wide{CVskStr(kJapaneseCp932)};
    ASSERT_EQ(2u, g_calls.size());
    for (const ConversionCall& call : g_calls) {
        EXPECT_TRUE(call.toWide);
        EXPECT_EQ(1u, call.codePage) << "CP_OEMCP, never CP_ACP (0)";
        EXPECT_EQ(1ul, call.flags) << "MB_PRECOMPOSED";
        EXPECT_EQ(-1, call.length);
    }
    EXPECT_TRUE(g_calls[0].outNull);
    EXPECT_EQ(0, g_calls[0].outLength);
    EXPECT_EQ(8, g_calls[0].result) << "seven characters and the terminator";
    EXPECT_FALSE(g_calls[1].outNull);
    EXPECT_EQ(8, g_calls[1].outLength);
}

TEST_F(RecordedConversion, ToNarrowUsesTheOemCodePageWithoutFlagsOrDefaultCharacter) {
    CVskStr narrow{CVskStrW(L"\u65E5\u672C")};
    EXPECT_EQ("\x93\xFA\x96\x7B", Bytes(narrow));
    ASSERT_EQ(2u, g_calls.size());
    for (const ConversionCall& call : g_calls) {
        EXPECT_FALSE(call.toWide);
        EXPECT_EQ(1u, call.codePage) << "CP_OEMCP, never CP_ACP (0)";
        EXPECT_EQ(0ul, call.flags);
        EXPECT_EQ(-1, call.length);
        EXPECT_TRUE(call.defaultCharNull);
        EXPECT_TRUE(call.usedDefaultNull);
    }
    EXPECT_TRUE(g_calls[0].outNull);
    EXPECT_EQ(5, g_calls[0].result);
    EXPECT_EQ(5, g_calls[1].outLength);
}

TEST_F(RecordedConversion, FailedWideConversionThrowsItsMessage) {
    g_failWrite = true;
    try {
        CVskStrW wide{CVskStr("abc")};
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("\x43\x56\x73\x6B\x53\x74\x72\x57\x3A\x3A\x43\x56\x73\x6B\x53\x74\x72\x57\x28\x29"),
                  e.what());
        EXPECT_STREQ("CVskStrW::CVskStrW()", e.what());
    }
}

TEST_F(RecordedConversion, FailedNarrowConversionThrowsTheCapitalTMessage) {
    g_failWrite = true;
    try {
        CVskStr narrow{CVskStrW(L"abc")};
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        // "CVskStr::CVskSTr()" with the capital T.
        EXPECT_EQ(std::string("\x43\x56\x73\x6B\x53\x74\x72\x3A\x3A\x43\x56\x73\x6B\x53\x54\x72\x28\x29"), e.what());
    }
}

TEST_F(RecordedConversion, RestoringTheConvertersGivesTheSystemsBack) {
    vsk::detail::SetCodePageConverters({nullptr, nullptr});
    CVskStrW wide{CVskStr("x")};
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(L"x", Units(wide));
}

TEST(CVskStrWFormat, FormatsWithTheRuntimesWideConventions) {
    CVskStrW w;
    EXPECT_EQ(L"x=5", Units(w.Format(L"%s=%d", L"x", 5)));
    EXPECT_EQ(L"\u65E5-ff", Units(w.Format(L"%c-%x", L'\u65E5', 255)));
}

TEST(CVskStrWFormat, OutputEndsAtTheFirstNul) {
    CVskStrW w;
    w.Format(L"a%cb", 0);
    EXPECT_EQ(L"a", Units(w));
    EXPECT_EQ(1, w.Length());
}

TEST(CVskStrWFormat, ArgumentsMayReferToTheStringItself) {
    CVskStrW w(L"abc");
    w.Format(L"%s-%s", w.c_str(), w.c_str());
    EXPECT_EQ(L"abc-abc", Units(w));
}

TEST(CVskStrWFormat, SharedStringIsNotChangedForItsSharers) {
    CVskStrW a(L"keep");
    CVskStrW b(a);
    b.Format(L"%d", 7);
    EXPECT_EQ(L"keep", Units(a));
    EXPECT_EQ(L"7", Units(b));
}

TEST_F(WideFormatPasses, ShortOutputTakesOnePassOf257Units) {
    CVskStrW w;
    w.Format(L"%s", std::wstring(256, L'a').c_str());
    EXPECT_EQ((std::vector<int>{257}), g_passes);
    EXPECT_EQ(256, w.Length());
}

TEST_F(WideFormatPasses, OutputOfExactlyTheCountIsRetried) {
    CVskStrW w;
    w.Format(L"%s", std::wstring(257, L'b').c_str());
    EXPECT_EQ((std::vector<int>{257, 517}), g_passes);
    EXPECT_EQ(257, w.Length());
}

TEST_F(WideFormatPasses, LongOutputGrowsByTheDoublingRule) {
    CVskStrW w;
    const std::wstring long1200(1200, L'c');
    w.Format(L"%s", long1200.c_str());
    EXPECT_EQ((std::vector<int>{257, 517, 1037, 2077}), g_passes);
    EXPECT_EQ(long1200, Units(w));
}

// A text can only outgrow the largest size (2147483647 units) when the
// process can hold more than a thousand million units at once, which a 32-bit
// process cannot: the formatter is made to refuse every size and the library's
// heap to refuse blocks above 64 MiB, so Format fails while growing, as it
// would on the way to that size.
int __cdecl RefusingFormatter(wchar_t*, std::size_t, const wchar_t*, va_list) { return -1; }
void* (*g_originalNew)(std::size_t) = nullptr;
void* __cdecl NewUpTo64MiB(std::size_t size) {
    if (size > (std::size_t(64) << 20))
        throw std::bad_alloc();
    return g_originalNew(size);
}
std::vector<int> g_growthPasses;
void RecordGrowthPass(int count) { g_growthPasses.push_back(count); }

TEST(CVskStrWFormat, TextThatNeverFitsKeepsTheOldTextDrivenByARefusingFormatterAndA64MiBHeapBecauseNoSuchTextFits) {
    CVskStrW w(L"old");
    CVskStrW sharer(w);
    g_growthPasses.clear();
    const vsk::detail::FormatPassObserver previous = vsk::detail::SetWideFormatPassObserver(RecordGrowthPass);
    bool threw = false;
    {
        void* formatter = nullptr;
        vsktest::CImportSlotPatch refuse("_vsnwprintf", reinterpret_cast<void*>(&RefusingFormatter), &formatter);
        void* allocator = nullptr;
        vsktest::CImportSlotPatch limit("_Znwj", reinterpret_cast<void*>(&NewUpTo64MiB), &allocator);
        g_originalNew = reinterpret_cast<void* (*)(std::size_t)>(allocator);
        ASSERT_TRUE(refuse.Patched() && limit.Patched());
        try {
            w.Format(L"%d", 1);
        } catch (const std::exception&) {
            threw = true;
        }
    }
    vsk::detail::SetWideFormatPassObserver(previous);
    EXPECT_TRUE(threw);
    EXPECT_EQ(L"old", Units(w));
    EXPECT_EQ(L"old", Units(sharer));
    // It grew by the rule, pass after pass, until the heap refused.
    ASSERT_GE(g_growthPasses.size(), 10u);
    EXPECT_EQ(257, g_growthPasses[0]);
    for (std::size_t i = 1; i < g_growthPasses.size(); ++i)
        EXPECT_EQ(vsk::detail::NextWideFormatSize(g_growthPasses[i - 1]), g_growthPasses[i]) << "pass " << i;
}

TEST(NextWideFormatSize, FollowsTheGrowthRule) {
    EXPECT_EQ(257, vsk::detail::NextWideFormatSize(0));
    EXPECT_EQ(517, vsk::detail::NextWideFormatSize(257));
    EXPECT_EQ(0x7FFFFFFF, vsk::detail::NextWideFormatSize(0x3FFFFFFE));
    EXPECT_THROW(vsk::detail::NextWideFormatSize(0x3FFFFFFF), std::length_error);
}

TEST(NextWideFormatSize, LargestWorkingSizeThrowsTheWideMaximumSizeMessage) {
    try {
        vsk::detail::NextWideFormatSize(INT_MAX - 1);
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("CVskStrW::Format() : "
                              "\x8F\x88\x97\x9D\x89\xC2\x94\x5C\x82\xC8\x8D\xC5\x91\xE5\x83\x54\x83\x43\x83\x59"
                              "\x82\xF0\x92\xB4\x82\xA6\x82\xDC\x82\xB5\x82\xBD"),
                  e.what());
        EXPECT_STREQ("CVskStrW::Format() : 処理可能な最大サイズを超えました", e.what());
    }
}

TEST(CVskStrWOperations, ReturnWideStringsForChaining) {
    CVskStrW w;
    static_assert(std::is_same_v<decltype(w.SubStr(0, 1)), CVskStrW&>);
    static_assert(std::is_same_v<decltype(w.Replace(0, 0, w)), CVskStrW&>);
    static_assert(std::is_same_v<decltype(w.ReplaceAll(w, w)), CVskStrW&>);
    static_assert(std::is_same_v<decltype(w.Format(L"")), CVskStrW&>);
    CVskStrW s(L"a-b-c");
    EXPECT_EQ(L"a+b+c!", Units(s.ReplaceAll(L"-", L"+").Replace(5, 4, L"!")));
}

TEST(CVskStrWOperations, SearchCountsUnitsAndUsesWideText) {
    CVskStrW s(L"\u65E5\u672Ca\u65E5");
    EXPECT_EQ(3, s.Pos(L"\u65E5", 1));
    EXPECT_EQ(0, s.Pos(L"\u65E5"));
    EXPECT_EQ(-1, s.Pos(L""));
    EXPECT_EQ(-1, s.Pos(L"x"));
    EXPECT_EQ(3, s.LastChar());
    EXPECT_EQ(0, CVskStrW(L"abcd").Strnicmp(1, L"BC", 0, -1));
    EXPECT_NE(0, CVskStrW(L"abcd").Strnicmp(0, L"BC", 0, -1));
    EXPECT_EQ(L"\u672Ca", Units(CVskStrW(s).SubStr(1, 2)));
}

TEST(CVskStrWOperations, ReplaceAllNeverMatchesInsideTheInsertedText) {
    CVskStrW s(L"aa");
    EXPECT_EQ(L"aaaa", Units(s.ReplaceAll(L"a", L"aa")));
}

TEST(CVskStrWOperations, EqualityComparesAllUnits) {
    EXPECT_TRUE(CVskStrW(L"ab") == CVskStrW(L"ab"));
    EXPECT_TRUE(CVskStrW(L"ab") != CVskStrW(L"aB"));
    EXPECT_TRUE(CVskStrW(L"a\0b", 3) != CVskStrW(L"a\0c", 3));
}
