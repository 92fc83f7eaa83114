// Vskstr_test.cpp - vskstr::CVskStr: sharing, copy on write, search, pieces
// and replacement, in code page 932.
#include "foundation/Vskstr.h"
#include "foundation/Vskstrw.h"

#include <gtest/gtest.h>

#include <climits>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

// Code page 932 double-byte characters whose trail byte is '\' (0x5C).
const char kHyou[] = "\x95\x5C";  // 表
const char kSo[] = "\x83\x5C";    // ソ
const char kNou[] = "\x94\x5C";   // 能

// --- construction and sharing ---------------------------------------------

TEST(CVskStr, DefaultStringsShareOneEmptyBuffer) {
    CVskStr a, b;
    EXPECT_EQ(0, a.Length());
    EXPECT_STREQ("", a.c_str());
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(INT_MAX, a.GetRefCount()) << "the empty buffer lasts for ever: its count is fixed";
}

TEST(CVskStr, CopyOfAbcSharesOneBufferWithCountTwo) {
    CVskStr source("abc");
    CVskStr copy(source);
    EXPECT_EQ(2, source.GetRefCount());
    EXPECT_EQ(source.c_str(), copy.c_str());
}

TEST(CVskStr, SubStrOnCopyGivesItsOwnBufferAndLeavesSource) {
    CVskStr source("abc");
    CVskStr copy(source);
    copy.SubStr(1, 1);
    EXPECT_EQ("b", Bytes(copy));
    EXPECT_EQ("abc", Bytes(source));
    EXPECT_EQ(1, source.GetRefCount());
    EXPECT_EQ(1, copy.GetRefCount());
    EXPECT_NE(source.c_str(), copy.c_str());
}

TEST(CVskStr, AssignmentSharesAndReleasesTheOldBuffer) {
    CVskStr a("one");
    CVskStr b("two");
    CVskStr keep(b);
    b = a;
    EXPECT_EQ(2, a.GetRefCount());
    EXPECT_EQ(1, keep.GetRefCount());
    EXPECT_EQ("one", Bytes(b));
    b = b;
    EXPECT_EQ(2, a.GetRefCount());
    CVskStr c(a);
    c = a; // already shared: nothing changes
    EXPECT_EQ(3, a.GetRefCount());
}

TEST(CVskStr, PointerAndLengthKeepsNulBytes) {
    CVskStr s("a\0b", 3);
    EXPECT_EQ(3, s.Length());
    EXPECT_EQ(std::string("a\0b", 3), Bytes(s));
}

TEST(CVskStr, PrivateCopyOfSharedTextWithNulKeepsOnlyTheBytesBeforeIt) {
    CVskStr s("a\0b", 3);
    CVskStr copy(s);
    copy.MakeUnique();
    EXPECT_EQ("a", Bytes(copy));
    EXPECT_EQ(3, s.Length());
}

TEST(CVskStr, ChangingAnUnsharedStringWithNulKeepsAllBytes) {
    CVskStr s("a\0b", 3);
    s.Replace(0, 0, "x");
    EXPECT_EQ(std::string("x\0b", 3), Bytes(s));
}

TEST(CVskStr, NegativeLengthIsALengthError) {
    EXPECT_THROW(CVskStr("abc", -1), std::length_error);
}

TEST(CVskStr, NullCStringIsRejectedNotRead) {
    const char* none = nullptr;
    try {
        CVskStr s(none);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ("CVskStr::CVskStr()", e.what());
    }
}

TEST(CVskStr, EmptyAnsiStringGivesTheEmptyString) {
    System::AnsiString empty;
    ASSERT_EQ(nullptr, empty.data());
    CVskStr s(empty);
    EXPECT_EQ(0, s.Length());
    EXPECT_STREQ("", s.c_str());
}

TEST(CVskStr, AnsiStringBytesAreCopied) {
    System::AnsiString text("x\0y", 3);
    CVskStr s(text);
    EXPECT_EQ(std::string("x\0y", 3), Bytes(s));
}

TEST(CVskStr, ConversionToAnsiStringEndsAtTheFirstNul) {
    CVskStr s("a\0b", 3);
    System::AnsiString a = s;
    EXPECT_EQ(1, a.Length());
    EXPECT_STREQ("a", a.c_str());
}

// --- Pos --------------------------------------------------------------------

TEST(CVskStrPos, EmptyPatternIsMinusOneAlsoOnEmptyString) {
    EXPECT_EQ(-1, CVskStr("abc").Pos(CVskStr(), 0));
    EXPECT_EQ(-1, CVskStr().Pos(CVskStr(), 0));
    EXPECT_EQ(-1, CVskStr().Pos("a", 0));
}

