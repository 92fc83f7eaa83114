// Vskmemorymanager_bench.cpp - steady-state alloc/free pairs of 16-byte
// blocks from CMemoryManagerPool against its bound (the free-list step and
// the handed-out set's tree operation alone), with malloc/free and operator
// new/delete of the same size as figures; the memory that 1,000,000 live
// pooled blocks cost, split into chunks and the handed-out set's nodes.
// Usage: Vskmemorymanager_bench [pairs per round]
#include "threading/Vskmemorymanager.h"

#include "bench/BenchSupport.h"
#include "platform/Win32.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <vector>

namespace {

// Keeps the compiler from folding an allocation and its release away.
inline void Escape(void* p) {
    __asm__ __volatile__("" : : "r"(p) : "memory");
}

const unsigned int kBlock = 16;
const unsigned int kChunk = 8180;

// The bound of the pool: what its behaviour fixes for every block and
// nothing else. A block comes off a free list linked through the blocks'
// first bytes (refilled from a chunk taken with operator new) and its address
// goes into a balanced tree; a block goes back after one lookup in that tree.
// Not inlined, as the library's calls are not.
class CBoundPool {
public:
    __attribute__((noinline)) void* Alloc() {
        void* block = m_freeHead;
        if (block)
            std::memcpy(&m_freeHead, block, sizeof m_freeHead);
        else
            block = TakeChunk();
        m_handedOut.insert(block);
        return block;
    }
    __attribute__((noinline)) void Free(void* p) {
        if (m_handedOut.find(p) == m_handedOut.end())
            std::abort();
        std::memcpy(p, &m_freeHead, sizeof m_freeHead);
        m_freeHead = p;
    }

private:
    void* TakeChunk() {
        auto* chunk = static_cast<unsigned char*>(::operator new(kChunk));
        const unsigned int count = kChunk / kBlock;
        for (unsigned int i = 1; i < count; ++i) {
            void* next = i + 1 < count ? chunk + (i + 1) * kBlock : nullptr;
            std::memcpy(chunk + i * kBlock, &next, sizeof next);
        }
        m_freeHead = chunk + kBlock;
        return chunk;
    }

