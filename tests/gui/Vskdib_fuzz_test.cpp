// Vskdib_fuzz_test.cpp - CVskDIB given mutated corpus files: every load ends in the bitmap or in the documented error, never a crash.
#include "tests/gui/VskdibTestSupport.h"

using namespace vskdibtest;

// ---- bad input: mutated corpus files ------------------------------------------

namespace {

// What the loader must do with `bytes`: the rows it must hold (top-down,
// stride bytes each) when it loads, or nothing when it must throw.
struct CExpected {
    bool loads = false;
    int width = 0;
    int height = 0;
    std::string rows;
};

CExpected ExpectedLoad(const std::string& bytes) {
    CExpected e;
    if (bytes.size() < 54 || bytes[0] != 'B' || bytes[1] != 'M') {
        return e;
    }
    const auto u16 = [&](std::size_t at) {
        return unsigned(static_cast<unsigned char>(bytes[at])) | (unsigned(static_cast<unsigned char>(bytes[at + 1])) << 8);
    };
    if (u16(28) != 24) {
        return e;
    }
    const std::int32_t width = static_cast<std::int32_t>(GetU32(bytes, 18));
    const std::int32_t height = static_cast<std::int32_t>(GetU32(bytes, 22));
    if (width <= 0 || height == 0 || height == INT32_MIN) {
        return e;
    }
    const std::int64_t rowsCount = height < 0 ? -std::int64_t(height) : height;
    const std::int64_t stride = (std::int64_t(width) * 3 + 3) & ~std::int64_t(3);
    if (stride > 0x7FFFFFFF / rowsCount || 54 + stride * rowsCount > std::int64_t(bytes.size())) {
        return e;
    }
    e.loads = true;
    e.width = width;
    e.height = static_cast<int>(rowsCount);
    e.rows.resize(std::size_t(stride * rowsCount));
    for (std::int64_t i = 0; i < rowsCount; ++i) {
        const std::int64_t y = height > 0 ? rowsCount - 1 - i : i;
        e.rows.replace(std::size_t(y * stride), std::size_t(stride), bytes, std::size_t(54 + i * stride),
                       std::size_t(stride));
    }
    return e;
}

class CRandom {
public:
    explicit CRandom(std::uint32_t seed) : m_state(seed ? seed : 1) {}
    std::uint32_t Next() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state;
    }
    std::uint32_t Below(std::uint32_t n) { return Next() % n; }

private:
    std::uint32_t m_state;
};

// Widths and heights that stress the size arithmetic. Every huge value makes
// the pixel memory larger than 2 GiB with any width/height of the seeds, or
// wraps stride * height past 32 bits, so that no case allocates and touches
// gigabytes only to fail on the short file. Tall allocatable heights cost a
// page fault per row, so heights stay small or impossible.
const std::int32_t kOddWidths[] = {0,          1,          -1,         2,          3,          7,         -7,
                                   64,         -64,        4096,       -4096,      65536,      100000,    -100000,
                                   3000000,    0x7FFFFFFF, INT32_MIN,  -0x7FFFFFFF, 0x40000000, 0x55555556, 0x2AAAAAAB};
const std::int32_t kOddHeights[] = {0,          1,          -1,         2,           3,          7,
                                    -7,         64,         -64,        4096,        -4096,      0x7FFFFFFF,
                                    INT32_MIN,  -0x7FFFFFFF, 0x40000000, 0x20000000, -0x20000000, 0x80000001u - 0x100000000ll};

