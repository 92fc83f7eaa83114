// CommFuncBCB_test.cpp - tests of vsk::bcb::CReg, the regular-expression wrapper.
#include "framework/CommFuncBCB.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>
#include <pcre2posix.h>

#include <cstring>
#include <stdexcept>
#include <string>

using vsk::bcb::CReg;

namespace {

// The three message heads as code page 932 bytes.
const char kCompileHead[] =
    "CReg::Compile : "
    "\x83\x70\x83\x5E\x81\x5B\x83\x93\x82\xCC\x83\x52\x83\x93\x83\x70\x83\x43\x83\x8B\x82\xC9\x8E\xB8\x94\x73"
    "\r\n";
const char kNotCompiled[] =
    "CReg::Match : "
    "\x83\x70\x83\x5E\x81\x5B\x83\x93\x82\xAA\x96\xA2\x83\x52\x83\x93\x83\x70\x83\x43\x83\x8B\x82\xC5\x82\xB7";
const char kMatchHead[] =
    "CReg::Match : "
    "\x83\x70\x83\x5E\x81\x5B\x83\x93\x83\x7D\x83\x62\x83\x60\x82\xCC\x8E\xC0\x8D\x73\x82\xC9\x8E\xB8\x94\x73"
    "\r\n";

template <typename Body>
std::string RuntimeErrorOf(Body body) {
    try {
        body();
    } catch (const std::runtime_error& e) {
        return e.what();
    } catch (...) {
        return "<other exception>";
    }
    return "<no exception>";
}

// The engine's own compile error text for `pattern`, straight from the POSIX
// interface.
std::string EngineCompileError(const char* pattern) {
    regex_t regex;
    const int code = regcomp(&regex, pattern, 0);
    if (code == 0) {
        regfree(&regex);
        return "<compiled>";
    }
    char text[1024] = {};
    regerror(code, &regex, text, sizeof text);
    return text;
}

std::string Str(const System::AnsiString& s) { return std::string(s.c_str(), s.Length()); }

} // namespace

TEST(CRegMessages, AreCodePage932Bytes) {
    // The same texts written in the source's own characters must give the
    // same bytes: a wrong execution character set fails here.
    EXPECT_EQ(std::string(kCompileHead), std::string("CReg::Compile : パターンのコンパイルに失敗\r\n"));
    EXPECT_EQ(std::string(kNotCompiled), std::string("CReg::Match : パターンが未コンパイルです"));
    EXPECT_EQ(std::string(kMatchHead), std::string("CReg::Match : パターンマッチの実行に失敗\r\n"));
}

TEST(CRegCompile, OpenParenthesisThrowsTheCompileMessageWithTheEngineText) {
    const std::string engine = EngineCompileError("(");
    ASSERT_NE(engine, "<compiled>");
    ASSERT_FALSE(engine.empty());
    EXPECT_EQ(RuntimeErrorOf([] { CReg r("("); }), std::string(kCompileHead) + engine);
}

TEST(CRegCompile, ConstructorThrowsBeforeAnyMatch) {
    bool matched = false;
    const std::string message = RuntimeErrorOf([&] {
        CReg r("(");
        matched = r.Match("(");
    });
    EXPECT_FALSE(matched);
    EXPECT_EQ(message.compare(0, std::strlen(kCompileHead), kCompileHead), 0) << message;
}

TEST(CRegCompile, EveryBadPatternGivesTheEngineTextOnTheSecondLine) {
    for (const char* pattern : {"(", "[a", "a{2,1}", "*a", "a\\", "(?<n>a)(?<n>b)", "\\k<none>"}) {
        SCOPED_TRACE(pattern);
        const std::string engine = EngineCompileError(pattern);
        ASSERT_NE(engine, "<compiled>");
        CReg r;
        EXPECT_EQ(RuntimeErrorOf([&] { r.Compile(pattern); }), std::string(kCompileHead) + engine);
        // The object holds nothing afterwards.
        EXPECT_EQ(RuntimeErrorOf([&] { r.Match("a"); }), kNotCompiled);
    }
}

