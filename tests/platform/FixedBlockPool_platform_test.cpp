// FixedBlockPool_platform_test.cpp - the pool of equal-sized blocks with a
// cache per thread: counts, reuse, blocks crossing threads, a thread's cache
// given back at its end, the last error left alone, and the slower ways it
// takes when the system's thread-local slots are scarce.
#include "platform/FixedBlockPool.h"
#include "platform/Win32.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

namespace {

using vsk::detail::CFixedBlockPool;

constexpr std::size_t kChunkBytes = 64 * 1024;

// The blocks of size 32 that chunks of `reserved` bytes hand out: each
// chunk's first block links the chunks.
int BlocksOf32In(std::size_t reserved) {
    return static_cast<int>(reserved / kChunkBytes * (kChunkBytes / 32 - 1));
}

std::vector<void*> TakeBlocks(CFixedBlockPool& pool, int count) {
    std::vector<void*> blocks;
    for (int i = 0; i < count; ++i)
        blocks.push_back(pool.Allocate());
    return blocks;
}

void FreeBlocks(CFixedBlockPool& pool, const std::vector<void*>& blocks) {
    for (void* block : blocks)
        pool.Free(block);
}

// Takes thread-local slots until `count` are taken or none is left, and
// gives them back when it goes.
class CTakenSlots {
public:
    explicit CTakenSlots(int count) {
        for (int i = 0; i < count; ++i) {
            const DWORD slot = TlsAlloc();
            if (slot == TLS_OUT_OF_INDEXES)
                break;
            m_slots.push_back(slot);
        }
    }
    ~CTakenSlots() {
        for (DWORD slot : m_slots)
            TlsFree(slot);
    }
    bool Exhausted() const { return TlsAlloc() == TLS_OUT_OF_INDEXES; }
    DWORD Highest() const { return m_slots.empty() ? 0 : m_slots.back(); }
    int Count() const { return static_cast<int>(m_slots.size()); }

private:
    std::vector<DWORD> m_slots;
};

TEST(FixedBlockPool, BlockSizeIsRoundedUpToEightAndAtLeastSixteen) {
    EXPECT_EQ(CFixedBlockPool(1).BlockSize(), 16u);
    EXPECT_EQ(CFixedBlockPool(16).BlockSize(), 16u);
    EXPECT_EQ(CFixedBlockPool(17).BlockSize(), 24u);
    EXPECT_EQ(CFixedBlockPool(32).BlockSize(), 32u);
}

TEST(FixedBlockPool, CountsEveryBlockInUseAndNoneOnceFreed) {
    CFixedBlockPool pool(32);
    EXPECT_EQ(pool.BytesInUse(), 0u);
    EXPECT_EQ(pool.BytesReserved(), 0u);
    const std::vector<void*> blocks = TakeBlocks(pool, 5000);
    EXPECT_EQ(pool.BytesInUse(), 5000u * 32u);
    // 2,047 blocks a chunk: three chunks hold 5,000.
    EXPECT_EQ(pool.BytesReserved(), 3 * kChunkBytes);
    const std::set<void*> distinct(blocks.begin(), blocks.end());
    EXPECT_EQ(distinct.size(), blocks.size());
    FreeBlocks(pool, blocks);
    EXPECT_EQ(pool.BytesInUse(), 0u);
}

TEST(FixedBlockPool, BlocksAreWritableToTheirLastByteWithoutTouchingTheirNeighbours) {
    CFixedBlockPool pool(24);
    std::vector<void*> blocks = TakeBlocks(pool, 3000);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        std::memset(blocks[i], static_cast<int>(i & 0xFF), pool.BlockSize());
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const auto* bytes = static_cast<const unsigned char*>(blocks[i]);
        for (std::size_t b = 0; b < pool.BlockSize(); ++b)
            ASSERT_EQ(bytes[b], i & 0xFF) << "block " << i << " byte " << b;
    }
    FreeBlocks(pool, blocks);
}

TEST(FixedBlockPool, FreedBlocksAreReusedRatherThanTheReserveGrowing) {
    CFixedBlockPool pool(32);
    FreeBlocks(pool, TakeBlocks(pool, 10000));
    const std::size_t reserved = pool.BytesReserved();
    for (int round = 0; round < 50; ++round)
        FreeBlocks(pool, TakeBlocks(pool, 10000));
    EXPECT_EQ(pool.BytesReserved(), reserved);
}

