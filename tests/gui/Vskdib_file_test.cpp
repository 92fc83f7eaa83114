// Vskdib_file_test.cpp - tests of CVskDIB with BMP files: saving, loading and their failures.
#include "tests/gui/VskdibTestSupport.h"

using namespace vskdibtest;

// ---- BMP files --------------------------------------------------------------

TEST(CVskDIBFile, SaveThenLoadKeepsPixelsAndPadding) {
    CTempDir dir;
    for (auto size : {std::pair<int, int>{1, 1}, {4, 3}, {5, 2}, {17, 9}, {64, 1}}) {
        SCOPED_TRACE(std::to_string(size.first) + "x" + std::to_string(size.second));
        CVskDIB dib(size.first, size.second);
        std::uint32_t seed = 12345u + size.first;
        for (int i = 0; i < dib.GetStride() * dib.GetHeight(); ++i) {
            seed = seed * 1103515245u + 12345u;
            dib.GetBits()[i] = static_cast<unsigned char>(seed >> 16); // padding included
        }
        const std::string path = dir.File("round.bmp");
        ASSERT_TRUE(dib.SaveToFile(path.c_str()));
        EXPECT_EQ(ReadFileBytes(path).size(), 54u + std::size_t(dib.GetStride()) * dib.GetHeight());
        CVskDIB loaded(path.c_str());
        ASSERT_EQ(loaded.GetWidth(), dib.GetWidth());
        ASSERT_EQ(loaded.GetHeight(), dib.GetHeight());
        EXPECT_EQ(std::memcmp(loaded.GetBits(), dib.GetBits(), std::size_t(dib.GetStride()) * dib.GetHeight()), 0);
    }
}

TEST(CVskDIBFile, SavedHeadersAndBottomUpRows) {
    CTempDir dir;
    CVskDIB dib(5, 2);
    FillPattern(dib, 0x7F);
    const std::string path = dir.File("h.bmp");
    dib.SaveToFile(path.c_str());
    const std::string bytes = ReadFileBytes(path);
    ASSERT_EQ(bytes.size(), 54u + 16 * 2);
    EXPECT_EQ(bytes.substr(0, 2), "BM");
    EXPECT_EQ(GetU32(bytes, 2), 86u);
    EXPECT_EQ(GetU32(bytes, 6), 0u);
    EXPECT_EQ(GetU32(bytes, 10), 54u);
    EXPECT_EQ(GetU32(bytes, 14), 40u);
    EXPECT_EQ(GetU32(bytes, 18), 5u);
    EXPECT_EQ(GetU32(bytes, 22), 2u);
    EXPECT_EQ(GetU32(bytes, 26), 1u | (24u << 16));
    for (std::size_t i = 30; i < 54; ++i) {
        EXPECT_EQ(bytes[i], '\0') << "header byte " << i;
    }
    // The file's first row is the bitmap's bottom row (y 1).
    EXPECT_EQ(static_cast<unsigned char>(bytes[54 + 1]), 1);
    EXPECT_EQ(static_cast<unsigned char>(bytes[54 + 16 + 1]), 0);
}

TEST(CVskDIBFile, TopDownFileLoadsFirstStoredRowAtTheTop) {
    CTempDir dir;
    std::string rows(8 * 2, '\0');
    rows[0] = 'T'; // first stored row
    rows[8] = 'B';
    const std::string path = dir.File("td.bmp");
    WriteFileBytes(path, MakeBmp(2, -2, rows));
    CVskDIB dib(path.c_str());
    EXPECT_EQ(dib.GetHeight(), 2);
    EXPECT_EQ(Pixel(dib, 0, 0)[0], 'T');
    EXPECT_EQ(Pixel(dib, 0, 1)[0], 'B');
    // The same rows with a positive height are bottom-up.
    WriteFileBytes(path, MakeBmp(2, 2, rows));
    CVskDIB up(path.c_str());
    EXPECT_EQ(Pixel(up, 0, 0)[0], 'B');
    EXPECT_EQ(Pixel(up, 0, 1)[0], 'T');
}

