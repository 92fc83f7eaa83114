// Mbcs_test.cpp - the library's own _mbsstr, and the C runtime functions the
// strings keep using, under code page 932.
#include "platform/Mbcs.h"

#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mbctype.h>
#include <mbstring.h>

namespace {

using vsk::detail::MbsStr;

TEST(Platform, RunsUnderCodePage932) {
    EXPECT_EQ(932u, GetACP());
    EXPECT_EQ(932u, GetOEMCP());
    EXPECT_EQ(932, _getmbcp());
}

TEST(MbsStr, NeverStartsAMatchOnATrailByte) {
    const char text[] = "\x95\x5C"; // 表: trail byte '\'
    EXPECT_EQ(nullptr, MbsStr(text, "\\"));
    const char path[] = "\x95\x5C\\";
    EXPECT_EQ(path + 2, MbsStr(path, "\\"));
}

TEST(MbsStr, DeviatesFromWineWhichMatchesOnTrailBytes) {
    const unsigned char text[] = "\x95\x5C";
    const unsigned char* wine = _mbsstr(text, reinterpret_cast<const unsigned char*>("\\"));
    if (wine == nullptr)
        GTEST_SKIP() << "this C runtime's _mbsstr is multibyte-aware; the library's own search is not needed";
    EXPECT_EQ(text + 1, wine) << "Wine's _mbsstr reports the trail byte";
    EXPECT_EQ(nullptr, MbsStr(reinterpret_cast<const char*>(text), "\\"));
}

TEST(MbsStr, EmptyPatternGivesTheText) {
    const char text[] = "abc";
    EXPECT_EQ(text, MbsStr(text, ""));
}

TEST(MbsStr, StopsAtTheFirstNulOfEitherString) {
    const char text[] = "ab\0cd";
    EXPECT_EQ(nullptr, MbsStr(text, "c"));
    EXPECT_EQ(text + 1, MbsStr(text, "b\0x"));
}

TEST(MbsStr, FindsDoubleByteAndMixedPatterns) {
    const char text[] = "a\x83\x5C\x95\x5C" "b";
    EXPECT_EQ(text + 3, MbsStr(text, "\x95\x5C"));
    EXPECT_EQ(text + 3, MbsStr(text, "\x95\x5C" "b"));
    EXPECT_EQ(nullptr, MbsStr(text, "\x5C\x95"));
}

TEST(MbsStr, LeadByteBeforeTheTerminatorIsOneCharacter) {
    const char text[] = "a\x95";
    EXPECT_EQ(text + 1, MbsStr(text, "\x95"));
    EXPECT_EQ(nullptr, MbsStr(text, "b"));
}

TEST(MbsStr, HalfWidthKatakanaAreSingleBytes) {
    const char text[] = "\xB1\x5C"; // ｱ then '\'
    EXPECT_EQ(text + 1, MbsStr(text, "\\"));
}

// The search written the plain way: walk the characters from the start (a
// lead byte directly before the terminator is one character) and compare the
// pattern at each character start.
const char* ReferenceMbsStr(const char* s, const char* pattern) {
    if (!*pattern)
        return s;
    const std::size_t length = std::strlen(pattern);
    for (const char* p = s; *p;) {
        if (std::strncmp(p, pattern, length) == 0)
            return p;
        p += (IsDBCSLeadByte(static_cast<BYTE>(*p)) && p[1]) ? 2 : 1;
    }
    return nullptr;
}

TEST(MbsStr, AgreesWithACharacterWalkOnRandomDoubleByteTexts) {
    // Bytes chosen to make trail bytes that look like ASCII ('\', 'a'),
    // lone lead bytes and half-width katakana likely.
    const unsigned char alphabet[] = {'a', 'b', '\\', 0x95, 0x5C, 0x81, 0x61, 0xB1, 0xE0, 0x40};
    unsigned seed = 12345;
    auto next = [&seed] { return (seed = seed * 1103515245u + 12345u) >> 16; };
    for (int round = 0; round < 20000; ++round) {
        char text[24] = {};
        char pattern[5] = {};
        const int textLength = next() % 20;
        const int patternLength = 1 + next() % 3;
        for (int i = 0; i < textLength; ++i)
            text[i] = static_cast<char>(alphabet[next() % sizeof alphabet]);
        for (int i = 0; i < patternLength; ++i)
            pattern[i] = static_cast<char>(alphabet[next() % sizeof alphabet]);
        ASSERT_EQ(ReferenceMbsStr(text, pattern), MbsStr(text, pattern))
            << "round " << round << ", text length " << textLength;
    }
}

TEST(CRuntime, IsmbstrailAndMbsnicmpAreMultibyteAware) {
    const unsigned char text[] = "a\x95\x5C";
    EXPECT_TRUE(_ismbstrail(text, text + 2));
    EXPECT_FALSE(_ismbstrail(text, text + 1));
    const unsigned char upper[] = "A\x95\x5C" "B";
    const unsigned char lower[] = "a\x95\x5C" "b";
    EXPECT_EQ(0, _mbsnicmp(upper, lower, 3));
}

} // namespace