TEST(CRegCompile, TrailByte5CEndsAPatternWithABackslash) {
    // "表" is 0x95 0x5C in code page 932: the engine reads the trail byte as a
    // backslash, so the pattern ends in an escape and does not compile.
    const char pattern[] = "\x95\x5C";
    EXPECT_EQ(std::string(pattern), std::string("表"));
    const std::string engine = EngineCompileError(pattern);
    ASSERT_NE(engine, "<compiled>");
    EXPECT_EQ(RuntimeErrorOf([&] { CReg r(pattern); }), std::string(kCompileHead) + engine);
}

TEST(CRegCompile, FailedCompileReleasesThePreviousPattern) {
    CReg r("ab");
    ASSERT_TRUE(r.Match("ab"));
    EXPECT_NE(RuntimeErrorOf([&] { r.Compile("("); }), "<no exception>");
    EXPECT_EQ(RuntimeErrorOf([&] { r.Match("ab"); }), kNotCompiled);
}

TEST(CRegCompile, RecompileReplacesThePattern) {
    CReg r("ab");
    r.Compile("cd");
    EXPECT_FALSE(r.Match("ab"));
    EXPECT_TRUE(r.Match("cd"));
}

TEST(CRegCompile, EmptyPatternMatchesOnlyTheEmptyText) {
    CReg r{System::AnsiString()};
    EXPECT_TRUE(r.Match(System::AnsiString()));
    EXPECT_TRUE(r.Match(""));
    EXPECT_FALSE(r.Match("a"));
}

TEST(CRegMatch, NeverCompiledThrowsNotCompiled) {
    CReg r;
    EXPECT_EQ(RuntimeErrorOf([&] { r.Match("x"); }), kNotCompiled);
    EXPECT_EQ(RuntimeErrorOf([&] { r.Match("x"); }),
              "CReg::Match : \x83\x70\x83\x5E\x81\x5B\x83\x93\x82\xAA\x96\xA2\x83\x52\x83\x93\x83\x70\x83\x43"
              "\x83\x8B\x82\xC5\x82\xB7");
}

TEST(CRegMatch, FreedThrowsNotCompiledAndFreeTwiceIsHarmless) {
    CReg r("a");
    r.Free();
    r.Free();
    EXPECT_EQ(RuntimeErrorOf([&] { r.Match("a"); }), kNotCompiled);
}

TEST(CRegMatch, WholeTextIsRequired) {
    CReg r("ab");
    EXPECT_TRUE(r.Match("ab"));
    EXPECT_FALSE(r.Match("abc"));
    EXPECT_FALSE(r.Match("xab"));
    EXPECT_FALSE(r.Match(""));
}

TEST(CRegMatch, OnlyTheFirstReportedMatchCounts) {
    EXPECT_FALSE(CReg("a|ab").Match("ab"));
    EXPECT_TRUE(CReg("ab|a").Match("ab"));
}

TEST(CRegMatch, ExecutionFailureThrowsTheMatchMessageWithTheEngineText) {
    // Nested repetition that backtracks past the engine's match limit (the
    // text holds a "b", so the engine cannot rule the match out beforehand).
    CReg r("(a+)+b");
    const std::string text = std::string(40, 'a') + "cb";
    char engine[1024] = {};
    regerror(REG_ESPACE, nullptr, engine, sizeof engine);
    ASSERT_GT(std::strlen(engine), 0u);
    EXPECT_EQ(RuntimeErrorOf([&] { r.Match(text.c_str()); }), std::string(kMatchHead) + engine);
    // The pattern is still usable.
    EXPECT_TRUE(r.Match("aab"));
}

TEST(CRegMatch, ExecutionFailureMessageBytes) {
    CReg r("(a+)+b");
    const std::string message = RuntimeErrorOf([&] { r.Match((std::string(40, 'a') + "cb").c_str()); });
    const std::string head =
        "CReg::Match : \x83\x70\x83\x5E\x81\x5B\x83\x93\x83\x7D\x83\x62\x83\x60\x82\xCC\x8E\xC0\x8D\x73\x82\xC9\x8E"
        "\xB8\x94\x73\x0D\x0A";
    EXPECT_EQ(message.compare(0, head.size(), head), 0) << message;
}