TEST(CVskDIBFile, HeaderFieldsOtherThanTypeSizeAndDepthAreIgnored) {
    CTempDir dir;
    std::string rows(4, '\0');
    rows[0] = 0x12;
    std::string bytes = MakeBmp(1, 1, rows);
    PutU32(bytes, 2, 999999);  // file size
    PutU32(bytes, 10, 4000);   // pixel data offset
    PutU32(bytes, 14, 124);    // info-header size
    PutU16(bytes, 26, 7);      // planes
    PutU32(bytes, 30, 3);      // compression
    const std::string path = dir.File("ignored.bmp");
    WriteFileBytes(path, bytes);
    CVskDIB dib(path.c_str());
    EXPECT_EQ(Pixel(dib, 0, 0)[0], 0x12);
}

TEST(CVskDIBFile, BadFilesThrowLoadFromFile) {
    CTempDir dir;
    const std::string rows(16 * 2, 'x');
    struct {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"not BM", "XY" + MakeBmp(5, 2, rows).substr(2)},
        {"8-bit", MakeBmp(5, 2, rows, 8)},
        {"32-bit", MakeBmp(5, 2, rows, 32)},
        {"truncated pixels", MakeBmp(5, 2, rows).substr(0, 54 + 16 + 7)},
        {"no pixels", MakeBmp(5, 2, rows).substr(0, 54)},
        {"short info header", MakeBmp(5, 2, rows).substr(0, 30)},
        {"short file header", MakeBmp(5, 2, rows).substr(0, 10)},
        {"empty", ""},
        {"zero height", MakeBmp(5, 0, rows)},
        {"zero width", MakeBmp(0, 2, rows)},
        {"negative width", MakeBmp(-5, 2, rows)},
        {"height INT_MIN", MakeBmp(5, INT32_MIN, rows)},
        {"huge", MakeBmp(3000000, 2000000, rows)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.File("bad.bmp");
        WriteFileBytes(path, c.bytes);
        EXPECT_EQ(ErrorOf<std::runtime_error>([&] { CVskDIB dib(path.c_str()); }), kLoadError);
        CVskDIB dib;
        EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }),
                  "\x43\x56\x73\x6B\x44\x49\x42\x3A\x3A\x4C\x6F\x61\x64\x46\x72\x6F\x6D\x46\x69\x6C\x65\x28\x29");
    }
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { CVskDIB dib(dir.File("missing.bmp").c_str()); }), kLoadError);
}

// Opening with no sharing at all succeeds only when nobody holds the file.
bool NobodyHolds(const std::string& path) {
    const HANDLE handle = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(handle);
    return true;
}

// Another handle locks the second row of the file: the load fails there and
// keeps the row read before it.
TEST(CVskDIBFile, FailedLoadKeepsWhatWasReadBefore) {
    CTempDir dir;
    std::string rows(8 * 3, '\0');
    rows[0] = 'L'; // bottom row, read first
    rows[8] = 'M'; // the locked row
    const std::string path = dir.File("locked.bmp");
    WriteFileBytes(path, MakeBmp(2, 3, rows));
    const HANDLE other = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(LockFile(other, 54 + 8, 0, 1, 0));
    CVskDIB dib;
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    UnlockFile(other, 54 + 8, 0, 1, 0);
    CloseHandle(other);
    ASSERT_EQ(dib.GetWidth(), 2);
    ASSERT_EQ(dib.GetHeight(), 3);
    ASSERT_NE(dib.GetBits(), nullptr);
    EXPECT_EQ(Pixel(dib, 0, 2)[0], 'L');
    EXPECT_EQ(Pixel(dib, 0, 1)[0], 0);
}

