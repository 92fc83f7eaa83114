// Vskstrrefcnt_pool_test.cpp - string buffers come from the library's pool of
// small blocks: counted there, given back exactly, reused, and safe when a
// string made on one thread is released on another.
#include "foundation/Vskstr.h"
#include "foundation/Vskstrw.h"
#include "platform/Win32.h"
#include "tests/support/TestSupport.h"
#include "foundation/internal/VskstrrefcntHooks.h"

#include <gtest/gtest.h>

#include <climits>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using vskstr::CVskStr;
using vskstr::CVskStrW;
using vsk::detail::StringBufferPoolBytesInUse;
using vsk::detail::StringBufferPoolBytesReserved;

constexpr std::size_t kBufferBlock = 32;

TEST(StringBufferPool, EachPrivateBufferTakesOneBlockAndGivesItBack) {
    static_assert(sizeof(CVskStrRefCntTC<char>) <= kBufferBlock, "a narrow buffer fits one block");
    static_assert(sizeof(CVskStrRefCntTC<wchar_t>) <= kBufferBlock, "a wide buffer fits one block");
    const std::size_t before = StringBufferPoolBytesInUse();
    {
        std::vector<CVskStr> narrow;
        for (int i = 0; i < 1000; ++i)
            narrow.emplace_back(i % 2 ? "short" : "a text longer than the inline capacity");
        std::vector<CVskStrW> wide;
        for (int i = 0; i < 500; ++i)
            wide.emplace_back(L"wide");
        EXPECT_EQ(StringBufferPoolBytesInUse(), before + 1500 * kBufferBlock);
        // Copies share a buffer: no block of their own.
        std::vector<CVskStr> copies(narrow.begin(), narrow.end());
        EXPECT_EQ(StringBufferPoolBytesInUse(), before + 1500 * kBufferBlock);
    }
    EXPECT_EQ(StringBufferPoolBytesInUse(), before);
}

TEST(StringBufferPool, FreedBlocksAreReusedRatherThanTheReserveGrowing) {
    // A first round makes sure the reserve holds one round's blocks.
    for (int round = 0; round < 2; ++round) {
        std::vector<CVskStr> strings;
        for (int i = 0; i < 20000; ++i)
            strings.emplace_back("piece");
    }
    const std::size_t reserved = StringBufferPoolBytesReserved();
    for (int round = 0; round < 20; ++round) {
        std::vector<CVskStr> strings;
        for (int i = 0; i < 20000; ++i)
            strings.emplace_back("piece");
    }
    EXPECT_EQ(StringBufferPoolBytesReserved(), reserved);
}

TEST(StringBufferPool, TheSharedEmptyBufferStaysAliveAndItsCountFixedWhenEveryEmptyStringIsGone) {
    const char* buffer = CVskStr().c_str();
    const std::size_t inUse = StringBufferPoolBytesInUse();
    {
        std::vector<CVskStr> empties(100);
        std::vector<CVskStr> copies(empties.begin(), empties.end());
        EXPECT_EQ(CVskStr().GetRefCount(), INT_MAX) << "making empty strings does not count them";
        EXPECT_EQ(StringBufferPoolBytesInUse(), inUse) << "nor does it take a buffer";
    }
    CVskStr empty;
    EXPECT_EQ(empty.GetRefCount(), INT_MAX) << "dropping them does not count them either";
    EXPECT_EQ(empty.c_str(), buffer) << "the same buffer, alive";
    EXPECT_STREQ(empty.c_str(), "");
}

TEST(StringBufferPool, AWriterOnAnEmptyStringMakesItsOwnBufferAndLeavesTheSharedOneEmpty) {
    CVskStr empty;
    CVskStr written;
    written += "x";
    EXPECT_STREQ(written.c_str(), "x");
    EXPECT_EQ(written.GetRefCount(), 1);
    EXPECT_NE(written.c_str(), empty.c_str());
    EXPECT_STREQ(empty.c_str(), "");
    vskstr::CVskStrW wideEmpty;
    vskstr::CVskStrW wide;
    wide.SubStr(0, 2);
    EXPECT_EQ(wide.Length(), 2) << "a range past the end is filled with NUL units";
    EXPECT_EQ(wideEmpty.Length(), 0);
    EXPECT_EQ(wideEmpty.c_str()[0], L'\0');
}

