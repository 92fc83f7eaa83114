// Vskmemorymanager.cpp - the fixed-size block pool.
#include "threading/Vskmemorymanager.h"

#include "platform/Win32.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Vskmemorymanager, StartUp, ExitRoutine)

namespace {

const char* const kSmallBlockText = "CMemoryManagerPool : newしたサイズがDWORDバイト未満です";
const char* const kForeignAddressText = "newしたアドレス以外をdeleteに渡した";

// Both misuses end the process on purpose: going on would corrupt the heap.
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

// The unit's own pool, built once by the start-up routine.
vsk::CMemoryManagerPool* g_internalPool = nullptr;
bool g_internalPoolReady = false;

void StartUp() {
    if (g_internalPoolReady)
        return;
    g_internalPool = new vsk::CMemoryManagerPool(16, 8180, true);
    g_internalPoolReady = true;
}

void ExitRoutine() {
    if (!g_internalPoolReady)
        return;
    delete g_internalPool;
    g_internalPool = nullptr;
    g_internalPoolReady = false;
}

} // namespace

namespace vsk {

CMemoryManagerIF::~CMemoryManagerIF() = default;

CMemoryManagerPool::CMemoryManagerPool(unsigned int blockSize, unsigned int chunkSize, bool align)
    : m_freeHead(nullptr), m_blockSize(align ? (blockSize + 3) & ~3u : blockSize), m_chunkSize(chunkSize) {
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
    if (m_handedOut.find(p) == m_handedOut.end())
        Fatal(kForeignAddressText);
    SetNext(p, m_freeHead);
    m_freeHead = p;
}

namespace detail {

bool InternalPoolReady() {
    return g_internalPoolReady;
}

void* CPooledCell::operator new(std::size_t size) {
    void* p = g_internalPoolReady ? g_internalPool->alloc(static_cast<unsigned int>(size)) : nullptr;
    if (!p)
        throw std::bad_alloc();
    return p;
}

void CPooledCell::operator delete(void* p) {
    if (g_internalPoolReady)
        g_internalPool->free(p);
}

} // namespace detail

} // namespace vsk
