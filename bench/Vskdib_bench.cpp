// Vskdib_bench.cpp - CVskDIB's BMP load and save and its Blt against plain
// ReadFile / WriteFile / memcpy of the same bytes, measured in one run.
// Speed ratio = baseline time / library time (above 1: library faster);
// "within 1.5x" means at least 0.67, "within 1.2x" at least 0.83.
#include "bench/BenchSupport.h"
#include "gui/Vskdib.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
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

} // namespace

int main() {
    LoadAndSave();
    FullBlt();
    return vskbench::Finish(0);
}
