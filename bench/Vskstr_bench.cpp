// Vskstr_bench.cpp - CVskStr against std::string and against the C runtime's
// formatter that Format is bound to, measured in one run; the heap and pool
// bytes a short live string costs. Speed ratio = baseline time / library
// time (above 1: library faster).
#include "bench/BenchSupport.h"
#include "bench/LiveStringBytes.h"
#include "foundation/Vskstr.h"
#include "foundation/internal/VskstrrefcntHooks.h"

#include <malloc.h>

#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>
#include <string>
#include <vector>

namespace {

using vskstr::CVskStr;
using vskbench::BestSeconds;
using vskbench::Count;
using vskbench::PrintMeasure;
using vskbench::Report;

volatile int g_sink = 0;

// Bytes of the C runtime's heap in use.
std::size_t CrtHeapBytes() {
    std::size_t used = 0;
    _HEAPINFO entry{};
    while (_heapwalk(&entry) == _HEAPOK) {
        if (entry._useflag == _USEDENTRY)
            used += entry._size;
    }
    return used;
}

void CopyAndAssign() {
    const std::string bytes(1 << 20, 'x');
    const CVskStr source(bytes.data(), static_cast<int>(bytes.size()));
    const int kCopies = Count(1000);
    const double library = BestSeconds(5, [&] {
        for (int i = 0; i < kCopies; ++i) {
            CVskStr copy(source);
            CVskStr assigned;
            assigned = copy;
            g_sink += assigned.Length();
        }
    });
    const double baseline = BestSeconds(5, [&] {
        for (int i = 0; i < kCopies; ++i) {
            std::string copy(bytes);
            std::string assigned;
            assigned = copy;
            g_sink += static_cast<int>(assigned.size());
        }
    });
    Report("copy + assign of 1 MiB: CVskStr vs std::string", library, baseline, 100.0, ">= 100x");
}

// The bound of Format: the C runtime's _vsnprintf of the same line into a
// buffer of the first size Format tries (257 bytes), through a va_list as
// Format passes it. Not inlined, as Format is not.
__attribute__((noinline)) int FormatIntoBuffer(char* buffer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = _vsnprintf(buffer, 257, format, args);
    va_end(args);
    return written;
}

void FormatShortLine() {
    const int kLines = Count(100000);
    auto libraryRound = [&] {
        CVskStr line;
        for (int i = 0; i < kLines; ++i) {
            line.Format("%s=%d", "timeout", i);
            g_sink += line.Length();
        }
    };
    auto boundRound = [&] {
        char buffer[257];
        for (int i = 0; i < kLines; ++i)
            g_sink += FormatIntoBuffer(buffer, "%s=%d", "timeout", i);
    };
    double library = 0, bound = 0;
    vskbench::BestSecondsAlternating(9, libraryRound, boundRound, library, bound);
    vskbench::ReportAgainstBound("Format(\"%s=%d\") vs its bound", library, "  _vsnprintf into a 257-byte buffer",
                                 bound, kLines, "line");

    // Figures without a goal: the toolchain's snprintf is a formatter of its
    // own, not the C runtime's that Format must call, so these compare
    // different work.
    const double snprintfBaseline = BestSeconds(5, [&] {
        std::string line;
        for (int i = 0; i < kLines; ++i) {
            line.resize(256);
            line.resize(std::snprintf(&line[0], 256, "%s=%d", "timeout", i));
            g_sink += static_cast<int>(line.size());
        }
    });
    const double msvcrtBaseline = BestSeconds(5, [&] {
        std::string line;
        for (int i = 0; i < kLines; ++i) {
            line.resize(256);
            line.resize(_snprintf(&line[0], 256, "%s=%d", "timeout", i));
            g_sink += static_cast<int>(line.size());
        }
    });
    PrintMeasure("Format(\"%s=%d\") vs snprintf into std::string", snprintfBaseline / library,
                 "speed ratio; different work: the toolchain's own formatter, not the C runtime's");
    PrintMeasure("Format(\"%s=%d\") vs C runtime _snprintf into std::string", msvcrtBaseline / library,
                 "speed ratio against the C runtime's formatter writing into a standard string");
    PrintMeasure("C runtime _snprintf vs snprintf, both into std::string", snprintfBaseline / msvcrtBaseline,
                 "speed ratio: the most Format could reach against snprintf");
}

// 1 MiB of "abcdefghi," pieces: 104,858 separators.
std::string PiecesText(const char* piece = "abcdefghi,") {
    const std::size_t size = static_cast<std::size_t>(Count(1 << 20));
    std::string text;
    while (text.size() < size)
        text += piece;
    return text;
}

void ReplaceAllOneMiB() {
    const std::string text = PiecesText();
    const CVskStr source(text.c_str());
    const double library = BestSeconds(5, [&] {
        CVskStr s(source);
        s.ReplaceAll(",", ";;");
        g_sink += s.Length();
    });
    const double baseline = BestSeconds(5, [&] {
        std::string out;
        out.reserve(text.size());
        std::size_t from = 0;
        for (std::size_t p; (p = text.find(',', from)) != std::string::npos; from = p + 1) {
            out.append(text, from, p - from);
            out += ";;";
        }
        out.append(text, from, std::string::npos);
        g_sink += static_cast<int>(out.size());
    });
    Report("ReplaceAll, 1 MiB, ~100,000 matches vs one-pass std::string", library, baseline, 1.0 / 3.0,
           ">= 0.33x");
}

void SplitOneMiB(const char* name, const char* piece) {
    const std::string text = PiecesText(piece);
    const CVskStr source(text.c_str());
    // Fifteen rounds on each side: with pieces past the inline buffer both
    // sides stand near the same time, and a short run would let the
    // machine's noise decide.
    const double library = BestSeconds(15, [&] {
        std::deque<CVskStr> pieces;
        vskstr::SplitString(pieces, source, ",");
        g_sink += static_cast<int>(pieces.size());
    });
    const double baseline = BestSeconds(15, [&] {
        std::deque<std::string> pieces;
        std::size_t from = 0;
        while (from < text.size()) {
            std::size_t p = text.find(',', from);
            if (p == std::string::npos)
                p = text.size();
            pieces.push_back(text.substr(from, p - from));
            from = p + 1;
        }
        g_sink += static_cast<int>(pieces.size());
    });
    Report(name, library, baseline, 1.0, ">= 1x");
}

// What one heap allocation and release of a 25-byte piece's text costs:
// both sides of the long-piece split pay it once a piece.
void HeapPairOfAPiece() {
    const int kPairs = Count(40000);
    const double seconds = BestSeconds(15, [&] {
        for (int i = 0; i < kPairs; ++i) {
            void* text = ::operator new(25);
            g_sink += static_cast<int>(reinterpret_cast<std::uintptr_t>(text) & 1);
            ::operator delete(text);
        }
    });
    PrintMeasure("  heap allocation + release of 25 bytes", seconds / kPairs * 1e9,
                 "ns: paid once a piece on both sides of the line above");
}

// SubStr of a copy (which makes it private) and operator+ of two short
// strings: each makes one new buffer, as the standard string makes one text.
// Default strings are made and dropped at a high rate (every result and
// every member starts as one). A figure without a goal: the standard string's
// default construction compiles to nothing, which is no baseline.
void DefaultConstruction() {
    const int kStrings = Count(10000000);
    const double library = BestSeconds(5, [&] {
        for (int i = 0; i < kStrings; ++i) {
            CVskStr empty;
            g_sink += empty.Length();
        }
    });
    PrintMeasure("default construction + destruction of CVskStr, ns", library / kStrings * 1e9,
                 "one empty string made and dropped");
}

void SubStrAndConcatenation() {
    const int kCalls = Count(100000);
    const CVskStr source("C:\\Program Files\\VoskelLIB\\bin\\voskellib.dll");
    const std::string stdSource(source.c_str());
    const double subStr = BestSeconds(5, [&] {
        for (int i = 0; i < kCalls; ++i) {
            CVskStr piece(source);
            piece.SubStr(3, 13);
            g_sink += piece.Length();
        }
    });
    const double stdSubStr = BestSeconds(5, [&] {
        for (int i = 0; i < kCalls; ++i)
            g_sink += static_cast<int>(stdSource.substr(3, 13).size());
    });
    Report("SubStr(3, 13) of a copy vs std::string::substr", subStr, stdSubStr, 1.0 / 3.0, ">= 0.33x");
    const CVskStr left("name"), right("=value");
    const std::string stdLeft("name"), stdRight("=value");
    const double plus = BestSeconds(5, [&] {
        for (int i = 0; i < kCalls; ++i)
            g_sink += (left + right).Length();
    });
    const double stdPlus = BestSeconds(5, [&] {
        for (int i = 0; i < kCalls; ++i)
            g_sink += static_cast<int>((stdLeft + stdRight).size());
    });
    Report("operator+ of two short strings vs std::string", plus, stdPlus, 1.0 / 3.0, ">= 0.33x");
}

// Eight threads make 10 million strings in all, in batches of 1,000 that each
// hands to the next thread, which releases them: every buffer is made on one
// thread and freed on another. The heap and the strings' pool must end where
// they started (within 1 MiB).
void ThreadsPassingStrings() {
    constexpr int kThreads = 8;
    constexpr int kBatch = 1000;
    const int kBatchesPerThread = Count(10000000 / kThreads / kBatch);
    struct Slot {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<CVskStr>* batch = nullptr;
    };
    std::vector<Slot> slots(kThreads);
    const std::size_t heapBefore = CrtHeapBytes();
    const std::size_t poolBefore = vsk::detail::StringBufferPoolBytesInUse();
    const DWORD started = GetTickCount();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&slots, t, kBatchesPerThread] {
            Slot& mine = slots[t];
            Slot& next = slots[(t + 1) % kThreads];
            char text[64];
            for (int b = 0; b < kBatchesPerThread; ++b) {
                auto* batch = new std::vector<CVskStr>();
                batch->reserve(kBatch);
                for (int i = 0; i < kBatch; ++i) {
                    std::snprintf(text, sizeof text, i % 2 ? "batch %d" : "a longer text of batch %d, past inline", b);
                    batch->emplace_back(text);
                }
                {
                    std::unique_lock<std::mutex> lock(next.mutex);
                    next.changed.wait(lock, [&] { return next.batch == nullptr; });
                    next.batch = batch;
                    next.changed.notify_all();
                }
                std::vector<CVskStr>* received = nullptr;
                {
                    std::unique_lock<std::mutex> lock(mine.mutex);
                    mine.changed.wait(lock, [&] { return mine.batch != nullptr; });
                    received = mine.batch;
                    mine.batch = nullptr;
                    mine.changed.notify_all();
                }
                delete received;
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    const DWORD elapsed = GetTickCount() - started;
    const long long heapGrowth = static_cast<long long>(CrtHeapBytes()) - static_cast<long long>(heapBefore);
    const long long poolGrowth =
        static_cast<long long>(vsk::detail::StringBufferPoolBytesInUse()) - static_cast<long long>(poolBefore);
    std::printf("%d threads passing %d strings: %lu ms; heap %+lld bytes, pool in use %+lld bytes, "
                "pool reserve %lu bytes\n",
                kThreads, kThreads * kBatchesPerThread * kBatch, static_cast<unsigned long>(elapsed), heapGrowth, poolGrowth,
                static_cast<unsigned long>(vsk::detail::StringBufferPoolBytesReserved()));
    const double growth = static_cast<double>(heapGrowth + poolGrowth);
    vskbench::PrintResult("10M strings over 8 threads: heap + pool bytes after - before", growth, "<= 1048576",
                          growth <= 1048576.0);
}

// 100,000 strings of 1 to 15 bytes, all alive at once.
void LiveShortStrings() {
    vskbench::ReportBytesPerLiveString<CVskStr>(
        "100,000 live strings of 1-15 bytes: overhead bytes a string", Count(100000),
        [](int i) { return CVskStr("abcdefghijklmno", 1 + i % 15); },
        [](const CVskStr& s) { return s.Length(); });
}

} // namespace

int main() {
    std::printf("CVskStr benchmarks (speed ratio = baseline time / library time)\n");
    LiveShortStrings();
    CopyAndAssign();
    DefaultConstruction();
    FormatShortLine();
    ReplaceAllOneMiB();
    SubStrAndConcatenation();
    SplitOneMiB("SplitString, 1 MiB into ~100,000 pieces vs std::string::find", "abcdefghi,");
    // Pieces too long for std::string's inline buffer: both sides allocate
    // once per piece, which shows what the short-piece ratio is made of.
    SplitOneMiB("  (same, 25-byte pieces, ~40,000 of them)", "abcdefghijklmnopqrstuvwx,");
    HeapPairOfAPiece();
    ThreadsPassingStrings();
    return vskbench::Finish(0);
}
