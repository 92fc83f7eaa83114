// Seh_guard_platform_test.cpp - the scoped structured-exception guard with real faults.
#include "platform/Seh.h"

#include "platform/CallbackBoundary.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct CSeen {
    unsigned long code = 0;
    int calls = 0;
    void* eip = nullptr;
};

// Throws a runtime_error naming the code, as the crash-report filter does.
void ThrowingFilter(unsigned long code, EXCEPTION_POINTERS* pointers, void* context) {
    auto* seen = static_cast<CSeen*>(context);
    seen->code = code;
    seen->eip = reinterpret_cast<void*>(pointers->ContextRecord->Eip);
    ++seen->calls;
    throw std::runtime_error("filtered " + std::to_string(code));
}

void PassingFilter(unsigned long code, EXCEPTION_POINTERS*, void* context) {
    auto* seen = static_cast<CSeen*>(context);
    seen->code = code;
    ++seen->calls;
}

int volatile g_zero = 0;
int* volatile g_null = nullptr;

__attribute__((noinline)) void AccessViolation() { *g_null = 1; }
int volatile g_quotient = 0;
__attribute__((noinline)) void DivideByZero() { g_quotient = 10 / g_zero; }
__attribute__((noinline)) void Breakpoint() { asm volatile("int3"); }

template <typename Body>
std::string GuardedMessage(Body body, CSeen& seen) {
    try {
        vsk::detail::SehGuarded(body, ThrowingFilter, &seen);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no exception";
}

} // namespace

TEST(SehGuard, AccessViolationReachesTheCallerAsTheFiltersException) {
    void* const head = vsk::detail::SehChainHead();
    CSeen seen;
    EXPECT_EQ("filtered 3221225477", GuardedMessage([] { AccessViolation(); }, seen));
    EXPECT_EQ(0xC0000005ul, seen.code);
    EXPECT_EQ(1, seen.calls);
    EXPECT_EQ(head, vsk::detail::SehChainHead()) << "the guard's registration is gone";
}

TEST(SehGuard, IntegerDivisionByZero) {
    void* const head = vsk::detail::SehChainHead();
    CSeen seen;
    EXPECT_EQ("filtered 3221225620", GuardedMessage([] { DivideByZero(); }, seen));
    EXPECT_EQ(0xC0000094ul, seen.code);
    EXPECT_EQ(head, vsk::detail::SehChainHead());
}

TEST(SehGuard, Breakpoint) {
    CSeen seen;
    EXPECT_EQ("filtered 2147483651", GuardedMessage([] { Breakpoint(); }, seen));
    EXPECT_EQ(0x80000003ul, seen.code);
}

TEST(SehGuard, CppExceptionPassesThroughUnchangedAndLeavesTheChainAsItWas) {
    void* const head = vsk::detail::SehChainHead();
    CSeen seen;
    try {
        vsk::detail::SehGuarded([] { throw std::out_of_range("mine"); }, ThrowingFilter, &seen);
        FAIL() << "no exception";
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ("mine", e.what());
    }
    EXPECT_EQ(0, seen.calls);
    EXPECT_EQ(head, vsk::detail::SehChainHead());
}

TEST(SehGuard, NormalReturnLeavesTheChainAsItWas) {
    void* const head = vsk::detail::SehChainHead();
    CSeen seen;
    int ran = 0;
    vsk::detail::SehGuarded([&] { ran = 1; EXPECT_NE(head, vsk::detail::SehChainHead()); }, ThrowingFilter, &seen);
    EXPECT_EQ(1, ran);
    EXPECT_EQ(head, vsk::detail::SehChainHead());
}

TEST(SehGuard, FilterThatReturnsLetsTheOuterGuardHandleIt) {
    void* const head = vsk::detail::SehChainHead();
    CSeen inner, outer;
    std::string message;
    try {
        vsk::detail::SehGuarded(
            [&] { vsk::detail::SehGuarded([] { AccessViolation(); }, PassingFilter, &inner); }, ThrowingFilter,
            &outer);
    } catch (const std::runtime_error& e) {
        message = e.what();
    }
    EXPECT_EQ(1, inner.calls);
    EXPECT_EQ(1, outer.calls);
    EXPECT_EQ("filtered 3221225477", message);
    EXPECT_EQ(head, vsk::detail::SehChainHead());
}

TEST(SehGuard, InnerGuardHandlesItsOwnFaultAndTheOuterGoesOn) {
    CSeen inner, outer;
    std::string message;
    vsk::detail::SehGuarded(
        [&] {
            try {
                vsk::detail::SehGuarded([] { DivideByZero(); }, ThrowingFilter, &inner);
            } catch (const std::runtime_error& e) {
                message = e.what();
            }
        },
        ThrowingFilter, &outer);
    EXPECT_EQ(1, inner.calls);
    EXPECT_EQ(0, outer.calls);
    EXPECT_EQ("filtered 3221225620", message);
}

TEST(SehGuard, ThousandFaultsInARowLeakNoStackHandlesOrChainEntries) {
    // Counted handle by handle: the system's own count is 0 under Wine.
    const unsigned long handlesBefore = vsktest::OpenHandleCount();
    void* const head = vsk::detail::SehChainHead();
    void* espBefore = nullptr;
    void* espAfter = nullptr;
    CSeen seen;
    for (int i = 0; i < 1000; ++i) {
        asm volatile("movl %%esp, %0" : "=r"(espBefore));
        try {
            if (i % 2)
                vsk::detail::SehGuarded([] { AccessViolation(); }, ThrowingFilter, &seen);
            else
                vsk::detail::SehGuarded([] { DivideByZero(); }, ThrowingFilter, &seen);
        } catch (const std::runtime_error&) {
        }
        asm volatile("movl %%esp, %0" : "=r"(espAfter));
        ASSERT_EQ(espBefore, espAfter) << "round " << i;
        ASSERT_EQ(head, vsk::detail::SehChainHead()) << "round " << i;
    }
    EXPECT_EQ(1000, seen.calls);
    EXPECT_EQ(handlesBefore, vsktest::OpenHandleCount()) << "no handle per fault";
}