TEST(StringBufferPool, AStringMadeOnOneThreadIsReleasedOnAnother) {
    const std::size_t before = StringBufferPoolBytesInUse();
    auto* strings = new std::vector<CVskStr>();
    std::thread maker([&] {
        for (int i = 0; i < 5000; ++i)
            strings->emplace_back(CVskStr().Format("string %d", i));
    });
    maker.join();
    EXPECT_EQ(StringBufferPoolBytesInUse(), before + 5000 * kBufferBlock);
    std::thread releaser([&] { delete strings; });
    releaser.join();
    EXPECT_EQ(StringBufferPoolBytesInUse(), before);
}

TEST(StringBufferPool, AnEndingThreadGivesItsCachedBlocksBack) {
    // Each thread keeps up to two stacks of free blocks for itself; the
    // library gives them back when the thread ends. Were they kept, 300
    // short-lived threads would hold 300 * 100 blocks idle (about 15 chunks).
    const std::size_t reserved = StringBufferPoolBytesReserved();
    for (int t = 0; t < 300; ++t) {
        std::thread worker([] {
            std::vector<CVskStr> strings;
            for (int i = 0; i < 100; ++i)
                strings.emplace_back("short-lived");
        });
        worker.join();
    }
    EXPECT_LE(StringBufferPoolBytesReserved(), reserved + 64 * 1024);
}

// Eight threads in a ring: each makes strings, hands them to the next thread
// and releases what the previous one handed it, so that nearly every buffer
// is made on one thread and freed on another while all of them run.
class CRing {
public:
    explicit CRing(int threads) : m_queues(threads) {}

    void Hand(int to, const char* text, int number) {
        Queue& q = m_queues[to];
        std::unique_lock<std::mutex> lock(q.mutex);
        q.notFull.wait(lock, [&] { return q.strings.size() < kMaxPending; });
        // A private buffer from the start (a default string would count
        // itself on the shared empty buffer, which no two threads may do at
        // once), made and counted under the queue's lock that the receiver
        // takes too.
        char line[96];
        std::snprintf(line, sizeof line, "%s %d", text, number);
        q.strings.emplace_back(line);
        q.notEmpty.notify_one();
    }

    bool Take(int from, bool wait) {
        Queue& q = m_queues[from];
        std::unique_lock<std::mutex> lock(q.mutex);
        if (wait)
            q.notEmpty.wait(lock, [&] { return !q.strings.empty(); });
        if (q.strings.empty())
            return false;
        if (q.strings.front().Length() == 0)
            ++m_emptyTaken;
        q.strings.pop_front();
        q.notFull.notify_one();
        return true;
    }

    int EmptyTaken() const { return m_emptyTaken; }

private:
    static constexpr std::size_t kMaxPending = 1000;
    struct Queue {
        std::mutex mutex;
        std::condition_variable notFull, notEmpty;
        std::deque<CVskStr> strings;
    };
    std::vector<Queue> m_queues;
    std::atomic<int> m_emptyTaken{0};
};

