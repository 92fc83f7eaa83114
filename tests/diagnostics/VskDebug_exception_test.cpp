// VskDebug_exception_test.cpp - the crash report of a structured exception:
// the name table, registers, the frame-pointer walk, the module list, and
// real faults inside the report guard.
#include "diagnostics/Filelogger.h"
#include "diagnostics/VskDebug.h"

#include "platform/Seh.h"
#include "tests/support/TestSupport.h"

#include <tlhelp32.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vsktest::Hex32;
using vsktest::SplitLines;

// "予期せぬ例外が発生しました" in code page 932.
const char kUnexpectedBytes[] = "\x97\x5C\x8A\xFA\x82\xB9\x82\xCA\x97\xE1\x8A\x4F\x82\xAA\x94\xAD\x90\xB6\x82\xB5"
                                "\x82\xDC\x82\xB5\x82\xBD";

// Keeps every piece in order; `text` is what the log file would hold
// (time stamp as "<TS>", prefix as the report form writes it).
class CCapture : public vsk::detail::CReportOutput {
public:
    void PutTimestamp() override {
        text += "<TS>";
        calls.push_back("timestamp");
    }
    void PutPrefix(const char* file, int line, const char* func) override {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "(%d): ", line);
        text += std::string(file ? file : "(null)") + buffer + (func ? func : "(null)") + ": ";
        calls.push_back("prefix");
    }
    void Put(const char* piece) override {
        text += piece;
        calls.push_back("put");
    }
    void PutLine(const char* line) override {
        text += line;
        text += "\n";
        calls.push_back("line");
    }
    std::string text;
    std::vector<std::string> calls;
};

std::string Section(const std::string& text, const std::string& heading) {
    const auto start = text.find(heading);
    if (start == std::string::npos)
        return "<missing " + heading + ">";
    const auto end = text.find("\n\n", start);
    return text.substr(start, end == std::string::npos ? std::string::npos : end + 2 - start);
}

CONTEXT HandMadeContext(DWORD flags) {
    CONTEXT context{};
    context.ContextFlags = flags;
    context.Eax = 0x11;
    context.Ebx = 0xABCDEF01;
    context.Ecx = 0x33;
    context.Edx = 0x44;
    context.Esi = 0x55;
    context.Edi = 0x66;
    context.Ebp = 0; // no stack
    context.Eip = 0x401000;
    context.Esp = 0x22FF00;
    context.SegCs = 0x23;
    context.SegSs = 0x2B;
    context.EFlags = 0x246;
    return context;
}

std::string ReportOf(CONTEXT& context, unsigned long code = 0xC0000005, const char* file = "f.cpp", int line = 7,
                     const char* func = "Fn") {
    EXCEPTION_RECORD record{};
    record.ExceptionCode = code;
    EXCEPTION_POINTERS pointers{&record, &context};
    CCapture capture;
    vsk::detail::WriteExceptionReport(capture, code, &pointers, file, line, func);
    return capture.text;
}

// The test program's image: [base, base + size).
struct CImage {
    std::uintptr_t base;
    std::uintptr_t end;
    bool Contains(std::uintptr_t address) const { return address >= base && address < end; }
};

CImage TestImage() {
    const auto base = reinterpret_cast<std::uintptr_t>(GetModuleHandleA(nullptr));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    return {base, base + nt->OptionalHeader.SizeOfImage};
}

int volatile g_zero = 0;
int volatile g_quotient = 0;
int* volatile g_null = nullptr;
int volatile g_never = -1;

// Each faulting function keeps data on the stack, so that it has a frame of
// its own (GCC sets up none in a leaf without stack data) and the walk's
// first return address lies in this program.
__attribute__((noinline)) void AccessViolation() {
    volatile int local[2] = {1, 2};
    *g_null = local[0];
}
__attribute__((noinline)) void DivideByZero() {
    volatile int local[2] = {10, 2};
    g_quotient = local[0] / g_zero;
}
__attribute__((noinline)) void Breakpoint() {
    volatile int local[2] = {1, 2};
    asm volatile("int3");
    g_quotient = local[1];
}
__attribute__((noinline)) int Recurse(int depth) {
    volatile char pad[4096];
    pad[0] = static_cast<char>(depth);
    if (depth == g_never)
        return 0;
    return Recurse(depth + 1) + pad[0];
}
__attribute__((noinline)) void Deep1() { AccessViolation(); asm volatile(""); }
__attribute__((noinline)) void Deep2() { Deep1(); asm volatile(""); }
__attribute__((noinline)) void Deep3() { Deep2(); asm volatile(""); }

