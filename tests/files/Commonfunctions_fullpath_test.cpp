// Commonfunctions_fullpath_test.cpp - full and relative paths, and the root
// split under them.
#include "files/Commonfunctions.h"

#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vskstr::CVskStr;

std::string Bytes(const CVskStr& s) { return std::string(s.c_str(), s.Length()); }

CVskStr Str(const std::string& bytes) { return CVskStr(bytes.data(), static_cast<int>(bytes.size())); }

std::string Full(const std::string& base, const std::string& path) {
    return Bytes(vsk::MakeFullPath(Str(base), Str(path)));
}

std::string Rel(const std::string& base, const std::string& path) {
    return Bytes(vsk::MakeRelPath(Str(base), Str(path)));
}

struct CCase {
    std::string base;
    std::string path;
    std::string expected;
};

void ExpectFull(const CCase& c) {
    SCOPED_TRACE("MakeFullPath('" + c.base + "', '" + c.path + "')");
    EXPECT_EQ(Full(c.base, c.path), c.expected);
}

void ExpectRel(const CCase& c) {
    SCOPED_TRACE("MakeRelPath('" + c.base + "', '" + c.path + "')");
    EXPECT_EQ(Rel(c.base, c.path), c.expected);
}

// Double-byte characters of code page 932 whose second byte is 0x5C ('\').
const std::string kHyo = "\x95\x5C"; // 表
const std::string kSo = "\x83\x5C";  // ソ

// ---------------------------------------------------------------------------
// Root split
// ---------------------------------------------------------------------------

struct CRootCase {
    std::string path;
    bool found;
    std::string root;
    std::string rest;
};

void ExpectRoot(const CRootCase& c) {
    SCOPED_TRACE("SplitRootPath('" + c.path + "')");
    CVskStr root("old root");
    CVskStr rest("old rest");
    EXPECT_EQ(vsk::detail::SplitRootPath(Str(c.path), root, rest), c.found);
    EXPECT_EQ(Bytes(root), c.root);
    EXPECT_EQ(Bytes(rest), c.rest);
}

TEST(SplitRootPath, DriveRoots) {
    ExpectRoot({"C:", true, "C:\\", ""});
    ExpectRoot({"C:\\", true, "C:\\", ""});
    ExpectRoot({"C:\\x", true, "C:\\", "x"});
    ExpectRoot({"C:x", true, "C:\\", "x"});
    ExpectRoot({"c:\\a\\b\\", true, "c:\\", "a\\b\\"});
    // Only one leading separator of the rest is dropped.
    ExpectRoot({"C:\\\\x", true, "C:\\", "\\x"});
    // Any first character counts as a drive.
    ExpectRoot({"1:y", true, "1:\\", "y"});
}

TEST(SplitRootPath, SlashesAreReadAsSeparatorsAndConverted) {
    ExpectRoot({"c:/x/y", true, "c:\\", "x\\y"});
    ExpectRoot({"//srv/share/d/e", true, "\\\\srv\\share\\", "d\\e"});
    ExpectRoot({"/\\srv\\share", true, "\\\\srv\\share\\", ""});
}

TEST(SplitRootPath, NetworkRoots) {
    ExpectRoot({"\\\\srv\\share", true, "\\\\srv\\share\\", ""});
    ExpectRoot({"\\\\srv\\share\\", true, "\\\\srv\\share\\", ""});
    ExpectRoot({"\\\\srv\\share\\dir\\f", true, "\\\\srv\\share\\", "dir\\f"});
    ExpectRoot({"\\\\srv\\share\\\\f", true, "\\\\srv\\share\\", "\\f"});
}

TEST(SplitRootPath, ServerWithoutShareHasNoRoot) {
    ExpectRoot({"\\\\srv", false, "", "\\\\srv"});
    ExpectRoot({"\\\\srv\\", false, "", "\\\\srv\\"});
    // The rest is the path as given, slashes kept.
    ExpectRoot({"//srv/", false, "", "//srv/"});
    ExpectRoot({"\\\\", false, "", "\\\\"});
}

TEST(SplitRootPath, EmptyServerNameCountsAsAServer) {
    // "\\\x": the server's separator is the third byte, "x" the share.
    ExpectRoot({"\\\\\\x", true, "\\\\\\x\\", ""});
    ExpectRoot({"\\\\\\\\", true, "\\\\\\\\", ""});
    ExpectRoot({"\\\\\\\\\\\\", true, "\\\\\\\\", "\\\\"});
}

