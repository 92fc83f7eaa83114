// Unload_child.cpp - loads a module that uses the library's strings on
// several threads, and unloads it (and so the library) again, as many times
// as its argument says. It does not link the library itself. Prints how many
// thread-local slots the system can still hand out, how far the process
// heap's blocks in use grew and how many handles are open, from the end of
// the second round to the end of the last, then "unload: done"; a failure is
// printed and ends the process with exit code 1.
#include "platform/Win32.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using UseStringsFn = int (*)(int threads);

constexpr int kThreads = 4;

// Bytes of the process heap's blocks in use, walked block by block (the
// test support's count, which this program cannot link: it links the library).
long long ProcessHeapBusyBytes() {
    HANDLE heap = GetProcessHeap();
    long long bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry)) {
        if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)
            bytes += entry.cbData;
    }
    HeapUnlock(heap);
    return bytes;
}

// How many thread-local slots the system can still hand out: all taken,
// counted and given back.
int FreeThreadLocalSlots() {
    std::vector<DWORD> taken;
    for (DWORD slot; (slot = TlsAlloc()) != TLS_OUT_OF_INDEXES;)
        taken.push_back(slot);
    for (DWORD slot : taken)
        TlsFree(slot);
    return static_cast<int>(taken.size());
}

// The process's open handles, each value asked in turn (Wine's own count is
// always 0; the test support's way, which this program cannot link).
int OpenHandles() {
    int count = 0;
    for (std::uintptr_t value = 4; value < 0x10000; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags))
            ++count;
    }
    return count;
}

int Fail(const char* what) {
    std::printf("unload: %s (error %lu)\n", what, GetLastError());
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 0;
    if (rounds < 3)
        return Fail("usage: vsk_unload_child <rounds of at least 3>");
    // Measured from the end of the second round: the first loads leave
    // things behind that stay for good (the system's own), and only what
    // each further round leaves is a leak.
    long long heapAfterSecond = 0;
    int slotsAfterSecond = 0;
    int handlesAfterSecond = 0;
    int expected = -1;
    for (int round = 0; round < rounds; ++round) {
        HMODULE module = LoadLibraryA("vsk_string_user_module.dll");
        if (!module)
            return Fail("the module did not load");
        if (!GetModuleHandleA("voskellib.dll"))
            return Fail("the library did not load with the module");
        // Through void*: the system hands out every entry as one type.
        auto useStrings = reinterpret_cast<UseStringsFn>(
            reinterpret_cast<void*>(GetProcAddress(module, "VskUseStrings")));
        if (!useStrings)
            return Fail("the module has no VskUseStrings");
        const int length = useStrings(kThreads);
        if (length < 0 || (expected >= 0 && length != expected))
            return Fail("the strings came out wrong");
        expected = length;
        if (!FreeLibrary(module))
            return Fail("the module did not unload");
        if (GetModuleHandleA("voskellib.dll"))
            return Fail("the library stayed loaded after the module went");
        if (round == 1) {
            // Slots first: taking them all makes the system give the thread
            // its page of further slots, which then stays.
            slotsAfterSecond = FreeThreadLocalSlots();
            heapAfterSecond = ProcessHeapBusyBytes();
            handlesAfterSecond = OpenHandles();
        }
    }
    // Both read before the first print, whose stream buffer is heap memory.
    const int slotsAfter = FreeThreadLocalSlots();
    const long long heapGrowth = ProcessHeapBusyBytes() - heapAfterSecond;
    const int handlesAfter = OpenHandles();
    std::printf("unload: free thread-local slots after the second round %d, after the last %d\n",
                slotsAfterSecond, slotsAfter);
    std::printf("unload: process heap in use grew by %lld bytes over %d rounds\n",
                heapGrowth, rounds - 2);
    std::printf("unload: open handles after the second round %d, after the last %d\n", handlesAfterSecond,
                handlesAfter);
    std::printf("unload: done\n");
    return 0;
}
