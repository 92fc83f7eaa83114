// FixedBlockPool.cpp - the strings' pool of equal-sized blocks.
#include "platform/FixedBlockPool.h"

#include "platform/Win32.h"

#include <new>

namespace vsk::detail {

namespace {

constexpr std::size_t kChunkBytes = 64 * 1024;
// Spins before a waiter for the lock gives up its time slice: the holder is
// usually done within a few dozen cycles, but it may have been preempted.
constexpr int kSpinsBeforeYield = 64;

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

bool CFixedBlockPool::AddChunk() noexcept {
    // The process heap, not the C runtime's: the chunks are never given
    // back, and nothing must free them when the runtime unloads.
    auto* chunk = static_cast<char*>(HeapAlloc(GetProcessHeap(), 0, kChunkBytes));
    if (!chunk)
        return false;
    for (std::size_t i = kChunkBytes / m_blockSize; i-- > 0;) {
        auto* block = reinterpret_cast<FreeBlock*>(chunk + i * m_blockSize);
        block->next = m_free;
        m_free = block;
    }
    ++m_chunks;
    return true;
}

void* CFixedBlockPool::Allocate() {
    Lock();
    if (!m_free && !AddChunk()) {
        Unlock();
        throw std::bad_alloc();
    }
    FreeBlock* block = m_free;
    m_free = block->next;
    ++m_blocksInUse;
    Unlock();
    return block;
}

void CFixedBlockPool::Free(void* p) noexcept {
    if (!p)
        return;
    auto* block = static_cast<FreeBlock*>(p);
    Lock();
    block->next = m_free;
    m_free = block;
    --m_blocksInUse;
    Unlock();
}

std::size_t CFixedBlockPool::BytesInUse() const {
    Lock();
    const long blocks = m_blocksInUse;
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