TEST(SplitRootPath, RelativeTextsHaveNoRoot) {
    ExpectRoot({"", false, "", ""});
    ExpectRoot({"a", false, "", "a"});
    ExpectRoot({"\\", false, "", "\\"});
    ExpectRoot({"ab", false, "", "ab"});
    ExpectRoot({"\\a\\b", false, "", "\\a\\b"});
    ExpectRoot({"/a/b", false, "", "/a/b"});
    ExpectRoot({":a", false, "", ":a"});
    ExpectRoot({"ab:c", false, "", "ab:c"});
    ExpectRoot({"sub\\x", false, "", "sub\\x"});
}

TEST(SplitRootPath, DoubleByteNames) {
    ExpectRoot({"C:\\" + kHyo + "\\" + kSo, true, "C:\\", kHyo + "\\" + kSo});
    ExpectRoot({"\\\\" + kHyo + "\\" + kSo + "\\x", true, "\\\\" + kHyo + "\\" + kSo + "\\", "x"});
    // "\\表" : the 0x5C of the kanji does not end the server name.
    ExpectRoot({"\\\\" + kHyo, false, "", "\\\\" + kHyo});
    // A lead byte then ':' is one (invalid) character: no drive.
    ExpectRoot({"\x95:x", false, "", "\x95:x"});
}

// ---------------------------------------------------------------------------
// MakeFullPath
// ---------------------------------------------------------------------------

TEST(MakeFullPath, ClimbsAndDescends) {
    ExpectFull({"C:\\a\\b", "..\\c\\d.txt", "C:\\a\\c\\d.txt"});
    ExpectFull({"C:\\a\\b", "c", "C:\\a\\b\\c"});
    ExpectFull({"C:\\a\\b\\", "c\\.\\d\\..\\e", "C:\\a\\b\\c\\e"});
}

TEST(MakeFullPath, NeverClimbsAboveTheRoot) {
    ExpectFull({"C:\\a\\b", "..\\..\\..\\x", "C:\\x"});
    ExpectFull({"C:\\", "..\\..\\x", "C:\\x"});
}

TEST(MakeFullPath, TrailingSeparatorOfThePathIsKept) {
    ExpectFull({"C:\\a", ".\\b\\", "C:\\a\\b\\"});
    ExpectFull({"C:\\a\\b", "..\\", "C:\\a\\"});
    ExpectFull({"C:\\", "..\\", "C:\\"});
    ExpectFull({"C:\\a", "b/", "C:\\a\\b\\"});
    ExpectFull({"C:\\a", "b\\\\\\", "C:\\a\\b\\"});
}

TEST(MakeFullPath, NoTrailingSeparatorWithoutOneInThePath) {
    ExpectFull({"C:\\a\\", "b", "C:\\a\\b"});
    ExpectFull({"C:\\a\\b", "..", "C:\\a"});
}

TEST(MakeFullPath, EmptyPathAtARootLeavesTheDrive) {
    ExpectFull({"C:\\", "", "C:"});
    ExpectFull({"C:", "", "C:"});
    ExpectFull({"C:\\a\\b", "", "C:\\a\\b"});
    ExpectFull({"C:\\a", "..", "C:"});
    ExpectFull({"\\\\srv\\share\\d", "..", "\\\\srv\\share"});
}

TEST(MakeFullPath, PathWithDriveOrNetworkNameComesBackUnchanged) {
    ExpectFull({"C:\\a", "D:\\x", "D:\\x"});
    ExpectFull({"C:\\a", "\\\\srv\\s\\x", "\\\\srv\\s\\x"});
    ExpectFull({"C:\\a", "D:/x", "D:/x"});
    ExpectFull({"C:\\a", "D:", "D:"});
    ExpectFull({"C:\\a", "D:..\\x", "D:..\\x"});
    ExpectFull({"C:\\a", "\\\\", "\\\\"});
    ExpectFull({"C:\\a", "\\\\\\\\", "\\\\\\\\"});
}

TEST(MakeFullPath, TwoForwardSlashesAreNoNetworkName) {
    // The test for a network name sees the path as given.
    ExpectFull({"C:\\a", "//srv/x", "C:\\a\\srv\\x"});
    ExpectFull({"C:\\a", "/\\srv\\x", "C:\\a\\srv\\x"});
}

