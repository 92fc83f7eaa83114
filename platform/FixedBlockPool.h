// FixedBlockPool.h - internal: a thread-safe pool of equal-sized blocks for
// small objects made and freed at a high rate (the strings' buffers).
#pragma once

#include <atomic>
#include <cstddef>

namespace vsk::detail {

/// Hands out blocks of one size, carved from 64 KiB chunks of the process
/// heap. Chunks are kept for reuse until the process ends, so the pool's
/// reserve is the peak of blocks in use (and cached) at one time.
///
/// Each thread keeps two small stacks of free blocks of its own, found
/// through a thread-local slot read straight from the thread's environment
/// block: a block taken or freed where the thread's stacks can serve it costs
/// no locked instruction and leaves the thread's last error alone. The shared
/// free blocks are kept in batches of up to `kBatchBlocks`, so a thread whose
/// stacks run dry takes a whole batch, and one whose stacks are full gives
/// one back, in one step under the lock. A thread's stacks go back to the
/// shared batches when the thread ends (`ReleaseThreadCache`, called on
/// thread detach). A block may be freed by another thread than the one that
/// took it: it joins the freeing thread's stacks.
///
/// A pool made as a global lives as long as its module: the heap chunks, the
/// thread-local slot and the threads' caches are kept until
/// `ReleaseEverything` (which a module calls when it is unloaded; at the end
/// of the process nothing need be given back).
///
/// Unlike the public block pool, a failure is an ordinary std::bad_alloc:
/// no message box, nothing written.
///
/// Thread safety: every member may be called from any thread. The shared
/// batches are guarded by a spin lock; a waiter yields its time slice after
/// a few spins, in case the holder was preempted.
class CFixedBlockPool {
public:
    /// `blockSize` is rounded up to a multiple of 8 and at least 16 (a free
    /// block heading a batch holds three words).
    /// Constant-initialised when made as a global, so it is ready before any
    /// other global object is constructed.
    explicit constexpr CFixedBlockPool(std::size_t blockSize)
        : m_blockSize(((blockSize < kSmallestBlock ? kSmallestBlock : blockSize) + 7) & ~std::size_t(7)) {}
    CFixedBlockPool(const CFixedBlockPool&) = delete;
    CFixedBlockPool& operator=(const CFixedBlockPool&) = delete;

    /// A block of BlockSize() bytes. Errors: std::bad_alloc when no chunk can
    /// be had from the heap.
    void* Allocate() {
        if (ThreadCache* cache = CachedForThisThread(); cache && cache->loaded.head) {
            void* block = cache->loaded.Pop();
            cache->SetCount(cache->Count() - 1);
            return block;
        }
        return AllocateSlowly();
    }
    /// Gives back a block that Allocate returned. Null is ignored.
    void Free(void* block) noexcept {
        ThreadCache* cache = CachedForThisThread();
        if (cache && block && cache->loaded.count < kBatchBlocks) {
            cache->loaded.Push(block);
            cache->SetCount(cache->Count() + 1);
            return;
        }
        FreeSlowly(block);
    }
    /// Gives the calling thread's cached blocks back to the shared batches
    /// and drops its cache; the thread may use the pool again afterwards (a
    /// new cache is made). For the end of a thread.
    void ReleaseThreadCache() noexcept;

    /// Gives every chunk, every thread's cache and the thread-local slot back
    /// to the system, and leaves the pool as it was made. Every block is gone
    /// with its chunk: no block may be used afterwards, and no other thread
    /// may use the pool meanwhile. For the unloading of the pool's module.
    void ReleaseEverything() noexcept;

    std::size_t BlockSize() const { return m_blockSize; }
    /// Bytes of the blocks handed out and not yet freed (cached blocks are
    /// free). Exact when no other thread uses the pool meanwhile.
    std::size_t BytesInUse() const;
    /// Bytes of every chunk taken from the heap.
    std::size_t BytesReserved() const;

private:
    static constexpr std::size_t kSmallestBlock = 16;
    // Blocks of a full batch, and of each of a thread's two stacks.
    static constexpr long kBatchBlocks = 64;
    // The environment block holds the first 64 thread-local slots in place,
    // at this offset in a 32-bit thread.
    static constexpr unsigned long kSlotsInPlace = 64;
    static constexpr unsigned long kTlsSlotsOffset = 0xE10;

    struct FreeBlock {
        FreeBlock* next;
    };
    // The first block of every chunk links the chunks, for ReleaseEverything.
    struct ChunkHead {
        ChunkHead* next;
    };
    // The first block of a batch on the shared stack.
    struct BatchHead : FreeBlock {
        BatchHead* nextBatch;
        long count;
    };
    // A stack of free blocks and its height.
    struct Stack {
        FreeBlock* head;
        long count;

        void Push(void* block) {
            auto* freed = static_cast<FreeBlock*>(block);
            freed->next = head;
            head = freed;
            ++count;
        }
        void* Pop() {
            FreeBlock* block = head;
            head = block->next;
            --count;
            return block;
        }
    };
    struct ThreadCache {
        Stack loaded; // serves Allocate and Free
        Stack spare;  // empty, or a full stack put aside
        // Blocks of both stacks. Written by the owning thread only; read by
        // BytesInUse under the lock.
        std::atomic<long> count;
        ThreadCache* next;
        ThreadCache* previous;

        void SetCount(long value) { count.store(value, std::memory_order_relaxed); }
        long Count() const { return count.load(std::memory_order_relaxed); }
    };

    /// The calling thread's cache when it has one in a slot of its
    /// environment block, else nullptr. Read straight from the block (which
    /// the FS segment addresses) because TlsGetValue would reset the
    /// thread's last error.
    ThreadCache* CachedForThisThread() const noexcept {
        const unsigned long slot = m_slotPlusOne.load(std::memory_order_acquire) - 1;
        if (slot >= kSlotsInPlace)
            return nullptr;
        void* value;
        __asm__("movl %%fs:(%1), %0" : "=r"(value) : "r"(kTlsSlotsOffset + slot * sizeof(void*)));
        return static_cast<ThreadCache*>(value);
    }

    void* AllocateSlowly();
    void FreeSlowly(void* block) noexcept;
    void Lock() const noexcept;
    void Unlock() const noexcept;
    /// Carves a new chunk into shared batches; called with the lock held.
    bool AddChunk() noexcept;
    /// Puts `stack` on the shared batches; called with the lock held.
    void PushBatch(Stack stack) noexcept;
    /// Takes the top shared batch (a chunk is added when there is none);
    /// called with the lock held. An empty stack when no chunk can be had.
    Stack PopBatch() noexcept;
    /// The calling thread's cache, made on its first use; nullptr when no
    /// thread-local slot could be had (then every call takes the lock).
    ThreadCache* CurrentCache() noexcept;
    ThreadCache* MakeCache() noexcept;

    std::size_t m_blockSize;
    mutable std::atomic<bool> m_locked{false};
    // The thread-local slot plus 1 (0: none yet); ~0: none can be had.
    std::atomic<unsigned long> m_slotPlusOne{0};
    // Guarded by the lock.
    BatchHead* m_batches = nullptr;
    long m_blocksOut = 0; // outside the shared batches (in use or cached)
    long m_chunks = 0;
    ChunkHead* m_chunkList = nullptr;
    ThreadCache* m_caches = nullptr; // every live thread's cache
};

} // namespace vsk::detail