namespace {

// The file ends, as far as the library's reads can tell, after
// g_readableBytes bytes, although it is longer.
DWORD g_readableBytes = 0;
void* g_realReadFile = nullptr;

BOOL WINAPI ReadFileEndingEarly(HANDLE file, void* buffer, DWORD size, DWORD* got, OVERLAPPED* overlapped) {
    const DWORD at = SetFilePointer(file, 0, nullptr, FILE_CURRENT);
    const DWORD left = at < g_readableBytes ? g_readableBytes - at : 0;
    using ReadFileFn = BOOL(WINAPI*)(HANDLE, void*, DWORD, DWORD*, OVERLAPPED*);
    return reinterpret_cast<ReadFileFn>(g_realReadFile)(file, buffer, std::min(size, left), got, overlapped);
}

} // namespace

// A file cannot end inside its claimed rows any more once its size has been
// checked: it is open with only reading shared, so nobody can cut it while it
// loads. The reads are made to end early for the test, to pin what a read
// that delivers part of a row keeps.
TEST(CVskDIBFile, MockedReadsEndingInsideARowKeepThePartAtItsRowsFront) {
    CTempDir dir;
    std::string rows(8 * 3, '\0');
    rows[0] = 'L';  // bottom row, read first
    rows[8] = 'M';  // the next row up: only its first 3 bytes can be read
    rows[10] = 'N';
    rows[11] = 'O';
    const std::string path = dir.File("cut.bmp");
    WriteFileBytes(path, MakeBmp(2, 3, rows));
    CVskDIB dib;
    {
        g_readableBytes = 54 + 8 + 3;
        vsktest::CImportSlotPatch patch("ReadFile", reinterpret_cast<void*>(&ReadFileEndingEarly),
                                        &g_realReadFile);
        ASSERT_TRUE(patch.Patched()) << "voskellib.dll imports no ReadFile";
        EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    }
    EXPECT_EQ(Pixel(dib, 0, 2)[0], 'L');
    EXPECT_EQ(Pixel(dib, 0, 1)[0], 'M');
    EXPECT_EQ(Pixel(dib, 0, 1)[2], 'N');
    EXPECT_EQ(Pixel(dib, 1, 1)[0], 0);
    EXPECT_EQ(Pixel(dib, 0, 0)[0], 0);
}

// ---- what a header may claim ------------------------------------------------

namespace {

// A 3 x 2 bitmap with a pattern, to see that a refused load leaves it alone.
struct CHeldBitmap {
    CVskDIB dib{3, 2};
    unsigned char* bits = nullptr;
    void* dc = nullptr;

    CHeldBitmap() {
        FillPattern(dib, 0x42);
        bits = dib.GetBits();
        dc = dib.GetDC();
    }
    bool Unchanged() const {
        return dib.GetWidth() == 3 && dib.GetHeight() == 2 && dib.GetStride() == 12 &&
               dib.GetBits() == bits && dib.GetDC() == dc &&
               GetObjectType(static_cast<HDC>(dc)) == OBJ_MEMDC && PixelText(dib, 2, 1) == Hex(2, 1, 0x42);
    }
};

// The bytes of the process's committed memory, region by region.
std::uint64_t CommittedBytes() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    std::uint64_t committed = 0;
    auto* at = static_cast<const char*>(system.lpMinimumApplicationAddress);
    MEMORY_BASIC_INFORMATION region;
    while (at < static_cast<const char*>(system.lpMaximumApplicationAddress) &&
           VirtualQuery(at, &region, sizeof region) == sizeof region) {
        if (region.State == MEM_COMMIT) {
            committed += region.RegionSize;
        }
        at = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
    }
    return committed;
}

// The sizes of the DIB sections the library asks the system for, while an
// observer lives; each call goes on to the system unchanged.
std::vector<std::pair<LONG, LONG>> g_sectionSizes;
void* g_realCreateDIBSection = nullptr;