TEST(MakeFullPath, OneLeadingSeparatorIsRelativeToTheBase) {
    ExpectFull({"C:\\a", "\\b", "C:\\a\\b"});
    ExpectFull({"C:\\a", "/b", "C:\\a\\b"});
}

TEST(MakeFullPath, SlashesInTheBaseAreConverted) {
    ExpectFull({"C:/a/", "b", "C:\\a\\b"});
    ExpectFull({"c:/a//b", "../c", "c:\\a\\c"});
}

TEST(MakeFullPath, NetworkBase) {
    ExpectFull({"\\\\srv\\share\\dir", "..\\..\\f", "\\\\srv\\share\\f"});
    ExpectFull({"\\\\srv\\share", "f", "\\\\srv\\share\\f"});
    ExpectFull({"//srv/share/dir", "f", "\\\\srv\\share\\dir\\f"});
}

TEST(MakeFullPath, BaseWithoutRootIsAnOpaquePrefix) {
    ExpectFull({"sub\\", "x", "sub\\x"});
    ExpectFull({"sub", "x", "subx"});
    ExpectFull({"sub\\", "..\\x", "sub\\x"});
    ExpectFull({"sub/", "x/y", "sub/x\\y"});
    ExpectFull({"\\a\\", "b", "\\a\\b"});
    ExpectFull({"\\\\srv\\", "x", "\\\\srv\\x"});
    ExpectFull({"", "x\\y", "x\\y"});
    // The prefix loses a trailing separator like any result.
    ExpectFull({"sub\\", "", "sub"});
    ExpectFull({"sub\\", "..", "sub"});
    ExpectFull({"", "", ""});
}

TEST(MakeFullPath, RunsOfSeparatorsCountAsOne) {
    ExpectFull({"C:\\\\a\\\\\\b", "c\\\\d", "C:\\a\\b\\c\\d"});
}

TEST(MakeFullPath, DotComponentsAreSkipped) {
    ExpectFull({"C:\\a", ".", "C:\\a"});
    ExpectFull({"C:\\a", ".\\.\\.", "C:\\a"});
    ExpectFull({"C:\\a", ".\\", "C:\\a\\"});
}

// Components are compared with the prefix rule too: a component that begins
// with ".." goes up, one that begins with "." is skipped.
TEST(MakeFullPath, PrefixRule_ComponentBeginningWithTwoFullStopsGoesUp) {
    ExpectFull({"C:\\a\\b", "...\\c", "C:\\a\\c"});
    ExpectFull({"C:\\a\\b", "..x\\c", "C:\\a\\c"});
    ExpectFull({"C:\\a", "....", "C:"});
}

TEST(MakeFullPath, PrefixRule_ComponentBeginningWithAFullStopIsSkipped) {
    ExpectFull({"C:\\a", ".git\\config", "C:\\a\\config"});
    ExpectFull({"C:\\a", "b\\.profile", "C:\\a\\b"});
}

TEST(MakeFullPath, FullStopsInsideNamesAreOrdinary) {
    ExpectFull({"C:\\a", "b.\\c..\\d.e", "C:\\a\\b.\\c..\\d.e"});
}

TEST(MakeFullPath, DoubleByteLastCharacterDoesNotSetTheTrailingFlag) {
    ExpectFull({"C:\\a", kHyo, "C:\\a\\" + kHyo});
    ExpectFull({"C:\\a", "x\\" + kSo, "C:\\a\\x\\" + kSo});
    ExpectFull({"C:\\a", kHyo + "\\", "C:\\a\\" + kHyo + "\\"});
    ExpectFull({"C:\\" + kHyo + "\\" + kSo, "..\\" + kHyo + kSo, "C:\\" + kHyo + "\\" + kHyo + kSo});
}

TEST(MakeFullPath, ChoiceAResultThatIsOnlyAPrefixEndingInATrailByte5CKeepsIt) {
    // The last byte 0x5C belongs to the kanji: it is not removed.
    ExpectFull({kHyo, "", kHyo});
    ExpectFull({kHyo, "x", kHyo + "x"});
    ExpectFull({"sub" + kSo, "..", "sub" + kSo});
}