TEST(FixedBlockPool, NullIsIgnored) {
    CFixedBlockPool pool(32);
    pool.Free(nullptr);
    EXPECT_EQ(pool.BytesInUse(), 0u);
}

TEST(FixedBlockPool, BlocksTakenOnOneThreadAreFreedOnAnother) {
    CFixedBlockPool pool(32);
    std::vector<void*> blocks;
    // A thread gives its cache back at its end, as the library does for its
    // own pool when a thread detaches.
    std::thread maker([&] {
        blocks = TakeBlocks(pool, 7000);
        pool.ReleaseThreadCache();
    });
    maker.join();
    EXPECT_EQ(pool.BytesInUse(), 7000u * 32u);
    std::thread freer([&] {
        FreeBlocks(pool, blocks);
        pool.ReleaseThreadCache();
    });
    freer.join();
    EXPECT_EQ(pool.BytesInUse(), 0u);
    // Both threads' caches went back when they ended: this thread takes
    // every block of the reserve without a new chunk.
    const std::size_t reserved = pool.BytesReserved();
    FreeBlocks(pool, TakeBlocks(pool, BlocksOf32In(reserved)));
    EXPECT_EQ(pool.BytesReserved(), reserved);
}

TEST(FixedBlockPool, AThreadsCacheGoesBackWhenItIsReleased) {
    CFixedBlockPool pool(32);
    FreeBlocks(pool, TakeBlocks(pool, 100));
    const std::size_t reserved = pool.BytesReserved();
    // Another thread may take every block the shared list holds only when
    // this thread's cached blocks are back on it.
    pool.ReleaseThreadCache();
    std::thread other([&] {
        const std::vector<void*> all = TakeBlocks(pool, BlocksOf32In(reserved));
        EXPECT_EQ(pool.BytesReserved(), reserved);
        FreeBlocks(pool, all);
        pool.ReleaseThreadCache();
    });
    other.join();
    EXPECT_EQ(pool.BytesInUse(), 0u);
    // And this thread can use the pool again afterwards.
    FreeBlocks(pool, TakeBlocks(pool, 10));
    EXPECT_EQ(pool.BytesInUse(), 0u);
    pool.ReleaseThreadCache();
    pool.ReleaseThreadCache();
}

TEST(FixedBlockPool, AllBlocksOfAChunkAreHandedOutBeforeTheNextChunk) {
    CFixedBlockPool pool(32);
    std::vector<void*> blocks = TakeBlocks(pool, BlocksOf32In(kChunkBytes));
    EXPECT_EQ(pool.BytesReserved(), kChunkBytes);
    blocks.push_back(pool.Allocate());
    EXPECT_EQ(pool.BytesReserved(), 2 * kChunkBytes);
    FreeBlocks(pool, blocks);
    pool.ReleaseEverything();
}

TEST(FixedBlockPool, ReleasingEverythingGivesBackTheSlotTheCachesAndTheChunks) {
    // Every thread-local slot the system can still hand out, counted.
    const auto freeSlots = [] { return CTakenSlots(2000).Count(); };
    const auto heapInUse = vsktest::ProcessHeapBytesInUse;
    // A first pair of threads, before anything is measured: the runtime's
    // own records of threads stay for good.
    std::thread([] {}).join();
    std::thread([] {}).join();
    const int slotsBefore = freeSlots();
    const std::size_t heapBefore = heapInUse();
    {
        CFixedBlockPool pool(32);
        // Caches on this thread and on two others that have ended (nothing
        // tells a pool of its own that a thread ends: their caches stay in
        // the pool's list until everything goes).
        for (int t = 0; t < 2; ++t)
            std::thread([&pool] { FreeBlocks(pool, TakeBlocks(pool, 3000)); }).join();
        FreeBlocks(pool, TakeBlocks(pool, 5000));
        EXPECT_EQ(freeSlots(), slotsBefore - 1);
        EXPECT_GT(pool.BytesReserved(), 0u);
        pool.ReleaseEverything();
        EXPECT_EQ(pool.BytesReserved(), 0u);
        EXPECT_EQ(pool.BytesInUse(), 0u);
        EXPECT_EQ(freeSlots(), slotsBefore);
        EXPECT_EQ(heapInUse(), heapBefore);
        // The pool is as it was made: it can be used again.
        SetLastError(4242);
        FreeBlocks(pool, TakeBlocks(pool, 100));
        EXPECT_EQ(GetLastError(), 4242u);
        EXPECT_EQ(pool.BytesInUse(), 0u);
        EXPECT_EQ(pool.BytesReserved(), kChunkBytes);
        pool.ReleaseEverything();
    }
    EXPECT_EQ(freeSlots(), slotsBefore);
}