TEST(CVskStrPos, FindsFromStartAndCountsFromTheWholeString) {
    EXPECT_EQ(2, CVskStr("abc").Pos("c", 0));
    EXPECT_EQ(2, CVskStr("aXa").Pos("a", 1));
    EXPECT_EQ(0, CVskStr("aXa").Pos("a", 0));
    EXPECT_EQ(-1, CVskStr("aXa").Pos("b", 0));
    EXPECT_EQ(-1, CVskStr("abc").Pos("c", 3));
}

TEST(CVskStrPos, PatternWhoseCStringViewIsEmptyIsMinusOne) {
    EXPECT_EQ(-1, CVskStr("abc").Pos(CVskStr("\0b", 2), 0));
}

TEST(CVskStrPos, StopsAtTheFirstNulOfTheText) {
    CVskStr s("a\0b", 3);
    EXPECT_EQ(-1, s.Pos("b", 0));
    EXPECT_EQ(2, s.Pos("b", 2)) << "a start after the NUL searches the bytes there";
}

TEST(CVskStrPos, TrailByteFiveCNeverMatchesBackslash) {
    for (const char* dbcs : {kHyou, kSo, kNou}) {
        SCOPED_TRACE(dbcs);
        EXPECT_EQ(-1, CVskStr(dbcs).Pos("\\", 0));
        EXPECT_EQ(2, (CVskStr(dbcs) + "\\").Pos("\\", 0));
    }
    CVskStr path = CVskStr("C:\\") + kHyou + "\\x";
    EXPECT_EQ(2, path.Pos("\\", 0));
    EXPECT_EQ(5, path.Pos("\\", 3));
}

TEST(CVskStrPos, DoubleByteCharacterIsFoundAsAWhole) {
    CVskStr s = CVskStr("ab") + kHyou + kSo;
    EXPECT_EQ(2, s.Pos(kHyou, 0));
    EXPECT_EQ(4, s.Pos(kSo, 0));
    EXPECT_EQ(4, s.Pos(kSo, 3)) << "a start on a trail byte judges characters from there";
}

TEST(CVskStrPos, StartOutsideTheStringIsClamped) {
    CVskStr s("abc");
    EXPECT_EQ(0, s.Pos("a", -5));
    EXPECT_EQ(-1, s.Pos("a", 100));
}

// --- LastChar ---------------------------------------------------------------

TEST(CVskStrLastChar, EmptyIsMinusOne) { EXPECT_EQ(-1, CVskStr().LastChar()); }

TEST(CVskStrLastChar, SingleByteTextEndsAtLengthMinusOne) { EXPECT_EQ(1, CVskStr("ab").LastChar()); }

TEST(CVskStrLastChar, TextEndingInADoubleByteCharacterEndsAtItsLeadByte) {
    EXPECT_EQ(1, (CVskStr("a") + kHyou).LastChar());
    EXPECT_EQ(0, CVskStr(kSo).LastChar());
    EXPECT_EQ(2, (CVskStr(kSo) + "\\").LastChar());
}

TEST(CVskStrLastChar, ANulBeforeTheLastByteEndsTheTextItIsJudgedIn) {
    // Judged from the start as a C string: after a NUL no byte is a trail
    // byte, so the lead byte before the last one does not take it.
    EXPECT_EQ(3, CVskStr("a\0\x95\x5C", 4).LastChar());
    EXPECT_EQ(3, CVskStr("\x95\0\x95\x5C", 4).LastChar());
    EXPECT_EQ(2, CVskStr("ab\x95\x5C", 4).LastChar());
}

TEST(CVskStrLastChar, ALoneLeadByteAtTheEndIsTheLastCharacter) {
    EXPECT_EQ(1, CVskStr("a\x95").LastChar());
    EXPECT_EQ(2, CVskStr("\x95\x95\x95").LastChar()) << "a run of lead-byte values pairs up from its start";
    EXPECT_EQ(2, CVskStr("\x95\x95\x95\x95").LastChar());
}

// --- Strnicmp ---------------------------------------------------------------

TEST(CVskStrStrnicmp, NegativeCountComparesTheRestOfOther) {
    EXPECT_EQ(0, CVskStr("abcd").Strnicmp(0, "ABC", 0, -1));
    EXPECT_NE(0, CVskStr("abxd").Strnicmp(0, "ABC", 0, -1));
}