TEST(MakeFullPath, ArgumentsAreNotChanged) {
    const CVskStr base("C:/a/b");
    const CVskStr path("../c/");
    EXPECT_EQ(Bytes(vsk::MakeFullPath(base, path)), "C:\\a\\c\\");
    EXPECT_EQ(Bytes(base), "C:/a/b");
    EXPECT_EQ(Bytes(path), "../c/");
    EXPECT_EQ(base.GetRefCount(), 1);
    EXPECT_EQ(path.GetRefCount(), 1);
}

// ---------------------------------------------------------------------------
// MakeRelPath
// ---------------------------------------------------------------------------

TEST(MakeRelPath, ClimbsOutOfTheBase) {
    ExpectRel({"C:\\a\\b", "C:\\a\\c\\f.txt", "..\\c\\f.txt"});
    ExpectRel({"C:\\a\\b\\c", "C:\\x", "..\\..\\..\\x"});
    ExpectRel({"C:\\a", "C:\\a\\b\\c", "b\\c"});
}

TEST(MakeRelPath, SameFolderIsFullStop) {
    ExpectRel({"c:\\A\\B", "C:\\a\\b", "."});
    ExpectRel({"C:\\a\\", "C:\\a\\", "."});
    ExpectRel({"C:\\", "C:", "."});
    ExpectRel({"", "", "."});
}

TEST(MakeRelPath, TrailingSeparatorOfThePathIsKept) {
    ExpectRel({"C:\\a", "C:\\a\\b\\", "b\\"});
    ExpectRel({"C:\\a\\b", "C:\\a\\", "..\\"});
    ExpectRel({"C:\\a\\b", "C:\\a", ".."});
    ExpectRel({"C:\\a", "C:/a/b/", "b\\"});
}

TEST(MakeRelPath, DifferentDrivesOrSharesGiveThePathWhole) {
    ExpectRel({"C:\\a", "D:\\a\\f", "D:\\a\\f"});
    ExpectRel({"C:\\a", "D:/a/f", "D:\\a\\f"});
    ExpectRel({"C:\\a", "D:/a//f/", "D:\\a\\\\f\\"});
    ExpectRel({"\\\\srv\\s1\\a", "\\\\srv\\s2\\a", "\\\\srv\\s2\\a"});
    ExpectRel({"C:\\a", "\\\\srv\\s\\a", "\\\\srv\\s\\a"});
    ExpectRel({"sub\\a", "C:\\a", "C:\\a"});
}

TEST(MakeRelPath, NetworkPaths) {
    ExpectRel({"\\\\srv\\s\\a", "\\\\SRV\\S\\b", "..\\b"});
    ExpectRel({"//srv/s/a/b", "\\\\srv\\s\\a\\c", "..\\c"});
}

TEST(MakeRelPath, PathWithoutRootMatchesAnyRoot) {
    ExpectRel({"C:\\a", "a\\b", "b"});
    ExpectRel({"\\\\srv\\s\\x", "y", "..\\y"});
    ExpectRel({"a\\b", "a\\c", "..\\c"});
    ExpectRel({"\\a\\b", "/a/c", "..\\c"});
}

TEST(MakeRelPath, CaseIsIgnored) {
    ExpectRel({"C:\\Program Files\\App", "c:\\PROGRAM FILES\\app\\Data\\x.ini", "Data\\x.ini"});
}

TEST(MakeRelPath, PrefixRule_ShorterPathComponentMatchesALongerBaseComponent) {
    ExpectRel({"C:\\abc\\x", "C:\\ab\\y", "..\\y"});
    ExpectRel({"C:\\abc", "C:\\AB", "."});
}

TEST(MakeRelPath, PrefixRule_LongerPathComponentDoesNotMatchAShorterOne) {
    ExpectRel({"C:\\ab\\x", "C:\\abc\\y", "..\\..\\abc\\y"});
}

TEST(MakeRelPath, DotComponentsAreOrdinaryNames) {
    // Only MakeFullPath resolves "." and "..".
    ExpectRel({"C:\\a", "C:\\a\\..\\b", "..\\b"});
    ExpectRel({"C:\\a\\.", "C:\\a", ".."});
}

TEST(MakeRelPath, RunsOfSeparatorsCountAsOne) {
    ExpectRel({"C:\\\\a\\\\b", "C:\\a\\\\\\c", "..\\c"});
}

