// CallbackBoundary_platform_test.cpp - the one rule for exceptions caught where the
// system calls the library back, with a real system callback (LineDDA's per-point
// function, called by gdi32).
#include "platform/CallbackBoundary.h"
#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using vsk::detail::CBoundarySite;
using vsk::detail::CErrorCollector;
using vsk::detail::CSystemCallScope;

const CErrorCollector kCollector{"the test's collecting call"};
const CErrorCollector kOtherCollector{"another collecting call"};
const char kTagged[] = "tagged call";

std::string WhatOf(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "<not a standard exception>";
    }
}

struct CReport {
    std::string what;
    std::string function;
};

std::vector<CReport> g_reports;

void RecordingReporter(const std::exception_ptr& error, const CBoundarySite& site) {
    g_reports.push_back({WhatOf(error), site.function});
}

// The message of what `body` throws, or "nothing".
template <typename Body>
std::string Thrown(Body body) {
    try {
        body();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing";
}

// One walk of LineDDA over ten points whose per-point function throws, under
// the boundary, at the points listed.
struct CWalk {
    std::vector<int> throwAt;
    int points = 0;
};

void CALLBACK ThrowingPoint(int, int, LPARAM data) {
    auto* walk = reinterpret_cast<CWalk*>(data);
    vsk::detail::RunAtBoundary(VSK_BOUNDARY_SITE("ThrowingPoint"), &kCollector, [&] {
        ++walk->points;
        for (int at : walk->throwAt) {
            if (at == walk->points)
                throw std::runtime_error("point " + std::to_string(at));
        }
    });
}

int Walk(std::vector<int> throwAt) {
    CWalk walk{std::move(throwAt)};
    EXPECT_TRUE(LineDDA(0, 0, 10, 0, &ThrowingPoint, reinterpret_cast<LPARAM>(&walk)));
    return walk.points;
}

void Drain(const CErrorCollector& collector) {
    try {
        vsk::detail::RethrowCollectedError(collector);
    } catch (...) {
    }
}

class CallbackBoundary : public ::testing::Test {
protected:
    void SetUp() override {
        g_reports.clear();
        m_previous = vsk::detail::SetErrorReporter(&RecordingReporter);
        ASSERT_EQ(0u, vsk::detail::RunningCallCount());
    }
    void TearDown() override {
        vsk::detail::SetErrorReporter(m_previous);
        Drain(kCollector);
        Drain(kOtherCollector);
        EXPECT_EQ(0u, vsk::detail::RunningCallCount());
    }

private:
    vsk::detail::ErrorReporter m_previous = nullptr;
};

int g_stops = 0;
void CountStop(void* context) {
    ++g_stops;
    EXPECT_EQ(&g_stops, context);
}

} // namespace

TEST_F(CallbackBoundary, AnExceptionOfACallbackIsThrownByTheRunningCallOnceTheSystemCallReturned) {
    CSystemCallScope call;
    EXPECT_FALSE(call.Failed());
    EXPECT_EQ(10, Walk({3})); // the system goes on with the walk: the callback returned normally
    EXPECT_TRUE(call.Failed());
    EXPECT_TRUE(vsk::detail::InnermostCallFailed());
    EXPECT_EQ("point 3", Thrown([&] { call.RethrowError(); }));
    EXPECT_FALSE(call.Failed());
    EXPECT_EQ("nothing", Thrown([&] { call.RethrowError(); })) << "thrown once";
    EXPECT_TRUE(g_reports.empty()) << "a call that takes the exception writes no report";
}

TEST_F(CallbackBoundary, TheExceptionKeepsItsTypeAndObject) {
    CSystemCallScope call;
    std::exception_ptr kept;
    try {
        throw std::out_of_range("typed");
    } catch (...) {
        kept = std::current_exception();
        vsk::detail::KeepCaughtException(VSK_BOUNDARY_SITE("test"), &kCollector);
    }
    const std::exception_ptr taken = call.TakeError();
    EXPECT_EQ(kept, taken);
    EXPECT_THROW(std::rethrow_exception(taken), std::out_of_range);
}

