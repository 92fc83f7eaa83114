// Vskstr_format_test.cpp - Format, the number constructor and the operators.
#include "foundation/Vskstr.h"
#include "foundation/internal/VskstrHooks.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

std::vector<int> g_passes;
void RecordPass(int count) { g_passes.push_back(count); }

class FormatPasses : public testing::Test {
protected:
    void SetUp() override {
        g_passes.clear();
        m_previous = vsk::detail::SetFormatPassObserver(RecordPass);
    }
    void TearDown() override { vsk::detail::SetFormatPassObserver(m_previous); }

private:
    vsk::detail::FormatPassObserver m_previous = nullptr;
};

TEST_F(FormatPasses, ShortOutputTakesOnePassWithCount257) {
    CVskStr s;
    s.Format("%d", 5);
    EXPECT_EQ("5", Bytes(s));
    EXPECT_EQ(std::vector<int>{257}, g_passes);
}

TEST_F(FormatPasses, OutputOf256FitsInOnePass) {
    CVskStr s;
    s.Format("%s", std::string(256, 'x').c_str());
    EXPECT_EQ(256, s.Length());
    EXPECT_EQ(std::vector<int>{257}, g_passes);
}

TEST_F(FormatPasses, OutputOfExactly257NeedsASecondPassWithCount517) {
    CVskStr s;
    s.Format("%s", std::string(257, 'y').c_str());
    EXPECT_EQ(std::string(257, 'y'), Bytes(s));
    EXPECT_EQ((std::vector<int>{257, 517}), g_passes);
}

TEST_F(FormatPasses, SizesGrowToTwicePlusThree) {
    CVskStr s;
    s.Format("%s", std::string(3000, 'z').c_str());
    EXPECT_EQ(3000, s.Length());
    EXPECT_EQ((std::vector<int>{257, 517, 1037, 2077, 4157}), g_passes);
}

// A variadic function of the caller's that hands its arguments on twice:
// FormatV only copies the list, so the second use sees the same arguments.
std::string FormatTwiceThroughFormatV(std::vector<int>& passes, const char* format, ...) {
    va_list args;
    va_start(args, format);
    CVskStr first;
    first.FormatV(format, args);
    passes = g_passes;
    CVskStr second;
    second.FormatV(format, args);
    va_end(args);
    return Bytes(first) + "|" + Bytes(second);
}

TEST_F(FormatPasses, FormatVTakesTheSamePassesAndLeavesTheListToTheCaller) {
    std::vector<int> passes;
    const std::string long300(300, 'w');
    EXPECT_EQ("7-" + long300 + "|7-" + long300, FormatTwiceThroughFormatV(passes, "%d-%s", 7, long300.c_str()));
    EXPECT_EQ((std::vector<int>{257, 517}), passes);
}

TEST(CVskStrFormat, HundredKilobyteOutputIsWhole) {
    const std::string big(100 * 1024, 'q');
    CVskStr s;
    s.Format("<%s>", big.c_str());
    EXPECT_EQ("<" + big + ">", Bytes(s));
}

TEST(CVskStrFormat, OutputWithANulKeepsOnlyTheTextBeforeIt) {
    CVskStr s;
    s.Format("a%cb", 0);
    EXPECT_EQ("a", Bytes(s));
}

TEST(CVskStrFormat, OwnTextAsArgumentIsReadBeforeItChanges) {
    CVskStr s("abc");
    s.Format("[%s|%s]", s.c_str(), s.c_str());
    EXPECT_EQ("[abc|abc]", Bytes(s));
}

TEST_F(FormatPasses, OwnTextAsArgumentSurvivesEveryPass) {
    // 300 bytes twice: the first two passes are too small, and each pass
    // must still read the old text.
    const std::string old(300, 'q');
    CVskStr s(old.c_str());
    s.Format("<%s|%s>", s.c_str(), s.c_str());
    EXPECT_EQ("<" + old + "|" + old + ">", Bytes(s));
    EXPECT_EQ((std::vector<int>{257, 517, 1037}), g_passes);
}

TEST(CVskStrFormat, ReturnsThisStringAndLeavesCopiesAlone) {
    CVskStr s("old");
    CVskStr copy(s);
    EXPECT_EQ(&s, &s.Format("%s=%d", "x", 42));
    EXPECT_EQ("x=42", Bytes(s));
    EXPECT_EQ("old", Bytes(copy));
}