TEST(CRegMatch, TextLengthCountsBytesAfterANul) {
    // The engine sees the text up to its NUL; the whole-text test uses the
    // AnsiString's full length, so a text with a NUL inside never matches whole.
    CReg r("ab");
    EXPECT_FALSE(r.Match(System::AnsiString("ab\0c", 4)));
    EXPECT_TRUE(r.Match(System::AnsiString("ab", 2)));
}

struct CMatchCase {
    const char* pattern;
    const char* text;
    bool whole;
};

TEST(CRegMatch, PatternTable) {
    const CMatchCase cases[] = {
        {"ab", "ab", true},
        {"ab", "abc", false},
        {"ab", "xab", false},
        {"a|ab", "ab", false},
        {"ab|a", "ab", true},
        {"a|ab", "a", true},
        {"abc|abcd", "abcd", false},
        {"abcd|abc", "abcd", true},
        {"[abc]+", "cabba", true},
        {"[abc]+", "cabd", false},
        {"[^0-9]*", "abc", true},
        {"[^0-9]*", "ab1", false},
        {"\\d{3}-\\d{4}", "123-4567", true},
        {"\\d{3}-\\d{4}", "123-456", false},
        {"^abc$", "abc", true},
        {"^abc", "abcd", false},
        {"abc$", "xabc", false},
        {"a*", "", true},
        {"a+", "", false},
        {"a*", "aaa", true},
        {"a*?", "aaa", false},
        {"a+?", "aaa", false},
        {"a{2,3}", "aaa", true},
        {"a{2,3}", "aaaa", false},
        {"a{2}", "a", false},
        {"(ab)+", "ababab", true},
        {"(ab)+", "ababa", false},
        {"(?:ab)*c", "ababc", true},
        {"(a)(b)(c)(d)", "abcd", true},
        {"(a+)b\\1", "aaabaaa", true},
        {"(a+)b\\1", "aaabaa", false},
        {"(\\w+) \\1", "hey hey", true},
        {"(\\w+) \\1", "hey you", false},
        {"colou?r", "color", true},
        {"colou?r", "colouur", false},
        {"[[:digit:]]+", "2026", true},
        {"[[:alpha:]]+", "abc1", false},
        {"\\s+", "  \t", true},
        {"\\bfoo\\b", "foo", true},
        {"ABC", "abc", false},
        {"(?i)abc", "ABC", true},
        {".*", "anything", true},
        {"a.c", "abc", true},
        {"a\\.c", "abc", false},
        {"a\\.c", "a.c", true},
        {".", "\n", false},
        {"a(?=b)b", "ab", true},
        {"x+(1)", "xx1", true},
        {"x+(1)", "x+(1)", false},
        {"\\x41", "A", true},
        // Code page 932 text, matched byte by byte.
        {"日本語", "日本語", true},
        {"日本語", "日本語です", false},
        {"(日本)+", "日本日本", true},
        {"漢字|日本", "日本", true},
        {"....", "日本", true},
        {"..", "日本", false},
        {"[日]", "日", false},
        {"[日]+", "日", true},
        {"日本.*", "日本の漢字", true},
        {"\x93\xFA\x96\x7B", "日本", true},
    };
    static_assert(sizeof cases / sizeof cases[0] >= 40, "at least 40 patterns");
    for (const CMatchCase& c : cases) {
        SCOPED_TRACE(std::string("pattern '") + c.pattern + "' text '" + c.text + "'");
        CReg r(c.pattern);
        EXPECT_EQ(r.Match(c.text), c.whole);
    }
}

TEST(CRegOwnership, CopyMovesThePattern) {
    CReg a("ab");
    CReg b(a);
    EXPECT_EQ(RuntimeErrorOf([&] { a.Match("ab"); }), kNotCompiled);
    EXPECT_TRUE(b.Match("ab"));
    EXPECT_FALSE(b.Match("abc"));
}

TEST(CRegOwnership, AssignmentMovesThePatternAndReleasesTheOldOne) {
    CReg b("ab");
    CReg c("cd");
    b = c;
    EXPECT_EQ(RuntimeErrorOf([&] { c.Match("cd"); }), kNotCompiled);
    EXPECT_TRUE(b.Match("cd"));
    EXPECT_FALSE(b.Match("ab"));
}