TEST_F(CallbackBoundary, TheInnermostRunningCallTakesItNotTheOnesOutside) {
    CSystemCallScope outer;
    {
        CSystemCallScope inner;
        EXPECT_EQ(2u, vsk::detail::RunningCallCount());
        Walk({1});
        EXPECT_TRUE(inner.Failed());
        EXPECT_FALSE(outer.Failed());
        EXPECT_EQ("point 1", Thrown([&] { inner.RethrowError(); }));
    }
    EXPECT_FALSE(outer.Failed());
    EXPECT_EQ(1u, vsk::detail::RunningCallCount());
}

TEST_F(CallbackBoundary, WithNoCallRunningItIsReportedAndKeptForItsCollectingCallOnly) {
    Walk({4});
    ASSERT_EQ(1u, g_reports.size());
    EXPECT_EQ("point 4", g_reports[0].what);
    EXPECT_EQ("ThrowingPoint", g_reports[0].function);
    // No other collecting call and no later call sees it.
    EXPECT_EQ("nothing", Thrown([] { vsk::detail::RethrowCollectedError(kOtherCollector); }));
    {
        CSystemCallScope later;
        EXPECT_FALSE(later.Failed());
        EXPECT_FALSE(vsk::detail::InnermostCallFailed());
        EXPECT_EQ("nothing", Thrown([&] { later.RethrowError(); }));
    }
    EXPECT_EQ("point 4", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
    EXPECT_EQ("nothing", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); })) << "given once";
}

