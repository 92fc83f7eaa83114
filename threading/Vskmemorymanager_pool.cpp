// Vskmemorymanager_pool.cpp - part of unit Vskmemorymanager: the block pool
// itself. It needs nothing else of the library, so that a debug build of it
// (with the check of a second free) can be linked into a program on its own.
#include "threading/Vskmemorymanager.h"

#include "platform/Win32.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

const char* const kSmallBlockText = "CMemoryManagerPool : newしたサイズがDWORDバイト未満です";
const char* const kForeignAddressText = "newしたアドレス以外をdeleteに渡した";
#ifndef NDEBUG
const char* const kSecondFreeText = "deleteしたアドレスをもう一度deleteに渡した";
#endif

// Every misuse ends the process on purpose: going on would corrupt the heap.
[[noreturn]] void Fatal(const char* text) {
    MessageBoxA(nullptr, text, nullptr, MB_OK);
    std::exit(1);
}

// Free blocks link through their first four bytes. A block of an unaligned
// size may hold its link at an unaligned address, hence memcpy.
void* NextOf(void* block) {
    void* next;
    std::memcpy(&next, block, sizeof next);
    return next;
}

void SetNext(void* block, void* next) {
    std::memcpy(block, &next, sizeof next);
}

} // namespace

namespace vsk {

CMemoryManagerIF::~CMemoryManagerIF() = default;

CMemoryManagerPool::CMemoryManagerPool(unsigned int blockSize, unsigned int chunkSize, bool align)
    : m_freeHead(nullptr), m_blockSize(align ? (blockSize + 3) & ~3u : blockSize), m_chunkSize(chunkSize),
      m_lastFreed(nullptr) {
    // Checked before rounding: the caller asked for less than a link's room.
    if (blockSize < 4)
        Fatal(kSmallBlockText);
}

CMemoryManagerPool::~CMemoryManagerPool() = default;

void* CMemoryManagerPool::alloc(unsigned int size) {
    if (size > m_blockSize)
        return ::operator new(size, std::nothrow);
    void* block = m_freeHead;
    if (block) {
        m_freeHead = NextOf(block);
        // The block freed last was found in the handed-out set then, and the
        // set never loses an address: inserting it again would change nothing.
        if (block == m_lastFreed)
            return block;
    } else {
        block = TakeChunk();
        if (!block)
            return nullptr;
    }
    try {
        m_handedOut.insert(block);
    } catch (...) {
        // No room to remember it: the block goes back, the caller sees the failure.
        SetNext(block, m_freeHead);
        m_freeHead = block;
        throw;
    }
    return block;
}

// A new chunk: block 0 is the caller's, blocks 1 .. count-1 become the free
// list in address order. Chunks are never returned.
void* CMemoryManagerPool::TakeChunk() {
    auto* chunk = static_cast<unsigned char*>(::operator new(m_chunkSize, std::nothrow));
    if (!chunk)
        return nullptr;
    const unsigned int count = m_chunkSize / m_blockSize;
    if (count >= 2) {
        for (unsigned int i = 1; i + 1 < count; ++i)
            SetNext(chunk + i * m_blockSize, chunk + (i + 1) * m_blockSize);
        SetNext(chunk + (count - 1) * m_blockSize, nullptr);
        m_freeHead = chunk + m_blockSize;
    }
    return chunk;
}

void CMemoryManagerPool::free(void* p) {
    if (!p)
        return;
    // The address taken back last is in the set already (see alloc).
    if (p != m_lastFreed && m_handedOut.find(p) == m_handedOut.end())
        Fatal(kForeignAddressText);
#ifndef NDEBUG
    // A debug build catches the second free of the block freed last: it
    // still heads the free list, which a block handed out again never does.
    // A block freed twice with others in between is not caught.
    if (p == m_freeHead)
        Fatal(kSecondFreeText);
#endif
    SetNext(p, m_freeHead);
    m_freeHead = p;
    m_lastFreed = p;
}

} // namespace vsk