HBITMAP WINAPI ObservedCreateDIBSection(HDC dc, const BITMAPINFO* info, UINT usage, void** bits,
                                        HANDLE section, DWORD offset) {
    g_sectionSizes.emplace_back(info->bmiHeader.biWidth, info->bmiHeader.biHeight);
    using CreateDIBSectionFn = HBITMAP(WINAPI*)(HDC, const BITMAPINFO*, UINT, void**, HANDLE, DWORD);
    return reinterpret_cast<CreateDIBSectionFn>(g_realCreateDIBSection)(dc, info, usage, bits, section,
                                                                        offset);
}

class CSectionObserver {
public:
    CSectionObserver()
        : m_patch("CreateDIBSection", reinterpret_cast<void*>(&ObservedCreateDIBSection),
                  &g_realCreateDIBSection) {
        g_sectionSizes.clear();
    }
    bool Observing() const { return m_patch.Patched(); }

private:
    vsktest::CImportSlotPatch m_patch;
};

} // namespace

TEST(CVskDIBFile, ClaimedRowsAreMeasuredAgainstTheFileSizeAtTheBoundaries) {
    CTempDir dir;
    const std::string path = dir.File("claim.bmp");
    const struct {
        int width;
        int height;
        std::size_t pixelBytes;
        bool loads;
    } cases[] = {
        {5, 3, 48, true},  {5, 3, 47, false},  {5, 3, 49, true}, {5, 3, 0, false},
        {5, -3, 48, true}, {5, -3, 47, false}, {1, 1, 4, true},  {1, 1, 3, false},
        {1, -1, 4, true},  {1, -1, 0, false},  {4, 2, 24, true}, {4, 2, 23, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height) + ", " +
                     std::to_string(c.pixelBytes) + " bytes of rows");
        std::string rows(c.pixelBytes, '\x11');
        WriteFileBytes(path, MakeBmp(c.width, c.height, rows));
        CHeldBitmap held;
        if (c.loads) {
            EXPECT_EQ(ErrorOf<std::runtime_error>([&] { held.dib.LoadFromFile(path.c_str()); }),
                      "<no exception>");
            EXPECT_EQ(held.dib.GetWidth(), c.width);
            EXPECT_EQ(held.dib.GetHeight(), c.height < 0 ? -c.height : c.height);
            EXPECT_EQ(PixelText(held.dib, c.width - 1, 0), Hex(0x11, 0x11, 0x11));
        } else {
            EXPECT_EQ(ErrorOf<std::runtime_error>([&] { held.dib.LoadFromFile(path.c_str()); }), kLoadError);
            EXPECT_TRUE(held.Unchanged());
            EXPECT_EQ(ErrorOf<std::runtime_error>([&] { CVskDIB dib(path.c_str()); }), kLoadError);
        }
    }
}

// Each claim is stride * |height| bytes past 32 bits; the file holds exactly
// what the claim comes to when it wraps at 32 bits.
TEST(CVskDIBFile, ClaimPastThirtyTwoBitsIsRefusedWhereItsWrappedSizeWouldFit) {
    CTempDir dir;
    const std::string path = dir.File("wrap.bmp");
    const struct {
        std::int32_t width;
        std::int32_t height;
        std::size_t wrappedBytes;
    } cases[] = {
        // 196,608 * 21,846 = 0x1'0002'0000
        {0x10000, 0x5556, 0x20000},
        {0x10000, -0x5556, 0x20000},
        // 4 * 2^30 = 2^32
        {1, 0x40000000, 0},
        {1, -0x40000000, 0},
        // stride 2^32, and 2^32 + 4
        {0x55555555, 1, 0},
        {0x55555556, 2, 8},
        // past 2^63: a signed 64-bit product would wrap too
        {0x7FFFFFFF, 0x7FFFFFFE, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + " x " + std::to_string(c.height));
        const std::uint64_t stride = (std::uint64_t(c.width) * 3 + 3) & ~std::uint64_t(3);
        const std::uint64_t rows =
            c.height < 0 ? std::uint64_t(-std::int64_t(c.height)) : std::uint64_t(c.height);
        ASSERT_EQ(std::uint32_t(stride * rows), c.wrappedBytes);
        WriteFileBytes(path, MakeBmp(c.width, c.height, std::string(c.wrappedBytes, '\x22')));
        CHeldBitmap held;
        EXPECT_EQ(ErrorOf<std::runtime_error>([&] { held.dib.LoadFromFile(path.c_str()); }), kLoadError);
        EXPECT_TRUE(held.Unchanged());
    }
}