template <typename Body>
std::string Guarded(CCapture& capture, Body body, const char* file = "guard.cpp", int line = 42,
                    const char* func = "CVskWndImeFull::OnMessage") {
    try {
        vsk::detail::RunReportGuarded([](void* p) { (*static_cast<Body*>(p))(); }, &body, capture, file, line, func);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no exception";
}

// Checks the whole report of a real fault in the order the log shows it.
void ExpectCompleteReport(const CCapture& capture, unsigned long code, const char* name) {
    SCOPED_TRACE(name);
    const std::string& text = capture.text;
    const std::string head = std::string("<TS>guard.cpp(42): CVskWndImeFull::OnMessage: ") + kUnexpectedBytes +
                             "\n<Exception>\n Code     : " + [code] {
                                 char b[16];
                                 std::snprintf(b, sizeof b, "0x%08x", static_cast<unsigned>(code));
                                 return std::string(b);
                             }() + "\n Name     : " + name +
                             "\n File     : guard.cpp\n Line     : 42\n Function : CVskWndImeFull::OnMessage()\n\n"
                             "<Registers>\n EAX   =0x";
    EXPECT_EQ(head, text.substr(0, head.size()));
    const auto registers = text.find("<Registers>\n");
    const auto stack = text.find("<Call Stack>\n");
    const auto modules = text.find("<Load Modules>\n");
    ASSERT_LT(registers, stack);
    ASSERT_LT(stack, modules);
    EXPECT_EQ(12u + 2u, SplitLines(Section(text, "<Registers>")).size()) << "heading, 12 registers, blank line";
    // The call stack: its first addresses lie in the test program.
    const std::vector<std::string> stackLines = SplitLines(Section(text, "<Call Stack>"));
    ASSERT_GE(stackLines.size(), 3u);
    const CImage image = TestImage();
    const std::uintptr_t first = std::stoul(stackLines[1].substr(3), nullptr, 16);
    EXPECT_TRUE(image.Contains(first)) << stackLines[1];
    // The modules: the test program and the DLL once each, bases increasing.
    const std::string moduleText = text.substr(modules);
    const std::vector<std::string> moduleLines = SplitLines(moduleText);
    int exeCount = 0;
    int dllCount = 0;
    std::uintptr_t previous = 0;
    for (std::size_t i = 1; i + 1 < moduleLines.size(); ++i) {
        const std::string& line = moduleLines[i];
        ASSERT_EQ(" 0x", line.substr(0, 3)) << line;
        ASSERT_EQ(" : ", line.substr(11, 3)) << line;
        const std::uintptr_t base = std::stoul(line.substr(3, 8), nullptr, 16);
        EXPECT_GT(base, previous) << line;
        previous = base;
        if (line.find("test_diagnostics.exe") != std::string::npos) {
            ++exeCount;
            EXPECT_EQ(image.base, base);
        }
        if (line.find("voskellib.dll") != std::string::npos)
            ++dllCount;
    }
    EXPECT_EQ(1, exeCount);
    EXPECT_EQ(1, dllCount);
    EXPECT_EQ("\n\n", text.substr(text.size() - 2)) << "the last module line, then the empty closing line";
    EXPECT_EQ("line", capture.calls.back()) << "the report ends with its one complete line";
    EXPECT_EQ(1, std::count(capture.calls.begin(), capture.calls.end(), std::string("line")));
}

} // namespace

TEST(ExceptionName, TableInItsOrderAndUnknownException) {
    const std::pair<unsigned long, const char*> table[] = {
        {0xC0000005, "Access Violation"},
        {0x80000003, "Break Point"},
        {0x80000002, "Datatype Miss Alignment"},
        {0x80000004, "Single Step"},
        {0xC000008C, "Array Bounds Exceeded"},
        {0xC000008D, "Floating-Point Denormal Operand"},
        {0xC000008E, "Floating-Point Divide by Zero"},
        {0xC000008F, "Floating-Point Inexact Result"},
        {0xC0000090, "Floating-Point Invalid Operation"},
        {0xC0000091, "Floating-Point Overflow"},
        {0xC0000092, "Floating-Point Stack Check"},
        {0xC0000093, "Floating-Point Underflow"},
        {0xC0000094, "Integer Divide by Zero"},
        {0xC0000095, "Integer Overflow"},
        {0xC0000096, "Not Allow Instruction Code"},
        {0xC0000025, "Noncontinuable Exception"},
    };
    for (const auto& entry : table) {
        SCOPED_TRACE(entry.second);
        EXPECT_STREQ(entry.second, vsk::detail::ExceptionName(entry.first));
    }
    EXPECT_STREQ("Unknown Exception", vsk::detail::ExceptionName(0xC00000FD));
    EXPECT_STREQ("Unknown Exception", vsk::detail::ExceptionName(0));
}

