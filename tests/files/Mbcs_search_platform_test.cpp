// Mbcs_search_platform_test.cpp - multibyte-aware single-character searches
// that stop at the string's end, also after a lone lead byte, as the Windows
// C runtime's _mbschr and _mbsrchr do.
#include "platform/Mbcs.h"

#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <cstdio>
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

TEST(MbsChr, PlatformSearchAfterALoneLeadByteIsReported) {
    // Not an expectation: shows whether this platform's C runtime needs the
    // functions above (Windows stops at the NUL; Wine reads past it).
    const unsigned char text[] = "ab\x95\0\\|";
    const unsigned char* hit = _mbschr(text, '\\');
    std::printf("platform _mbschr after a lone lead byte: %s\n",
                hit ? "found a character past the terminator (deviation)" : "stopped at the terminator");
    const unsigned char* last = _mbsrchr(text, '\\');
    std::printf("platform _mbsrchr after a lone lead byte: %s\n",
                last ? "found a character past the terminator (deviation)" : "stopped at the terminator");
}

} // namespace
