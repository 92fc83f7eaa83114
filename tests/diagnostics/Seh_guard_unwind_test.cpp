// Seh_guard_unwind_test.cpp - a fault inside the crash guard unwinds like a
// C++ exception thrown at the fault: the destructors of the objects in the
// frames between the fault and the guard run, once each, in order.
#include "diagnostics/VskDebug.h"
#include "files/VskFile.h"
#include "foundation/Vskstr.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// The guard's message, "予期せぬ例外が発生しました" in code page 932.
const std::string kUnexpected = "\x97\x5C\x8A\xFA\x82\xB9\x82\xCA\x97\xE1\x8A\x4F\x82\xAA\x94\xAD\x90\xB6\x82\xB5"
                                "\x82\xDC\x82\xB5\x82\xBD";

std::vector<std::string> g_events;
// A fresh mutex per test: one left locked by a failed unwind is left alone
// (never destroyed), so the next test does not wait for it.
std::mutex* g_mutex = nullptr;

int volatile* volatile g_null = nullptr;
int volatile g_zero = 0;
int volatile g_sink = 0; // results are stored, so no fault is optimised away
// An address no page is mapped at: reading it faults inside strlen.
const char* volatile g_unreadable = reinterpret_cast<const char*>(16);

enum class Fault { AccessViolation, DivisionByZero, CRuntimeStrlen };

// Writes nothing: these tests look at what the fault leaves behind.
class CNoOutput : public vsk::detail::CReportOutput {
public:
    void PutTimestamp() override {}
    void PutPrefix(const char*, int, const char*) override {}
    void Put(const char*) override {}
    void PutLine(const char*) override { ++lines; }
    int lines = 0;
};

struct CNoted {
    const char* name;
    ~CNoted() { g_events.push_back(name); }
};

class CNotedFile : public vskfile::CVskFile {
public:
    ~CNotedFile() override { g_events.push_back("file"); }
};

// The C runtime's strlen faults inside a function without unwind
// information; the guard leaves it for this caller.
__attribute__((noinline)) int LengthOfUnreadableText() {
    g_sink = static_cast<int>(std::strlen(g_unreadable));
    return g_sink;
}

// The access violation and the division fault right here, in a frame that
// holds objects of its own.
__attribute__((noinline)) int InnerFrame(Fault fault, const std::string& path) {
    CNotedFile file;
    if (!file.CreateFileA(path.c_str(), vskfile::CVskFile::CT_WRITE, 0))
        throw std::runtime_error("the test file could not be opened");
    CNoted noted{"inner"};
    switch (fault) {
    case Fault::AccessViolation:
        g_sink = *g_null;
        break;
    case Fault::DivisionByZero:
        g_sink = 10 / g_zero;
        break;
    case Fault::CRuntimeStrlen:
        LengthOfUnreadableText();
        break;
    }
    return g_sink;
}

__attribute__((noinline)) int OuterFrame(Fault fault, const std::string& path, const vskstr::CVskStr& shared) {
    if (!g_mutex->try_lock()) // left locked by an earlier fault: fail, don't wait
        throw std::runtime_error("the mutex is still locked");
    std::lock_guard<std::mutex> lock(*g_mutex, std::adopt_lock);
    vskstr::CVskStr copy(shared); // one more reference to the shared text
    CNoted noted{"outer"};
    g_sink = InnerFrame(fault, path) + copy.Length();
    return g_sink;
}

// Runs OuterFrame under the report guard; the guard's message, or "".
std::string FaultUnderGuard(Fault fault, const std::string& path, const vskstr::CVskStr& shared,
                            CNoOutput& out) {
    struct CCall {
        Fault fault;
        const std::string* path;
        const vskstr::CVskStr* shared;
    } call{fault, &path, &shared};
    try {
        vsk::detail::RunReportGuarded(
            [](void* p) {
                auto* c = static_cast<CCall*>(p);
                OuterFrame(c->fault, *c->path, *c->shared);
            },
            &call, out, __FILE__, __LINE__, "FaultUnderGuard");
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}

bool MutexFreeForAnotherThread() {
    bool taken = false;
    std::thread other([&] {
        taken = g_mutex->try_lock();
        if (taken)
            g_mutex->unlock();
    });
    other.join();
    return taken;
}

class CrashGuardUnwinding : public ::testing::TestWithParam<Fault> {
protected:
    void SetUp() override {
        g_events.clear();
        g_mutex = new std::mutex;
        char folder[MAX_PATH];
        GetTempPathA(MAX_PATH, folder);
        // A name of its own per test: a handle left open by a failed unwind
        // must not fail the next test's open.
        static int s_test = 0;
        path_ = std::string(folder) + "vsk_guard_unwind_" + std::to_string(GetCurrentProcessId()) + "_" +
                std::to_string(++s_test) + ".tmp";
    }
    void TearDown() override {
        DeleteFileA(path_.c_str());
        if (MutexFreeForAnotherThread())
            delete g_mutex;
        g_mutex = nullptr;
    }
    std::string path_;
};

} // namespace