TEST(ExceptionReport, HandMadeContextGivesTheExactHeadRegistersAndEmptyStack) {
    CONTEXT context = HandMadeContext(0x00010007); // CONTEXT_FULL
    const std::string report = ReportOf(context);
    const std::string expected = std::string("<TS>f.cpp(7): Fn: ") + kUnexpectedBytes +
                                 "\n"
                                 "<Exception>\n"
                                 " Code     : 0xc0000005\n"
                                 " Name     : Access Violation\n"
                                 " File     : f.cpp\n"
                                 " Line     : 7\n"
                                 " Function : Fn()\n"
                                 "\n"
                                 "<Registers>\n"
                                 " EAX   =0x00000011\n"
                                 " EBX   =0xABCDEF01\n"
                                 " ECX   =0x00000033\n"
                                 " EDX   =0x00000044\n"
                                 " ESI   =0x00000055\n"
                                 " EDI   =0x00000066\n"
                                 " EBP   =0x00000000\n"
                                 " EIP   =0x00401000\n"
                                 " ESP   =0x0022FF00\n"
                                 " SegCS =0x00000023\n"
                                 " SegSs =0x0000002B\n"
                                 " EFlags=0x00000246\n"
                                 "\n"
                                 "<Call Stack>\n"
                                 "\n"
                                 "<Load Modules>\n";
    EXPECT_EQ(expected, report.substr(0, expected.size()));
}

TEST(ExceptionReport, ControlOnlyFlagsStillPrintTheIntegerGroupThroughTheFamilyBit) {
    CONTEXT context = HandMadeContext(0x00010001);
    EXPECT_EQ("<Registers>\n"
              " EAX   =0x00000011\n"
              " EBX   =0xABCDEF01\n"
              " ECX   =0x00000033\n"
              " EDX   =0x00000044\n"
              " ESI   =0x00000055\n"
              " EDI   =0x00000066\n"
              " EBP   =0x00000000\n"
              " EIP   =0x00401000\n"
              " ESP   =0x0022FF00\n"
              " SegCS =0x00000023\n"
              " SegSs =0x0000002B\n"
              " EFlags=0x00000246\n"
              "\n",
              Section(ReportOf(context), "<Registers>"));
}

TEST(ExceptionReport, FlagsWithoutFamilyOrIntegerBitPrintNoIntegerRegisters) {
    CONTEXT noBits = HandMadeContext(0x00000000);
    EXPECT_EQ("<Registers>\n\n", Section(ReportOf(noBits), "<Registers>"));
    CONTEXT controlBitOnly = HandMadeContext(0x00000001);
    EXPECT_EQ("<Registers>\n"
              " EBP   =0x00000000\n"
              " EIP   =0x00401000\n"
              " ESP   =0x0022FF00\n"
              " SegCS =0x00000023\n"
              " SegSs =0x0000002B\n"
              " EFlags=0x00000246\n"
              "\n",
              Section(ReportOf(controlBitOnly), "<Registers>"));
    CONTEXT integerBitOnly = HandMadeContext(0x00000002);
    const std::string integerOnly = Section(ReportOf(integerBitOnly), "<Registers>");
    EXPECT_NE(std::string::npos, integerOnly.find(" EDI   =0x00000066\n\n"));
    EXPECT_EQ(std::string::npos, integerOnly.find("EBP"));
}

TEST(ExceptionReport, FrameChainEndingInAZeroReturnAddressPrintsTheAddressesBeforeIt) {
    // Three frames on this stack, increasing addresses, the last with return 0.
    alignas(4) std::uintptr_t frames[6] = {};
    frames[0] = reinterpret_cast<std::uintptr_t>(&frames[2]);
    frames[1] = 0x00401234;
    frames[2] = reinterpret_cast<std::uintptr_t>(&frames[4]);
    frames[3] = 0x0040ABCD;
    frames[4] = 0x12345678; // never followed
    frames[5] = 0;
    CONTEXT context = HandMadeContext(0x00010007);
    context.Ebp = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(&frames[0]));
    EXPECT_EQ("<Call Stack>\n 0x00401234\n 0x0040ABCD\n\n", Section(ReportOf(context), "<Call Stack>"));
}

