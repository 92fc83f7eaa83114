// LiveStringBytes.h - the heap and pool bytes that many short live strings
// cost, for the string benchmarks.
#pragma once

#include "bench/BenchSupport.h"
#include "foundation/internal/VskstrrefcntHooks.h"

#include <malloc.h>

#include <cstddef>
#include <cstdio>
#include <vector>

namespace vskbench {

/// Bytes of the C runtime's heap in use, each block with the heap's own
/// overhead (its header and rounding), walked block by block.
inline std::size_t CrtHeapBytesWithOverhead() {
    const HANDLE heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    std::size_t used = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry)) {
        if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)
            used += entry.cbData + entry.cbOverhead;
    }
    HeapUnlock(heap);
    return used;
}

/// Makes `count` strings with `make(i)` and keeps them all alive; then prints,
/// as a result against the goal of at most 48 bytes, what each costs beyond
/// its text: the growth of the C heap's bytes in use plus that of the string
/// pool's bytes in use, divided by the count, plus the string object itself
/// (sizeof), less the text's own bytes (`textBytes(string)`, terminator not
/// included).
template <typename String, typename Make, typename TextBytes>
void ReportBytesPerLiveString(const char* name, int count, Make make, TextBytes textBytes) {
    std::vector<String> strings;
    strings.reserve(static_cast<std::size_t>(count)); // the array is not the strings' cost
    // The pool takes its chunks from the process heap: where the C runtime's
    // heap is that same heap, the walk counts the chunks the pool takes, and
    // the pool's blocks in use would be counted twice.
    const bool poolInCrtHeap = reinterpret_cast<HANDLE>(_get_heap_handle()) == GetProcessHeap();
    const double heapBefore = double(CrtHeapBytesWithOverhead());
    const double poolBefore = double(vsk::detail::StringBufferPoolBytesInUse());
    const double reserveBefore = double(vsk::detail::StringBufferPoolBytesReserved());
    double text = 0;
    for (int i = 0; i < count; ++i) {
        strings.push_back(make(i));
        text += double(textBytes(strings.back()));
    }
    const double heap = double(CrtHeapBytesWithOverhead()) - heapBefore -
                        (poolInCrtHeap ? double(vsk::detail::StringBufferPoolBytesReserved()) - reserveBefore : 0.0);
    const double pool = double(vsk::detail::StringBufferPoolBytesInUse()) - poolBefore;
    const double overhead = (heap + pool) / count + double(sizeof(String)) - text / count;
    std::printf("%d live strings, %.2f text bytes each: heap %.2f + pool %.2f + object %u bytes each; "
                "overhead %.2f bytes; goal <= 48: %s\n",
                count, text / count, heap / count, pool / count, static_cast<unsigned>(sizeof(String)), overhead,
                Verdict(overhead <= 48.0));
    PrintResult(name, overhead, "<= 48 bytes", overhead <= 48.0);
}

} // namespace vskbench