TEST(CVskStrStrnicmp, NegativeCountIsTheByteCountOfOther) {
    // "ABソ" is 3 characters in 4 bytes: the count is 4 characters, so a
    // fourth character of this string is compared with the end of other.
    CVskStr other = CVskStr("AB") + kSo;
    EXPECT_EQ(0, (CVskStr("ab") + kSo).Strnicmp(0, other, 0, -1));
    EXPECT_GT((CVskStr("ab") + kSo + "z").Strnicmp(0, other, 0, -1), 0);
    EXPECT_EQ(0, (CVskStr("ab") + kSo + "z").Strnicmp(0, other, 0, 3));
}

TEST(CVskStrStrnicmp, PositionsAndSign) {
    EXPECT_EQ(0, CVskStr("xxHello").Strnicmp(2, "yHELLO", 1, 5));
    EXPECT_LT(CVskStr("abc").Strnicmp(0, "ABD", 0, 3), 0);
    EXPECT_GT(CVskStr("abd").Strnicmp(0, "ABC", 0, 3), 0);
    EXPECT_EQ(0, CVskStr("abd").Strnicmp(0, "ABC", 0, 2));
}

TEST(CVskStrStrnicmp, LoneLeadByteBeforeTheEndEndsTheString) {
    // The bytes after each NUL differ; they must not be read.
    EXPECT_EQ(0, CVskStr("A\x95\0X", 4).Strnicmp(0, CVskStr("a\x95\0Y", 4), 0, 3));
    EXPECT_EQ(0, CVskStr("a").Strnicmp(0, "A\x95", 0, -1));
    EXPECT_NE(0, CVskStr("ab").Strnicmp(0, "A\x95", 0, -1));
}

TEST(CVskStrStrnicmp, PositionsOutsideTheStringsAreClamped) {
    EXPECT_EQ(0, CVskStr("abc").Strnicmp(10, "x", 10, -1));
}

// --- SubStr, Replace, ReplaceAll --------------------------------------------

TEST(CVskStrSubStr, TakesTheRangeInPlaceAndReturnsThisString) {
    CVskStr s("abcdef");
    CVskStr& result = s.SubStr(2, 3);
    EXPECT_EQ(&s, &result);
    EXPECT_EQ("cde", Bytes(s));
}

TEST(CVskStrSubStr, RangeEndingOneBytePastTheNulCutTakesTheTerminatingNul) {
    CVskStr s("ab\0cdef", 7);
    CVskStr copy(s);
    copy.SubStr(1, 2); // the private copy is "ab": "b", then its terminating NUL
    EXPECT_EQ(std::string("b\0", 2), Bytes(copy));
    EXPECT_EQ(std::string("ab\0cdef", 7), Bytes(s));
}

TEST(CVskStrSubStr, RangeStartingOnTheTerminatorOfTheNulCutIsThatNul) {
    CVskStr s("\0", 1);
    CVskStr copy(s);
    copy.SubStr(0, 1); // the private copy is "": only its terminator is in range
    EXPECT_EQ(std::string(1, '\0'), Bytes(copy));
}

TEST(CVskStrSubStr, ChoiceBytesFurtherOutThanTheTerminatorReadAsNul) {
    CVskStr s("ab\0cdef", 7);
    CVskStr copy(s);
    copy.SubStr(1, 5);
    EXPECT_EQ(std::string("b\0\0\0\0", 5), Bytes(copy));
    CVskStr other(s);
    other.SubStr(4, 2);
    EXPECT_EQ(std::string("\0\0", 2), Bytes(other));
}

TEST(CVskStrSubStr, SharedPieceBeforeANulIsTakenWhole) {
    CVskStr s("abc\0def", 7);
    CVskStr copy(s);
    copy.SubStr(1, 2); // the NUL after the range cuts nothing in it
    EXPECT_EQ("bc", Bytes(copy));
    CVskStr other(s);
    other.SubStr(2, 2); // the range ends on the NUL: the copy's terminator
    EXPECT_EQ(std::string("c\0", 2), Bytes(other));
}

TEST(CVskStrSubStr, SharedPieceOfEveryLengthAtEveryStart) {
    // Pieces up to and past the length a standard string holds in place.
    const std::string text = "0123456789abcdefghijklmnopqrstuvwxyz";
    const CVskStr source(text.c_str());
    for (int start = 0; start <= static_cast<int>(text.size()); ++start) {
        for (int len = 0; start + len <= static_cast<int>(text.size()); ++len) {
            CVskStr copy(source);
            copy.SubStr(start, len);
            ASSERT_EQ(text.substr(start, len), Bytes(copy)) << start << ", " << len;
            ASSERT_EQ(1, copy.GetRefCount());
        }
    }
    EXPECT_EQ(1, source.GetRefCount());
}