TEST_P(CrashGuardUnwinding, EveryDestructorBetweenTheFaultAndTheGuardRunsOnceInOrder) {
    const vskstr::CVskStr shared("shared text");
    CNoOutput out;
    EXPECT_EQ(kUnexpected, FaultUnderGuard(GetParam(), path_, shared, out));
    EXPECT_GT(out.lines, 0) << "the crash report is written as before";
    EXPECT_EQ((std::vector<std::string>{"inner", "file", "outer"}), g_events);
    EXPECT_TRUE(MutexFreeForAnotherThread()) << "the lock_guard released the mutex";
    EXPECT_TRUE(DeleteFileA(path_.c_str())) << "the file object closed its handle: " << GetLastError();
    EXPECT_EQ(1, shared.GetRefCount()) << "the copy gave its reference back";
}

INSTANTIATE_TEST_SUITE_P(Faults, CrashGuardUnwinding,
                         ::testing::Values(Fault::AccessViolation, Fault::DivisionByZero, Fault::CRuntimeStrlen),
                         [](const ::testing::TestParamInfo<Fault>& info) {
                             switch (info.param) {
                             case Fault::AccessViolation: return "AccessViolation";
                             case Fault::DivisionByZero: return "DivisionByZero";
                             case Fault::CRuntimeStrlen: return "FaultInsideTheCRuntimesStrlen";
                             }
                             return "Unknown";
                         });

TEST_F(CrashGuardUnwinding, AThousandFaultsInARowLeakNoHandleAndNoHeap) {
    const vskstr::CVskStr shared("shared text");
    CNoOutput out;
    const Fault faults[] = {Fault::AccessViolation, Fault::DivisionByZero, Fault::CRuntimeStrlen};
    for (Fault fault : faults) // the first fault of each kind may fill caches
        FaultUnderGuard(fault, path_, shared, out);
    g_events.clear();
    g_events.reserve(3 * 1000 + 8);
    const unsigned long handlesBefore = vsktest::OpenHandleCount();
    const std::size_t heapBefore = vsktest::CrtHeapBytesInUse();
    int reported = 0;
    for (int i = 0; i < 1000; ++i)
        if (FaultUnderGuard(faults[i % 3], path_, shared, out) == kUnexpected)
            ++reported;
    const std::size_t heapAfter = vsktest::CrtHeapBytesInUse();
    const unsigned long handlesAfter = vsktest::OpenHandleCount();
    EXPECT_EQ(1000, reported);
    EXPECT_EQ(3u * 1000, g_events.size()) << "three destructors noted per fault";
    EXPECT_EQ(handlesBefore, handlesAfter);
    EXPECT_EQ(heapBefore, heapAfter);
    EXPECT_EQ(1, shared.GetRefCount());
    EXPECT_TRUE(MutexFreeForAnotherThread());
}

namespace {

__attribute__((noinline)) void FaultInANoexceptFunction() noexcept {
    CNoted noted{"noexcept"};
    *g_null = 1;
}

// Built without non-call exceptions: the faulting load has no entry of its
// own in the function's table, as in code a user compiles without them.
__attribute__((noinline, optimize("no-non-call-exceptions"))) void FaultWithoutNonCallExceptions() {
    CNoted noted{"plain"};
    *g_null = 2;
}

std::string MessageOf(void (*body)()) {
    CNoOutput out;
    try {
        vsk::detail::RunReportGuarded([](void* p) { reinterpret_cast<void (*)()>(p)(); },
                                      reinterpret_cast<void*>(body), out, __FILE__, __LINE__, "MessageOf");
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}

} // namespace

// An exception may not leave a noexcept function (the runtime would end the
// process): such a fault takes the guard's jump, and the noexcept
// function's own objects are left without their destructors.
TEST(CrashGuardJumpPath, AFaultInANoexceptFunctionReachesTheCallerWithoutItsDestructors) {
    g_events.clear();
    EXPECT_EQ(kUnexpected, MessageOf(FaultInANoexceptFunction));
    EXPECT_TRUE(g_events.empty());
}

TEST(CrashGuardJumpPath, AFaultInCodeWithoutNonCallExceptionsReachesTheCallerWithoutItsDestructors) {
    g_events.clear();
    EXPECT_EQ(kUnexpected, MessageOf(FaultWithoutNonCallExceptions));
    EXPECT_TRUE(g_events.empty());
}