TEST(ExceptionReport, OddNullOrUnreadableEbpGivesAnEmptyCallStack) {
    alignas(4) std::uintptr_t frames[2] = {0, 0x00401234};
    const DWORD odd = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(&frames[0]) + 1);
    for (DWORD ebp : {odd, DWORD{0}, DWORD{0x00000010}, DWORD{0xFFFFFFF0}}) {
        SCOPED_TRACE(Hex32(ebp));
        CONTEXT context = HandMadeContext(0x00010007);
        context.Ebp = ebp;
        EXPECT_EQ("<Call Stack>\n\n", Section(ReportOf(context), "<Call Stack>"));
    }
}

TEST(ExceptionReport, ChoiceTheStackWalkEndsAtAFrameThatDoesNotMoveUpSoALoopingChainEnds) {
    alignas(4) std::uintptr_t frames[4] = {};
    frames[0] = reinterpret_cast<std::uintptr_t>(&frames[2]);
    frames[1] = 0x00401111;
    frames[2] = reinterpret_cast<std::uintptr_t>(&frames[0]); // back down: a loop
    frames[3] = 0x00402222;
    CONTEXT context = HandMadeContext(0x00010007);
    context.Ebp = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(&frames[0]));
    EXPECT_EQ("<Call Stack>\n 0x00401111\n 0x00402222\n\n", Section(ReportOf(context), "<Call Stack>"));
    // A frame that names itself.
    alignas(4) std::uintptr_t self[2] = {0, 0x00403333};
    self[0] = reinterpret_cast<std::uintptr_t>(&self[0]);
    context.Ebp = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(&self[0]));
    EXPECT_EQ("<Call Stack>\n 0x00403333\n\n", Section(ReportOf(context), "<Call Stack>"));
}

TEST(ExceptionReport, TenThousandCharacterFileAndFunctionAreWrittenWhole) {
    const std::string file(10000, 'f');
    const std::string func(10000, 'g');
    CONTEXT context = HandMadeContext(0x00010007);
    const std::string report = ReportOf(context, 0x12345678, file.c_str(), -5, func.c_str());
    EXPECT_NE(std::string::npos, report.find("\n File     : " + file + "\n Line     : -5\n Function : " + func + "()\n\n"));
    EXPECT_NE(std::string::npos, report.find(" Code     : 0x12345678\n Name     : Unknown Exception\n"));
    EXPECT_NE(std::string::npos, report.find("<Load Modules>\n"));
}

TEST(ExceptionReport, NullFileAndFunctionAreWrittenAsTheRuntimeWritesThem) {
    CONTEXT context = HandMadeContext(0x00010007);
    const std::string report = ReportOf(context, 0xC0000005, nullptr, 1, nullptr);
    EXPECT_NE(std::string::npos, report.find(" File     : (null)\n Line     : 1\n Function : (null)()\n"));
}

TEST(ExceptionReport, ModulesAreListedOnceEachInIncreasingBaseOrderWithTheirPaths) {
    CONTEXT context = HandMadeContext(0x00010007);
    const std::string report = ReportOf(context);
    const std::vector<std::string> lines = SplitLines(report.substr(report.find("<Load Modules>\n")));
    ASSERT_GE(lines.size(), 4u);
    char exePath[MAX_PATH];
    GetModuleFileNameA(nullptr, exePath, MAX_PATH);
    char dllPath[MAX_PATH];
    GetModuleFileNameA(GetModuleHandleA("voskellib.dll"), dllPath, MAX_PATH);
    const std::string exeLine = " " + Hex32(reinterpret_cast<std::uintptr_t>(GetModuleHandleA(nullptr))) + " : " + exePath;
    const std::string dllLine =
        " " + Hex32(reinterpret_cast<std::uintptr_t>(GetModuleHandleA("voskellib.dll"))) + " : " + dllPath;
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), exeLine)) << exeLine;
    EXPECT_EQ(1, std::count(lines.begin(), lines.end(), dllLine)) << dllLine;
    const std::string kernelLine =
        " " + Hex32(reinterpret_cast<std::uintptr_t>(GetModuleHandleA("kernel32.dll"))) + " : ";
    EXPECT_NE(report.npos, report.find(kernelLine)) << "system DLLs are listed too";
    EXPECT_EQ("", lines.back()) << "the closing empty line";
}

