// VskDebug_test.cpp - the failure report, the exception reports with their
// message box, and the function-tracing guard, read back from a real log file.
#include "diagnostics/VskDebug.h"

#include "diagnostics/Filelogger.h"
#include "hostfw/HostFramework.h"
#include "tests/diagnostics/LogTestSupport.h"
#include "tests/support/MessageBoxWatcher.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vsktest::CLogTest;
using vsktest::MaskTimestamps;
using vsktest::ReadFileBytes;
using vsktest::ReadOrMissing;

// "例外発生" in code page 932.
const char kExceptionOccurred[] = "\x97\xE1\x8A\x4F\x94\xAD\x90\xB6";
// "処理中に次のエラーが発生しました。" in code page 932.
const char kFollowingError[] = "\x8F\x88\x97\x9D\x92\x86\x82\xC9\x8E\x9F\x82\xCC\x83\x47\x83\x89\x81\x5B\x82\xAA"
                               "\x94\xAD\x90\xB6\x82\xB5\x82\xDC\x82\xB5\x82\xBD\x81\x42";
// "処理中に未知のエラーが発生しました。" in code page 932.
const char kUnknownError[] = "\x8F\x88\x97\x9D\x92\x86\x82\xC9\x96\xA2\x92\x6D\x82\xCC\x83\x47\x83\x89\x81\x5B\x82\xAA"
                             "\x94\xAD\x90\xB6\x82\xB5\x82\xDC\x82\xB5\x82\xBD\x81\x42";

TEST(VskDebugMessages, JapaneseTextsAreCodePage932) {
    EXPECT_STREQ("例外発生", kExceptionOccurred);
    EXPECT_STREQ("処理中に次のエラーが発生しました。", kFollowingError);
    EXPECT_STREQ("処理中に未知のエラーが発生しました。", kUnknownError);
}

// ---------------------------------------------------------------------------
// The failure report
// ---------------------------------------------------------------------------

TEST_F(CLogTest, ReportIsTimestampPrefixAndMessageLine) {
    const std::string log = UseLog();
    vsk::detail::ReportFailure("C:\\src\\VskFile.cpp", 642, "RemoveDirectoryForce", "delete error : file is %s",
                               "a.txt");
    const std::string text = ReadFileBytes(log);
    ASSERT_TRUE(std::regex_search(text, std::regex(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} )"))) << text;
    EXPECT_EQ(MaskTimestamps(text), "<TS>C:\\src\\VskFile.cpp(642): RemoveDirectoryForce: delete error : file is a.txt\r\n");
}

TEST_F(CLogTest, ReportPrintsTheLineItIsGiven) {
    const std::string log = UseLog();
    vsk::detail::ReportFailure("f", -5, "g", "m");
    vsk::detail::ReportFailure("f", 0, "g", "m");
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f(-5): g: m\r\n<TS>f(0): g: m\r\n");
}

TEST_F(CLogTest, ReportWithNullFileBeginsWithTheLineNumber) {
    const std::string log = UseLog();
    vsk::detail::ReportFailure(nullptr, 3, "g", "m");
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>(3): g: m\r\n");
}

TEST_F(CLogTest, ReportWithNullFuncHasNothingBetweenTheColons) {
    const std::string log = UseLog();
    vsk::detail::ReportFailure("f", 3, nullptr, "m");
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f(3): : m\r\n");
}

TEST_F(CLogTest, ReportIsSubjectToRotation) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(0);
    vsk::detail::ReportFailure("f", 1, "g", "%d", 42);
    EXPECT_EQ(MaskTimestamps(ReadOrMissing(log + ".1")), "<TS>f(1): g: 42\r\n");
}

TEST_F(CLogTest, ReportOfAHundredKibMessageIsWrittenWhole) {
    const std::string log = UseLog();
    const std::string big(100 * 1024, 'q');
    vsk::detail::ReportFailure("f", 1, "g", "%s", big.c_str());
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f(1): g: " + big + "\r\n");
}

// ---------------------------------------------------------------------------
// VskPrintAndReThrow
// ---------------------------------------------------------------------------

TEST_F(CLogTest, ReThrowOfStdExceptionLogsItsTextAndPassesTheSameObjectOn) {
    const std::string log = UseLog();
    const void* inner = nullptr;
    try {
        try {
            throw std::invalid_argument("x");
        } catch (...) {
            try {
                throw;
            } catch (const std::exception& e) {
                inner = &e;
            }
            VskPrintAndReThrow("f", 3, "g");
        }
        FAIL() << "VskPrintAndReThrow returned";
    } catch (const std::invalid_argument& e) {
        EXPECT_EQ(static_cast<const void*>(&e), inner) << "the same exception object";
        EXPECT_STREQ(e.what(), "x");
    }
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), std::string("<TS>f(3): g: ") + kExceptionOccurred + "(x)\r\n");
}

