// Vskalgorithm_test.cpp - lead and trail byte positions in double-byte strings.
#include "foundation/Vskalgorithm.h"

#include <gtest/gtest.h>

namespace {

// "表" in code page 932 is 0x95 0x5C: its trail byte is also '\'.
const char kHyou[] = "\x95\x5C";

TEST(IsDBCSLeadByteForStr, AtStartIsThePlainLeadTest) {
    EXPECT_TRUE(vsk::IsDBCSLeadByteForStr(kHyou, kHyou));
    const char ascii[] = "a";
    EXPECT_FALSE(vsk::IsDBCSLeadByteForStr(ascii, ascii));
}

TEST(IsDBCSTrailByteForStr, AtStartIsFalse) {
    EXPECT_FALSE(vsk::IsDBCSTrailByteForStr(kHyou, kHyou));
}

TEST(IsDBCSLeadByteForStr, OneDoubleByteCharacterHasLeadThenTrail) {
    EXPECT_TRUE(vsk::IsDBCSLeadByteForStr(kHyou, kHyou));
    EXPECT_FALSE(vsk::IsDBCSTrailByteForStr(kHyou, kHyou));
    EXPECT_FALSE(vsk::IsDBCSLeadByteForStr(kHyou, kHyou + 1));
    EXPECT_TRUE(vsk::IsDBCSTrailByteForStr(kHyou, kHyou + 1));
}

TEST(IsDBCSLeadByteForStr, TrailByteWithLeadByteValueIsNotALead) {
    // "圧" is 0x88 0xB3? no: use 0x88 0x9F ("亜"); 0x9F is itself a lead-byte value.
    const char s[] = "\x88\x9F";
    ASSERT_TRUE(vsk::IsDBCSLeadByteForStr(s + 1, s + 1)) << "0x9F must be a lead value in code page 932";
    EXPECT_FALSE(vsk::IsDBCSLeadByteForStr(s, s + 1));
    EXPECT_TRUE(vsk::IsDBCSTrailByteForStr(s, s + 1));
}

TEST(IsDBCSLeadByteForStr, SingleByteStringHasNeitherAnywhere) {
    const char s[] = "ab\\c";
    for (const char* p = s; p < s + 4; ++p) {
        SCOPED_TRACE(p - s);
        EXPECT_FALSE(vsk::IsDBCSLeadByteForStr(s, p));
        EXPECT_FALSE(vsk::IsDBCSTrailByteForStr(s, p));
    }
}

TEST(IsDBCSTrailByteForStr, ScanContinuesPastNul) {
    const char s[] = "a\0\x95\x5C";
    EXPECT_TRUE(vsk::IsDBCSLeadByteForStr(s, s + 2));
    EXPECT_TRUE(vsk::IsDBCSTrailByteForStr(s, s + 3));
}

TEST(IsDBCSLeadByteForStr, ALeadByteTakesANulAfterItAsItsTrail) {
    const char s[] = "\x95\0\x95\x5C";
    EXPECT_FALSE(vsk::IsDBCSLeadByteForStr(s, s + 1));
    EXPECT_TRUE(vsk::IsDBCSTrailByteForStr(s, s + 1));
    EXPECT_TRUE(vsk::IsDBCSLeadByteForStr(s, s + 2));
    EXPECT_TRUE(vsk::IsDBCSTrailByteForStr(s, s + 3));
}

TEST(IsDBCSLeadByteForStr, ARunOfLeadByteValuesPairsUpFromItsStart) {
    const char s[] = "a\x95\x95\x95\x95\x95";
    for (int i = 1; i <= 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(i % 2 == 1, vsk::IsDBCSLeadByteForStr(s, s + i));
        EXPECT_EQ(i % 2 == 0, vsk::IsDBCSTrailByteForStr(s, s + i));
    }
}

TEST(IsDBCSLeadByteForStr, APositionBeforeTheStringIsNeither) {
    const char s[] = "\x95\x5C";
    EXPECT_FALSE(vsk::IsDBCSLeadByteForStr(s + 1, s));
    EXPECT_FALSE(vsk::IsDBCSTrailByteForStr(s + 1, s));
}

} // namespace
