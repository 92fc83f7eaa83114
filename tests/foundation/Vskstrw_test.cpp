// Vskstrw_test.cpp - the UCS-4 routines.
#include "foundation/Vskstrw.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using U = std::vector<unsigned long>;

U Ucs4(const char* ascii) { return U(ascii, ascii + std::char_traits<char>::length(ascii)); }

int Ncmp(const U& a, const U& b) {
    return vskstr::__ucs4strncmp(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()));
}
int Nicmp(const U& a, const U& b) {
    return vskstr::__ucs4strnicmp(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()));
}

TEST(Ucs4Strncmp, LongerTextBeginningWithTheOtherIsEqual) {
    EXPECT_EQ(0, Ncmp(Ucs4("abc"), Ucs4("ab")));
    EXPECT_EQ(-1, Ncmp(Ucs4("ab"), Ucs4("abc")));
    EXPECT_EQ(1, Ncmp(Ucs4("b"), Ucs4("a")));
    EXPECT_EQ(-1, Ncmp(Ucs4("a"), Ucs4("b")));
    EXPECT_EQ(0, Ncmp(U{}, U{}));
}

TEST(Ucs4Strncmp, OrdersAsUnsignedValues) {
    EXPECT_EQ(1, Ncmp(U{0x80000000ul}, U{1}));
}

TEST(Ucs4Strnicmp, FoldsOnlyAsciiLowerCaseAndSignsOnUnfoldedValues) {
    EXPECT_EQ(0, Nicmp(Ucs4("A"), Ucs4("a")));
    EXPECT_EQ(1, Nicmp(Ucs4("a"), Ucs4("B")));
    EXPECT_EQ(-1, Nicmp(Ucs4("A"), Ucs4("b")));
    EXPECT_EQ(1, Nicmp(U{233}, U{201})) << "233 and 201 (e acute) are not folded";
    EXPECT_EQ(-1, Nicmp(Ucs4("ab"), Ucs4("ABC")));
}

TEST(Ucs4Str, EmptyPatternEmptyTextOrLongerPatternGiveNull) {
    const U text = Ucs4("abc");
    const U pattern = Ucs4("b");
    EXPECT_EQ(nullptr, vskstr::__ucs4str(text.data(), 3, pattern.data(), 0));
    EXPECT_EQ(nullptr, vskstr::__ucs4str(text.data(), 0, pattern.data(), 1));
    const U longer = Ucs4("abcd");
    EXPECT_EQ(nullptr, vskstr::__ucs4str(text.data(), 3, longer.data(), 4));
}

TEST(Ucs4Str, FindsTheFirstOccurrence) {
    const U text = Ucs4("abcabc");
    const U pattern = Ucs4("ca");
    EXPECT_EQ(text.data() + 2, vskstr::__ucs4str(text.data(), 6, pattern.data(), 2));
    const U tail = Ucs4("bc");
    EXPECT_EQ(text.data() + 1, vskstr::__ucs4str(text.data(), 6, tail.data(), 2));
    const U missing = Ucs4("cb");
    EXPECT_EQ(nullptr, vskstr::__ucs4str(text.data(), 6, missing.data(), 2));
}

TEST(Ucs4Str, FindsAMatchAtTheLastPossiblePosition) {
    const U text = Ucs4("abcde");
    const U end = Ucs4("de");
    EXPECT_EQ(text.data() + 3, vskstr::__ucs4str(text.data(), 5, end.data(), 2));
    const U last = Ucs4("e");
    EXPECT_EQ(text.data() + 4, vskstr::__ucs4str(text.data(), 5, last.data(), 1));
    EXPECT_EQ(text.data(), vskstr::__ucs4str(text.data(), 5, text.data(), 5)); // pattern as long as the text
    // The search ends at slen: a match that would run one unit past it is none.
    EXPECT_EQ(nullptr, vskstr::__ucs4str(text.data(), 4, end.data(), 2));
}

TEST(Ucs4Case, UpperAndLowerChangeAsciiLettersOnly) {
    U text = {'a', 'z', 'A', 'Z', '{', '@', 233, 0x3042};
    vskstr::__ucs4upr(text.data(), static_cast<int>(text.size()));
    EXPECT_EQ((U{'A', 'Z', 'A', 'Z', '{', '@', 233, 0x3042}), text);
    vskstr::__ucs4lwr(text.data(), static_cast<int>(text.size()));
    EXPECT_EQ((U{'a', 'z', 'a', 'z', '{', '@', 233, 0x3042}), text);
    vskstr::__ucs4upr(text.data(), 0);
    vskstr::__ucs4upr(text.data(), -1);
    EXPECT_EQ('a', text[0]);
}

} // namespace
