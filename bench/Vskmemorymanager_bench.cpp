// Vskmemorymanager_bench.cpp - steady-state alloc/free pairs of 16-byte
// blocks from CMemoryManagerPool against malloc/free and operator
// new/delete of the same size; the memory that 1,000,000 live pooled blocks
// cost, split into chunks and the handed-out set's nodes.
// Usage: Vskmemorymanager_bench [pairs per round]
#include "threading/Vskmemorymanager.h"

#include "bench/BenchSupport.h"
#include "platform/Win32.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <set>
#include <vector>

namespace {

// Keeps the compiler from folding an allocation and its release away.
inline void Escape(void* p) {
    __asm__ __volatile__("" : : "r"(p) : "memory");
}

const unsigned int kBlock = 16;

// One block allocated and released `pairs` times, after a warm-up that puts
// the allocator in its steady state.
template <typename Alloc, typename Free>
double PairSeconds(int pairs, Alloc alloc, Free release) {
    release(alloc());
    return vskbench::BestSeconds(5, [&] {
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
    const double seconds = vskbench::BestSeconds(5, [&] {
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

void CompareSpeed(int pairs) {
    vsk::CMemoryManagerPool pool(kBlock, 8180, true);
    const double poolSeconds = PairSeconds(pairs, [&] { return pool.alloc(kBlock); }, [&](void* p) { pool.free(p); });
    const double mallocSeconds = PairSeconds(pairs, [] { return std::malloc(kBlock); }, [](void* p) { std::free(p); });
    const double newSeconds =
        PairSeconds(pairs, [] { return ::operator new(kBlock); }, [](void* p) { ::operator delete(p); });
    std::printf("%d alloc/free pairs of %u-byte blocks per round, best of 5\n", pairs, kBlock);
    vskbench::Report("pool alloc/free pair vs malloc/free", poolSeconds, mallocSeconds, 1.0, ">= 1x");
    vskbench::Report("pool alloc/free pair vs operator new/delete", poolSeconds, newSeconds, 1.0, ">= 1x");

    const int live = 1000;
    vsk::CMemoryManagerPool churnPool(kBlock, 8180, true);
    const double poolChurn =
        ChurnSeconds(pairs, live, [&] { return churnPool.alloc(kBlock); }, [&](void* p) { churnPool.free(p); });
    const double mallocChurn =
        ChurnSeconds(pairs, live, [] { return std::malloc(kBlock); }, [](void* p) { std::free(p); });
    const double newChurn =
        ChurnSeconds(pairs, live, [] { return ::operator new(kBlock); }, [](void* p) { ::operator delete(p); });
    std::printf("the same with %d live blocks, a random one released and replaced per step\n", live);
    vskbench::Report("pool churn vs malloc/free", poolChurn, mallocChurn, 1.0, ">= 1x");
    vskbench::Report("pool churn vs operator new/delete", poolChurn, newChurn, 1.0, ">= 1x");
}

// Memory of 1,000,000 live blocks: the pool's whole cost measured, the
// handed-out set's share measured as a set of the same addresses alone,
// the chunks' share as the difference; malloc for reference.
void CompareMemory() {
    const int count = 1000000;
    const double payload = double(count) * kBlock;
    std::vector<void*> blocks(count);

    const double beforePool = CommittedPrivateBytes();
    auto* pool = new vsk::CMemoryManagerPool(kBlock, 8180, true);
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
                chunkBytes / count, chunkBytes / payload, chunkBytes / payload <= 1.5 ? "met" : "NOT MET");
    vskbench::PrintResult("pool chunk bytes / payload bytes", chunkBytes / payload, "<= 1.5x",
                          chunkBytes / payload <= 1.5);
    std::printf("  malloc(16), reference %8.2f bytes per block\n", mallocBytes / count);
    // The pool's memory lives until the process ends, by design.
    delete pool;
}

} // namespace

int main(int argc, char** argv) {
    const int pairs = argc > 1 ? std::atoi(argv[1]) : 1000000;
    CompareSpeed(pairs);
    CompareMemory();
    return 0;
}
