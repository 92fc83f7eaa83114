// Vskstr_reference_test.cpp - ReplaceAll and SplitString take one pass over
// the text; here they are checked byte for byte against the plain step-by-step
// algorithms (search, replace or cut, search again) on random inputs with NUL
// bytes, shared buffers and double-byte characters.
#include "foundation/Vskstr.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

// Step by step: find, replace the pattern's length, go on after the inserted text.
void ReferenceReplaceAll(CVskStr& s, const CVskStr& pattern, const CVskStr& with) {
    int from = 0;
    for (;;) {
        const int p = s.Pos(pattern, from);
        if (p < 0)
            return;
        s.Replace(p, p + pattern.Length() - 1, with);
        from = p + with.Length();
    }
}

// Step by step: each piece is cut from a copy of the source.
void ReferenceSplit(std::deque<CVskStr>& out, const CVskStr& source, const CVskStr& separator) {
    int i = 0;
    while (i < source.Length()) {
        int p = source.Pos(separator, i);
        if (p < 0)
            p = source.Length();
        out.push_back(CVskStr(source).SubStr(i, p - i));
        i = p + separator.Length();
    }
}

// Pieces that make searches interesting: ASCII, '\', NUL, and double-byte
// characters whose trail byte is '\' or a lead-byte value.
const std::vector<std::string> kAtoms = {"a", "b", "\\", ",", std::string(1, '\0'), "\x95\x5C", "\x83\x5C",
                                         "\x88\x9F", "\xB1"};

CVskStr RandomText(std::mt19937& random, int maxAtoms, bool allowNul) {
    std::uniform_int_distribution<int> count(0, maxAtoms);
    std::uniform_int_distribution<std::size_t> pick(0, kAtoms.size() - 1);
    std::string text;
    for (int n = count(random); n > 0; --n) {
        const std::string& atom = kAtoms[pick(random)];
        if (!allowNul && atom[0] == '\0')
            continue;
        text += atom;
    }
    return CVskStr(text.data(), static_cast<int>(text.size()));
}

TEST(ReplaceAllReference, OnePassMatchesTheStepByStepAlgorithm) {
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> coin(0, 1);
    for (int round = 0; round < 20000; ++round) {
        const CVskStr text = RandomText(random, 12, true);
        const CVskStr pattern = RandomText(random, 2, round % 7 == 0);
        const CVskStr with = RandomText(random, 3, true);
        const bool shared = coin(random) == 1;

        CVskStr fast(text.c_str(), text.Length());
        CVskStr slow(text.c_str(), text.Length());
        CVskStr fastSharer, slowSharer;
        if (shared) {
            fastSharer = fast;
            slowSharer = slow;
        }
        fast.ReplaceAll(pattern, with);
        ReferenceReplaceAll(slow, pattern, with);
        ASSERT_EQ(Bytes(slow), Bytes(fast))
            << "round " << round << " shared " << shared << " text " << testing::PrintToString(Bytes(text))
            << " pattern " << testing::PrintToString(Bytes(pattern)) << " with "
            << testing::PrintToString(Bytes(with));
        if (shared) {
            ASSERT_EQ(Bytes(text), Bytes(fastSharer));
        }
    }
}

TEST(SplitStringReference, OnePassMatchesTheStepByStepAlgorithm) {
    std::mt19937 random(1122);
    for (int round = 0; round < 20000; ++round) {
        const CVskStr text = RandomText(random, 12, true);
        CVskStr separator = RandomText(random, 2, round % 5 == 0);
        if (separator.Length() == 0)
            separator = CVskStr(",");
        std::deque<CVskStr> fast, slow;
        vskstr::SplitString(fast, text, separator);
        ReferenceSplit(slow, text, separator);
        ASSERT_EQ(slow.size(), fast.size()) << "round " << round << " text "
                                            << testing::PrintToString(Bytes(text)) << " separator "
                                            << testing::PrintToString(Bytes(separator));
        for (std::size_t i = 0; i < slow.size(); ++i)
            ASSERT_EQ(Bytes(slow[i]), Bytes(fast[i])) << "round " << round << " piece " << i;
    }
}

} // namespace
