// Mbcs_search_platform_test.cpp - multibyte-aware single-character searches
// that stop at the string's end, also after a lone lead byte, as the Windows
// C runtime's _mbschr and _mbsrchr do.
#include "platform/Mbcs.h"

#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <mbstring.h>
#include <string>

namespace {

using vsk::detail::MbsChr;
using vsk::detail::MbsRChr;

TEST(MbsChr, FindsTheFirstSingleByteCharacter) {
    const char text[] = "a\\b\\c";
    EXPECT_EQ(text + 1, MbsChr(text, '\\'));
    EXPECT_EQ(text + 4, MbsChr(text, 'c'));
    EXPECT_EQ(nullptr, MbsChr(text, 'z'));
    EXPECT_EQ(nullptr, MbsChr("", '\\'));
}

TEST(MbsChr, NeverTakesATrailByteForTheCharacter) {
    const char text[] = "\x95\x5C\x83\x7C|\\"; // "表", "ポ" (trail '|'), then '|' and '\'
    EXPECT_EQ(text + 4, MbsChr(text, '|'));
    EXPECT_EQ(text + 5, MbsChr(text, '\\'));
    EXPECT_EQ(nullptr, MbsChr("\x95\x5C", '\\'));
}

TEST(MbsChr, LoneLeadByteEndsTheString) {
    const char text[] = "ab\x95\0\\|";
    EXPECT_EQ(nullptr, MbsChr(text, '\\'));
    EXPECT_EQ(nullptr, MbsChr(text, '|'));
    EXPECT_EQ(text + 1, MbsChr(text, 'b'));
    EXPECT_EQ(nullptr, MbsChr(text, '\0')); // no terminator after a lone lead byte
}

TEST(MbsChr, NulFindsTheTerminator) {
    const char text[] = "a\x95\x5C";
    EXPECT_EQ(text + 3, MbsChr(text, '\0'));
}

TEST(MbsRChr, FindsTheLastSingleByteCharacter) {
    const char text[] = "a\\b\\c\x95\x5C";
    EXPECT_EQ(text + 3, MbsRChr(text, '\\'));
    EXPECT_EQ(text, MbsRChr(text, 'a'));
    EXPECT_EQ(nullptr, MbsRChr(text, 'z'));
    EXPECT_EQ(nullptr, MbsRChr("\x95\x5C", '\\'));
    EXPECT_EQ(text + 7, MbsRChr(text, '\0'));
}

TEST(MbsRChr, LoneLeadByteEndsTheString) {
    const char text[] = "a\\b\x95\0\\zz";
    EXPECT_EQ(text + 1, MbsRChr(text, '\\'));
    const char onlyLead[] = "\x95\0\\";
    EXPECT_EQ(nullptr, MbsRChr(onlyLead, '\\'));
}

TEST(MbsChr, DeviatesFromWineWhichReadsPastALoneLeadByte) {
    const unsigned char text[] = "ab\x95\0\\|";
    const unsigned char* first = _mbschr(text, '\\');
    const unsigned char* last = _mbsrchr(text, '\\');
    if (first == nullptr && last == nullptr)
        GTEST_SKIP() << "this C runtime's _mbschr and _mbsrchr stop at the terminator; the library's own are not needed";
    EXPECT_EQ(text + 4, first) << "Wine's _mbschr finds the separator past the terminator";
    EXPECT_EQ(text + 4, last) << "Wine's _mbsrchr finds the separator past the terminator";
    EXPECT_EQ(nullptr, MbsChr(reinterpret_cast<const char*>(text), '\\'));
    EXPECT_EQ(nullptr, MbsRChr(reinterpret_cast<const char*>(text), '\\'));
}

// ---------------------------------------------------------------------------
// Case-insensitive comparison
// ---------------------------------------------------------------------------

using vsk::detail::MbsNICmp;

TEST(MbsNICmp, ComparesCharactersIgnoringCase) {
    EXPECT_EQ(0, MbsNICmp("abcd", "ABC", 3));
    EXPECT_EQ(0, MbsNICmp("Dir", "dIR", 3));
    EXPECT_NE(0, MbsNICmp("abd", "abc", 3));
    EXPECT_EQ(0, MbsNICmp("x", "", 0));
    EXPECT_LT(MbsNICmp("ab", "ac", 2), 0);
    EXPECT_GT(MbsNICmp("ac", "ab", 2), 0);
}

TEST(MbsNICmp, CountsCharactersNotBytes) {
    // "表" is one character: the count of 2 reaches the terminator of the
    // second text, which then differs from "X".
    EXPECT_NE(0, MbsNICmp("\x95\x5CX", "\x95\x5C", 2));
    EXPECT_EQ(0, MbsNICmp("\x95\x5CX", "\x95\x5C", 1));
}

TEST(MbsNICmp, TrailBytesAreNotCaseFolded) {
    // 0x83 0x61 and 0x83 0x41 differ only in a trail byte that looks like a letter.
    EXPECT_NE(0, MbsNICmp("\x83\x61", "\x83\x41", 1));
}

TEST(MbsNICmp, LoneLeadByteEndsTheString) {
    // The bytes after each terminator differ; they must not be read.
    const char a[] = "A\x95\0X";
    const char b[] = "a\x95\0Y";
    EXPECT_EQ(0, MbsNICmp(a, b, 3));
    EXPECT_EQ(0, MbsNICmp(a, b, 5));
    EXPECT_EQ(0, MbsNICmp("A\x95", "a", 3));
    EXPECT_EQ(0, MbsNICmp("a", "A\x95", 3));
    EXPECT_NE(0, MbsNICmp("ab", "A\x95", 3));
    EXPECT_EQ(0, MbsNICmp("\x95\x5C\x95", "\x95\x5C", 3));
}

TEST(MbsNICmp, DeviatesFromWineWhichComparesPastALoneLeadByte) {
    const unsigned char a[] = "A\x95\0X";
    const unsigned char b[] = "A\x95\0Y";
    if (_mbsnicmp(a, b, 3) == 0)
        GTEST_SKIP() << "this C runtime's _mbsnicmp stops at the terminator; the library's own is not needed";
    EXPECT_EQ(0, MbsNICmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b), 3));
}

} // namespace