// A load that fails on a file shorter than its claim fails before the bitmap
// is destroyed or created: the bitmap held before stays as it was, like after
// a wrong file type or depth.
TEST(CVskDIBFile, ChoiceFileShorterThanItsClaimLeavesTheBitmapAsItWas) {
    CTempDir dir;
    const std::string path = dir.File("short.bmp");
    WriteFileBytes(path, MakeBmp(2, 3, std::string(8 * 3 - 1, 'x')));
    CHeldBitmap held;
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { held.dib.LoadFromFile(path.c_str()); }), kLoadError);
    EXPECT_TRUE(held.Unchanged());
    EXPECT_TRUE(NobodyHolds(path));
}

// 54 bytes (or one row more) that claim 1 x 100,000,000 pixels, 400 MB of
// rows: no section of that size is asked for, and the process's committed
// memory does not grow by anything like it.
TEST(CVskDIBFile, SmallFileClaimingAHugeBitmapMakesNoBitmapOfThatSize) {
    CTempDir dir;
    const std::string path = dir.File("claims-400mb.bmp");
    const std::int32_t kClaimedRows = 100000000;
    for (const std::int32_t height : {kClaimedRows, -kClaimedRows}) {
        for (const std::size_t rowBytes : {std::size_t(0), std::size_t(4)}) {
            SCOPED_TRACE("height " + std::to_string(height) + ", " + std::to_string(rowBytes) +
                         " bytes of rows");
            WriteFileBytes(path, MakeBmp(1, height, std::string(rowBytes, '\x33')));
            CHeldBitmap held;
            const std::uint64_t before = CommittedBytes();
            {
                CSectionObserver observer;
                ASSERT_TRUE(observer.Observing()) << "voskellib.dll imports no CreateDIBSection";
                EXPECT_EQ(ErrorOf<std::runtime_error>([&] { held.dib.LoadFromFile(path.c_str()); }),
                          kLoadError);
                EXPECT_TRUE(g_sectionSizes.empty()) << "a section was asked for: " << g_sectionSizes.size();
            }
            const std::uint64_t after = CommittedBytes();
            EXPECT_LT(after, before + 64u * 1024 * 1024)
                << "committed " << before << " bytes before, " << after << " after";
            EXPECT_TRUE(held.Unchanged());
        }
    }
}

// The observer above sees the sections the library asks for.
TEST(CVskDIBFile, ControlTheSectionObserverSeesALoadsSection) {
    CTempDir dir;
    const std::string path = dir.File("seen.bmp");
    WriteFileBytes(path, MakeBmp(1, 3, std::string(12, '\x44')));
    CSectionObserver observer;
    ASSERT_TRUE(observer.Observing());
    CVskDIB dib(path.c_str());
    ASSERT_EQ(g_sectionSizes.size(), 1u);
    EXPECT_EQ(g_sectionSizes[0], std::make_pair(LONG(1), LONG(-3)));
}

// Rows are numbered 1, 2, ... in every byte, in file order, so each row of
// the bitmap tells which row of the file it came from.
std::string NumberedRows(int stride, int height) {
    std::string rows;
    for (int i = 0; i < height; ++i) {
        rows.append(std::size_t(stride), char(1 + i % 250));
    }
    return rows;
}

