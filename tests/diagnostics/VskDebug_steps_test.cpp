// VskDebug_steps_test.cpp - VskDebugPrint lets the formatting limit's
// exception pass, and the crash report's frame check covers both words of a
// frame.
#include "diagnostics/VskDebug.h"
#include "foundation/Vskstr.h"
#include "foundation/internal/VskstrHooks.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

// "CVskStr::Format() : 処理可能な最大サイズを超えました" in code page 932.
const char kFormatLimitBytes[] = "CVskStr::Format() : "
                                 "\x8F\x88\x97\x9D\x89\xC2\x94\x5C\x82\xC8\x8D\xC5\x91\xE5\x83\x54\x83\x43\x83\x59"
                                 "\x82\xF0\x92\xB4\x82\xA6\x82\xDC\x82\xB5\x82\xBD";

// Before the second formatting pass, the growth rule is asked for the size
// after the largest working size, which is where it gives up.
void ReachTheLimitAtTheSecondPass(int count) {
    if (count > 257)
        vsk::detail::NextNarrowFormatSize(INT_MAX - 1);
}

} // namespace

// A 32-bit process cannot allocate the buffers that lead up to the limit (the
// heap refuses before), so the limit is reached through the formatting's pass
// observer, with the growth rule's own exception.
TEST(VskDebugPrint, PassesOnTheFormattingLimitsRuntimeErrorDrivenByAPassObserverBecauseTheLimitNeedsGigabytes) {
    const auto previous = vsk::detail::SetFormatPassObserver(ReachTheLimitAtTheSecondPass);
    std::string message = "<no exception>";
    try {
        VskDebugPrint("%s", std::string(1000, 'x').c_str());
    } catch (const std::runtime_error& e) {
        message = e.what();
    } catch (...) {
        message = "<other exception>";
    }
    vsk::detail::SetFormatPassObserver(previous);
    EXPECT_EQ(std::string(kFormatLimitBytes), message);
}

namespace {

// Keeps the report's text.
class CText : public vsk::detail::CReportOutput {
public:
    void PutTimestamp() override {}
    void PutPrefix(const char*, int, const char*) override {}
    void Put(const char* piece) override { text += piece; }
    void PutLine(const char* line) override { text += std::string(line) + "\n"; }
    std::string text;
};

struct CReportCall {
    CONTEXT* context;
    CText* out;
};

void WriteReport(void* call) {
    auto* c = static_cast<CReportCall*>(call);
    EXCEPTION_RECORD record{};
    record.ExceptionCode = 0xC0000005;
    EXCEPTION_POINTERS pointers{&record, c->context};
    vsk::detail::WriteExceptionReport(*c->out, 0xC0000005, &pointers, "f.cpp", 1, "g");
}

} // namespace

// The last word of a readable page is a frame's first word; its second word
// would lie on the next page, which may not be read. Checking four bytes
// would pass that frame and fault on its return address inside the report;
// the check covers both words (eight bytes), so the walk ends there. The
// report is written inside the crash guard, so that a fault fails the test
// instead of ending the program.
TEST(ExceptionReport, ChoiceTheFrameCheckCoversEightBytesSoAFrameWhoseSecondWordCannotBeReadEndsTheWalk) {
    auto* pages = static_cast<char*>(VirtualAlloc(nullptr, 8192, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    ASSERT_NE(nullptr, pages);
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages + 4096, 4096, PAGE_NOACCESS, &old));
    // A first frame whose caller's frame is that last word.
    auto* first = reinterpret_cast<std::uintptr_t*>(pages + 4096 - 16);
    auto* last = reinterpret_cast<std::uintptr_t*>(pages + 4096 - 4);
    first[0] = reinterpret_cast<std::uintptr_t>(last);
    first[1] = 0x00401111;
    *last = 0x12345678;
    ASSERT_TRUE(IsBadReadPtr(reinterpret_cast<const void*>(pages + 4096), 4));
    ASSERT_FALSE(IsBadReadPtr(last, 4));

    CONTEXT context{};
    context.ContextFlags = 0x00010007;
    context.Ebp = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(first));
    CText out;
    CText faultReport;
    CReportCall call{&context, &out};
    std::string failure;
    try {
        vsk::detail::RunReportGuarded(WriteReport, &call, faultReport, "t.cpp", 2, "Guard");
    } catch (const std::exception& e) {
        failure = e.what();
    }
    VirtualFree(pages, 0, MEM_RELEASE);
    EXPECT_EQ("", failure) << "the report faulted";
    const auto start = out.text.find("<Call Stack>\n");
    ASSERT_NE(std::string::npos, start);
    EXPECT_EQ("<Call Stack>\n 0x00401111\n\n", out.text.substr(start, out.text.find("\n\n", start) + 2 - start));
}
