// FixedBlockPool.cpp - the strings' pool of equal-sized blocks.
#include "platform/FixedBlockPool.h"

#include "platform/LastError.h"
#include "platform/Win32.h"

#include <winternl.h>

#include <cstddef>
#include <initializer_list>
#include <new>

namespace vsk::detail {

namespace {

constexpr std::size_t kChunkBytes = 64 * 1024;
// Spins before a waiter for the lock gives up its time slice: the holder is
// usually done within a few dozen cycles, but it may have been preempted.
constexpr int kSpinsBeforeYield = 64;
constexpr unsigned long kNoSlot = ~0UL;

// The inline slot read relies on the documented place of the slots.
static_assert(offsetof(TEB, TlsSlots) == 0xE10, "thread-local slots of a 32-bit environment block");

} // namespace

void CFixedBlockPool::Lock() const noexcept {
    for (int spins = 0; m_locked.exchange(true, std::memory_order_acquire);) {
        if (++spins < kSpinsBeforeYield) {
            YieldProcessor();
        } else {
            spins = 0;
            SwitchToThread();
        }
    }
}

void CFixedBlockPool::Unlock() const noexcept { m_locked.store(false, std::memory_order_release); }

void CFixedBlockPool::PushBatch(Stack stack) noexcept {
    auto* head = static_cast<BatchHead*>(stack.head);
    head->nextBatch = m_batches;
    head->count = stack.count;
    m_batches = head;
    m_blocksOut -= stack.count;
}

CFixedBlockPool::Stack CFixedBlockPool::PopBatch() noexcept {
    if (!m_batches && !AddChunk())
        return Stack{nullptr, 0};
    BatchHead* head = m_batches;
    m_batches = head->nextBatch;
    m_blocksOut += head->count;
    return Stack{head, head->count};
}

bool CFixedBlockPool::AddChunk() noexcept {
    // The process heap, not the C runtime's: the chunks are never given
    // back, and nothing must free them when the runtime unloads.
    auto* chunk = static_cast<char*>(HeapAlloc(GetProcessHeap(), 0, kChunkBytes));
    if (!chunk)
        return false;
    auto* head = reinterpret_cast<ChunkHead*>(chunk);
    head->next = m_chunkList;
    m_chunkList = head;
    const std::size_t blocks = kChunkBytes / m_blockSize;
    for (std::size_t first = 1; first < blocks; first += kBatchBlocks) {
        const std::size_t end = first + kBatchBlocks < blocks ? first + kBatchBlocks : blocks;
        Stack batch{nullptr, 0};
        for (std::size_t i = end; i-- > first;)
            batch.Push(chunk + i * m_blockSize);
        // Counted out by nobody yet: PushBatch takes the count off again.
        m_blocksOut += batch.count;
        PushBatch(batch);
    }
    ++m_chunks;
    return true;
}

CFixedBlockPool::ThreadCache* CFixedBlockPool::CurrentCache() noexcept {
    if (ThreadCache* cache = CachedForThisThread())
        return cache;
    return MakeCache();
}

CFixedBlockPool::ThreadCache* CFixedBlockPool::MakeCache() noexcept {
    // Neither finding nor making a cache may change what the caller's
    // caller reads from GetLastError.
    const CLastErrorKeeper keep;
    if (m_slotPlusOne.load(std::memory_order_acquire) == 0) {
        Lock();
        if (m_slotPlusOne.load(std::memory_order_relaxed) == 0) {
            const DWORD slot = TlsAlloc();
            m_slotPlusOne.store(slot == TLS_OUT_OF_INDEXES ? kNoSlot : slot + 1, std::memory_order_release);
        }
        Unlock();
    }
    const unsigned long slotPlusOne = m_slotPlusOne.load(std::memory_order_acquire);
    if (slotPlusOne == kNoSlot)
        return nullptr;
    const DWORD slot = slotPlusOne - 1;
    if (void* cache = TlsGetValue(slot))
        return static_cast<ThreadCache*>(cache);
    auto* cache = static_cast<ThreadCache*>(HeapAlloc(GetProcessHeap(), 0, sizeof(ThreadCache)));
    if (!cache)
        return nullptr;
    new (cache) ThreadCache{{nullptr, 0}, {nullptr, 0}, {0}, nullptr, nullptr};
    if (!TlsSetValue(slot, cache)) {
        HeapFree(GetProcessHeap(), 0, cache);
        return nullptr;
    }
    Lock();
    cache->next = m_caches;
    if (m_caches)
        m_caches->previous = cache;
    m_caches = cache;
    Unlock();
    return cache;
}

void* CFixedBlockPool::AllocateSlowly() {
    ThreadCache* cache = CurrentCache();
    if (!cache) {
        // No cache: take the top batch's first block and leave the rest.
        Lock();
        Stack batch = PopBatch();
        if (!batch.head) {
            Unlock();
            throw std::bad_alloc();
        }
        void* block = batch.Pop();
        if (batch.head)
            PushBatch(batch);
        Unlock();
        return block;
    }
    if (!cache->loaded.head) {
        if (cache->spare.head) {
            cache->loaded = cache->spare;
            cache->spare = Stack{nullptr, 0};
        } else {
            Lock();
            cache->loaded = PopBatch();
            cache->SetCount(cache->Count() + cache->loaded.count);
            Unlock();
            if (!cache->loaded.head)
                throw std::bad_alloc();
        }
    }
    void* block = cache->loaded.Pop();
    cache->SetCount(cache->Count() - 1);
    return block;
}

void CFixedBlockPool::FreeSlowly(void* block) noexcept {
    if (!block)
        return;
    ThreadCache* cache = CurrentCache();
    if (!cache) {
        Stack single{nullptr, 0};
        single.Push(block);
        Lock();
        PushBatch(single);
        Unlock();
        return;
    }
    if (cache->loaded.count >= kBatchBlocks) {
        // The loaded stack is full: it becomes the spare, and a full spare
        // goes to the shared batches first.
        if (cache->spare.head) {
            Lock();
            PushBatch(cache->spare);
            cache->SetCount(cache->Count() - cache->spare.count);
            Unlock();
        }
        cache->spare = cache->loaded;
        cache->loaded = Stack{nullptr, 0};
    }
    cache->loaded.Push(block);
    cache->SetCount(cache->Count() + 1);
}

void CFixedBlockPool::ReleaseThreadCache() noexcept {
    const unsigned long slotPlusOne = m_slotPlusOne.load(std::memory_order_acquire);
    if (slotPlusOne == 0 || slotPlusOne == kNoSlot)
        return;
    const CLastErrorKeeper keep;
    const DWORD slot = slotPlusOne - 1;
    auto* cache = static_cast<ThreadCache*>(TlsGetValue(slot));
    if (!cache)
        return;
    TlsSetValue(slot, nullptr);
    Lock();
    for (const Stack& stack : {cache->loaded, cache->spare}) {
        if (stack.head)
            PushBatch(stack);
    }
    if (cache->previous)
        cache->previous->next = cache->next;
    else
        m_caches = cache->next;
    if (cache->next)
        cache->next->previous = cache->previous;
    Unlock();
    HeapFree(GetProcessHeap(), 0, cache);
}

void CFixedBlockPool::ReleaseEverything() noexcept {
    const CLastErrorKeeper keep;
    Lock();
    while (ThreadCache* cache = m_caches) {
        m_caches = cache->next;
        HeapFree(GetProcessHeap(), 0, cache);
    }
    while (ChunkHead* chunk = m_chunkList) {
        m_chunkList = chunk->next;
        HeapFree(GetProcessHeap(), 0, chunk);
    }
    m_batches = nullptr;
    m_blocksOut = 0;
    m_chunks = 0;
    // Freeing the slot empties it in every thread, so no thread finds its
    // old cache there again.
    const unsigned long slotPlusOne = m_slotPlusOne.load(std::memory_order_relaxed);
    if (slotPlusOne != 0 && slotPlusOne != kNoSlot)
        TlsFree(slotPlusOne - 1);
    m_slotPlusOne.store(0, std::memory_order_release);
    Unlock();
}

std::size_t CFixedBlockPool::BytesInUse() const {
    Lock();
    long blocks = m_blocksOut;
    for (const ThreadCache* cache = m_caches; cache; cache = cache->next)
        blocks -= cache->Count();
    Unlock();
    return static_cast<std::size_t>(blocks) * m_blockSize;
}

std::size_t CFixedBlockPool::BytesReserved() const {
    Lock();
    const long chunks = m_chunks;
    Unlock();
    return static_cast<std::size_t>(chunks) * kChunkBytes;
}

} // namespace vsk::detail
