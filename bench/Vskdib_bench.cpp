// Vskdib_bench.cpp - CVskDIB's BMP load and save and its Blt against plain
// ReadFile / WriteFile / memcpy of the same bytes, measured in one run.
// Speed ratio = baseline time / library time (above 1: library faster);
// "within 1.5x" means at least 0.67, "within 1.2x" at least 0.83. One
// absolute figure: how long the refusal of a small file that claims a huge
// bitmap takes.
#include "bench/BenchSupport.h"
#include "gui/Vskdib.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

using vskbench::Report;

// The side of the square bitmaps: 64 in the quick mode (a 4096th of the pixels).
const int kSize = vskbench::Quick() ? 64 : 4096;
// A byte inside the pixels of any bitmap of that side, read so that no side's work is left out.
const int kProbe = kSize * kSize;
volatile unsigned g_sink = 0;

std::string TempFile(const char* name) {
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    return std::string(dir) + name;
}

// Rounds alternate between the two sides, so both see the same machine load.
template <typename Library, typename Baseline>
void Compare(const char* name, int rounds, double goal, const char* goalText, Library library, Baseline baseline) {
    double libraryBest = 0, baselineBest = 0;
    vskbench::BestSecondsAlternating(rounds, library, baseline, libraryBest, baselineBest);
    Report(name, libraryBest, baselineBest, goal, goalText);
}

void LoadAndSave() {
    CVskDIB source(kSize, kSize);
    for (int y = 0; y < kSize; ++y) {
        std::memset(source.GetBits() + std::size_t(source.GetStride()) * y, y & 0xFF, std::size_t(kSize) * 3);
    }
    const std::string path = TempFile("vskdib-bench.bmp");
    source.SaveToFile(path.c_str());
    const DWORD fileSize = 54 + DWORD(source.GetStride()) * kSize;

    CVskDIB loaded;
    Compare("LoadFromFile 4096x4096 vs one ReadFile into fresh memory", 5, 1.0 / 1.5, ">= 0.67x",
            [&] {
                loaded.LoadFromFile(path.c_str());
                g_sink += loaded.GetBits()[kProbe];
            },
            [&] {
                HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
                void* memory = VirtualAlloc(nullptr, fileSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
                DWORD got = 0;
                ReadFile(file, memory, fileSize, &got, nullptr);
                CloseHandle(file);
                g_sink += static_cast<unsigned char*>(memory)[kProbe] + got;
                VirtualFree(memory, 0, MEM_RELEASE);
            });

    std::string bytes(fileSize, '\0');
    {
        HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD got = 0;
        ReadFile(file, &bytes[0], fileSize, &got, nullptr);
        CloseHandle(file);
    }
    // Both sides replace the same file, so both pay the same truncation.
    Compare("SaveToFile 4096x4096 vs one WriteFile of the same bytes", 7, 1.0 / 1.5, ">= 0.67x",
            [&] { source.SaveToFile(path.c_str()); },
            [&] {
                HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
                DWORD written = 0;
                WriteFile(file, bytes.data(), fileSize, &written, nullptr);
                CloseHandle(file);
                g_sink += written;
            });
    DeleteFileA(path.c_str());
}

void FullBlt() {
    CVskDIB source(kSize, kSize);
    CVskDIB dest(kSize, kSize);
    std::memset(source.GetBits(), 0x5A, std::size_t(source.GetStride()) * kSize);
    std::memset(dest.GetBits(), 0, std::size_t(dest.GetStride()) * kSize);
    Compare("Blt 4096x4096 vs memcpy of the same rows", 9, 1.0 / 1.2, ">= 0.83x",
            [&] {
                dest.Blt(0, 0, &source);
                g_sink += dest.GetBits()[kProbe];
            },
            [&] {
                const std::size_t row = std::size_t(kSize) * 3;
                for (int y = 0; y < kSize; ++y) {
                    std::memcpy(dest.GetBits() + std::size_t(dest.GetStride()) * y,
                                source.GetBits() + std::size_t(source.GetStride()) * y, row);
                }
                g_sink += dest.GetBits()[kProbe];
            });
}

// The 54 bytes of a BMP file that claims `width` x `height` pixels and holds
// none of them.
std::string HeadersOnly(std::int32_t width, std::int32_t height) {
    unsigned char bytes[54] = {'B', 'M'};
    const auto put32 = [&](int at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            bytes[at + i] = static_cast<unsigned char>(v >> (8 * i));
        }
    };
    put32(2, 54);
    put32(10, 54);
    put32(14, 40);
    put32(18, std::uint32_t(width));
    put32(22, std::uint32_t(height));
    bytes[26] = 1;
    bytes[28] = 24;
    return std::string(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

// A 54-byte file that claims 1 x 100,000,000 pixels (400 MB of rows), in
// both row orders: the load must refuse it in well under 20 ms, on a bitmap
// that holds one already.
void ShortFileClaimingAHugeBitmap() {
    const std::string path = TempFile("vskdib-bench-claim.bmp");
    CVskDIB dib(16, 16);
    double worstMs = 0;
    for (const std::int32_t height : {100000000, -100000000}) {
        const std::string bytes = HeadersOnly(1, height);
        HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD written = 0;
        WriteFile(file, bytes.data(), DWORD(bytes.size()), &written, nullptr);
        CloseHandle(file);
        const double seconds = BestSeconds(5, [&] {
            try {
                dib.LoadFromFile(path.c_str());
            } catch (const std::runtime_error&) {
                g_sink += 1;
            }
        });
        worstMs = std::max(worstMs, seconds * 1e3);
    }
    DeleteFileA(path.c_str());
    vskbench::PrintResult("LoadFromFile refusing a 54-byte file that claims 1x100000000, ms", worstMs,
                          "< 20 ms", worstMs < 20.0);
}

} // namespace

int main() {
    LoadAndSave();
    FullBlt();
    ShortFileClaimingAHugeBitmap();
    return vskbench::Finish(0);
}
