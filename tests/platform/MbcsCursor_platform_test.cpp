// MbcsCursor_platform_test.cpp - the double-byte cursor and the shared
// replace steps, in code page 932 (0x95 is a lead byte, 0x5C is '\').
#include "platform/MbcsCursor.h"
#include "platform/ReplaceMatches.h"
#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <random>
#include <string>

namespace {

using vsk::detail::CMbcsCursor;

constexpr std::size_t kNone = CMbcsCursor::kNone;

// The plain walk from the start that the cursor's answers must agree with:
// whether byte `i` is a trail byte when every lead byte takes the next byte.
bool WalkSaysTrail(const std::string& s, std::size_t i) {
    std::size_t p = 0;
    while (p < i)
        p += CMbcsCursor().IsLead(static_cast<unsigned char>(s[p])) ? 2 : 1;
    return p != i;
}

TEST(MbcsCursor, LeadByteTableIsTheSystemCodePages) {
    const CMbcsCursor cursor;
    ASSERT_TRUE(cursor.IsLead(0x95)) << "code page 932 expected";
    EXPECT_TRUE(cursor.IsLead(0x81));
    EXPECT_TRUE(cursor.IsLead(0x9F));
    EXPECT_TRUE(cursor.IsLead(0xE0));
    EXPECT_FALSE(cursor.IsLead(0x5C));
    EXPECT_FALSE(cursor.IsLead('a'));
    EXPECT_FALSE(cursor.IsLead(0));
    EXPECT_FALSE(cursor.IsLead(0xB1)) << "half-width katakana are single bytes";
    for (int c = 0; c < 256; ++c)
        EXPECT_EQ(IsDBCSLeadByte(static_cast<unsigned char>(c)) != 0, cursor.IsLead(static_cast<unsigned char>(c)))
            << c;
}

TEST(MbcsCursor, TrailByteFiveCIsATrailByte) {
    const CMbcsCursor cursor;
    const char text[] = "\x95\x5C";
    EXPECT_FALSE(cursor.IsTrailAt(text, 0));
    EXPECT_TRUE(cursor.IsTrailAt(text, 1));
    EXPECT_FALSE(cursor.IsTrailAt(text, 2)) << "the text ends after a whole character";
}

TEST(MbcsCursor, EmptyTextHasNoTrailByteAndNothingToFind) {
    const CMbcsCursor cursor;
    const char text[] = "";
    EXPECT_FALSE(cursor.IsTrailAt(text, 0));
    EXPECT_FALSE(cursor.IsTrailInCString(text, 0));
    EXPECT_EQ(0u, cursor.FindFirstOrNul(text, 0, 0, '\\'));
    EXPECT_EQ(kNone, cursor.FindFirst(text, 0, 0, '\\'));
    EXPECT_EQ(kNone, cursor.FindLast(text, 0, 0, '\\'));
}

TEST(MbcsCursor, ALoneLeadByteAtTheEndIsACharacterOfItsOwn) {
    const CMbcsCursor cursor;
    const char text[] = "a\x95";
    EXPECT_TRUE(cursor.IsLoneLead(text + 1));
    EXPECT_FALSE(cursor.IsLoneLead(text));
    EXPECT_EQ(1u, cursor.CharBytes(text + 1));
    EXPECT_EQ(text + 2, cursor.Next(text + 1));
    EXPECT_TRUE(cursor.IsTrailAt(text, 2)) << "at the length: the text ends in a lone lead byte";
    EXPECT_EQ(1u, cursor.CharBytesIn(text, 1, 2)) << "no byte after it inside the text";
    EXPECT_EQ(2u, cursor.CharBytesIn(text, 1, 3)) << "the terminator is a byte of a longer text";
}

TEST(MbcsCursor, StepsOverWholeCharacters) {
    const CMbcsCursor cursor;
    const char text[] = "a\x95\x5C" "b\x88\x9F";
    const char* p = text;
    std::string starts;
    for (; *p; p = cursor.Next(p))
        starts += static_cast<char>('0' + (p - text));
    EXPECT_EQ("0134", starts);
    EXPECT_EQ(text + 6, p);
}

TEST(MbcsCursor, ARunOfLeadByteValuesPairsUpFromItsStart) {
    const CMbcsCursor cursor;
    const std::string text = "a\x95\x95\x95\x95\x95\x95\x95";
    for (std::size_t i = 0; i <= text.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(i >= 2 && i % 2 == 0, cursor.IsTrailAt(text.c_str(), i));
    }
}

TEST(MbcsCursor, ALeadByteTakesANulAfterItUnlessTheCStringEndsThere) {
    const CMbcsCursor cursor;
    const char text[] = "\x95\0\x95\x5C";
    EXPECT_TRUE(cursor.IsTrailAt(text, 1));
    EXPECT_TRUE(cursor.IsTrailAt(text, 3));
    EXPECT_FALSE(cursor.IsTrailInCString(text, 3)) << "the C string ends at the NUL";
    EXPECT_TRUE(cursor.IsTrailInCString("a\x95\x5C", 2));
}

TEST(MbcsCursor, FindFirstSkipsTrailBytesAndStopsAtTheFirstNul) {
    const CMbcsCursor cursor;
    const char text[] = "\x95\x5C" "ab\\c\0\\";
    const std::size_t length = sizeof text - 1;
    EXPECT_EQ(4u, cursor.FindFirst(text, 0, length, '\\'));
    EXPECT_EQ(4u, cursor.FindFirst(text, 2, length, '\\'));
    EXPECT_EQ(kNone, cursor.FindFirst(text, 5, length, '\\')) << "the one after the NUL is not found";
    EXPECT_EQ(6u, cursor.FindFirstOrNul(text, 5, length, '\\')) << "where the C string ends";
    EXPECT_EQ(6u, cursor.FindFirstOrNul(text, 0, length, 0));
    EXPECT_EQ(3u, cursor.FindFirstOrNul(text, 0, 3, 'z')) << "the end when nothing is found";
    EXPECT_EQ(kNone, cursor.FindFirst("\x95\x5C", 0, 2, '\\'));
}

TEST(MbcsCursor, FindLastSearchesFromTheBackAndSkipsTrailBytes) {
    const CMbcsCursor cursor;
    const char text[] = "a\\b\x95\x5C" "c";
    EXPECT_EQ(1u, cursor.FindLast(text, 0, 6, '\\'));
    EXPECT_EQ(kNone, cursor.FindLast(text, 2, 6, '\\'));
    EXPECT_EQ(kNone, cursor.FindLast("\x95\x5C", 0, 2, '\\'));
    EXPECT_EQ(2u, cursor.FindLast("\x95\x95\\", 0, 3, '\\'));
    EXPECT_EQ(kNone, cursor.FindLast("\x95\x95\x95\\", 0, 4, '\\'));
}

// On many random texts of lead bytes, 0x5C, letters and NULs, the cursor's
// trail test and searches agree with the plain walk from the start; the
// searches are checked across the four-byte steps of FindFirst.
TEST(MbcsCursor, LowBytesAreSingleInCodePage932) { EXPECT_TRUE(vsk::detail::LeadBytes().lowBytesAreSingle); }

// Copies `text` with its terminator to the start of an aligned buffer.
struct CAlignedText {
    alignas(4) char bytes[64];
    explicit CAlignedText(const char* text) { std::memcpy(bytes, text, std::strlen(text) + 1); }
};

TEST(MbcsCursor, SkipPlainWordsStepsOverWholeWordsOfPlainBytesOnly) {
    const CMbcsCursor cursor;
    const CAlignedText plain("abcdefgh,ijk");
    EXPECT_EQ(cursor.SkipPlainWords(plain.bytes, ','), plain.bytes + 8);
    // The word that holds the byte sought stops it, wherever in the word.
    const CAlignedText early("abcd,fghijkl");
    EXPECT_EQ(cursor.SkipPlainWords(early.bytes, ','), early.bytes + 4);
    // A NUL ends it, and so does any byte from 0x80 up (a lead byte, a
    // single-byte katakana): the trail byte 0x5C after 0x95 is never skipped
    // as a '\' of its own, nor taken for one.
    const CAlignedText shortText("abcdefg");
    EXPECT_EQ(cursor.SkipPlainWords(shortText.bytes, ','), shortText.bytes + 4);
    const CAlignedText lead("abcdef\x95\x5Cxyz\\");
    EXPECT_EQ(cursor.SkipPlainWords(lead.bytes, '\\'), lead.bytes + 4);
    const CAlignedText kana("\xB1" "bcdefgh");
    EXPECT_EQ(cursor.SkipPlainWords(kana.bytes, ','), kana.bytes);
    // Only from an aligned boundary.
    EXPECT_EQ(cursor.SkipPlainWords(plain.bytes + 1, ','), plain.bytes + 1);
    const CAlignedText empty("");
    EXPECT_EQ(cursor.SkipPlainWords(empty.bytes, ','), empty.bytes);
}

TEST(MbcsCursor, AgreesWithAWalkFromTheStartOnRandomTexts) {
    const CMbcsCursor cursor;
    const unsigned char alphabet[] = {0x95, 0x88, 0x9F, 0x5C, 'a', 'b', 0, 0xB1};
    std::mt19937 random(932);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const int length = static_cast<int>(random() % 24);
        for (int i = 0; i < length; ++i)
            text += static_cast<char>(alphabet[random() % sizeof alphabet]);
        SCOPED_TRACE(round);
        for (std::size_t i = 0; i <= text.size(); ++i)
            ASSERT_EQ(WalkSaysTrail(text, i), cursor.IsTrailAt(text.c_str(), i)) << i;
        const std::size_t visible = std::strlen(text.c_str());
        std::size_t first = kNone;
        std::size_t last = kNone;
        for (std::size_t i = 0; i < visible; ++i) {
            if (text[i] == '\\' && !WalkSaysTrail(text, i)) {
                if (first == kNone)
                    first = i;
                last = i;
            }
        }
        ASSERT_EQ(first, cursor.FindFirst(text.c_str(), 0, text.size(), '\\'));
        ASSERT_EQ(first == kNone ? visible : first, cursor.FindFirstOrNul(text.c_str(), 0, text.size(), '\\'));
        ASSERT_EQ(last, cursor.FindLast(text.c_str(), 0, visible, '\\'));
    }
}

