// Vskmemorymanager.h - the fixed-size block pool.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <cstddef>
#include <set>

VSK_DECLARE_UNIT(Vskmemorymanager)

namespace vsk {

/// A memory manager behind one pointer type, so that callers can swap the
/// allocation strategy.
class VSK_API CMemoryManagerIF {
public:
    virtual ~CMemoryManagerIF();
    /// A block of at least `size` bytes, or null.
    virtual void* alloc(unsigned int size) = 0;
    /// Takes back a block that alloc returned; null is ignored.
    virtual void free(void* p) = 0;
};

/// Hands out blocks of one fixed size from chunks taken with the global
/// operator new, and takes them back onto a free list (last freed, first
/// reused). A free block holds the address of the next free block in its
/// first four bytes, hence the minimum block size of 4.
///
/// Example (block size 16, chunk size 8180): the first alloc(16) takes one
/// chunk and returns its first block; the next 510 come from the same chunk in
/// address order (the 4 bytes at the chunk's end are never used); the 512th
/// takes a second chunk. After free(p), alloc(16) returns p again.
///
/// The pool remembers every address it has ever handed out. free() of any
/// other address shows the message box "newしたアドレス以外をdeleteに渡した"
/// and ends the process with exit(1): a wrong address is treated as heap
/// corruption that must not go on.
///
/// A second free() of the same block is not detected (in a release build):
/// the block goes on the free list twice and the list loops back to it.
/// After free(p); free(p), every alloc() that fits the block size returns p;
/// once the caller has written into p's first four bytes, those bytes are
/// the list's next link, so the alloc() after the next one returns them as
/// a block address (and the one after that reads through them). A debug
/// build (NDEBUG not defined) catches the second free of the block freed
/// last, which still heads the free list: it shows the message box
/// "deleteしたアドレスをもう一度deleteに渡した" and ends the process with
/// exit(1), like the other misuses. A block freed twice with other frees in
/// between is not caught.
///
/// Lifetime: chunks are never given back to the heap, not even by the
/// destructor; the pool only grows, and its blocks stay valid until the
/// process ends.
///
/// Thread safety: none; the pool takes no lock. One thread at a time, or the
/// owner guards it.
class VSK_API CMemoryManagerPool : public CMemoryManagerIF {
public:
    /// Blocks of `blockSize` bytes, rounded up to a multiple of 4 when `align`
    /// is true; `chunkSize` bytes are taken from the heap whenever the free
    /// list is empty, and must be at least one block (not checked). No chunk
    /// is taken yet.
    /// Errors: a `blockSize` below 4 (before rounding) shows the message box
    /// "CMemoryManagerPool : newしたサイズがDWORDバイト未満です" and ends the
    /// process with exit(1).
    CMemoryManagerPool(unsigned int blockSize, unsigned int chunkSize, bool align);
    /// Forgets the handed-out addresses; the chunks stay allocated.
    ~CMemoryManagerPool() override;
    CMemoryManagerPool(const CMemoryManagerPool&) = delete;
    CMemoryManagerPool& operator=(const CMemoryManagerPool&) = delete;

    /// A pooled block when `size` fits the block size; otherwise a plain heap
    /// block from operator new(size), which the pool does not track and which
    /// must be released with operator delete, never with free().
    /// Errors: null when the heap cannot give the chunk (or the plain block).
    /// Remembering a handed-out block needs memory too: when that fails, the
    /// block goes back on the free list and std::bad_alloc passes through.
    void* alloc(unsigned int size) override;

    /// Puts a block that alloc handed out back on the free list; null is
    /// ignored. A block that is free already goes on the list again (see the
    /// class: the list then loops).
    /// Errors: any other address shows the message box
    /// "newしたアドレス以外をdeleteに渡した" and ends the process with exit(1);
    /// in a debug build, so does a second free of the block freed last, with
    /// "deleteしたアドレスをもう一度deleteに渡した".
    void free(void* p) override;

    /// The size of every pooled block, after rounding.
    unsigned int BlockSize() const { return m_blockSize; }
    /// The bytes taken from the heap per chunk.
    unsigned int ChunkSize() const { return m_chunkSize; }

private:
    void* TakeChunk();

    void* m_freeHead;
    unsigned int m_blockSize;
    unsigned int m_chunkSize;
    std::set<void*> m_handedOut;
    // The address that free() took back last, known to be in m_handedOut:
    // alloc() hands it out again (blocks are reused last freed first), and
    // free() takes it back again, without a second walk of the tree.
    void* m_lastFreed;
};

namespace detail {

/// True between the unit's start-up and exit routines: the unit's own pool
/// (16-byte blocks, 8180-byte chunks, aligned) exists.
VSK_API bool InternalPoolReady();

/// A 16-byte record whose new and delete go to the unit's own pool, for code
/// that keeps many small records alive at once.
///
/// Errors: new throws std::bad_alloc while the unit is not started or when
/// the pool cannot take a chunk.
/// Lifetime: every cell is deleted while the unit that made it is running; a
/// delete after the unit's exit routine does nothing (the chunk stays
/// allocated until the process ends).
/// Thread safety: none, as the pool's: one thread at a time.
class VSK_API CPooledCell {
public:
    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    unsigned int words[4] = {};
};

} // namespace detail

} // namespace vsk