TEST(CRegOwnership, AssignmentFreesThePatternItReplaces) {
    // A pattern whose compiled form takes kilobytes: 400 replaced patterns
    // that were not freed would stay on the heap as megabytes.
    const char* pattern = "(abc|def|ghi|jkl){1,60}";
    CReg b(pattern);
    const std::size_t before = vsktest::CrtHeapBytesInUse();
    ASSERT_GT(before, 0u);
    for (int i = 0; i < 400; ++i) {
        CReg c(pattern);
        b = c;
    }
    const std::size_t after = vsktest::CrtHeapBytesInUse();
    EXPECT_LT(after, before + 64 * 1024) << "before " << before << ", after " << after;
    EXPECT_TRUE(b.Match("abcdef"));
}

TEST(CRegOwnership, SelfAssignmentKeepsThePattern) {
    CReg a("ab");
    CReg& same = a;
    a = same;
    EXPECT_TRUE(a.Match("ab"));
}

TEST(CRegOwnership, CopyOfAnEmptyObjectHoldsNothing) {
    CReg a;
    CReg b(a);
    EXPECT_EQ(RuntimeErrorOf([&] { b.Match("x"); }), kNotCompiled);
    CReg c("x");
    c = a;
    EXPECT_EQ(RuntimeErrorOf([&] { c.Match("x"); }), kNotCompiled);
}

TEST(CRegOwnership, ChainOfCopiesEndsWithOneOwner) {
    CReg a("x+");
    CReg b(a);
    CReg c(b);
    CReg d;
    d = c;
    EXPECT_EQ(RuntimeErrorOf([&] { a.Match("x"); }), kNotCompiled);
    EXPECT_EQ(RuntimeErrorOf([&] { b.Match("x"); }), kNotCompiled);
    EXPECT_EQ(RuntimeErrorOf([&] { c.Match("x"); }), kNotCompiled);
    EXPECT_TRUE(d.Match("xxx"));
}

TEST(CRegConvToPerl, StarBecomesDotStarAndTheFullStopStays) {
    EXPECT_EQ(Str(CReg::ConvToPerl("*.txt")), ".*.txt");
}

TEST(CRegConvToPerl, QuestionMarkBecomesDot) {
    EXPECT_EQ(Str(CReg::ConvToPerl("a?b")), "a.b");
}

TEST(CRegConvToPerl, MetacharactersStayUnchanged) {
    EXPECT_EQ(Str(CReg::ConvToPerl("x+(1)")), "x+(1)");
    for (const char* text : {"\\", ".", "+a", "(", ")", "[", "]", "^", "$", "|", "{", "-",
                             "a\\b.c+a(d)[e]^f$g|h{i}-j", "C:\\dir\\file.txt"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Str(CReg::ConvToPerl(text)), text);
    }
}

TEST(CRegConvToPerl, QuestionMarksFirstThenStars) {
    EXPECT_EQ(Str(CReg::ConvToPerl("?*")), "..*");
    EXPECT_EQ(Str(CReg::ConvToPerl("**")), ".*.*");
    EXPECT_EQ(Str(CReg::ConvToPerl("??")), "..");
    EXPECT_EQ(Str(CReg::ConvToPerl("")), "");
}

TEST(CRegConvToPerl, JapaneseTextPassesThrough) {
    EXPECT_EQ(Str(CReg::ConvToPerl("日本*.txt")), "日本.*.txt");
    EXPECT_EQ(Str(CReg::ConvToPerl("\x8A\xBF\x8E\x9A?")), "\x8A\xBF\x8E\x9A.");
}

TEST(CRegConvToPerl, ResultDrivesAMatch) {
    CReg r(CReg::ConvToPerl("*.txt"));
    EXPECT_TRUE(r.Match("notes.txt"));
    EXPECT_TRUE(r.Match("notesXtxt")); // the full stop is a pattern "." as well
    EXPECT_FALSE(r.Match("notes.txt.bak"));
}