// ---- The shared replace steps ------------------------------------------------

// Steps over a std::string with a plain substring search, recording the
// calls.
struct CRecordingSteps {
    std::string text;
    std::string pattern;
    std::string insert;
    std::string result;
    std::string calls;

    std::size_t Find(std::size_t from) {
        calls += "F" + std::to_string(from);
        const std::size_t found = text.find(pattern, from);
        return found == std::string::npos ? vsk::detail::kNoMatch : found;
    }
    std::size_t Begin() {
        calls += "B";
        return text.size();
    }
    void Take(std::size_t from, std::size_t to) { result.append(text, from, to - from); }
    void Insert() { result += insert; }
};

TEST(MbcsCursor, FindNulAtEveryAlignmentLengthAndPlace) {
    // Texts short and long (searched sixteen bytes at a time), at every
    // offset from a 16-byte boundary, with NUL bytes before the text, inside
    // it and right after it: only NULs inside count.
    alignas(16) char buffer[160];
    for (std::size_t offset = 0; offset < 16; ++offset) {
        for (std::size_t n = 0; n + offset + 16 < sizeof(buffer); ++n) {
            for (std::size_t nul = 0; nul <= n; ++nul) {
                std::memset(buffer, 0, sizeof(buffer));
                char* s = buffer + offset + 1;
                std::memset(s, 'x', n);
                if (nul < n)
                    s[nul] = '\0';
                ASSERT_EQ(nul, CMbcsCursor::FindNul(s, n)) << offset << " " << n << " " << nul;
            }
        }
    }
}