std::string Mutate(std::string bytes, CRandom& random) {
    const int mutations = 1 + int(random.Below(3));
    for (int m = 0; m < mutations; ++m) {
        switch (random.Below(8)) {
        case 0:
        case 1: { // bit flip in the headers (but the size fields, see below)
            if (bytes.empty()) {
                break;
            }
            std::size_t at = random.Below(std::uint32_t(std::min<std::size_t>(bytes.size(), 54)));
            if (at >= 18 && at < 26) {
                at -= 8;
            }
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.Below(8)));
            break;
        }
        case 2: { // bit flip anywhere past the size fields
            if (bytes.size() <= 26) {
                break;
            }
            const std::size_t at = 26 + random.Below(std::uint32_t(bytes.size() - 26));
            bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.Below(8)));
            break;
        }
        case 3: // truncation
            bytes.resize(random.Below(std::uint32_t(bytes.size() + 1)));
            break;
        case 4: // odd width
        case 5: { // odd height
            if (bytes.size() < 26) {
                break;
            }
            const bool width = random.Below(2) == 0;
            std::int32_t value = width ? kOddWidths[random.Below(sizeof kOddWidths / sizeof kOddWidths[0])]
                                       : kOddHeights[random.Below(sizeof kOddHeights / sizeof kOddHeights[0])];
            if (random.Below(4) == 0) {
                value = std::int32_t(random.Below(300)) - 150;
            }
            PutU32(bytes, width ? 18 : 22, std::uint32_t(value));
            break;
        }
        case 6: { // bits per pixel
            if (bytes.size() < 30) {
                break;
            }
            static const unsigned depths[] = {0, 1, 4, 8, 16, 24, 24, 24, 32, 48, 0xFFFF, 0x18 | 0x100};
            PutU16(bytes, 28, depths[random.Below(sizeof depths / sizeof depths[0])]);
            break;
        }
        default: { // stride * height past 32 bits, or extra bytes at the end
            if (bytes.size() >= 26 && random.Below(2) == 0) {
                static const std::int32_t pairs[][2] = {
                    {0x10000, 0x5556}, {0x10000, -0x5556}, {0x55555556, 1}, {0x2AAAAAAB, 2},
                    {1431655766, -3},  {46341, 46341},     {0x4000, 0x40000}};
                const auto& pair = pairs[random.Below(sizeof pairs / sizeof pairs[0])];
                PutU32(bytes, 18, std::uint32_t(pair[0]));
                PutU32(bytes, 22, std::uint32_t(pair[1]));
            } else {
                bytes.append(random.Below(64), static_cast<char>(random.Next()));
            }
            break;
        }
        }
    }
    return bytes;
}

// Replaces the contents of `path`, which holds `oldSize` bytes, with
// `bytes`. Rewriting in place and cutting the file at the end only when it
// shrinks is about 25 times faster under Wine than opening with truncation,
// which dominates a fuzz run otherwise.
void RewriteFile(const std::string& path, const std::string& bytes, std::size_t oldSize) {
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("cannot open " + path + ": " + vsktest::Win32ErrorText(GetLastError()));
    }
    DWORD written = 0;
    const bool ok = (bytes.empty() || (WriteFile(file, bytes.data(), DWORD(bytes.size()), &written, nullptr) &&
                                       written == bytes.size())) &&
                    (bytes.size() >= oldSize || SetEndOfFile(file));
    const DWORD error = GetLastError();
    CloseHandle(file);
    if (!ok) {
        throw std::runtime_error("cannot write " + path + ": " + vsktest::Win32ErrorText(error));
    }
}

int EnvInt(const char* name, int fallback) {
    char value[32];
    const DWORD length = GetEnvironmentVariableA(name, value, sizeof value);
    return (length > 0 && length < sizeof value) ? std::atoi(value) : fallback;
}

} // namespace

// What one fuzzing thread saw.
struct CFuzzRun {
    int loaded = 0;
    std::vector<std::string> failures;
};

