// Commonfunctions_model_test.cpp - the path functions against a slow model
// of them written step by step with the string's own operations (Pos,
// ReplaceAll, Strnicmp, LastChar; the split into components is worked on plain
// bytes, so that it checks SplitString's pieces too), on many generated texts full
// of the awkward bytes: NULs, forward slashes, colons, full stops, lead bytes
// alone, double-byte characters whose trail byte is 0x5C or a letter, and
// letters in both cases. The library walks the bytes itself for speed; this
// shows that it gives the model's result byte for byte.
#include "files/Commonfunctions.h"

#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

CVskStr Str(const std::string& bytes) { return CVskStr(bytes.data(), static_cast<int>(bytes.size())); }

// Printable form of a text for failure messages.
std::string Shown(const std::string& bytes) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : bytes) {
        if (c >= 0x20 && c < 0x7F) {
            out += static_cast<char>(c);
        } else {
            out += "\\x";
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

// ---------------------------------------------------------------------------
// The model: every step with the string's operations
// ---------------------------------------------------------------------------

namespace model {

const CVskStr kSep("\\");
const CVskStr kMark(".");

CVskStr Piece(const CVskStr& text, int start, int length) { return CVskStr(text.c_str() + start, length); }

CVskStr Tail(const CVskStr& text, int start) { return Piece(text, start, text.Length() - start); }

// Repeated forward search, each one byte after the previous hit.
int LastPos(const CVskStr& text, const CVskStr& mark) {
    int last = -1;
    for (int p = text.Pos(mark, 0); p >= 0; p = text.Pos(mark, p + 1))
        last = p;
    return last;
}

CVskStr FilePath(const CVskStr& path) {
    const int p = LastPos(path, kSep);
    return p < 0 ? CVskStr("", 0) : Piece(path, 0, p + 1);
}

CVskStr FileName(const CVskStr& path) {
    const int p = LastPos(path, kSep);
    return p < 0 ? path : Tail(path, p + 1);
}

CVskStr FileExt(const CVskStr& path) {
    const CVskStr name = FileName(path);
    const int p = LastPos(name, kMark);
    return p < 0 ? CVskStr("", 0) : Tail(name, p + 1);
}

CVskStr FileNameNoExt(const CVskStr& path) {
    const CVskStr name = FileName(path);
    const int p = LastPos(name, kMark);
    return p < 0 ? name : Piece(name, 0, p);
}

CVskStr ChangeExt(const CVskStr& path, const CVskStr& ext) {
    CVskStr result = FilePath(path);
    result += FileNameNoExt(path);
    result += kMark;
    result += ext;
    return result;
}

CVskStr AddSep(const CVskStr& path) {
    const int p = LastPos(path, kSep);
    if (static_cast<unsigned int>(p) == static_cast<unsigned int>(path.Length() - 1))
        return path;
    return path + kSep;
}

bool Matches(const CVskStr& a, const CVskStr& b) { return a.Strnicmp(0, b, 0, -1) == 0; }

bool TwoSeparators(const CVskStr& text) {
    return text.Length() >= 2 && text.c_str()[0] == '\\' && text.c_str()[1] == '\\';
}

bool EndsWithSeparator(const CVskStr& text) {
    const int last = text.LastChar();
    return last >= 0 && text.c_str()[last] == '\\';
}

bool SplitRoot(CVskStr path, CVskStr& root, CVskStr& rest) {
    root = CVskStr("", 0);
    rest = path;
    CVskStr copy(path);
    copy.ReplaceAll("/", kSep);
    if (copy.Length() < 2)
        return false;
    if (copy.Pos(":") == 1) {
        root = Piece(copy, 0, 2) + kSep;
        rest = Tail(copy, 2);
    } else if (TwoSeparators(copy)) {
        const int serverEnd = copy.Pos(kSep, 2);
        if (serverEnd < 0)
            return false;
        const int shareEnd = copy.Pos(kSep, serverEnd + 1);
        if (shareEnd >= 0) {
            root = Piece(copy, 0, shareEnd) + kSep;
            rest = Tail(copy, shareEnd);
        } else if (serverEnd == copy.Length() - 1) {
            return false;
        } else {
            root = copy + kSep;
            rest = CVskStr("", 0);
        }
    } else {
        return false;
    }
    if (rest.Length() > 0 && rest.c_str()[0] == '\\')
        rest = Tail(rest, 1);
    return true;
}

// SplitString's step, worked on plain bytes: the piece is cut from a private
// copy of the text (its bytes before the first NUL, then its terminating NUL);
// bytes further out are taken as NUL.
CVskStr PieceOfPrivateCopy(const CVskStr& text, int start, int length) {
    std::string copy(text.c_str());
    copy.push_back('\0');
    std::string piece;
    for (int k = 0; k < length; ++k) {
        const std::size_t at = static_cast<std::size_t>(start + k);
        piece.push_back(at < copy.size() ? copy[at] : '\0');
    }
    return Str(piece);
}

template <typename Container>
void Components(Container& out, const CVskStr& text) {
    for (int i = 0; i < text.Length();) {
        int p = text.Pos(kSep, i);
        if (p < 0)
            p = text.Length();
        const CVskStr piece = PieceOfPrivateCopy(text, i, p - i);
        if (piece.Length() > 0)
            out.push_back(piece);
        i = p + kSep.Length();
    }
}

// The library's copies of its arguments share their buffers, so a
// conversion that changes a text makes it private and cuts it at its first
// NUL; the model works on shared copies too.
CVskStr FullPath(const CVskStr& base, const CVskStr& given) {
    CVskStr path(given);
    if (path.Length() > 1 && (path.Pos(":") == 1 || TwoSeparators(path)))
        return path;
    path.ReplaceAll("/", kSep);
    const bool trailing = EndsWithSeparator(path);
    CVskStr prefix("", 0);
    CVskStr rest("", 0);
    std::vector<CVskStr> list;
    if (SplitRoot(base, prefix, rest))
        Components(list, rest);
    else
        prefix = base;
    std::vector<CVskStr> relative;
    Components(relative, path);
    for (const CVskStr& component : relative) {
        if (Matches(component, "..")) {
            if (!list.empty())
                list.pop_back();
        } else if (!Matches(component, ".")) {
            list.push_back(component);
        }
    }
    CVskStr result = prefix;
    for (const CVskStr& component : list)
        result = result + component + kSep;
    // The separator put after a component always ends the result, even after
    // a component that ends in a lone lead byte.
    const bool endsWithSeparator = list.empty() ? EndsWithSeparator(prefix) : true;
    if (!trailing && endsWithSeparator)
        result = Piece(result, 0, result.Length() - 1);
    return result;
}

CVskStr RelPath(const CVskStr& givenBase, const CVskStr& givenPath) {
    CVskStr base(givenBase);
    CVskStr path(givenPath);
    base.ReplaceAll("/", kSep);
    path.ReplaceAll("/", kSep);
    const bool trailing = EndsWithSeparator(path);
    CVskStr baseRoot, baseRest, pathRoot, pathRest;
    SplitRoot(base, baseRoot, baseRest);
    SplitRoot(path, pathRoot, pathRest);
    if (!Matches(baseRoot, pathRoot))
        return path;
    std::deque<CVskStr> baseList;
    std::deque<CVskStr> pathList;
    Components(baseList, baseRest);
    Components(pathList, pathRest);
    while (!baseList.empty() && !pathList.empty() && Matches(baseList.front(), pathList.front())) {
        baseList.pop_front();
        pathList.pop_front();
    }
    CVskStr result("", 0);
    for (std::size_t i = 0; i < baseList.size(); ++i)
        result = result + ".." + kSep;
    for (const CVskStr& component : pathList)
        result = result + component + kSep;
    if (result.Length() == 0)
        return CVskStr(".");
    if (!trailing)
        result = Piece(result, 0, result.Length() - 1);
    return result;
}

} // namespace model

// ---------------------------------------------------------------------------
// Generated texts
// ---------------------------------------------------------------------------

// Pieces that meet the rules' corners when strung together: separators of
// both kinds, drive colons, full stops, NUL, lead bytes that pair with
// whatever follows, double-byte characters whose second byte is 0x5C, '/',
// a letter or a lead-byte value, full-width and half-width letters, and
// names that differ only in case or length.
const std::vector<std::string>& Tokens() {
    static const std::vector<std::string> tokens = {
        "\\", "\\", "\\", "/", "\\\\", "//", ":", "C:", "c:", ".", "..", ".", "a", "A", "ab", "AB", "abc",
        "x", "Dir", "dIR", std::string("\0", 1), "\x95\x5C", "\x83\x5C", "\x95", "\x81\x2F", "\x82\x60",
        "\x82\x81", "\x95\x81", "\xB1", "\x81\x81", "txt", "e.t"};
    return tokens;
}

std::string Generate(std::mt19937& random, int maxTokens) {
    const auto& tokens = Tokens();
    std::uniform_int_distribution<int> count(0, maxTokens);
    std::uniform_int_distribution<std::size_t> pick(0, tokens.size() - 1);
    std::string text;
    for (int n = count(random); n > 0; --n)
        text += tokens[pick(random)];
    return text;
}

// A root of each kind (or none) before generated text, so that the root
// split and the component walk both get exercised.
std::string GeneratePath(std::mt19937& random) {
    static const std::vector<std::string> roots = {"",       "C:\\",       "c:/",    "C:",      "\\\\srv\\sh\\",
                                                   "//srv/sh", "\\\\srv\\", "\\",     "\\\\\x95\x5C\\s\\", "D:\\"};
    std::uniform_int_distribution<std::size_t> pick(0, roots.size() - 1);
    return roots[pick(random)] + Generate(random, 10);
}

// The second text shares a start with the first most of the time, so that
// the relative path walks common components (in either case).
std::string Related(std::mt19937& random, const std::string& first) {
    std::uniform_int_distribution<int> choice(0, 3);
    if (choice(random) == 0)
        return GeneratePath(random);
    std::uniform_int_distribution<std::size_t> cut(0, first.size());
    std::string text = first.substr(0, cut(random));
    for (char& c : text)
        if (choice(random) == 0 && c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text + Generate(random, 4);
}

constexpr int kTexts = 20000;

TEST(PathFunctionsModel, ExtractFamilyAgreesWithTheStepByStepModel) {
    ASSERT_EQ(GetACP(), 932u) << "the double-byte pieces mean something only under code page 932";
    std::mt19937 random(20261123);
    for (int i = 0; i < kTexts; ++i) {
        const std::string text = GeneratePath(random);
        const std::string ext = Generate(random, 2);
        const CVskStr path = Str(text);
        SCOPED_TRACE("path '" + Shown(text) + "', ext '" + Shown(ext) + "'");
        ASSERT_EQ(Bytes(vsk::ExtractFilePath(path)), Bytes(model::FilePath(path)));
        ASSERT_EQ(Bytes(vsk::ExtractFileName(path)), Bytes(model::FileName(path)));
        ASSERT_EQ(Bytes(vsk::ExtractFileExt(path)), Bytes(model::FileExt(path)));
        ASSERT_EQ(Bytes(vsk::ExtractFileNameNoExt(path)), Bytes(model::FileNameNoExt(path)));
        ASSERT_EQ(Bytes(vsk::ChangeFileExt(path, Str(ext))), Bytes(model::ChangeExt(path, Str(ext))));
        ASSERT_EQ(Bytes(vsk::AddDirSep(path)), Bytes(model::AddSep(path)));
    }
}

TEST(PathFunctionsModel, RootSplitAgreesWithTheStepByStepModel) {
    std::mt19937 random(1123);
    for (int i = 0; i < kTexts; ++i) {
        const std::string text = GeneratePath(random);
        SCOPED_TRACE("path '" + Shown(text) + "'");
        CVskStr root("old"), rest("old"), modelRoot, modelRest;
        ASSERT_EQ(vsk::detail::SplitRootPath(Str(text), root, rest), model::SplitRoot(Str(text), modelRoot, modelRest));
        ASSERT_EQ(Bytes(root), Bytes(modelRoot));
        ASSERT_EQ(Bytes(rest), Bytes(modelRest));
    }
}

TEST(PathFunctionsModel, FullAndRelativePathsAgreeWithTheStepByStepModel) {
    std::mt19937 random(2026);
    for (int i = 0; i < kTexts; ++i) {
        const std::string base = GeneratePath(random);
        const std::string path = Related(random, base);
        const std::string relative = Generate(random, 8);
        SCOPED_TRACE("base '" + Shown(base) + "', path '" + Shown(path) + "', relative '" + Shown(relative) + "'");
        ASSERT_EQ(Bytes(vsk::MakeFullPath(Str(base), Str(relative))),
                  Bytes(model::FullPath(Str(base), Str(relative))));
        ASSERT_EQ(Bytes(vsk::MakeFullPath(Str(base), Str(path))), Bytes(model::FullPath(Str(base), Str(path))));
        ASSERT_EQ(Bytes(vsk::MakeRelPath(Str(base), Str(path))), Bytes(model::RelPath(Str(base), Str(path))));
        ASSERT_EQ(Bytes(vsk::MakeRelPath(Str(path), Str(base))), Bytes(model::RelPath(Str(path), Str(base))));
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Every double-byte character of code page 932
// ---------------------------------------------------------------------------

namespace {

// Every lead byte with every trail byte, each pair placed where the path
// functions' searches from the back meet it: before and after separators,
// full stops and colons, at the end, after a lone lead byte that takes the
// pair's lead as its own trail, in a run of lead-byte values, and in a
// network root. The library searches from the end and looks back only over
// the run of lead-byte values before a hit; the model walks every text from
// its start with the string's search.
std::vector<std::string> TextsAround(const std::string& pair) {
    const char lead = pair[0];
    return {"C:\\" + pair + "\\" + pair + ".t" + pair,
            pair + "\\n" + pair,
            "a" + pair,
            std::string(1, lead) + pair + "\\x.",
            pair + pair + "." + pair + ":",
            "\\\\" + pair + "\\s" + pair + "\\f" + pair + "\\"};
}

bool IsLeadOf932(int c) { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC); }

bool IsTrailOf932(int c) { return (c >= 0x40 && c <= 0x7E) || (c >= 0x80 && c <= 0xFC); }

TEST(PathFunctionsEveryPair, ExtractFamilyAgreesWithTheModelForEveryLeadAndTrailByte) {
    ASSERT_EQ(GetACP(), 932u) << "the pairs are double-byte characters only under code page 932";
    int pairs = 0;
    for (int lead = 0x81; lead <= 0xFC; ++lead) {
        if (!IsLeadOf932(lead))
            continue;
        ASSERT_TRUE(IsDBCSLeadByte(static_cast<BYTE>(lead))) << lead;
        for (int trail = 0x40; trail <= 0xFC; ++trail) {
            if (!IsTrailOf932(trail))
                continue;
            ++pairs;
            const std::string pair{static_cast<char>(lead), static_cast<char>(trail)};
            for (const std::string& text : TextsAround(pair)) {
                const CVskStr path = Str(text);
                SCOPED_TRACE("path '" + Shown(text) + "'");
                ASSERT_EQ(Bytes(vsk::ExtractFilePath(path)), Bytes(model::FilePath(path)));
                ASSERT_EQ(Bytes(vsk::ExtractFileName(path)), Bytes(model::FileName(path)));
                ASSERT_EQ(Bytes(vsk::ExtractFileExt(path)), Bytes(model::FileExt(path)));
                ASSERT_EQ(Bytes(vsk::ExtractFileNameNoExt(path)), Bytes(model::FileNameNoExt(path)));
                ASSERT_EQ(Bytes(vsk::ChangeFileExt(path, Str(pair))), Bytes(model::ChangeExt(path, Str(pair))));
                ASSERT_EQ(Bytes(vsk::AddDirSep(path)), Bytes(model::AddSep(path)));
            }
        }
    }
    EXPECT_EQ(pairs, 60 * 188);
}

TEST(PathFunctionsEveryPair, FullAndRelativePathsAgreeWithTheModelForEveryLeadAndTrailByte) {
    ASSERT_EQ(GetACP(), 932u) << "the pairs are double-byte characters only under code page 932";
    for (int lead = 0x81; lead <= 0xFC; ++lead) {
        if (!IsLeadOf932(lead))
            continue;
        for (int trail = 0x40; trail <= 0xFC; ++trail) {
            if (!IsTrailOf932(trail))
                continue;
            const std::string pair{static_cast<char>(lead), static_cast<char>(trail)};
            const std::string base = "C:\\d" + pair + "\\" + pair;
            const std::string relative = "..\\" + pair + "\\.\\x" + pair;
            const std::string full = "c:/D" + pair + "/" + pair + "x\\" + pair;
            SCOPED_TRACE("base '" + Shown(base) + "', relative '" + Shown(relative) + "', full '" + Shown(full) + "'");
            ASSERT_EQ(Bytes(vsk::MakeFullPath(Str(base), Str(relative))),
                      Bytes(model::FullPath(Str(base), Str(relative))));
            ASSERT_EQ(Bytes(vsk::MakeFullPath(Str(pair), Str(pair + "\\" + pair))),
                      Bytes(model::FullPath(Str(pair), Str(pair + "\\" + pair))));
            ASSERT_EQ(Bytes(vsk::MakeRelPath(Str(base), Str(full))), Bytes(model::RelPath(Str(base), Str(full))));
            ASSERT_EQ(Bytes(vsk::MakeRelPath(Str(full), Str(base))), Bytes(model::RelPath(Str(full), Str(base))));
        }
    }
}

} // namespace