TEST(CVskStrSubStr, UnsharedStringKeepsItsNulBytesAndItsTerminatorInRange) {
    CVskStr s("a\0b", 3); // count 1: nothing is cut
    s.SubStr(1, 3);
    EXPECT_EQ(std::string("\0b\0", 3), Bytes(s));
}

TEST(CVskStrSubStr, WideStringTakesItsTerminatingNulToo) {
    const wchar_t units[] = {L'a', 0, L'b'};
    vskstr::CVskStrW s(units, 3);
    vskstr::CVskStrW copy(s);
    copy.SubStr(0, 2); // the private copy is L"a"
    ASSERT_EQ(2, copy.Length());
    EXPECT_EQ(L'a', copy.c_str()[0]);
    EXPECT_EQ(L'\0', copy.c_str()[1]);
}

TEST(CVskStrSubStr, NegativeLengthIsALengthErrorAndLeavesTheText) {
    CVskStr s("abc");
    EXPECT_THROW(s.SubStr(0, -1), std::length_error);
    EXPECT_EQ("abc", Bytes(s));
}

TEST(CVskStrSubStr, ChoiceNegativeStartIsTakenAsZero) {
    CVskStr a("abc");
    EXPECT_EQ("ab", Bytes(a.SubStr(-1, 2)));
}

TEST(CVskStrSubStr, ChoiceStartPastTheEndGivesNulBytes) {
    CVskStr b("abc");
    EXPECT_EQ(std::string("\0\0", 2), Bytes(b.SubStr(5, 2)));
    CVskStr c("abc");
    EXPECT_EQ("", Bytes(c.SubStr(5, 0)));
}

TEST(CVskStrReplace, ReplacesTheInclusiveRange) {
    CVskStr s("abcdef");
    s.Replace(1, 3, "XY");
    EXPECT_EQ("aXYef", Bytes(s));
}

TEST(CVskStrReplace, SharedStringIsMadePrivateFirst) {
    CVskStr s("abc");
    CVskStr copy(s);
    copy.Replace(0, 0, "Z");
    EXPECT_EQ("Zbc", Bytes(copy));
    EXPECT_EQ("abc", Bytes(s));
}

TEST(CVskStrReplace, InvertedRangeInsertsWithoutRemoving) {
    CVskStr s("abc");
    s.Replace(1, 0, "XY");
    EXPECT_EQ("aXYbc", Bytes(s));
}

TEST(CVskStrReplace, FirstOutsideTheStringIsOutOfRange) {
    CVskStr s("abc");
    EXPECT_THROW(s.Replace(4, 5, "x"), std::out_of_range);
    EXPECT_THROW(s.Replace(-1, 0, "x"), std::out_of_range);
    EXPECT_EQ("abc", Bytes(s));
}

TEST(CVskStrReplace, WithMayBeThisString) {
    CVskStr s("ab");
    s.Replace(1, 1, s);
    EXPECT_EQ("aab", Bytes(s));
}

TEST(CVskStrReplaceAll, ReplacingAByAaTerminates) {
    CVskStr s("aa");
    s.ReplaceAll("a", "aa");
    EXPECT_EQ("aaaa", Bytes(s));
}

TEST(CVskStrReplaceAll, EmptyPatternChangesNothing) {
    CVskStr s("abc");
    CVskStr copy(s);
    copy.ReplaceAll(CVskStr(), "x");
    EXPECT_EQ("abc", Bytes(copy));
    EXPECT_EQ(2, s.GetRefCount()) << "no match: the buffer stays shared";
}

TEST(CVskStrReplaceAll, NeverMatchesInsideInsertedText) {
    CVskStr s("abab");
    s.ReplaceAll("ab", "b");
    EXPECT_EQ("bb", Bytes(s));
    CVskStr t("xax");
    t.ReplaceAll("x", "xx");
    EXPECT_EQ("xxaxx", Bytes(t));
}

TEST(CVskStrReplaceAll, LeavesTrailBytesFiveCAlone) {
    CVskStr s = CVskStr("a\\") + kHyou + "\\" + kSo;
    s.ReplaceAll("\\", "/");
    EXPECT_EQ(std::string("a/") + kHyou + "/" + kSo, Bytes(s));
}