TEST(StringBufferPool, EightThreadsPassingStringsEndWithHeapAndPoolWhereTheyStarted) {
    constexpr int kThreads = 8;
    constexpr int kPerThread = 50000;
    // Warm-up: the threads' runtime state and the queues' first chunks.
    {
        CRing warm(kThreads);
        warm.Hand(0, "warm", 0);
        warm.Take(0, true);
    }
    const std::size_t heapBefore = vsktest::CrtHeapBytesInUse();
    const std::size_t poolBefore = StringBufferPoolBytesInUse();
    const std::size_t reserveBefore = StringBufferPoolBytesReserved();
    {
        CRing ring(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&ring, t] {
                const int next = (t + 1) % kThreads;
                // Longer texts than the inline capacity for half of them, so
                // the texts' own heap blocks travel as well.
                const char* text = t % 2 ? "from a thread" : "from a thread with a text too long to be kept inline";
                int taken = 0;
                for (int i = 0; i < kPerThread; ++i) {
                    ring.Hand(next, text, i);
                    while (ring.Take(t, false))
                        ++taken;
                }
                while (taken < kPerThread) {
                    ring.Take(t, true);
                    ++taken;
                }
            });
        }
        for (auto& thread : threads)
            thread.join();
        EXPECT_EQ(ring.EmptyTaken(), 0);
    }
    EXPECT_EQ(StringBufferPoolBytesInUse(), poolBefore);
    const std::size_t heapAfter = vsktest::CrtHeapBytesInUse();
    const std::size_t reserveAfter = StringBufferPoolBytesReserved();
    const long long heapGrowth = static_cast<long long>(heapAfter) - static_cast<long long>(heapBefore);
    EXPECT_LT(heapGrowth, 1 << 20) << "heap bytes before " << heapBefore << ", after " << heapAfter;
    EXPECT_LT(reserveAfter - reserveBefore, std::size_t(1) << 20)
        << "pool reserve before " << reserveBefore << ", after " << reserveAfter;
    std::printf("ring of %d threads, %d strings: heap %+lld bytes, pool reserve %+ld bytes\n", kThreads,
                kThreads * kPerThread, heapGrowth, static_cast<long>(reserveAfter - reserveBefore));
}

// A program that loads and unloads the library again and again (through a
// module that makes strings on four threads) must not use up the system's
// thread-local slots, of which a process has about a thousand, nor keep the
// pool's memory or a handle of every round.
TEST(StringBufferPool, UnloadingTheLibraryGivesItsThreadLocalSlotItsMemoryAndItsHandlesBack) {
    constexpr int kRounds = 30;
    const vsktest::CProgramRun run = vsktest::RunProgram(vsktest::ProgramFolder() + "\\vsk_unload_child.exe",
                                                         std::to_string(kRounds), 120000);
    ASSERT_TRUE(run.started) << vsktest::Win32ErrorText(GetLastError());
    ASSERT_TRUE(run.ended) << "the child did not end within 120 s; it wrote:\n" << run.output;
    ASSERT_EQ(run.exitCode, 0u) << run.output;
    int slotsAfterSecond = -1, slotsAfterLast = -1, rounds = -1;
    long long heapGrowth = -1;
    int handlesAfterSecond = -1, handlesAfterLast = -2;
    for (const std::string& line : vsktest::SplitLines(run.output)) {
        std::sscanf(line.c_str(), "unload: free thread-local slots after the second round %d, after the last %d",
                    &slotsAfterSecond, &slotsAfterLast);
        std::sscanf(line.c_str(), "unload: process heap in use grew by %lld bytes over %d rounds", &heapGrowth,
                    &rounds);
        std::sscanf(line.c_str(), "unload: open handles after the second round %d, after the last %d",
                    &handlesAfterSecond, &handlesAfterLast);
    }
    ASSERT_NE(run.output.find("unload: done"), std::string::npos) << run.output;
    ASSERT_EQ(rounds, kRounds - 2) << run.output;
    EXPECT_GT(slotsAfterSecond, 0) << run.output;
    EXPECT_EQ(slotsAfterLast, slotsAfterSecond) << run.output;
    // A round that kept one pool chunk would leave 64 KiB; one that kept only
    // its threads' caches, a few hundred bytes.
    EXPECT_LT(heapGrowth, 1024) << run.output;
    EXPECT_EQ(handlesAfterLast, handlesAfterSecond) << run.output;
    std::printf("%s", run.output.c_str());
}

} // namespace