// Large enough for several reads of the file: 600 rows of 2100 bytes.
TEST(CVskDIBFile, LargeFilesLoadEveryRowInBothOrders) {
    CTempDir dir;
    const int width = 700, height = 600, stride = 2100;
    const std::string rows = NumberedRows(stride, height);
    const std::string path = dir.File("large.bmp");
    for (const int fileHeight : {height, -height}) {
        WriteFileBytes(path, MakeBmp(width, fileHeight, rows));
        CVskDIB dib(path.c_str());
        ASSERT_EQ(dib.GetStride(), stride);
        int wrong = 0;
        for (int i = 0; i < height; ++i) {
            const int y = fileHeight > 0 ? height - 1 - i : i;
            const unsigned char* row = dib.GetBits() + std::size_t(stride) * y;
            wrong += std::count(row, row + stride, (unsigned char)(1 + i % 250)) != stride;
        }
        EXPECT_EQ(wrong, 0) << "height " << fileHeight;
    }
}

// Another handle locks file row 400 of 600; the load fails there and keeps
// every row before it, as reading row by row does.
TEST(CVskDIBFile, LockedRowStopsTheLoadAndTheRowsBeforeItStay) {
    CTempDir dir;
    const int width = 700, height = 600, stride = 2100, lockedRow = 400;
    const std::string path = dir.File("locked.bmp");
    WriteFileBytes(path, MakeBmp(width, height, NumberedRows(stride, height)));
    const HANDLE other = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                     nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(LockFile(other, 54 + stride * lockedRow, 0, 1, 0));
    CVskDIB dib;
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    UnlockFile(other, 54 + stride * lockedRow, 0, 1, 0);
    CloseHandle(other);
    ASSERT_EQ(dib.GetHeight(), height);
    int wrong = 0;
    for (int i = 0; i < height; ++i) {
        const unsigned char* row = dib.GetBits() + std::size_t(stride) * (height - 1 - i);
        const unsigned char expected = i < lockedRow ? (unsigned char)(1 + i % 250) : 0;
        wrong += std::count(row, row + stride, expected) != stride;
    }
    EXPECT_EQ(wrong, 0);
}

TEST(CVskDIBFile, FileIsClosedWhenLoadReturnsAndWhenItThrows) {
    CTempDir dir;
    const std::string good = dir.File("good.bmp");
    WriteFileBytes(good, MakeBmp(2, 3, std::string(8 * 3, '\0')));
    const std::string cut = dir.File("cut.bmp");
    WriteFileBytes(cut, MakeBmp(2, 3, std::string(8 * 3, '\0')).substr(0, 54 + 8 + 3));
    CVskDIB dib;
    ASSERT_TRUE(dib.LoadFromFile(good.c_str()));
    EXPECT_TRUE(NobodyHolds(good));
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(cut.c_str()); }), kLoadError);
    EXPECT_TRUE(NobodyHolds(cut));
}

TEST(CVskDIBFile, LoadOfAFileOpenForWritingElsewhereThrowsAndLeavesTheBitmap) {
    // The file is opened for reading with only reading shared, so a handle
    // that writes the file keeps it from being opened at all.
    CTempDir dir;
    const std::string path = dir.File("busy.bmp");
    WriteFileBytes(path, MakeBmp(2, 3, std::string(8 * 3, 'x')));
    const HANDLE writer = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    CVskDIB dib(5, 4);
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    CloseHandle(writer);
    EXPECT_EQ(dib.GetWidth(), 5);
    EXPECT_EQ(dib.GetHeight(), 4);
    EXPECT_TRUE(dib.LoadFromFile(path.c_str()));
    EXPECT_EQ(Pixel(dib, 1, 2)[0], 'x');
}