TEST(ReplaceEveryMatch, TakesNothingWhenNothingMatches) {
    CRecordingSteps steps{"abc", "x", "y", "", ""};
    EXPECT_EQ(0u, vsk::detail::ReplaceEveryMatch(steps, 1));
    EXPECT_EQ("", steps.result);
    EXPECT_EQ("F0", steps.calls) << "Begin runs only at a first match";
}

TEST(ReplaceEveryMatch, SearchesOnAfterTheMatchNeverInTheInsert) {
    CRecordingSteps steps{"aabb", "ab", "b", "", ""};
    EXPECT_EQ(1u, vsk::detail::ReplaceEveryMatch(steps, 2));
    EXPECT_EQ("abb", steps.result);
    EXPECT_EQ("F0BF3", steps.calls);

    CRecordingSteps grow{"aXa", "a", "aa", "", ""};
    EXPECT_EQ(2u, vsk::detail::ReplaceEveryMatch(grow, 1));
    EXPECT_EQ("aaXaa", grow.result);
}

TEST(ReplaceEveryMatch, MatchesAtBothEndsKeepTheMiddle) {
    CRecordingSteps steps{"--mid--", "--", "+", "", ""};
    EXPECT_EQ(2u, vsk::detail::ReplaceEveryMatch(steps, 2));
    EXPECT_EQ("+mid+", steps.result);
}

} // namespace