TEST(MakeRelPath, DoubleByteLastCharacterDoesNotSetTheTrailingFlag) {
    ExpectRel({"C:\\a", "C:\\a\\" + kHyo, kHyo});
    ExpectRel({"C:\\" + kHyo, "C:\\" + kHyo + "\\" + kSo, kSo});
    ExpectRel({"C:\\" + kHyo + "\\x", "C:\\" + kSo + "\\y", "..\\..\\" + kSo + "\\y"});
    ExpectRel({"C:\\a", "C:\\a\\" + kHyo + "\\", kHyo + "\\"});
}

TEST(MakeRelPath, TrailBytesThatLookLikeLettersAreNotCaseFolded) {
    // "\x83\x41" (a katakana) and "\x83\x61" (another) differ only by the
    // case of their second bytes read as ASCII; they are different names.
    ExpectRel({"C:\\\x83\x41", "C:\\\x83\x61", "..\\\x83\x61"});
}

TEST(MakeRelPath, ArgumentsAreNotChanged) {
    const CVskStr base("C:/a/b");
    const CVskStr path("C:/a/c");
    EXPECT_EQ(Bytes(vsk::MakeRelPath(base, path)), "..\\c");
    EXPECT_EQ(Bytes(base), "C:/a/b");
    EXPECT_EQ(Bytes(path), "C:/a/c");
}

// ---------------------------------------------------------------------------
// Bad input
// ---------------------------------------------------------------------------

TEST(FullAndRelPathBadInput, EmptyAndOneCharacterTexts) {
    ExpectFull({"", "", ""});
    ExpectFull({"C:\\a", "x", "C:\\a\\x"});
    ExpectFull({"C:\\a", "C", "C:\\a\\C"});
    ExpectFull({"C:\\a", "\\", "C:\\a\\"});
    ExpectFull({"C:\\a", "/", "C:\\a\\"});
    ExpectFull({"C:\\a", ":", "C:\\a\\:"});
    ExpectFull({"\\", "x", "\\x"});
    ExpectFull({"x", "", "x"});
    ExpectRel({"", "x", "x"});
    ExpectRel({"x", "", ".."});
    ExpectRel({"\\", "\\", "."});
    ExpectRel({"C:\\a", "\\", "..\\"});
}

TEST(FullAndRelPathBadInput, OnlySeparators) {
    ExpectFull({"C:\\a", "\\\\\\\\", "\\\\\\\\"});
    ExpectFull({"C:\\a", "////", "C:\\a\\"});
    ExpectFull({"\\\\\\\\", "x", "\\\\\\\\x"});
    ExpectFull({"////", "x", "\\\\\\\\x"});
    ExpectRel({"\\\\\\\\", "\\\\\\\\", "."});
    ExpectRel({"C:\\a", "////", "\\\\\\\\"});
}

TEST(FullAndRelPathBadInput, OnlyFullStops) {
    ExpectFull({"C:\\a\\b", "..", "C:\\a"});
    ExpectFull({"C:\\a\\b", ".", "C:\\a\\b"});
    ExpectFull({"..", "..", ".."});
    ExpectRel({"C:\\..", "C:\\..", "."});
    ExpectRel({"C:\\..", "C:\\.", "."}); // prefix rule: "." matches ".."
    ExpectRel({"C:\\.", "C:\\..", "..\\.."}); // but ".." does not match "."
}

// A component is cut from a private copy of the text, which ends at the first
// NUL; the last one runs on over that copy's terminating NUL and, by the
// string's choice, NULs further out, up to the text's length.
TEST(FullAndRelPathBadInput, ChoiceEmbeddedNulFillsTheLastComponentWithNuls) {
    const CVskStr path = Str(std::string("b\0\\c", 4));
    EXPECT_EQ(Bytes(vsk::MakeFullPath("C:\\a", path)), std::string("C:\\a\\b\0\0\0", 9));
    EXPECT_EQ(Bytes(vsk::MakeRelPath("C:\\a", Str(std::string("C:\\a\\b\0\\c", 9)))), std::string("b\0\0\0", 4));
    const CVskStr base = Str(std::string("C:\\a\0\\b", 7));
    EXPECT_EQ(Bytes(vsk::MakeFullPath(base, "x")), std::string("C:\\a\0\0\0\\x", 9));
    // Components compare as C strings: "a" and NULs matches "a".
    EXPECT_EQ(Bytes(vsk::MakeRelPath(base, "C:\\a\\x")), "x");
}