TEST(CVskStrReplaceAll, ByTheStringItselfInsertsItsTextAsItIsAtEachStep) {
    // The first replacement makes the string longer than any later match
    // position, so the search ends there.
    CVskStr s("aa");
    s.ReplaceAll("a", s);
    EXPECT_EQ("aaa", Bytes(s));
    CVskStr t("abab");
    t.ReplaceAll("b", t);
    EXPECT_EQ("aababab", Bytes(t));
    // A different string that shares the text is an ordinary replacement.
    CVskStr u("aa");
    const CVskStr sharer(u);
    u.ReplaceAll("a", sharer);
    EXPECT_EQ("aaaa", Bytes(u));
    EXPECT_EQ("aa", Bytes(sharer));
    // As the search text too, the string matches itself once.
    CVskStr v("ab");
    v.ReplaceAll(v, v);
    EXPECT_EQ("ab", Bytes(v));
}

TEST(CVskStrReplaceAll, ReturnsThisString) {
    CVskStr s("x");
    EXPECT_EQ(&s, &s.ReplaceAll("x", "y"));
}

// --- SplitString ------------------------------------------------------------

std::vector<std::string> Split(const CVskStr& source, const CVskStr& separator) {
    std::vector<CVskStr> out;
    vskstr::SplitString(out, source, separator);
    std::vector<std::string> pieces;
    for (const CVskStr& piece : out)
        pieces.push_back(Bytes(piece));
    return pieces;
}

TEST(SplitString, TouchingSeparatorsGiveAnEmptyPiece) {
    EXPECT_EQ((std::vector<std::string>{"a", "", "b"}), Split("a,,b", ","));
}

TEST(SplitString, TrailingSeparatorGivesNoEmptyLastPiece) {
    EXPECT_EQ((std::vector<std::string>{"a"}), Split("a,", ","));
}

TEST(SplitString, LeadingSeparatorGivesAnEmptyFirstPiece) {
    EXPECT_EQ((std::vector<std::string>{"", "a"}), Split(",a", ","));
}

TEST(SplitString, EmptySourceGivesNothing) { EXPECT_TRUE(Split("", ",").empty()); }

TEST(SplitString, EmptySeparatorThrows) {
    std::deque<CVskStr> out;
    try {
        vskstr::SplitString(out, "abc", CVskStr());
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ("SplitString()", e.what());
    }
}

TEST(SplitString, AppendsWithoutClearingBothContainers) {
    std::deque<CVskStr> deque(1, CVskStr("old"));
    vskstr::SplitString(deque, "x;y", ";");
    ASSERT_EQ(3u, deque.size());
    EXPECT_EQ("old", Bytes(deque[0]));
    EXPECT_EQ("y", Bytes(deque[2]));
    std::vector<CVskStr> vector(1, CVskStr("old"));
    vskstr::SplitString(vector, "x;y", ";");
    ASSERT_EQ(3u, vector.size());
    EXPECT_EQ("x", Bytes(vector[1]));
}

TEST(SplitString, MultiByteSeparatorAndTrailBytes) {
    const CVskStr source = CVskStr(kHyou) + "\\" + kSo + "\\";
    EXPECT_EQ((std::vector<std::string>{kHyou, kSo}), Split(source, "\\"));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), Split("a<>b", "<>"));
}

TEST(SplitString, ChoiceLastPieceRunsToTheSourcesLengthInNulBytesAfterTheFirstNul) {
    EXPECT_EQ((std::vector<std::string>{"a", std::string("b\0\0\0\0", 5)}), Split(CVskStr("a,b\0c,d", 7), ","));
}

TEST(SplitString, PieceEndingOnTheTerminatingNulKeepsIt) {
    EXPECT_EQ((std::vector<std::string>{std::string("a\0", 2)}), Split(CVskStr("a\0", 2), ","));
    EXPECT_EQ((std::vector<std::string>{std::string(1, '\0')}), Split(CVskStr("\0", 1), "\\"));
    EXPECT_EQ((std::vector<std::string>{"x", std::string(1, '\0')}), Split(CVskStr("x,\0", 3), ","));
    EXPECT_EQ((std::vector<std::string>{"\x95\x5C", std::string("a\0", 2)}),
              Split(CVskStr("\x95\x5C,a\0", 5), ","));
}

TEST(SplitString, PieceEndingOnTheTerminatingNulKeepsItInADeque) {
    std::deque<CVskStr> out;
    vskstr::SplitString(out, CVskStr("x,\0", 3), ",");
    ASSERT_EQ(2u, out.size());
    EXPECT_EQ("x", Bytes(out[0]));
    EXPECT_EQ(std::string(1, '\0'), Bytes(out[1]));
}

} // namespace