TEST(CVskStrFormat, UsesTheCRuntimeConventions) {
    CVskStr s;
    s.Format("%5.2f|%-3d|%x|%I64d", 3.14159, 7, 255, 1234567890123LL);
    EXPECT_EQ(" 3.14|7  |ff|1234567890123", Bytes(s));
}

TEST(NextFormatSize, FollowsTheGrowthRule) {
    const char* message = "m";
    EXPECT_EQ(257, vsk::detail::NextFormatSize(0, message));
    EXPECT_EQ(257, vsk::detail::NextFormatSize(126, message));
    EXPECT_EQ(259, vsk::detail::NextFormatSize(128, message));
    EXPECT_EQ(517, vsk::detail::NextFormatSize(257, message));
    EXPECT_EQ(0x7FFFFFFF, vsk::detail::NextFormatSize(0x3FFFFFFE, message));
}

TEST(NextNarrowFormatSize, LargestWorkingSizeThrowsTheMaximumSizeMessage) {
    try {
        vsk::detail::NextNarrowFormatSize(INT_MAX - 1);
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string("CVskStr::Format() : "
                              "\x8F\x88\x97\x9D\x89\xC2\x94\x5C\x82\xC8\x8D\xC5\x91\xE5\x83\x54\x83\x43\x83\x59"
                              "\x82\xF0\x92\xB4\x82\xA6\x82\xDC\x82\xB5\x82\xBD"),
                  e.what());
    }
}

TEST(NextFormatSize, SizePastTheLargestIntIsALengthError) {
    EXPECT_THROW(vsk::detail::NextFormatSize(0x3FFFFFFF, "m"), std::length_error);
}

// --- numbers ----------------------------------------------------------------

TEST(CVskStrNumber, DecimalTextOfLongs) {
    EXPECT_EQ("0", Bytes(CVskStr(0L)));
    EXPECT_EQ("0", Bytes(CVskStr(0)));
    EXPECT_EQ("-2147483648", Bytes(CVskStr(LONG_MIN)));
    EXPECT_EQ(11, CVskStr(LONG_MIN).Length());
    EXPECT_EQ("2147483647", Bytes(CVskStr(LONG_MAX)));
    EXPECT_EQ("-1", Bytes(CVskStr(-1L)));
    EXPECT_EQ(1, CVskStr(7L).GetRefCount());
}

// --- operators --------------------------------------------------------------

TEST(CVskStrOperators, AppendToSharedStringLeavesTheOtherUnchanged) {
    CVskStr a("ab");
    CVskStr b(a);
    a += CVskStr("cd");
    EXPECT_EQ("abcd", Bytes(a));
    EXPECT_EQ("ab", Bytes(b));
}

TEST(CVskStrOperators, AppendKeepsNulBytesOfTheRightSide) {
    CVskStr a("x");
    a += CVskStr("a\0b", 3);
    EXPECT_EQ(std::string("xa\0b", 4), Bytes(a));
}

TEST(CVskStrOperators, AppendToItself) {
    CVskStr a("ab");
    a += a;
    EXPECT_EQ("abab", Bytes(a));
    CVskStr b("xy");
    CVskStr sharer(b);
    b += sharer;
    EXPECT_EQ("xyxy", Bytes(b));
    EXPECT_EQ("xy", Bytes(sharer));
}

TEST(CVskStrOperators, PlusMakesANewStringOfAllBytes) {
    CVskStr left("a\0", 2);
    CVskStr right("b");
    CVskStr sum = left + right;
    EXPECT_EQ(std::string("a\0b", 3), Bytes(sum));
    EXPECT_EQ(2, left.Length());
    EXPECT_EQ("cab", Bytes("ca" + right));
}

TEST(CVskStrOperators, EqualityIsBytewise) {
    EXPECT_FALSE(CVskStr("abc") == CVskStr("ABC"));
    EXPECT_TRUE(CVskStr("abc") != CVskStr("ABC"));
    EXPECT_FALSE(CVskStr("a") == CVskStr("a\0b", 3));
    EXPECT_TRUE(CVskStr("a\0b", 3) == CVskStr("a\0b", 3));
    EXPECT_TRUE("abc" == CVskStr("abc"));
    EXPECT_FALSE("abc" != CVskStr("abc"));
    EXPECT_TRUE("a" != CVskStr("a\0b", 3));
    EXPECT_TRUE(CVskStr() == CVskStr(""));
}

} // namespace
