// FixedBlockPool.h - internal: a thread-safe pool of equal-sized blocks for
// small objects made and freed at a high rate (the strings' buffers).
#pragma once

#include <atomic>
#include <cstddef>

namespace vsk::detail {

/// Hands out blocks of one size, carved from 64 KiB chunks of the process
/// heap. A freed block goes back on the pool's free list and is the next one
/// handed out; chunks are kept for reuse until the process ends, so the
/// pool's reserve is the peak of blocks in use at one time.
///
/// Unlike the public block pool, a failure is an ordinary std::bad_alloc:
/// no message box, nothing written.
///
/// Thread safety: every member may be called from any thread; a block may be
/// freed by another thread than the one that took it. The free list is
/// guarded by a spin lock held for a push or a pop only; a waiter yields its
/// time slice after a few spins, in case the holder was preempted. (A cache
/// per thread was measured slower here: finding the thread's cache costs
/// more than the two locked instructions it saves.)
class CFixedBlockPool {
public:
    /// `blockSize` is rounded up to a multiple of 8 (and at least a pointer).
    /// Constant-initialised when made as a global, so it is ready before any
    /// other global object is constructed.
    explicit constexpr CFixedBlockPool(std::size_t blockSize)
        : m_blockSize(((blockSize < sizeof(void*) ? sizeof(void*) : blockSize) + 7) & ~std::size_t(7)) {}
    CFixedBlockPool(const CFixedBlockPool&) = delete;
    CFixedBlockPool& operator=(const CFixedBlockPool&) = delete;

    /// A block of BlockSize() bytes. Errors: std::bad_alloc when no chunk can
    /// be had from the heap.
    void* Allocate();
    /// Gives back a block that Allocate returned. Null is ignored.
    void Free(void* block) noexcept;

    std::size_t BlockSize() const { return m_blockSize; }
    /// Bytes of the blocks handed out and not yet freed.
    std::size_t BytesInUse() const;
    /// Bytes of every chunk taken from the heap.
    std::size_t BytesReserved() const;

private:
    struct FreeBlock {
        FreeBlock* next;
    };

    void Lock() const noexcept;
    void Unlock() const noexcept;
    /// Carves a new chunk into the free list; called with the lock held.
    bool AddChunk() noexcept;

    std::size_t m_blockSize;
    mutable std::atomic<bool> m_locked{false};
    // Guarded by the lock.
    FreeBlock* m_free = nullptr;
    long m_blocksInUse = 0;
    long m_chunks = 0;
};

} // namespace vsk::detail