TEST(ExceptionReport, ModulesAreEveryModuleTheSystemListsForTheProcess) {
    CONTEXT context = HandMadeContext(0x00010007);
    const std::string report = ReportOf(context);
    const std::vector<std::string> lines = SplitLines(report.substr(report.find("<Load Modules>\n")));
    const std::multiset<std::string> reported(lines.begin() + 1, lines.end() - 1);
    // The system's own list, taken another way (a module snapshot).
    std::multiset<std::string> listed;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, GetCurrentProcessId());
    ASSERT_NE(snapshot, INVALID_HANDLE_VALUE);
    MODULEENTRY32 module{};
    module.dwSize = sizeof module;
    for (BOOL more = Module32First(snapshot, &module); more; more = Module32Next(snapshot, &module))
        listed.insert(" " + Hex32(reinterpret_cast<std::uintptr_t>(module.modBaseAddr)) + " : " + module.szExePath);
    CloseHandle(snapshot);
    ASSERT_GT(listed.size(), 3u);
    EXPECT_EQ(listed, reported);
}

namespace {

DWORD WINAPI RunCall(void* call) {
    reinterpret_cast<void (*)()>(call)();
    return 0;
}

// Runs `call` on another thread; false when it has not returned within 10 s
// (the thread is then left waiting).
bool ReturnsOnAnotherThread(void (*call)()) {
    const HANDLE thread = CreateThread(nullptr, 0, RunCall, reinterpret_cast<void*>(call), 0, nullptr);
    if (!thread)
        return false;
    const bool returned = WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0;
    CloseHandle(thread);
    return returned;
}

} // namespace

TEST(ReportGuard, AFaultInsideALogCallLeavesTheLogFreeForOtherThreads) {
    vsktest::CTempDir dir;
    const std::string log = dir.File("guard.log");
    FileLogger_SetLogFileName(log.c_str());
    const vsk::detail::CLogHold before = vsk::detail::CurrentLogHold();
    const char* const unreadable = reinterpret_cast<const char*>(1);
    // FileLogger_Put faults while it holds the log's lock, FileLogger_PutLine
    // while its line is being written.
    CCapture put;
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded(put, [&] { FileLogger_Put("%s", unreadable); }));
    CCapture putLine;
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded(putLine, [&] { FileLogger_PutLine("%s", unreadable); }));
    EXPECT_EQ(before.lockEntries, vsk::detail::CurrentLogHold().lockEntries);
    EXPECT_EQ(before.linesWriting, vsk::detail::CurrentLogHold().linesWriting);
    ASSERT_TRUE(ReturnsOnAnotherThread([] { FileLogger_PutLine("after the faults"); }));
    // Setting the name closes the stream, which waits for lines being written.
    ASSERT_TRUE(ReturnsOnAnotherThread([] { FileLogger_SetLogFileName(nullptr); }));
    EXPECT_NE(std::string::npos, vsktest::ReadFileBytes(log).find("after the faults\r\n"));
}

TEST(ReportGuard, AccessViolationGivesTheCompleteReportAndTheUnexpectedExceptionMessage) {
    CCapture capture;
    const std::string message = Guarded(capture, [] { AccessViolation(); });
    EXPECT_EQ(std::string(kUnexpectedBytes), message);
    EXPECT_EQ("予期せぬ例外が発生しました", message);
    ExpectCompleteReport(capture, 0xC0000005, "Access Violation");
}

TEST(ReportGuard, IntegerDivisionByZero) {
    CCapture capture;
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded(capture, [] { DivideByZero(); }));
    ExpectCompleteReport(capture, 0xC0000094, "Integer Divide by Zero");
}

TEST(ReportGuard, Breakpoint) {
    CCapture capture;
    EXPECT_EQ(std::string(kUnexpectedBytes), Guarded(capture, [] { Breakpoint(); }));
    ExpectCompleteReport(capture, 0x80000003, "Break Point");
}

TEST(ReportGuard, StackOverflowIsAnUnknownException) {
    for (int round = 0; round < 2; ++round) {
        CCapture capture;
        EXPECT_EQ(std::string(kUnexpectedBytes), Guarded(capture, [] { Recurse(0); }));
        ExpectCompleteReport(capture, 0xC00000FD, "Unknown Exception");
    }
}