TEST(FixedBlockPool, TakingAndFreeingLeaveTheLastErrorAlone) {
    CFixedBlockPool pool(32);
    SetLastError(12345);
    // The first use makes the slot and this thread's cache.
    std::vector<void*> blocks = TakeBlocks(pool, 3000);
    EXPECT_EQ(GetLastError(), 12345u);
    SetLastError(54321);
    FreeBlocks(pool, blocks);
    EXPECT_EQ(GetLastError(), 54321u);
    SetLastError(777);
    pool.ReleaseThreadCache();
    EXPECT_EQ(GetLastError(), 777u);
}

TEST(FixedBlockPool, EightThreadsPassingBlocksEndWithNoneInUse) {
    CFixedBlockPool pool(32);
    constexpr int kThreads = 8;
    constexpr int kRounds = 200;
    constexpr int kBatch = 500;
    std::vector<std::vector<void*>> handed(kThreads);
    std::vector<HANDLE> ready(kThreads), taken(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        ready[t] = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        taken[t] = CreateEventW(nullptr, FALSE, TRUE, nullptr);
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            const int next = (t + 1) % kThreads;
            for (int round = 0; round < kRounds; ++round) {
                std::vector<void*> mine = TakeBlocks(pool, kBatch);
                for (void* block : mine)
                    *static_cast<int*>(block) = t;
                WaitForSingleObject(taken[next], INFINITE);
                handed[next] = std::move(mine);
                SetEvent(ready[next]);
                WaitForSingleObject(ready[t], INFINITE);
                std::vector<void*> received = std::move(handed[t]);
                SetEvent(taken[t]);
                for (void* block : received)
                    ASSERT_EQ(*static_cast<int*>(block), (t + kThreads - 1) % kThreads);
                FreeBlocks(pool, received);
            }
            pool.ReleaseThreadCache();
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (int t = 0; t < kThreads; ++t) {
        CloseHandle(ready[t]);
        CloseHandle(taken[t]);
    }
    EXPECT_EQ(pool.BytesInUse(), 0u);
    // At most a round's blocks per thread, taken and handed on, plus what
    // the ended threads' caches held: well under one chunk per thread more
    // than the blocks of one round in flight.
    EXPECT_LE(pool.BytesReserved(), static_cast<std::size_t>(2 * kThreads) * kChunkBytes);
}

TEST(FixedBlockPool, WithASlotBeyondTheFirstSixtyFourItStillCachesAndCounts) {
    // The slots below 64 are taken first, so the pool's own slot is a later
    // one, which the system keeps outside the environment block.
    CTakenSlots taken(70);
    if (taken.Highest() < 64) {
        GTEST_SKIP() << "the system gave only " << taken.Highest() + 1 << " thread-local slots";
    }
    CFixedBlockPool pool(32);
    SetLastError(4242);
    std::vector<void*> blocks = TakeBlocks(pool, 3000);
    EXPECT_EQ(pool.BytesInUse(), 3000u * 32u);
    FreeBlocks(pool, blocks);
    EXPECT_EQ(GetLastError(), 4242u);
    EXPECT_EQ(pool.BytesInUse(), 0u);
    std::thread other([&] {
        FreeBlocks(pool, TakeBlocks(pool, 3000));
        pool.ReleaseThreadCache();
    });
    other.join();
    EXPECT_EQ(pool.BytesInUse(), 0u);
}

TEST(FixedBlockPool, WithNoThreadLocalSlotLeftEveryCallTakesTheSharedList) {
    CTakenSlots taken(5000);
    ASSERT_TRUE(taken.Exhausted());
    CFixedBlockPool pool(32);
    SetLastError(99);
    std::vector<void*> blocks = TakeBlocks(pool, 3000);
    EXPECT_EQ(pool.BytesInUse(), 3000u * 32u);
    const std::set<void*> distinct(blocks.begin(), blocks.end());
    EXPECT_EQ(distinct.size(), blocks.size());
    FreeBlocks(pool, blocks);
    EXPECT_EQ(pool.BytesInUse(), 0u);
    const std::size_t reserved = pool.BytesReserved();
    FreeBlocks(pool, TakeBlocks(pool, 3000));
    EXPECT_EQ(pool.BytesReserved(), reserved);
    EXPECT_EQ(GetLastError(), 99u);
}

} // namespace