TEST_F(CLogTest, ReThrowOfAnIntLogsThePlainTextAndPassesTheIntOn) {
    const std::string log = UseLog();
    try {
        try {
            throw 42;
        } catch (...) {
            VskPrintAndReThrow("f", 3, "g");
        }
    } catch (int value) {
        EXPECT_EQ(value, 42);
    }
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f(3): g: 例外発生\r\n");
}

TEST_F(CLogTest, ReThrowOfAFrameworkExceptionLogsItsMessage) {
    const std::string log = UseLog();
    try {
        try {
            throw Sysutils::Exception("framework says no");
        } catch (...) {
            VskPrintAndReThrow("f", 3, "g");
        }
    } catch (const Sysutils::Exception& e) {
        EXPECT_STREQ(e.Message.c_str(), "framework says no");
    }
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f(3): g: 例外発生(framework says no)\r\n");
}

TEST_F(CLogTest, ReThrowWithNullFileAndFuncPrintsEmptyFields) {
    const std::string log = UseLog();
    try {
        try {
            throw std::runtime_error("r");
        } catch (...) {
            VskPrintAndReThrow(nullptr, 9, nullptr);
        }
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>(9): : 例外発生(r)\r\n");
}

TEST_F(CLogTest, ReThrowInsideNestedHandlersReachesTheOutermost) {
    const std::string log = UseLog();
    int caught = 0;
    try {
        try {
            try {
                throw std::out_of_range("deep");
            } catch (...) {
                VskPrintAndReThrow("a", 1, "inner");
            }
        } catch (...) {
            VskPrintAndReThrow("b", 2, "outer");
        }
    } catch (const std::out_of_range&) {
        ++caught;
    }
    EXPECT_EQ(caught, 1);
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>a(1): inner: 例外発生(deep)\r\n<TS>b(2): outer: 例外発生(deep)\r\n");
}

// ---------------------------------------------------------------------------
// VskPrintAndShowMsg (the message box is taken by the stand-in's hook)
// ---------------------------------------------------------------------------

class CShownMessages {
public:
    CShownMessages() { m_previous = hostfw::SetShowMessageHook(&CShownMessages::Take, this); }
    ~CShownMessages() { hostfw::SetShowMessageHook(m_previous, nullptr); }
    CShownMessages(const CShownMessages&) = delete;
    CShownMessages& operator=(const CShownMessages&) = delete;

    std::vector<std::string> texts;

private:
    static bool Take(const char* text, void* context) {
        static_cast<CShownMessages*>(context)->texts.push_back(text);
        return true;
    }
    hostfw::ShowMessageHook m_previous = nullptr;
};

TEST_F(CLogTest, ShowMsgOfStdExceptionLogsAndShowsTheIntroBlankLineAndText) {
    const std::string log = UseLog();
    CShownMessages shown;
    try {
        throw std::runtime_error("boom");
    } catch (...) {
        VskPrintAndShowMsg("f", 4, "h");
    }
    const std::string message = std::string(kFollowingError) + "\n\nboom";
    ASSERT_EQ(shown.texts.size(), 1u);
    EXPECT_EQ(shown.texts[0], message);
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), std::string("<TS>f(4): h: ") + kFollowingError + "\r\n\r\nboom\r\n");
}

TEST_F(CLogTest, ShowMsgOfAFrameworkExceptionWithEmptyMessageShowsIntroAndBlankLine) {
    const std::string log = UseLog();
    CShownMessages shown;
    bool returned = false;
    try {
        throw Sysutils::Exception();
    } catch (...) {
        VskPrintAndShowMsg("f", 4, "h");
        returned = true;
    }
    EXPECT_TRUE(returned);
    ASSERT_EQ(shown.texts.size(), 1u);
    EXPECT_EQ(shown.texts[0], "処理中に次のエラーが発生しました。\n\n");
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f(4): h: 処理中に次のエラーが発生しました。\r\n\r\n\r\n");
}

TEST_F(CLogTest, ShowMsgOfAnUnknownTypeShowsTheUnknownErrorText) {
    const std::string log = UseLog();
    CShownMessages shown;
    try {
        throw 3.5;
    } catch (...) {
        VskPrintAndShowMsg(nullptr, 4, nullptr);
    }
    ASSERT_EQ(shown.texts.size(), 1u);
    EXPECT_EQ(shown.texts[0], kUnknownError);
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), std::string("<TS>(4): : ") + kUnknownError + "\r\n");
}

TEST_F(CLogTest, ShowMsgEndsThePropagation) {
    UseLog();
    CShownMessages shown;
    bool outerCaught = false;
    try {
        try {
            throw std::logic_error("stop here");
        } catch (...) {
            VskPrintAndShowMsg("f", 1, "g");
        }
    } catch (...) {
        outerCaught = true;
    }
    EXPECT_FALSE(outerCaught);
    EXPECT_EQ(shown.texts.size(), 1u);
}