namespace {

int volatile g_never = -1;

__attribute__((noinline)) int Recurse(int depth) {
    volatile char pad[4096];
    pad[0] = static_cast<char>(depth);
    if (depth == g_never)
        return 0;
    return Recurse(depth + 1) + pad[0];
}

// Uses 64 KiB of stack inside the handler, more than a stack overflow leaves.
void HungryFilter(unsigned long code, EXCEPTION_POINTERS* pointers, void* context) {
    volatile char scratch[65536];
    scratch[0] = 1;
    scratch[65535] = 2;
    if (scratch[0] + scratch[65535] != 3)
        return;
    ThrowingFilter(code, pointers, context);
}

} // namespace

TEST(SehGuard, StackOverflowRunsAHungryFilterReachesTheCallerAndCanHappenAgain) {
    void* const head = vsk::detail::SehChainHead();
    for (int round = 0; round < 3; ++round) {
        CSeen seen;
        std::string message;
        try {
            vsk::detail::SehGuarded([] { Recurse(0); }, HungryFilter, &seen);
        } catch (const std::runtime_error& e) {
            message = e.what();
        }
        EXPECT_EQ("filtered 3221225725", message) << "round " << round;
        EXPECT_EQ(0xC00000FDul, seen.code);
        EXPECT_EQ(head, vsk::detail::SehChainHead());
    }
}

// ---------------------------------------------------------------------------
// The guard as a running call into the system (CallbackBoundary.h)
// ---------------------------------------------------------------------------

namespace {

std::vector<std::string> g_guardReports;

void RecordGuardReport(const std::exception_ptr& error, const vsk::detail::CBoundarySite&) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        g_guardReports.push_back(e.what());
    }
}

// LineDDA's per-point function (called by gdi32): throws at the first point
// under the boundary, faults at the second.
struct CPoints {
    int seen = 0;
    bool fault = false;
};

void CALLBACK FailingPoint(int, int, LPARAM data) {
    auto* points = reinterpret_cast<CPoints*>(data);
    ++points->seen;
    vsk::detail::RunAtBoundary(VSK_BOUNDARY_SITE("FailingPoint"), nullptr, [&] {
        if (points->seen == 1)
            throw std::logic_error("kept by the callback");
    });
    if (points->fault && points->seen == 2)
        AccessViolation();
}

class SehGuardCalls : public ::testing::Test {
protected:
    void SetUp() override {
        g_guardReports.clear();
        m_previous = vsk::detail::SetErrorReporter(&RecordGuardReport);
    }
    void TearDown() override {
        vsk::detail::SetErrorReporter(m_previous);
        EXPECT_EQ(0u, vsk::detail::RunningCallCount());
    }

private:
    vsk::detail::ErrorReporter m_previous = nullptr;
};

} // namespace

TEST_F(SehGuardCalls, AnExceptionThatACallbackKeepsForTheGuardIsThrownWhenTheBodyReturns) {
    CSeen seen;
    CPoints points;
    bool bodyEnded = false;
    std::string caught = "nothing";
    try {
        vsk::detail::SehGuarded(
            [&] {
                LineDDA(0, 0, 5, 0, &FailingPoint, reinterpret_cast<LPARAM>(&points));
                bodyEnded = true;
            },
            ThrowingFilter, &seen);
    } catch (const std::logic_error& e) {
        caught = e.what();
    }
    EXPECT_TRUE(bodyEnded) << "the body runs on after the callback returned";
    EXPECT_EQ("kept by the callback", caught);
    EXPECT_EQ(5, points.seen);
    EXPECT_TRUE(g_guardReports.empty());
}

TEST_F(SehGuardCalls, AFaultInACallbackOfARunningCallEndsThatCallAndTheGuardThrowsTheFiltersException) {
    void* const head = vsk::detail::SehChainHead();
    CSeen seen;
    CPoints points;
    points.fault = true;
    const std::string message = GuardedMessage(
        [&] {
            // A library call into the system; its callback keeps an
            // exception for it, then faults inside the system's walk.
            vsk::detail::CSystemCallScope running;
            LineDDA(0, 0, 5, 0, &FailingPoint, reinterpret_cast<LPARAM>(&points));
            running.RethrowError();
        },
        seen);
    EXPECT_EQ("filtered 3221225477", message);
    EXPECT_EQ(2, points.seen);
    EXPECT_EQ(head, vsk::detail::SehChainHead());
    // The running call ended with the guard's jump; what it held is a later
    // exception of the guard's and goes to the report.
    EXPECT_EQ(0u, vsk::detail::RunningCallCount());
    ASSERT_EQ(1u, g_guardReports.size());
    EXPECT_EQ("kept by the callback", g_guardReports[0]);
}

TEST_F(SehGuardCalls, AGuardInsideARunningCallTakesTheFaultAndTheCallOutsideSeesNothing) {
    vsk::detail::CSystemCallScope outside;
    CSeen seen;
    EXPECT_EQ("filtered 3221225477", GuardedMessage([] { AccessViolation(); }, seen));
    EXPECT_FALSE(outside.Failed());
    EXPECT_EQ(1u, vsk::detail::RunningCallCount());
}
