// Exception_filter_test.cpp - Exception_Filter and Exception_Handler, and the
// guard whose filter it is, read back from a real log file.
#include "diagnostics/VskDebug.h"

#include "diagnostics/Filelogger.h"
#include "platform/Seh.h"
#include "tests/diagnostics/LogTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vsktest::Hex32;
using vsktest::SplitLines;

using vsktest::CLogTest;
using vsktest::MaskTimestamps;
using vsktest::ReadOrMissing;

// "予期せぬ例外が発生しました" in code page 932.
const char kUnexpectedBytes[] = "\x97\x5C\x8A\xFA\x82\xB9\x82\xCA\x97\xE1\x8A\x4F\x82\xAA\x94\xAD\x90\xB6\x82\xB5"
                                "\x82\xDC\x82\xB5\x82\xBD";

// The log's text with time stamps masked and its CR LF line ends (the log is a
// text-mode stream) written as "\n"; a bare "\n" in the file shows as
// "<LF>" so that it cannot pass unnoticed.
std::string LogText(const std::string& path) {
    std::string raw = ReadOrMissing(path);
    std::string text;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n') {
            text += '\n';
            ++i;
        } else if (raw[i] == '\n') {
            text += "<LF>";
        } else {
            text += raw[i];
        }
    }
    return MaskTimestamps(text);
}

// What Exception_Filter threw, or a note that it returned.
std::string FilterMessage(unsigned long code, EXCEPTION_POINTERS* pointers, const char* file, int line,
                          const char* func) {
    try {
        Exception_Filter(code, pointers, file, line, func);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "returned";
}

// A frame chain on the heap: frame 0 -> frame 1 -> frame 2, whose return
// address is 0, so the walk prints two addresses.
struct CFrames {
    alignas(16) std::uintptr_t words[3][2];
    CFrames() {
        words[0][0] = reinterpret_cast<std::uintptr_t>(words[1]);
        words[0][1] = 0x00401234;
        words[1][0] = reinterpret_cast<std::uintptr_t>(words[2]);
        words[1][1] = 0x00405678;
        words[2][0] = 0;
        words[2][1] = 0;
    }
};

int volatile g_zero = 0;
int volatile g_quotient = 0;
int* volatile g_null = nullptr;

__attribute__((noinline)) void AccessViolation() {
    volatile int local[2] = {1, 2};
    *g_null = local[0];
}
__attribute__((noinline)) void DivideByZero() {
    volatile int local[2] = {10, 2};
    g_quotient = local[0] / g_zero;
}

// The guard's message, or a note that nothing was thrown.
template <typename Body>
std::string Guarded(Body body, const char* file = "ime.cpp", int line = 300,
                    const char* func = "CVskWndImeFull::OnMessage") {
    try {
        vsk::detail::ExceptionFilterGuarded(body, file, line, func);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no exception";
}

TEST_F(CLogTest, ExceptionFilterWritesTheWholeReportIntoTheLogThenThrows) {
    const std::string log = UseLog();
    CFrames frames;
    CONTEXT context{};
    context.ContextFlags = 0x00010007;
    context.Eax = 0xA;
    context.Ebx = 0xB;
    context.Ecx = 0xC;
    context.Edx = 0xD;
    context.Esi = 0x51;
    context.Edi = 0xD1;
    context.Ebp = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(frames.words[0]));
    context.Eip = 0x00401000;
    context.Esp = 0x0022FF00;
    context.SegCs = 0x23;
    context.SegSs = 0x2B;
    context.EFlags = 0x246;
    EXCEPTION_RECORD record{};
    record.ExceptionCode = 0xC0000094;
    EXCEPTION_POINTERS pointers{&record, &context};

    EXPECT_EQ(std::string(kUnexpectedBytes), FilterMessage(0xC0000094, &pointers, "ime.cpp", 300, "Fn"));

    const std::string text = LogText(log);
    const std::string expectedHead =
        std::string("<TS>ime.cpp(300): Fn: ") + kUnexpectedBytes +
        "\n"
        "<Exception>\n"
        " Code     : 0xc0000094\n"
        " Name     : Integer Divide by Zero\n"
        " File     : ime.cpp\n"
        " Line     : 300\n"
        " Function : Fn()\n"
        "\n"
        "<Registers>\n"
        " EAX   =0x0000000A\n"
        " EBX   =0x0000000B\n"
        " ECX   =0x0000000C\n"
        " EDX   =0x0000000D\n"
        " ESI   =0x00000051\n"
        " EDI   =0x000000D1\n"
        " EBP   =" + Hex32(context.Ebp) + "\n"
        " EIP   =0x00401000\n"
        " ESP   =0x0022FF00\n"
        " SegCS =0x00000023\n"
        " SegSs =0x0000002B\n"
        " EFlags=0x00000246\n"
        "\n"
        "<Call Stack>\n"
        " 0x00401234\n"
        " 0x00405678\n"
        "\n"
        "<Load Modules>\n";
    ASSERT_EQ(expectedHead, text.substr(0, expectedHead.size()));
    EXPECT_EQ("\n\n", text.substr(text.size() - 2)) << "the last module line, then the empty closing line";
    EXPECT_EQ(text.npos, text.find("<TS>", 1)) << "one time stamp for the whole report";
    const std::string exeLine = " " + Hex32(reinterpret_cast<std::uintptr_t>(GetModuleHandleA(nullptr))) + " : ";
    EXPECT_NE(text.npos, text.find(exeLine, expectedHead.size())) << text;
}

TEST_F(CLogTest, ExceptionFilterWithNullPointersWritesEmptyRegisterAndStackSections) {
    const std::string log = UseLog();
    EXPECT_EQ(std::string(kUnexpectedBytes), FilterMessage(0xC00000FD, nullptr, "f.cpp", 1, "g"));
    const std::string text = LogText(log);
    const std::string expectedHead = std::string("<TS>f.cpp(1): g: ") + kUnexpectedBytes +
                                     "\n<Exception>\n Code     : 0xc00000fd\n Name     : Unknown Exception\n"
                                     " File     : f.cpp\n Line     : 1\n Function : g()\n\n"
                                     "<Registers>\n\n<Call Stack>\n\n<Load Modules>\n";
    EXPECT_EQ(expectedHead, text.substr(0, expectedHead.size()));
}

TEST_F(CLogTest, ExceptionFilterWithoutALogNameWritesTheReportToStandardError) {
    CONTEXT context{};
    EXCEPTION_RECORD record{};
    EXCEPTION_POINTERS pointers{&record, &context};
    vsktest::CStderrCapture capture(m_dir.File("stderr.txt"));
    EXPECT_EQ(std::string(kUnexpectedBytes), FilterMessage(0xC0000005, &pointers, "f.cpp", 1, "g"));
    const std::string text = capture.Finish();
    EXPECT_NE(text.npos, text.find("f.cpp(1): g: ")) << text;
    EXPECT_NE(text.npos, text.find(" Name     : Access Violation")) << text;
    EXPECT_NE(text.npos, text.find("<Load Modules>")) << text;
    EXPECT_EQ("<missing>", ReadOrMissing(m_dir.File("app.log")));
}

TEST_F(CLogTest, ExceptionHandlerWritesNothing) {
    const std::string log = UseLog();
    FileLogger_PutLine("before");
    Exception_Handler("f.cpp", 1, "g");
    Exception_Handler(nullptr, -1, nullptr);
    EXPECT_EQ("before\r\n", ReadOrMissing(log));
}

TEST_F(CLogTest, GuardedAccessViolationWritesTheReportIntoTheLogAndThrowsTheMessage) {
    const std::string log = UseLog();
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded([] { AccessViolation(); }));
    const std::string text = LogText(log);
    const std::string head = std::string("<TS>ime.cpp(300): CVskWndImeFull::OnMessage: ") + kUnexpectedBytes +
                             "\n<Exception>\n Code     : 0xc0000005\n Name     : Access Violation\n"
                             " File     : ime.cpp\n Line     : 300\n Function : CVskWndImeFull::OnMessage()\n\n"
                             "<Registers>\n EAX   =0x";
    EXPECT_EQ(head, text.substr(0, head.size()));
    const auto stack = text.find("<Call Stack>\n");
    const auto modules = text.find("<Load Modules>\n");
    ASSERT_NE(text.npos, stack);
    ASSERT_NE(text.npos, modules);
    EXPECT_LT(stack, modules);
    const std::vector<std::string> stackLines = SplitLines(text.substr(stack, modules - stack));
    ASSERT_GE(stackLines.size(), 3u) << "heading, at least one address, blank line";
    EXPECT_EQ("", stackLines.back());
    int dllLines = 0;
    for (const std::string& line : SplitLines(text.substr(modules)))
        dllLines += line.find("voskellib.dll") != std::string::npos;
    EXPECT_EQ(1, dllLines);
    EXPECT_EQ("\n\n", text.substr(text.size() - 2));
}