TEST_F(CLogTest, ShowMsgTextWithPercentSignsIsShownAndLoggedAsIs) {
    const std::string log = UseLog();
    CShownMessages shown;
    try {
        throw std::runtime_error("100% %s %d");
    } catch (...) {
        VskPrintAndShowMsg("f", 1, "g");
    }
    ASSERT_EQ(shown.texts.size(), 1u);
    EXPECT_EQ(shown.texts[0], std::string(kFollowingError) + "\n\n100% %s %d");
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), std::string("<TS>f(1): g: ") + kFollowingError + "\r\n\r\n100% %s %d\r\n");
}

TEST_F(CLogTest, ShowMsgShowsARealMessageBoxAndReturnsWhenItIsClosed) {
    const std::string log = UseLog();
    std::vector<vsktest::CMessageBoxWatcher::Box> boxes;
    {
        vsktest::CMessageBoxWatcher watcher;
        try {
            throw std::runtime_error("shown");
        } catch (...) {
            VskPrintAndShowMsg("f", 2, "g");
        }
        boxes = watcher.Boxes();
    }
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].caption, "test_diagnostics");
    EXPECT_EQ(boxes[0].text, std::string(kFollowingError) + "\n\nshown");
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), std::string("<TS>f(2): g: ") + kFollowingError + "\r\n\r\nshown\r\n");
}

// ---------------------------------------------------------------------------
// AutoFuncNameLogger
// ---------------------------------------------------------------------------

std::string Address(const void* p) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(p)));
    return text;
}

TEST_F(CLogTest, GuardWithTheFlagOffWritesNothing) {
    const std::string log = UseLog();
    { AutoFuncNameLogger guard("f.cpp", 10, "Traced"); }
    EXPECT_EQ(ReadOrMissing(log), "<missing>");
}

TEST_F(CLogTest, GuardWithTheFlagOnWritesStartAndEndWithItsAddress) {
    const std::string log = UseLog();
    _FileLogger_IsAutoFuncNameLogger = true;
    std::string address;
    {
        AutoFuncNameLogger guard("f.cpp", 10, "Traced");
        address = Address(&guard);
        FileLogger_PutLine("body");
    }
    _FileLogger_IsAutoFuncNameLogger = false;
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f.cpp(10): Traced: <" + address + "> : >> START\r\nbody\r\n"
                                                  "<TS>f.cpp(10): Traced: <" + address + "> : << END\r\n");
}

TEST_F(CLogTest, GuardSwitchedOnInsideTheScopeWritesOnlyTheEnd) {
    const std::string log = UseLog();
    std::string address;
    {
        AutoFuncNameLogger guard("f.cpp", 20, "Late");
        address = Address(&guard);
        _FileLogger_IsAutoFuncNameLogger = true;
    }
    _FileLogger_IsAutoFuncNameLogger = false;
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f.cpp(20): Late: <" + address + "> : << END\r\n");
}

TEST_F(CLogTest, GuardSwitchedOffInsideTheScopeWritesOnlyTheStart) {
    const std::string log = UseLog();
    _FileLogger_IsAutoFuncNameLogger = true;
    std::string address;
    {
        AutoFuncNameLogger guard("f.cpp", 30, "Early");
        address = Address(&guard);
        _FileLogger_IsAutoFuncNameLogger = false;
    }
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>f.cpp(30): Early: <" + address + "> : >> START\r\n");
}

TEST_F(CLogTest, NestedGuardsPairByAddress) {
    const std::string log = UseLog();
    _FileLogger_IsAutoFuncNameLogger = true;
    std::string outer, inner;
    {
        AutoFuncNameLogger a("f", 1, "Outer");
        outer = Address(&a);
        {
            AutoFuncNameLogger b("f", 2, "Inner");
            inner = Address(&b);
        }
    }
    _FileLogger_IsAutoFuncNameLogger = false;
    ASSERT_NE(outer, inner);
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)),
              "<TS>f(1): Outer: <" + outer + "> : >> START\r\n<TS>f(2): Inner: <" + inner +
                  "> : >> START\r\n<TS>f(2): Inner: <" + inner + "> : << END\r\n<TS>f(1): Outer: <" + outer +
                  "> : << END\r\n");
}

TEST_F(CLogTest, GuardKeepsNullPointersAndPrintsThemAsTheRuntimeDoes) {
    // The exception reports print a null field as empty; the guard passes its
    // pointers to the log as they are, and the C runtime prints "(null)".
    const std::string log = UseLog();
    _FileLogger_IsAutoFuncNameLogger = true;
    std::string address;
    {
        AutoFuncNameLogger guard(nullptr, 5, nullptr);
        address = Address(&guard);
    }
    _FileLogger_IsAutoFuncNameLogger = false;
    EXPECT_EQ(MaskTimestamps(ReadFileBytes(log)), "<TS>(null)(5): (null): <" + address + "> : >> START\r\n"
                                                  "<TS>(null)(5): (null): <" + address + "> : << END\r\n");
}

TEST(AutoFuncNameLoggerLayout, HoldsFileLineFuncAndNoVirtualTable) {
    EXPECT_EQ(sizeof(AutoFuncNameLogger), sizeof(const char*) * 2 + sizeof(int));
    EXPECT_FALSE(std::is_polymorphic<AutoFuncNameLogger>::value);
}

} // namespace