// `cases` mutated files, each written to `path` and loaded into one bitmap
// object; the seed makes the run repeatable.
CFuzzRun RunFuzzCases(const std::vector<std::string>& seeds, std::uint32_t seed, int cases, const std::string& path) {
    CFuzzRun run;
    CRandom random(seed);
    CVskDIB dib;
    std::size_t fileSize = ~std::size_t(0); // unknown: the first rewrite cuts
    for (int i = 0; i < cases && run.failures.size() <= 10; ++i) {
        const std::string bytes = Mutate(seeds[random.Below(std::uint32_t(seeds.size()))], random);
        RewriteFile(path, bytes, fileSize);
        fileSize = bytes.size();
        const CExpected expected = ExpectedLoad(bytes);
        std::string error = "<no exception>";
        try {
            dib.LoadFromFile(path.c_str());
        } catch (const std::runtime_error& e) {
            error = e.what();
        } catch (const std::exception& e) {
            error = std::string("<other exception> ") + e.what();
        }
        bool ok;
        if (expected.loads) {
            ok = error == "<no exception>" && dib.GetWidth() == expected.width && dib.GetHeight() == expected.height &&
                 std::size_t(dib.GetStride()) * dib.GetHeight() == expected.rows.size() &&
                 std::memcmp(dib.GetBits(), expected.rows.data(), expected.rows.size()) == 0;
            run.loaded += ok ? 1 : 0;
        } else {
            ok = error == kLoadError;
        }
        if (!ok) {
            std::ostringstream message;
            message << "seed " << seed << " case " << i << " (" << bytes.size() << " bytes, width "
                    << (bytes.size() >= 22 ? std::int32_t(GetU32(bytes, 18)) : 0) << ", height "
                    << (bytes.size() >= 26 ? std::int32_t(GetU32(bytes, 22)) : 0) << "): expected "
                    << (expected.loads ? "a load" : "a throw") << ", got " << error;
            run.failures.push_back(message.str());
        }
    }
    return run;
}

std::vector<std::string> FuzzSeeds() {
    const char* seedNames[] = {"extra/rgb24-1x1.bmp",  "extra/rgb24-4x3.bmp",         "extra/rgb24-5x2.bmp",
                               "extra/rgb24-17x9.bmp", "extra/rgb24-topdown-7x5.bmp", "g/rgb24.bmp",
                               "g/pal8.bmp",           "g/rgb32.bmp",                 "q/rgb24rle24.bmp"};
    std::vector<std::string> seeds;
    for (const char* name : seedNames) {
        seeds.push_back(ReadFileBytes(CorpusFile(name)));
    }
    return seeds;
}

// The worker side of the fuzz test: a copy of this program started by the
// test runs its share and writes the number loaded, then one line per
// failure, to the result file.
const char kWorkerSeed[] = "VSK_FUZZ_WORKER_SEED";
const char kWorkerCases[] = "VSK_FUZZ_WORKER_CASES";
const char kWorkerResult[] = "VSK_FUZZ_WORKER_RESULT";

std::string EnvText(const char* name) {
    char value[MAX_PATH * 2];
    const DWORD length = GetEnvironmentVariableA(name, value, sizeof value);
    return (length > 0 && length < sizeof value) ? std::string(value, length) : std::string();
}

void RunAsFuzzWorker() {
    const std::string resultPath = EnvText(kWorkerResult);
    const CFuzzRun run = RunFuzzCases(FuzzSeeds(), std::uint32_t(std::strtoul(EnvText(kWorkerSeed).c_str(), nullptr, 10)),
                                      EnvInt(kWorkerCases, 0), resultPath + ".bmp");
    std::ofstream out(resultPath, std::ios::binary);
    out << run.loaded << "\n";
    for (const std::string& failure : run.failures) {
        out << failure << "\n";
    }
}