TEST_F(CLogTest, TwoGuardedFaultsAppendTwoCompleteReports) {
    const std::string log = UseLog();
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded([] { DivideByZero(); }));
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded([] { AccessViolation(); }));
    const std::string text = LogText(log);
    const auto first = text.find("Integer Divide by Zero");
    const auto second = text.find("Access Violation");
    ASSERT_NE(text.npos, first);
    ASSERT_NE(text.npos, second);
    EXPECT_LT(first, second);
    EXPECT_EQ(text.npos, text.find("<TS>", text.find("<TS>", 1) + 1)) << "two time stamps, one per report";
}

TEST_F(CLogTest, GuardedBodyThatEndsNormallyWritesNothing) {
    const std::string log = UseLog();
    int ran = 0;
    EXPECT_EQ("no exception", Guarded([&] { ++ran; }));
    EXPECT_EQ(1, ran);
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

TEST_F(CLogTest, GuardedCppExceptionPassesThroughWithoutAReportAndKeepsTheChain) {
    const std::string log = UseLog();
    void* const head = vsk::detail::SehChainHead();
    try {
        vsk::detail::ExceptionFilterGuarded([] { throw std::runtime_error("mine"); }, "f", 1, "g");
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("mine", e.what());
    }
    EXPECT_EQ(head, vsk::detail::SehChainHead());
    EXPECT_EQ("<missing>", ReadOrMissing(log));
}

TEST_F(CLogTest, GuardedReportIsSubjectToRotationAtItsEnd) {
    const std::string log = UseLog();
    FileLogger_SetLogFileSize(1); // 1 KiB: one report passes it
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded([] { AccessViolation(); }));
    const std::string rotated = LogText(log + ".1");
    EXPECT_EQ(0u, rotated.find("<TS>ime.cpp(300)")) << "the whole report moved to the first generation";
    EXPECT_EQ("\n\n", rotated.substr(rotated.size() - 2));
}

} // namespace