// A width of 0 or less claims no rows, so the file's size passes and the
// bitmap's creation refuses it.
TEST(CVskDIBFile, LoadWhoseBitmapCannotBeCreatedLeavesOnlyTheRecordedSize) {
    CTempDir dir;
    const std::string path = dir.File("no-width.bmp");
    for (const int width : {0, -4}) {
        SCOPED_TRACE("width " + std::to_string(width));
        WriteFileBytes(path, MakeBmp(width, -3, std::string(64, '\0')));
        CVskDIB dib;
        EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
        EXPECT_EQ(dib.GetWidth(), width);
        EXPECT_EQ(dib.GetHeight(), 3);
        EXPECT_EQ(dib.GetBits(), nullptr);
    }
}

TEST(CVskDIBFile, SaveToUnwritablePathThrows) {
    CTempDir dir;
    CVskDIB dib(2, 2);
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.SaveToFile(dir.File("no\\such\\dir\\x.bmp").c_str()); }),
              "\x43\x56\x73\x6B\x44\x49\x42\x3A\x3A\x53\x61\x76\x65\x54\x6F\x46\x69\x6C\x65\x28\x29");
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.SaveToFile(dir.Path().c_str()); }), "CVskDIB::SaveToFile()");
}

TEST(CVskDIBFile, SaveToAPipeWithoutReaderThrows) {
    // The save's writes fail whether the rows fail while it writes (a bitmap
    // larger than the stream's buffer) or only when the last of them are
    // flushed (a small one).
    for (const int height : {2, 200}) {
        SCOPED_TRACE("height " + std::to_string(height));
        vsktest::CPipeWithoutReader pipe("dib-" + std::to_string(height));
        ASSERT_TRUE(pipe.Ok());
        CVskDIB dib(1000, height); // 3000-byte rows: 600,000 bytes at height 200
        FillPattern(dib, 0x21);
        EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.SaveToFile(pipe.Name().c_str()); }), "CVskDIB::SaveToFile()");
    }
}

TEST(CVskDIBFile, SaveOverAReadOnlyFileThrowsAndLeavesItAsItWas) {
    CTempDir dir;
    const std::string path = dir.File("read-only.bmp");
    WriteFileBytes(path, "earlier content");
    ASSERT_TRUE(SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY));
    CVskDIB dib(3, 2);
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.SaveToFile(path.c_str()); }), "CVskDIB::SaveToFile()");
    EXPECT_EQ(ReadFileBytes(path), "earlier content");
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(CVskDIBFile, ChoiceSaveWithoutPixelMemoryThrowsBeforeTouchingTheFile) {
    CTempDir dir;
    const std::string path = dir.File("keep.bmp");
    WriteFileBytes(path, "earlier content");
    CVskDIB destroyed(3, 2);
    destroyed.Destroy();
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { destroyed.SaveToFile(path.c_str()); }), "CVskDIB::SaveToFile()");
    CVskDIB failed(3, 2);
    ASSERT_FALSE(failed.CreateBitmap(0, 2));
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { failed.SaveToFile(path.c_str()); }), "CVskDIB::SaveToFile()");
    EXPECT_EQ(ReadFileBytes(path), "earlier content");
    // No rows, nothing to take from the missing memory: the headers alone.
    ASSERT_FALSE(failed.CreateBitmap(3, 0));
    ASSERT_TRUE(failed.SaveToFile(path.c_str()));
    const std::string bytes = ReadFileBytes(path);
    ASSERT_EQ(bytes.size(), 54u);
    EXPECT_EQ(GetU32(bytes, 2), 54u);
    EXPECT_EQ(GetU32(bytes, 18), 3u);
    EXPECT_EQ(GetU32(bytes, 22), 0u);
}

TEST(CVskDIBFile, JapaneseFileName) {
    CTempDir dir;
    CVskDIB dib(3, 2);
    FillPattern(dib, 0x55);
    const std::string path = dir.File("\x95\x5C\x8E\xA6.bmp"); // "表示.bmp", trail byte 0x5C
    ASSERT_TRUE(dib.SaveToFile(path.c_str()));
    CVskDIB loaded(path.c_str());
    EXPECT_EQ(PixelText(loaded, 2, 1), Hex(2, 1, 0x55));
}