// Starts a copy of this program that runs `cases` cases from `seed` as a
// worker; its own output goes nowhere. Returns the process handle or null.
HANDLE StartFuzzWorker(std::uint32_t seed, int cases, const std::string& resultPath) {
    char exe[MAX_PATH];
    GetModuleFileNameA(nullptr, exe, MAX_PATH);
    std::string commandLine = std::string("\"") + exe + "\" --gtest_filter=CVskDIBFuzz.* --gtest_color=no";
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const HANDLE nul = CreateFileA("NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                                   OPEN_EXISTING, 0, nullptr);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nul;
    startup.hStdOutput = nul;
    startup.hStdError = nul;
    SetEnvironmentVariableA(kWorkerSeed, std::to_string(seed).c_str());
    SetEnvironmentVariableA(kWorkerCases, std::to_string(cases).c_str());
    SetEnvironmentVariableA(kWorkerResult, resultPath.c_str());
    PROCESS_INFORMATION info{};
    const BOOL started = CreateProcessA(exe, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info);
    SetEnvironmentVariableA(kWorkerSeed, nullptr);
    SetEnvironmentVariableA(kWorkerCases, nullptr);
    SetEnvironmentVariableA(kWorkerResult, nullptr);
    CloseHandle(nul);
    if (!started) {
        return nullptr;
    }
    CloseHandle(info.hThread);
    return info.hProcess;
}

// The cases are shared by this process and kFuzzWorkers copies of it, so
// that a run uses both cores of a CI machine: a process spends about half its
// time waiting for the Wine server, and two threads of one process gain
// little, since the process's own locks (the heap's, GDI's) serialise them.
constexpr int kFuzzWorkers = 3;

// What a worker reported, or an explanation of why it reported nothing.
struct CWorkerOutcome {
    CFuzzRun run;
    std::string problem;
};

CWorkerOutcome FinishFuzzWorker(HANDLE worker, const std::string& resultPath) {
    CWorkerOutcome outcome;
    const DWORD waited = WaitForSingleObject(worker, 15 * 60 * 1000);
    DWORD exitCode = 0;
    GetExitCodeProcess(worker, &exitCode);
    if (waited != WAIT_OBJECT_0) {
        TerminateProcess(worker, 1);
        outcome.problem = "did not finish";
    } else if (exitCode != 0) {
        outcome.problem = "exited with " + std::to_string(exitCode);
    }
    CloseHandle(worker);
    std::ifstream result(resultPath, std::ios::binary);
    outcome.run.loaded = -1;
    if (!(result >> outcome.run.loaded) && outcome.problem.empty()) {
        outcome.problem = "wrote no result";
    }
    std::string line;
    std::getline(result, line);
    while (std::getline(result, line)) {
        outcome.run.failures.push_back(line);
    }
    return outcome;
}

TEST(CVskDIBFuzz, MutatedCorpusFilesLoadExactlyOrThrow) {
    VSK_REQUIRE_CORPUS();
    if (!EnvText(kWorkerResult).empty()) {
        RunAsFuzzWorker();
        return;
    }
    const std::vector<std::string> seeds = FuzzSeeds();
    const int cases = EnvInt("VSK_FUZZ_CASES", 100000);
    const std::uint32_t seed = std::uint32_t(EnvInt("VSK_FUZZ_SEED", int(GetTickCount() | 1)));
    constexpr int kShares = kFuzzWorkers + 1;
    std::printf("fuzz: %d cases in %d processes, seeds %u to %u (VSK_FUZZ_SEED, VSK_FUZZ_CASES repeat or resize "
                "a run)\n",
                cases, kShares, seed, seed + kFuzzWorkers);
    CTempDir dir;
    const DWORD start = GetTickCount();
    std::vector<HANDLE> workers;
    for (int w = 1; w <= kFuzzWorkers; ++w) {
        const HANDLE worker = StartFuzzWorker(seed + w, cases / kShares, dir.File("worker" + std::to_string(w) + ".txt"));
        if (!worker) {
            ADD_FAILURE() << "cannot start a worker: " << vsktest::Win32ErrorText(GetLastError());
        }
        workers.push_back(worker);
    }
    const CFuzzRun own = RunFuzzCases(seeds, seed, cases - kFuzzWorkers * (cases / kShares), dir.File("fuzz.bmp"));
    int loaded = own.loaded;
    for (const std::string& failure : own.failures) {
        ADD_FAILURE() << failure;
    }
    for (int w = 1; w <= kFuzzWorkers; ++w) {
        if (!workers[w - 1]) {
            continue;
        }
        const CWorkerOutcome outcome = FinishFuzzWorker(workers[w - 1], dir.File("worker" + std::to_string(w) + ".txt"));
        EXPECT_EQ(outcome.problem, "") << "worker with seed " << seed + w;
        loaded += outcome.run.loaded > 0 ? outcome.run.loaded : 0;
        for (const std::string& failure : outcome.run.failures) {
            ADD_FAILURE() << "worker: " << failure;
        }
    }
    std::printf("fuzz: %d cases in %lu ms, %d loaded, the rest threw CVskDIB::LoadFromFile()\n", cases,
                static_cast<unsigned long>(GetTickCount() - start), loaded);
    EXPECT_GT(loaded, cases / 50);
}

TEST(CVskDIBCopy, AssignmentFromAnUncreatableSizeThrows) {
    // A source whose last creation failed still records its size.
    CVskDIB source(2, 2);
    ASSERT_FALSE(source.CreateBitmap(70000, 70000));
    CVskDIB dest(3, 3);
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dest = source; }),
              "\x43\x56\x73\x6B\x44\x49\x42\x3A\x3A\x6F\x70\x65\x72\x61\x74\x6F\x72\x3D\x28\x29");
    EXPECT_EQ(dest.GetBits(), nullptr);
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { CVskDIB copy(source); }), "CVskDIB::operator=()");
}