TEST(FullAndRelPathBadInput, ComponentEndingOnTheTerminatingNulKeepsIt) {
    EXPECT_EQ(Bytes(vsk::MakeFullPath("C:\\", Str(std::string("a\0", 2)))), std::string("C:\\a\0", 5));
    EXPECT_EQ(Bytes(vsk::MakeFullPath("C:\\", Str(std::string("\x95\x5C\\a\0", 5)))),
              std::string("C:\\\x95\x5C\\a\0", 8));
    EXPECT_EQ(Bytes(vsk::MakeRelPath("C:\\", Str(std::string("C:\\x\\\0", 6)))), std::string("x\\\0", 3));
}

TEST(FullAndRelPathBadInput, NulAfterATrailingSeparator) {
    // The trailing flag looks at the last character of the whole text, which
    // here is "x" after the NUL; the component after the separator is the
    // private copy's terminating NUL and one NUL further out.
    const CVskStr path = Str(std::string("b\\\0x", 4));
    EXPECT_EQ(Bytes(vsk::MakeFullPath("C:\\a", path)), std::string("C:\\a\\b\\\0\0", 9));
}

TEST(FullAndRelPathBadInput, UnpairedLeadByteAtTheEnd) {
    ExpectFull({"C:\\a", "b\x95", "C:\\a\\b\x95"});
    ExpectFull({"C:\\a", "x\\\x95", "C:\\a\\x\\\x95"});
    ExpectFull({"C:\\a\x95", "x", "C:\\a\x95\\x"});
    ExpectFull({"sub\x95", "x", "sub\x95x"});
    ExpectRel({"C:\\a", "C:\\a\\b\x95", "b\x95"});
    ExpectRel({"C:\\a\x95", "C:\\b", "..\\b"});
}

TEST(FullAndRelPathBadInput, LoneLeadByteAtTheEndOfAComponentEndsItWhenComparing) {
    // A lead byte right before the end compares as the end of the text, and
    // nothing past the end is read (the bytes there differ).
    ExpectRel({"C:\\d\\a\x95", "C:\\D\\A\x95", "."});
    ExpectRel({std::string("C:\\a\x95\0x", 7), std::string("C:\\A\x95\0y", 7), "."});
    // "a" then the end matches "a" and a lone lead byte, over two characters.
    ExpectRel({"C:\\a\\x", "C:\\a\x95", ".."});
    ExpectRel({"C:\\ab\\x", "C:\\a\x95", "..\\..\\a\x95"});
}

TEST(FullAndRelPathBadInput, LeadByteBeforeASeparatorPairsWithIt) {
    // 0x95 '\' is one character: "a\x95\b" has a single separator.
    ExpectFull({"C:\\", "a\x95\\b", "C:\\a\x95\\b"});
    ExpectRel({"C:\\", "C:\\a\x95\\b", "a\x95\\b"});
}

std::string DeepPath(const std::string& root, std::size_t length) {
    std::string path = root;
    while (path.size() + 10 <= length)
        path += "abcdefghi\\";
    path.append(length - path.size(), 'z');
    return path;
}

TEST(FullAndRelPathBadInput, Paths32000Bytes) {
    const std::string base = DeepPath("C:\\", 32000);
    ASSERT_EQ(base.size(), 32000u);
    const std::size_t last = base.rfind('\\');
    EXPECT_EQ(Full(base, ".."), base.substr(0, last));
    EXPECT_EQ(Full(base, "x\\"), base + "\\x\\");
    EXPECT_EQ(Rel(base, base + "\\x"), "x");
    EXPECT_EQ(Rel(base + "\\x", base), "..");
    std::string ups;
    for (int i = 0; i < 4000; ++i)
        ups += "..\\";
    EXPECT_EQ(Full(base, ups + "y"), "C:\\y");
    const std::string relative = DeepPath("", 32000);
    EXPECT_EQ(Full("C:\\", relative), "C:\\" + relative);
    const std::string separators(32000, '/');
    EXPECT_EQ(Full("C:\\a", separators), "C:\\a\\");
    const std::string dots(32000, '.');
    EXPECT_EQ(Full("C:\\a\\b", dots), "C:\\a"); // one component, beginning with ".."
}

} // namespace
