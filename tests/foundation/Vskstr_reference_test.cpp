// Vskstr_reference_test.cpp - ReplaceAll, SubStr and SplitString checked byte
// for byte against the plain step-by-step algorithms (search, replace or cut,
// search again; SubStr worked on plain bytes) on random inputs with NUL bytes,
// shared buffers and double-byte characters.
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

// The documented SubStr on a string whose buffer holds `bytes`, worked on
// plain bytes: a shared buffer is made private from its C-string view (cut at
// the first NUL), then `len` bytes are read from `start` of that buffer,
// whose terminating NUL follows its last byte. Bytes further out are taken as
// NUL (the library reads no memory it does not own).
std::string ReferenceSubStr(const std::string& bytes, bool shared, int start, int len) {
    std::string buffer = shared ? std::string(bytes.c_str()) : bytes;
    buffer.push_back('\0'); // the terminator
    if (start < 0)
        start = 0;
    std::string piece;
    for (int k = 0; k < len; ++k) {
        const std::size_t at = static_cast<std::size_t>(start) + k;
        piece.push_back(at < buffer.size() ? buffer[at] : '\0');
    }
    return piece;
}

// Step by step: each piece is cut from a copy of the source (which shares
// its buffer, so the cut is made on the C-string view).
template <typename Container>
void ReferenceSplit(Container& out, const CVskStr& source, const CVskStr& separator) {
    const std::string bytes(source.c_str(), source.Length());
    int i = 0;
    while (i < source.Length()) {
        int p = source.Pos(separator, i);
        if (p < 0)
            p = source.Length();
        const std::string piece = ReferenceSubStr(bytes, true, i, p - i);
        out.push_back(CVskStr(piece.data(), static_cast<int>(piece.size())));
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

TEST(SubStrReference, MatchesTheStepByStepAlgorithmOnSharedAndPrivateStrings) {
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> coin(0, 1);
    std::uniform_int_distribution<int> position(-2, 30);
    std::uniform_int_distribution<int> length(0, 30);
    for (int round = 0; round < 20000; ++round) {
        const CVskStr text = RandomText(random, 12, true);
        const std::string bytes = Bytes(text);
        const bool shared = coin(random) == 1;
        const int start = position(random);
        const int len = length(random);
        CVskStr s(bytes.data(), static_cast<int>(bytes.size()));
        CVskStr sharer;
        if (shared)
            sharer = s;
        s.SubStr(start, len);
        ASSERT_EQ(ReferenceSubStr(bytes, shared, start, len), Bytes(s))
            << "round " << round << " shared " << shared << " text " << testing::PrintToString(bytes)
            << " start " << start << " len " << len;
        if (shared) {
            ASSERT_EQ(bytes, Bytes(sharer));
        }
    }
}

template <typename Container>
void CheckSplitAgainstTheReference(unsigned seed) {
    std::mt19937 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const CVskStr text = RandomText(random, 12, true);
        CVskStr separator = RandomText(random, 2, round % 5 == 0);
        if (separator.Length() == 0)
            separator = CVskStr(",");
        Container fast, slow;
        vskstr::SplitString(fast, text, separator);
        ReferenceSplit(slow, text, separator);
        ASSERT_EQ(slow.size(), fast.size()) << "round " << round << " text "
                                            << testing::PrintToString(Bytes(text)) << " separator "
                                            << testing::PrintToString(Bytes(separator));
        for (std::size_t i = 0; i < slow.size(); ++i)
            ASSERT_EQ(Bytes(slow[i]), Bytes(fast[i])) << "round " << round << " piece " << i << " text "
                                                      << testing::PrintToString(Bytes(text));
    }
}

TEST(SplitStringReference, DequeOutputMatchesTheStepByStepAlgorithm) {
    CheckSplitAgainstTheReference<std::deque<CVskStr>>(1122);
}

TEST(SplitStringReference, VectorOutputMatchesTheStepByStepAlgorithm) {
    CheckSplitAgainstTheReference<std::vector<CVskStr>>(2211);
}

} // namespace