TEST_F(CallbackBoundary, ACollectingCallGivesTheFirstOfSeveralAndAllAreReported) {
    Walk({2, 5});
    ASSERT_EQ(2u, g_reports.size());
    EXPECT_EQ("point 2", g_reports[0].what);
    EXPECT_EQ("point 5", g_reports[1].what);
    EXPECT_EQ("point 2", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
    EXPECT_EQ("nothing", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
}

TEST_F(CallbackBoundary, ABoundaryWithoutACollectingCallOnlyReports) {
    try {
        throw std::runtime_error("nobody collects");
    } catch (...) {
        vsk::detail::KeepCaughtException(VSK_BOUNDARY_SITE("uncollected"), nullptr);
    }
    ASSERT_EQ(1u, g_reports.size());
    EXPECT_EQ("uncollected", g_reports[0].function);
    EXPECT_EQ("nothing", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
}

TEST_F(CallbackBoundary, ACallKeepsTheFirstExceptionAndALaterOneIsReported) {
    CSystemCallScope call;
    Walk({2, 5});
    ASSERT_EQ(1u, g_reports.size());
    EXPECT_EQ("point 5", g_reports[0].what);
    EXPECT_EQ("point 2", Thrown([&] { call.RethrowError(); }));
}

TEST_F(CallbackBoundary, ACallThatEndsWithoutThrowingHandsItsExceptionToTheNextCallOut) {
    CSystemCallScope outer;
    {
        CSystemCallScope inner;
        Walk({6});
    }
    EXPECT_TRUE(outer.Failed());
    EXPECT_TRUE(g_reports.empty());
    EXPECT_EQ("point 6", Thrown([&] { outer.RethrowError(); }));
}

TEST_F(CallbackBoundary, TheLastCallToEndWithoutThrowingHandsItToTheReportAndItsCollector) {
    {
        CSystemCallScope only;
        Walk({7});
    }
    ASSERT_EQ(1u, g_reports.size());
    EXPECT_EQ("point 7", g_reports[0].what);
    EXPECT_EQ("point 7", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
}

TEST_F(CallbackBoundary, TheStopActionRunsOnceWhenTheFirstExceptionIsKept) {
    g_stops = 0;
    CSystemCallScope call;
    call.SetStopAction(&CountStop, &g_stops);
    Walk({1, 2, 3});
    EXPECT_EQ(1, g_stops);
    // Set on a call that holds an exception already, it runs at once.
    call.SetStopAction(&CountStop, &g_stops);
    EXPECT_EQ(2, g_stops);
    call.SetStopAction(nullptr, nullptr);
    EXPECT_EQ("point 1", Thrown([&] { call.RethrowError(); }));
}

TEST_F(CallbackBoundary, ACallIsTaggedAndOnlyATaggedInnermostCallTakesATaggedStopAction) {
    g_stops = 0;
    CSystemCallScope tagged(kTagged);
    EXPECT_TRUE(vsk::detail::InnermostCallIs(kTagged));
    {
        CSystemCallScope untagged;
        EXPECT_FALSE(vsk::detail::InnermostCallIs(kTagged));
        vsk::detail::SetInnermostStopAction(kTagged, &CountStop, &g_stops); // not the innermost: ignored
        Walk({1});
        EXPECT_EQ(0, g_stops);
        untagged.TakeError();
    }
    vsk::detail::SetInnermostStopAction(kTagged, &CountStop, &g_stops);
    Walk({1});
    EXPECT_EQ(1, g_stops);
    EXPECT_EQ("point 1", Thrown([&] { tagged.RethrowError(); }));
}

TEST_F(CallbackBoundary, AbandoningCallsWhoseFramesAreGoneHandsTheirExceptionsToTheSurvivor) {
    CSystemCallScope survivor;
    // Two calls whose frames a jump left behind: made, never destroyed.
    alignas(CSystemCallScope) unsigned char first[sizeof(CSystemCallScope)];
    alignas(CSystemCallScope) unsigned char second[sizeof(CSystemCallScope)];
    new (first) CSystemCallScope();
    Walk({1});
    new (second) CSystemCallScope();
    Walk({2});
    EXPECT_EQ(3u, vsk::detail::RunningCallCount());
    survivor.AbandonInnerCalls();
    EXPECT_EQ(1u, vsk::detail::RunningCallCount());
    // Each goes to the next call out: the innermost one's meets the first's
    // and is reported; the first's, the earlier, reaches the survivor.
    ASSERT_EQ(1u, g_reports.size());
    EXPECT_EQ("point 2", g_reports[0].what);
    EXPECT_EQ("point 1", Thrown([&] { survivor.RethrowError(); }));
}

TEST_F(CallbackBoundary, KeepGivesAnExceptionToOneCallWhateverIsInnermost) {
    CSystemCallScope guard;
    CSystemCallScope inner;
    guard.Keep(std::make_exception_ptr(std::logic_error("for the guard")), VSK_BOUNDARY_SITE("test"));
    EXPECT_FALSE(inner.Failed());
    EXPECT_TRUE(guard.Failed());
    EXPECT_EQ("for the guard", Thrown([&] { guard.RethrowError(); }));
}

TEST_F(CallbackBoundary, EachThreadHasItsOwnCallsAndCollectedExceptions) {
    CSystemCallScope mine;
    std::string seenThere;
    std::size_t callsThere = 99;
    std::thread other([&] {
        callsThere = vsk::detail::RunningCallCount();
        Walk({3}); // no call runs on that thread
        seenThere = Thrown([] { vsk::detail::RethrowCollectedError(kCollector); });
    });
    other.join();
    EXPECT_EQ(0u, callsThere);
    EXPECT_EQ("point 3", seenThere);
    EXPECT_FALSE(mine.Failed());
    EXPECT_EQ("nothing", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
}

TEST_F(CallbackBoundary, WithoutAReporterTheExceptionIsStillKeptForItsCollectingCall) {
    const vsk::detail::ErrorReporter mine = vsk::detail::SetErrorReporter(nullptr);
    Walk({8});
    vsk::detail::SetErrorReporter(mine);
    EXPECT_TRUE(g_reports.empty());
    EXPECT_EQ("point 8", Thrown([] { vsk::detail::RethrowCollectedError(kCollector); }));
}