TEST(CVskDIBCopy, AssignmentLeavesOtherGdiObjectsAlone) {
    // Destroy keeps the released handle values; assignment must not delete
    // them twice, or it could delete an object created in between.
    CVskDIB a(4, 4);
    CVskDIB b(2, 2);
    for (int i = 0; i < 20; ++i) {
        a = b;
        HDC other = CreateCompatibleDC(nullptr);
        b = a;
        EXPECT_EQ(GetObjectType(other), DWORD(OBJ_MEMDC)) << i;
        DeleteDC(other);
    }
}

TEST(CVskDIBBlt, WithoutPixelMemoryOnEitherSideCopiesNothing) {
    CVskDIB src(4, 4);
    FillPattern(src, 0x77);
    CVskDIB dest(4, 4);
    CVskDIB empty(4, 4);
    empty.Destroy();
    dest.Blt(0, 0, &empty);
    dest.Blt(0, 0, nullptr);
    dest.Blt(nullptr, 0, 0, 3, 3, 0, 0);
    EXPECT_EQ(PixelText(dest, 1, 1), Hex(0, 0, 0));
    empty.Blt(0, 0, &src);
    EXPECT_EQ(empty.GetBits(), nullptr);
}

namespace {

// GDI answers GDI_ERROR only for compressed (JPEG or PNG) images a driver
// cannot draw; the bitmap always hands it uncompressed rows, and this
// platform answers 0 for every other failure (null bits, bad or deleted
// contexts, bad headers). So the system call is replaced for the test.
int WINAPI StretchDIBitsAnsweringGdiError(HDC, int, int, int, int, int, int, int, int, const void*,
                                          const BITMAPINFO*, UINT, DWORD) {
    return GDI_ERROR;
}

TEST(CVskDIBPaint, GdiErrorGivesFalseDrivenByAReplacedCallBecauseThePlatformNeverAnswersIt) {
    CVskDIB dib(2, 2);
    HDC target = CreateCompatibleDC(nullptr);
    ASSERT_NE(target, nullptr);
    {
        void* original = nullptr;
        vsktest::CImportSlotPatch patch("StretchDIBits", reinterpret_cast<void*>(&StretchDIBitsAnsweringGdiError),
                                        &original);
        ASSERT_TRUE(patch.Patched()) << "voskellib.dll imports no StretchDIBits";
        EXPECT_FALSE(dib.StretchDIBits(target, 0, 0));
        EXPECT_FALSE(dib.StretchDIBits(target, 0, 0, 2.0, 2.0));
        EXPECT_FALSE(dib.StretchDIBits(target, 0, 0, 2, 2, 0, 0, 2, 2));
    }
    // The real call again: 0 lines or more is success.
    EXPECT_TRUE(dib.StretchDIBits(target, 0, 0));
    DeleteDC(target);
}

} // namespace