    void* m_freeHead = nullptr;
    std::set<void*> m_handedOut;
};

// One block allocated and released `pairs` times, after a warm-up that puts
// the allocator in its steady state.
template <typename Alloc, typename Free>
double PairSeconds(int pairs, Alloc alloc, Free release) {
    release(alloc());
    return vskbench::BestSeconds(3, [&] {
        for (int i = 0; i < pairs; ++i) {
            void* p = alloc();
            Escape(p);
            release(p);
        }
    });
}

// A working set of `live` blocks; each step releases one and allocates one
// (the pool's handed-out set then holds `live` addresses).
template <typename Alloc, typename Free>
double ChurnSeconds(int steps, int live, Alloc alloc, Free release) {
    std::vector<void*> blocks(live);
    for (void*& p : blocks)
        p = alloc();
    unsigned int state = 12345;
    const double seconds = vskbench::BestSeconds(3, [&] {
        for (int i = 0; i < steps; ++i) {
            state = state * 1103515245u + 12345u;
            void*& slot = blocks[(state >> 8) % static_cast<unsigned int>(live)];
            release(slot);
            slot = alloc();
            Escape(slot);
        }
    });
    for (void* p : blocks)
        release(p);
    return seconds;
}

// Committed private memory of the process, summed over its address space.
double CommittedPrivateBytes() {
    double total = 0;
    MEMORY_BASIC_INFORMATION info;
    auto* address = static_cast<char*>(nullptr);
    while (VirtualQuery(address, &info, sizeof info) == sizeof info) {
        if (info.State == MEM_COMMIT && info.Type == MEM_PRIVATE)
            total += static_cast<double>(info.RegionSize);
        char* next = static_cast<char*>(info.BaseAddress) + info.RegionSize;
        if (next <= address)
            break;
        address = next;
    }
    return total;
}

// The pool's time against its bound, measured in alternating rounds; both
// in one function so each side gets a fresh instance.
template <typename Measure>
void AgainstBound(const char* name, const char* boundName, int steps, const char* unit, Measure measure) {
    double library = 1e30, bound = 1e30;
    for (int round = 0; round < vskbench::Rounds(5); ++round) {
        vsk::CMemoryManagerPool pool(kBlock, kChunk, true);
        CBoundPool boundPool;
        library = std::min(library, measure([&] { return pool.alloc(kBlock); }, [&](void* p) { pool.free(p); }));
        bound = std::min(bound, measure([&] { return boundPool.Alloc(); }, [&](void* p) { boundPool.Free(p); }));
    }
    vskbench::ReportAgainstBound(name, library, boundName, bound, steps, unit);
}

void CompareSpeed(int pairs) {
    std::printf("%d alloc/free pairs of %u-byte blocks per round\n", pairs, kBlock);
    AgainstBound("pool alloc/free pair vs its bound", "  free-list pop/push + set insert/find", pairs, "pair",
                 [&](auto alloc, auto release) { return PairSeconds(pairs, alloc, release); });
    vsk::CMemoryManagerPool pool(kBlock, kChunk, true);
    const double poolSeconds = PairSeconds(pairs, [&] { return pool.alloc(kBlock); }, [&](void* p) { pool.free(p); });
    const double mallocSeconds = PairSeconds(pairs, [] { return std::malloc(kBlock); }, [](void* p) { std::free(p); });
    const double newSeconds =
        PairSeconds(pairs, [] { return ::operator new(kBlock); }, [](void* p) { ::operator delete(p); });
    vskbench::PrintMeasure("pool alloc/free pair vs malloc/free", mallocSeconds / poolSeconds,
                           "speed ratio, above 1: the pool is faster");
    vskbench::PrintMeasure("pool alloc/free pair vs operator new/delete", newSeconds / poolSeconds,
                           "speed ratio, above 1: the pool is faster");

    const int live = 1000;
    std::printf("the same with %d live blocks, a random one released and replaced per step\n", live);
    AgainstBound("pool churn vs its bound", "  free-list pop/push + set insert/find, churning", pairs, "step",
                 [&](auto alloc, auto release) { return ChurnSeconds(pairs, live, alloc, release); });
    vsk::CMemoryManagerPool churnPool(kBlock, kChunk, true);
    const double poolChurn =
        ChurnSeconds(pairs, live, [&] { return churnPool.alloc(kBlock); }, [&](void* p) { churnPool.free(p); });
    const double mallocChurn =
        ChurnSeconds(pairs, live, [] { return std::malloc(kBlock); }, [](void* p) { std::free(p); });
    const double newChurn =
        ChurnSeconds(pairs, live, [] { return ::operator new(kBlock); }, [](void* p) { ::operator delete(p); });
    vskbench::PrintMeasure("pool churn vs malloc/free", mallocChurn / poolChurn,
                           "speed ratio, above 1: the pool is faster");
    vskbench::PrintMeasure("pool churn vs operator new/delete", newChurn / poolChurn,
                           "speed ratio, above 1: the pool is faster");
}

// Memory of 1,000,000 live blocks: the pool's whole cost measured, the
// handed-out set's share measured as a set of the same addresses alone,
// the chunks' share as the difference; malloc for reference.
void CompareMemory() {
    const int count = vskbench::Count(1000000);
    const double payload = double(count) * kBlock;
    std::vector<void*> blocks(count);

    const double beforePool = CommittedPrivateBytes();
    auto* pool = new vsk::CMemoryManagerPool(kBlock, kChunk, true);
    for (void*& p : blocks)
        p = pool->alloc(kBlock);
    const double poolBytes = CommittedPrivateBytes() - beforePool;

    const double beforeSet = CommittedPrivateBytes();
    auto* set = new std::set<void*>(blocks.begin(), blocks.end());
    const double setBytes = CommittedPrivateBytes() - beforeSet;
    delete set;

    const double beforeMalloc = CommittedPrivateBytes();
    std::vector<void*> plain(count);
    for (void*& p : plain)
        p = std::malloc(kBlock);
    const double mallocBytes = CommittedPrivateBytes() - beforeMalloc;
    for (void* p : plain)
        std::free(p);

    const double chunkBytes = poolBytes - setBytes;
    std::printf("\n%d live %u-byte blocks (payload %.0f bytes)\n", count, kBlock, payload);
    std::printf("  pool, all costs       %8.2f bytes per block\n", poolBytes / count);
    std::printf("  handed-out set nodes  %8.2f bytes per block (a set of the same addresses alone)\n",
                setBytes / count);
    std::printf("  chunks                %8.2f bytes per block = %.3fx payload  goal <= 1.5x: %s\n",
                chunkBytes / count, chunkBytes / payload, vskbench::Verdict(chunkBytes / payload <= 1.5));
    vskbench::PrintResult("pool chunk bytes / payload bytes", chunkBytes / payload, "<= 1.5x",
                          chunkBytes / payload <= 1.5);
    std::printf("  malloc(16), reference %8.2f bytes per block\n", mallocBytes / count);
    // The pool's memory lives until the process ends, by design.
    delete pool;
}

} // namespace

int main(int argc, char** argv) {
    const int pairs = argc > 1 ? std::atoi(argv[1]) : vskbench::Count(1000000);
    CompareSpeed(pairs);
    CompareMemory();
    return vskbench::Finish(0);
}