TEST(ReportGuard, FaultThreeCallsDeepListsAtLeastThreeReturnAddressesInTheTestProgram) {
    CCapture capture;
    Guarded(capture, [] { Deep3(); });
    const std::vector<std::string> lines = SplitLines(Section(capture.text, "<Call Stack>"));
    ASSERT_GE(lines.size(), 5u) << capture.text;
    const CImage image = TestImage();
    for (std::size_t i = 1; i <= 3; ++i)
        EXPECT_TRUE(image.Contains(std::stoul(lines[i].substr(3), nullptr, 16))) << lines[i];
}

TEST(ReportGuard, CppExceptionPassesThroughUnchangedWithoutAReport) {
    void* const head = vsk::detail::SehChainHead();
    CCapture capture;
    try {
        auto body = [] { throw std::invalid_argument("mine"); };
        vsk::detail::RunReportGuarded([](void* p) { (*static_cast<decltype(body)*>(p))(); }, &body, capture, "f", 1,
                                      "g");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ("mine", e.what());
    }
    EXPECT_TRUE(capture.text.empty());
    EXPECT_EQ(head, vsk::detail::SehChainHead());
}

TEST(ReportGuard, ThousandReportsInARowLeakNoStackHandlesOrChainEntries) {
    // Counted handle by handle: the system's own count is 0 under Wine.
    const unsigned long handlesBefore = vsktest::OpenHandleCount();
    void* const head = vsk::detail::SehChainHead();
    for (int i = 0; i < 1000; ++i) {
        void* espBefore;
        void* espAfter;
        asm volatile("movl %%esp, %0" : "=r"(espBefore));
        CCapture capture;
        const std::string message = (i % 2) ? Guarded(capture, [] { AccessViolation(); })
                                            : Guarded(capture, [] { DivideByZero(); });
        asm volatile("movl %%esp, %0" : "=r"(espAfter));
        ASSERT_EQ(std::string(kUnexpectedBytes), message) << "round " << i;
        ASSERT_EQ(espBefore, espAfter) << "round " << i;
        ASSERT_EQ(head, vsk::detail::SehChainHead()) << "round " << i;
    }
    EXPECT_EQ(handlesBefore, vsktest::OpenHandleCount());
}

TEST(ExceptionReport, ModuleWithAPathOfTheMaximumLengthIsListedWhole) {
    char exePath[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, exePath, MAX_PATH);
    std::string folder(exePath, n);
    folder.erase(folder.find_last_of('\\') + 1);
    const std::string source = folder + "vsk_report_module.dll";
    // Nested folders under the temporary folder up to a path of 258 characters
    // (the longest that a 259-character buffer returns whole).
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    std::string path = std::string(temp) + "vskrm";
    CreateDirectoryA(path.c_str(), nullptr);
    std::vector<std::string> made{path};
    const std::string name = "\\m.dll";
    while (path.size() + 1 + 200 + name.size() <= 258) {
        path += "\\" + std::string(200, 'd');
        CreateDirectoryA(path.c_str(), nullptr);
        made.push_back(path);
    }
    const std::size_t fill = 258 - path.size() - name.size() - 1;
    if (fill > 0) {
        path += "\\" + std::string(fill, 'e');
        CreateDirectoryA(path.c_str(), nullptr);
        made.push_back(path);
    }
    const std::string dll = path + name;
    ASSERT_EQ(258u, dll.size());
    ASSERT_TRUE(CopyFileA(source.c_str(), dll.c_str(), FALSE)) << GetLastError();
    HMODULE module = LoadLibraryA(dll.c_str());
    ASSERT_NE(nullptr, module) << GetLastError();
    char listed[MAX_PATH + 1] = {};
    GetModuleFileNameA(module, listed, MAX_PATH);
    CONTEXT context = HandMadeContext(0x00010007);
    const std::string report = ReportOf(context);
    const std::string line = " " + Hex32(reinterpret_cast<std::uintptr_t>(module)) + " : " + listed + "\n";
    EXPECT_EQ(258u, std::string(listed).size());
    EXPECT_NE(std::string::npos, report.find(line)) << line;
    FreeLibrary(module);
    DeleteFileA(dll.c_str());
    for (auto it = made.rbegin(); it != made.rend(); ++it)
        RemoveDirectoryA(it->c_str());
}
