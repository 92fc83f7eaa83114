// Vskdib_test.cpp - tests of CVskDIB: creation, BMP files (with the shared BMP
// corpus), row copies and painting onto real device contexts.
#include "gui/Vskdib.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"
#include "tests/threading/ImportSlots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using vsktest::CTempDir;
using vsktest::ReadFileBytes;
using vsktest::WriteFileBytes;

const char kLoadError[] = "CVskDIB::LoadFromFile()";

template <typename Exception, typename Body>
std::string ErrorOf(Body body) {
    try {
        body();
    } catch (const Exception& e) {
        return e.what();
    } catch (const std::exception& e) {
        return std::string("<other exception> ") + e.what();
    }
    return "<no exception>";
}

unsigned char* Pixel(const CVskDIB& dib, int x, int y) {
    return dib.GetBits() + std::ptrdiff_t(dib.GetStride()) * y + std::ptrdiff_t(x) * 3;
}

void SetPixel24(CVskDIB& dib, int x, int y, unsigned char b, unsigned char g, unsigned char r) {
    unsigned char* p = Pixel(dib, x, y);
    p[0] = b;
    p[1] = g;
    p[2] = r;
}

// A recognisable colour for every pixel: blue = x, green = y, red = tag.
void FillPattern(CVskDIB& dib, unsigned char tag) {
    for (int y = 0; y < dib.GetHeight(); ++y) {
        for (int x = 0; x < dib.GetWidth(); ++x) {
            SetPixel24(dib, x, y, static_cast<unsigned char>(x), static_cast<unsigned char>(y), tag);
        }
    }
}

std::string PixelText(const CVskDIB& dib, int x, int y) {
    const unsigned char* p = Pixel(dib, x, y);
    char text[32];
    std::snprintf(text, sizeof text, "%02X%02X%02X", p[0], p[1], p[2]);
    return text;
}

std::string Hex(unsigned char b, unsigned char g, unsigned char r) {
    char text[32];
    std::snprintf(text, sizeof text, "%02X%02X%02X", b, g, r);
    return text;
}

void PutU32(std::string& bytes, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<char>(v >> (8 * i));
    }
}

void PutU16(std::string& bytes, std::size_t at, std::uint32_t v) {
    bytes[at] = static_cast<char>(v);
    bytes[at + 1] = static_cast<char>(v >> 8);
}

std::uint32_t GetU32(const std::string& bytes, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i) {
        v = (v << 8) | static_cast<unsigned char>(bytes[at + i]);
    }
    return v;
}

// A 24-bit BMP file with the 54-byte headers and `rows` stored as given.
std::string MakeBmp(int width, int height, const std::string& rows, int bitsPerPixel = 24) {
    std::string bytes(54, '\0');
    bytes[0] = 'B';
    bytes[1] = 'M';
    PutU32(bytes, 2, static_cast<std::uint32_t>(54 + rows.size()));
    PutU32(bytes, 10, 54);
    PutU32(bytes, 14, 40);
    PutU32(bytes, 18, static_cast<std::uint32_t>(width));
    PutU32(bytes, 22, static_cast<std::uint32_t>(height));
    PutU16(bytes, 26, 1);
    PutU16(bytes, 28, static_cast<std::uint32_t>(bitsPerPixel));
    return bytes + rows;
}

// ---- SHA-256 of the loaded rows, for the corpus manifest -----------------

class CSha256 {
public:
    CSha256() = default;
    void Update(const unsigned char* data, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            m_block[m_used++] = data[i];
            if (m_used == 64) {
                Compress();
                m_used = 0;
            }
        }
        m_bits += std::uint64_t(size) * 8;
    }
    std::string HexDigest() {
        const std::uint64_t bits = m_bits;
        const unsigned char one = 0x80;
        Update(&one, 1);
        const unsigned char zero = 0;
        while (m_used != 56) {
            Update(&zero, 1);
        }
        unsigned char length[8];
        for (int i = 0; i < 8; ++i) {
            length[i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
        }
        Update(length, 8);
        std::string hex;
        char part[9];
        for (std::uint32_t h : m_state) {
            std::snprintf(part, sizeof part, "%08x", h);
            hex += part;
        }
        return hex;
    }

private:
    static std::uint32_t Rotr(std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }
    void Compress() {
        static const std::uint32_t k[64] = {
            0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
            0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
            0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
            0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
            0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
            0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
            0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
            0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
        std::uint32_t w[64];
        for (int i = 0; i < 16; ++i) {
            w[i] = (std::uint32_t(m_block[4 * i]) << 24) | (std::uint32_t(m_block[4 * i + 1]) << 16) |
                   (std::uint32_t(m_block[4 * i + 2]) << 8) | std::uint32_t(m_block[4 * i + 3]);
        }
        for (int i = 16; i < 64; ++i) {
            const std::uint32_t s0 = Rotr(w[i - 15], 7) ^ Rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
            const std::uint32_t s1 = Rotr(w[i - 2], 17) ^ Rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
            w[i] = w[i - 16] + s0 + w[i - 7] + s1;
        }
        std::uint32_t a = m_state[0], b = m_state[1], c = m_state[2], d = m_state[3];
        std::uint32_t e = m_state[4], f = m_state[5], g = m_state[6], h = m_state[7];
        for (int i = 0; i < 64; ++i) {
            const std::uint32_t t1 = h + (Rotr(e, 6) ^ Rotr(e, 11) ^ Rotr(e, 25)) + ((e & f) ^ (~e & g)) + k[i] + w[i];
            const std::uint32_t t2 = (Rotr(a, 2) ^ Rotr(a, 13) ^ Rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
            h = g;
            g = f;
            f = e;
            e = d + t1;
            d = c;
            c = b;
            b = a;
            a = t1 + t2;
        }
        m_state[0] += a;
        m_state[1] += b;
        m_state[2] += c;
        m_state[3] += d;
        m_state[4] += e;
        m_state[5] += f;
        m_state[6] += g;
        m_state[7] += h;
    }

    std::uint32_t m_state[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    unsigned char m_block[64] = {};
    std::size_t m_used = 0;
    std::uint64_t m_bits = 0;
};

std::string Sha256(const std::string& bytes) {
    CSha256 sha;
    sha.Update(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return sha.HexDigest();
}

std::string RowsSha256(const CVskDIB& dib) {
    CSha256 sha;
    for (int y = 0; y < dib.GetHeight(); ++y) {
        sha.Update(Pixel(dib, 0, y), std::size_t(dib.GetStride()));
    }
    return sha.HexDigest();
}

// The shared test data folder as a Windows path (Wine maps the Unix root to
// Z:): the build's, unless VSK_TESTDATA_DIR names another one at run time.
std::string TestDataDir() {
    const char* overridden = std::getenv("VSK_TESTDATA_DIR");
    std::string path = overridden && *overridden ? overridden : VSK_TESTDATA_DIR;
    if (!path.empty() && path[0] == '/') {
        path = "Z:" + path;
    }
    for (char& c : path) {
        if (c == '/') {
            c = '\\';
        }
    }
    return path;
}

std::string CorpusDir() { return TestDataDir() + "\\bmpsuite"; }

// The corpus lies beside the repository, not in it: a clone of the project
// alone skips the tests that need it, saying why, and CI (which sets
// VSK_REQUIRE_TESTDATA=1) fails them instead.
#define VSK_REQUIRE_CORPUS()                                                                         \
    do {                                                                                             \
        const DWORD attributes = GetFileAttributesA(CorpusDir().c_str());                           \
        if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {    \
            const char* required = std::getenv("VSK_REQUIRE_TESTDATA");                               \
            if (required && std::string(required) == "1")                                            \
                FAIL() << "the BMP corpus is required (VSK_REQUIRE_TESTDATA=1) but absent at "      \
                       << CorpusDir();                                                               \
            GTEST_SKIP() << "the BMP corpus is absent at " << CorpusDir()                             \
                         << " (it lies in the shared test data beside the repository)";              \
        }                                                                                            \
    } while (0)

struct CManifestRow {
    std::string path;
    std::string outcome;
    int width = 0;
    int height = 0;
    std::string sha256;
};

std::vector<CManifestRow> ReadManifest() {
    const std::string text = ReadFileBytes(CorpusDir() + "\\MANIFEST.tsv");
    std::vector<CManifestRow> rows;
    std::istringstream lines(text);
    std::string line;
    bool header = true;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (header) {
            header = false;
            continue;
        }
        if (line.empty()) {
            continue;
        }
        std::vector<std::string> fields;
        std::istringstream cells(line);
        std::string cell;
        while (std::getline(cells, cell, '\t')) {
            fields.push_back(cell);
        }
        if (fields.size() < 5) {
            throw std::runtime_error("bad manifest line: " + line);
        }
        CManifestRow row;
        row.path = fields[0];
        row.outcome = fields[1];
        if (row.outcome == "load") {
            row.width = std::stoi(fields[2]);
            row.height = std::stoi(fields[3]);
        }
        row.sha256 = fields[4];
        rows.push_back(row);
    }
    return rows;
}

std::string CorpusFile(const std::string& relative) {
    std::string path = CorpusDir() + "\\" + relative;
    for (char& c : path) {
        if (c == '/') {
            c = '\\';
        }
    }
    return path;
}

} // namespace

// ---- creation ---------------------------------------------------------------

TEST(CVskDIBCreate, DefaultIsOneByOneWithStrideFour) {
    CVskDIB dib;
    EXPECT_EQ(dib.GetWidth(), 1);
    EXPECT_EQ(dib.GetHeight(), 1);
    EXPECT_EQ(dib.GetStride(), 4);
    ASSERT_NE(dib.GetBits(), nullptr);
    EXPECT_NE(dib.GetDC(), nullptr);
    EXPECT_EQ(GetObjectType(static_cast<HDC>(dib.GetDC())), DWORD(OBJ_MEMDC));
}

TEST(CVskDIBCreate, StrideRoundsRowsUpToFourBytes) {
    const struct {
        int width;
        int stride;
    } cases[] = {{1, 4}, {2, 8}, {3, 12}, {4, 12}, {5, 16}, {6, 20}, {7, 24}, {8, 24}, {127, 384}, {640, 1920}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.width);
        CVskDIB dib(c.width, 3);
        EXPECT_EQ(dib.GetStride(), c.stride);
        EXPECT_EQ(dib.GetWidth(), c.width);
        EXPECT_EQ(dib.GetHeight(), 3);
    }
}

TEST(CVskDIBCreate, PixelsAndPaddingStartZero) {
    CVskDIB dib(5, 7);
    for (int i = 0; i < dib.GetStride() * dib.GetHeight(); ++i) {
        ASSERT_EQ(dib.GetBits()[i], 0) << "byte " << i;
    }
}

TEST(CVskDIBCreate, EveryPaddingByteOfEveryRowIsZeroAfterARecreation) {
    // What users rely on: a re-created bitmap shows none of the old bytes in
    // its padding (it fails if the old pixel memory were reused). It does not
    // show the bitmap's own zeroing of each row's last 4 bytes: the sections
    // it asks the system for always come zeroed, and no path of the bitmap
    // hands it memory the system did not zero.
    for (int width = 1; width <= 8; ++width) {
        SCOPED_TRACE(width);
        CVskDIB dib(width, 4);
        std::memset(dib.GetBits(), 0xAB, std::size_t(dib.GetStride()) * dib.GetHeight());
        ASSERT_TRUE(dib.CreateBitmap(width, 4));
        for (int y = 0; y < 4; ++y) {
            for (int i = width * 3; i < dib.GetStride(); ++i) {
                EXPECT_EQ(Pixel(dib, 0, y)[i], 0) << "row " << y << " byte " << i;
            }
        }
    }
}

TEST(CVskDIBCreate, RowsAreTopDownInMemory) {
    CVskDIB dib(3, 2);
    SetPixel24(dib, 0, 0, 1, 2, 3);
    SetPixel24(dib, 2, 1, 4, 5, 6);
    EXPECT_EQ(dib.GetBits()[0], 1);
    EXPECT_EQ(dib.GetBits()[dib.GetStride() + 6], 4);
    EXPECT_EQ(dib.GetBits()[dib.GetStride() + 8], 6);
}

TEST(CVskDIBCreate, NonPositiveSizesThrowInvalidArgument) {
    for (auto size : {std::pair<int, int>{0, 1}, {1, 0}, {-1, 5}, {5, -1}, {0, 0}}) {
        SCOPED_TRACE(std::to_string(size.first) + "x" + std::to_string(size.second));
        EXPECT_EQ(ErrorOf<std::invalid_argument>([&] { CVskDIB dib(size.first, size.second); }),
                  "CVskDIB::CVskDIB()");
    }
}

TEST(CVskDIBCreate, UnallocatableSizeThrowsRuntimeError) {
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(100000, 100000); }),
              "\x43\x56\x73\x6B\x44\x49\x42\x3A\x3A\x43\x56\x73\x6B\x44\x49\x42\x28\x29");
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(0x7FFFFFFF, 1); }), "CVskDIB::CVskDIB()");
    // stride * height past 64 bits must not wrap into a small size.
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(0x7FFFFFFF, 0x7FFFFFFF); }), "CVskDIB::CVskDIB()");
    // stride * height past 32 bits: 0x30000 * 0x5556 wraps to 0x20000.
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB dib(0x10000, 0x5556); }), "CVskDIB::CVskDIB()");
}

namespace {

// A failed creation keeps the size it was asked for, and no pixels.
void ExpectFailedCreation(CVskDIB& dib, int width, int height, int stride) {
    EXPECT_FALSE(dib.CreateBitmap(width, height));
    EXPECT_EQ(dib.GetWidth(), width);
    EXPECT_EQ(dib.GetHeight(), height);
    EXPECT_EQ(dib.GetStride(), stride);
    EXPECT_EQ(dib.GetBits(), nullptr);
}

} // namespace

TEST(CVskDIBCreate, CreateBitmapFailureKeepsTheRecordedSize) {
    CVskDIB dib(2, 2);
    ExpectFailedCreation(dib, 65536, 65536, 196608);
    // The object is usable again after a successful creation.
    EXPECT_TRUE(dib.CreateBitmap(3, 1));
    EXPECT_NE(dib.GetBits(), nullptr);
}

TEST(CVskDIBCreate, SizeTheSystemCannotMapFailsAsCreateBitmapFailure) {
    // 98,304-byte rows x 21,000 = 1.92 GiB: below the 2 GiB the bitmap
    // accepts, more than a 32-bit process has free in one piece, so the
    // system's CreateDIBSection itself fails.
    CVskDIB dib(2, 2);
    ExpectFailedCreation(dib, 32767, 21000, 98304);
    // The memory context made for the section is kept, as on success.
    EXPECT_EQ(GetObjectType(static_cast<HDC>(dib.GetDC())), DWORD(OBJ_MEMDC));
    EXPECT_EQ(ErrorOf<std::runtime_error>([] { CVskDIB huge(32767, 21000); }), "CVskDIB::CVskDIB()");
}

TEST(CVskDIBCreate, CreateBitmapRejectsNonPositiveSizesWithoutABitmap) {
    CVskDIB dib(2, 2);
    EXPECT_FALSE(dib.CreateBitmap(4, -3));
    EXPECT_EQ(dib.GetBits(), nullptr);
    EXPECT_EQ(dib.GetHeight(), -3);
    EXPECT_FALSE(dib.CreateBitmap(0, 3));
    EXPECT_EQ(dib.GetBits(), nullptr);
}

TEST(CVskDIBCreate, SizeRejectedBeforeThePixelMemoryStillLeavesTheMemoryContext) {
    // The memory context is made before the pixel memory, so a size the
    // bitmap refuses itself leaves one, as a size the system refuses does.
    const struct {
        int width;
        int height;
    } sizes[] = {{0, 3}, {4, -3}, {-1, -1}, {32767, 32767}, {715827882, 1}};
    for (const auto& size : sizes) {
        SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
        CVskDIB dib(2, 2);
        void* old = dib.GetDC();
        EXPECT_FALSE(dib.CreateBitmap(size.width, size.height));
        EXPECT_EQ(dib.GetBits(), nullptr);
        ASSERT_NE(dib.GetDC(), nullptr);
        EXPECT_EQ(GetObjectType(static_cast<HDC>(dib.GetDC())), DWORD(OBJ_MEMDC));
        if (dib.GetDC() != old) {
            EXPECT_EQ(GetObjectType(static_cast<HDC>(old)), 0u) << "the old context was not deleted";
        }
    }
}

TEST(CVskDIBCreate, MemoryContextOfARejectedSizeIsDeletedByTheNextCreation) {
    CVskDIB dib(2, 2);
    ASSERT_FALSE(dib.CreateBitmap(0, 0));
    void* rejected = dib.GetDC();
    ASSERT_EQ(GetObjectType(static_cast<HDC>(rejected)), DWORD(OBJ_MEMDC));
    ASSERT_TRUE(dib.CreateBitmap(2, 2));
    EXPECT_EQ(GetObjectType(static_cast<HDC>(rejected)), 0u);
}

TEST(CVskDIBCreate, DestroyDropsThePixelsButKeepsTheHandleValues) {
    CVskDIB dib(2, 2);
    void* dc = dib.GetDC();
    dib.Destroy();
    EXPECT_EQ(dib.GetBits(), nullptr);
    EXPECT_EQ(dib.GetDC(), dc);
    // The context was deleted.
    EXPECT_EQ(GetObjectType(static_cast<HDC>(dc)), 0u);
    // Creating again works on the destroyed object.
    EXPECT_TRUE(dib.CreateBitmap(2, 2));
    EXPECT_NE(dib.GetBits(), nullptr);
}

TEST(CVskDIBCreate, ClearMemberForgetsWithoutReleasing) {
    CVskDIB dib(2, 2);
    HDC dc = static_cast<HDC>(dib.GetDC());
    dib.ClearMember();
    EXPECT_EQ(dib.GetBits(), nullptr);
    EXPECT_EQ(dib.GetDC(), nullptr);
    EXPECT_EQ(dib.GetWidth(), 2);
    // Still alive: the object no longer owns it.
    EXPECT_EQ(GetObjectType(dc), DWORD(OBJ_MEMDC));
    DeleteDC(dc);
}

// ---- copy and assignment ----------------------------------------------------

TEST(CVskDIBCopy, CopyHasTheSamePixelsInItsOwnMemory) {
    CVskDIB a(6, 5);
    FillPattern(a, 0x11);
    CVskDIB b(a);
    ASSERT_EQ(b.GetWidth(), 6);
    ASSERT_EQ(b.GetHeight(), 5);
    EXPECT_NE(b.GetBits(), a.GetBits());
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x) {
            EXPECT_EQ(PixelText(b, x, y), PixelText(a, x, y));
        }
    }
    SetPixel24(a, 0, 0, 9, 9, 9);
    EXPECT_EQ(PixelText(b, 0, 0), Hex(0, 0, 0x11));
}

TEST(CVskDIBCopy, AssignmentResizesToTheSource) {
    CVskDIB src(7, 3);
    FillPattern(src, 0x22);
    CVskDIB dest(2, 9);
    dest = src;
    EXPECT_EQ(dest.GetWidth(), 7);
    EXPECT_EQ(dest.GetHeight(), 3);
    EXPECT_EQ(dest.GetStride(), 24);
    EXPECT_EQ(PixelText(dest, 6, 2), Hex(6, 2, 0x22));
    CVskDIB bigger(40, 30);
    FillPattern(bigger, 0x33);
    dest = bigger;
    EXPECT_EQ(dest.GetWidth(), 40);
    EXPECT_EQ(dest.GetHeight(), 30);
    EXPECT_EQ(PixelText(dest, 39, 29), Hex(39, 29, 0x33));
}

TEST(CVskDIBCopy, SelfAssignmentKeepsEverything) {
    CVskDIB a(3, 3);
    FillPattern(a, 0x44);
    unsigned char* bits = a.GetBits();
    CVskDIB& same = a;
    a = same;
    EXPECT_EQ(a.GetBits(), bits);
    EXPECT_EQ(PixelText(a, 2, 2), Hex(2, 2, 0x44));
}

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

TEST(CVskDIBFile, FailedLoadKeepsWhatWasReadBefore) {
    CTempDir dir;
    std::string rows(8 * 3, '\0');
    rows[0] = 'L'; // bottom row, read first
    const std::string path = dir.File("cut.bmp");
    WriteFileBytes(path, MakeBmp(2, 3, rows).substr(0, 54 + 8 + 3));
    CVskDIB dib;
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    ASSERT_EQ(dib.GetWidth(), 2);
    ASSERT_EQ(dib.GetHeight(), 3);
    ASSERT_NE(dib.GetBits(), nullptr);
    EXPECT_EQ(Pixel(dib, 0, 2)[0], 'L');
}

TEST(CVskDIBFile, FailedLoadKeepsAPartRowAtItsRowsFront) {
    CTempDir dir;
    std::string rows(8 * 3, '\0');
    rows[0] = 'L';  // bottom row, read first
    rows[8] = 'M';  // the next row up: only its first 3 bytes are in the file
    rows[10] = 'N';
    const std::string path = dir.File("cut.bmp");
    WriteFileBytes(path, MakeBmp(2, 3, rows).substr(0, 54 + 8 + 3));
    CVskDIB dib;
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    EXPECT_EQ(Pixel(dib, 0, 2)[0], 'L');
    EXPECT_EQ(Pixel(dib, 0, 1)[0], 'M');
    EXPECT_EQ(Pixel(dib, 0, 1)[2], 'N');
    EXPECT_EQ(Pixel(dib, 1, 1)[0], 0);
    EXPECT_EQ(Pixel(dib, 0, 0)[0], 0);
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

// Opening with no sharing at all succeeds only when nobody holds the file.
bool NobodyHolds(const std::string& path) {
    const HANDLE handle = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(handle);
    return true;
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

TEST(CVskDIBFile, LoadWhoseBitmapCannotBeCreatedLeavesOnlyTheRecordedSize) {
    CTempDir dir;
    const std::string path = dir.File("huge.bmp");
    WriteFileBytes(path, MakeBmp(70000, -70000, std::string(64, '\0')));
    CVskDIB dib;
    EXPECT_EQ(ErrorOf<std::runtime_error>([&] { dib.LoadFromFile(path.c_str()); }), kLoadError);
    EXPECT_EQ(dib.GetWidth(), 70000);
    EXPECT_EQ(dib.GetHeight(), 70000);
    EXPECT_EQ(dib.GetBits(), nullptr);
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

TEST(CVskDIBCorpus, EveryManifestFileLoadsWithItsHashOrFails) {
    VSK_REQUIRE_CORPUS();
    std::vector<CManifestRow> rows;
    ASSERT_NO_THROW(rows = ReadManifest()) << "corpus expected at " << CorpusDir();
    ASSERT_GT(rows.size(), 50u);
    int loads = 0, fails = 0;
    for (const CManifestRow& row : rows) {
        SCOPED_TRACE(row.path);
        const std::string path = CorpusFile(row.path);
        if (row.outcome == "load") {
            ++loads;
            CVskDIB dib;
            ASSERT_NO_THROW(dib.LoadFromFile(path.c_str()));
            EXPECT_EQ(dib.GetWidth(), row.width);
            EXPECT_EQ(dib.GetHeight(), row.height);
            EXPECT_EQ(RowsSha256(dib), row.sha256);
        } else {
            ASSERT_EQ(row.outcome, "fail");
            ++fails;
            EXPECT_EQ(ErrorOf<std::runtime_error>([&] { CVskDIB dib(path.c_str()); }), kLoadError);
        }
    }
    EXPECT_GT(loads, 5);
    EXPECT_GT(fails, 50);
}

TEST(CVskDIBCorpus, Sha256IsTheStandardDigest) {
    EXPECT_EQ(Sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256(std::string(1000, 'a')),
              "41edece42d63e8d9bf515a9ba6932e1c20cbc9f5a5d134645adb5db1b9737ea3");
}

TEST(CVskDIBCorpus, ExtraOneByOneHasTheDocumentedColour) {
    VSK_REQUIRE_CORPUS();
    CVskDIB dib(CorpusFile("extra/rgb24-1x1.bmp").c_str());
    EXPECT_EQ(PixelText(dib, 0, 0), Hex(0x56, 0x34, 0x12));
}

// ---- row copies -------------------------------------------------------------

TEST(CVskDIBBlt, NegativeLeftMovesTheDestinationButNotTheSource) {
    // The source rows are read from x -2: the last two pixels' worth of bytes
    // before each row, i.e. the end of the row above (so the first row copied
    // is row 1 here; row 0 would read before the pixel memory).
    CVskDIB src(10, 10);
    FillPattern(src, 0xA0);
    CVskDIB dest(20, 20);
    dest.Blt(&src, -2, 1, 9, 9, 5, 5);
    // Destination origin moved to x 3; 12 pixels per row; rows 5 to 13.
    // Bytes 26..31 of source row 0: red of pixel 8, pixel 9, two padding bytes.
    EXPECT_EQ(PixelText(dest, 3, 5), Hex(0xA0, 9, 0));
    EXPECT_EQ(PixelText(dest, 4, 5), Hex(0xA0, 0, 0));
    EXPECT_EQ(PixelText(dest, 5, 5), Hex(0, 1, 0xA0));
    EXPECT_EQ(PixelText(dest, 14, 5), Hex(9, 1, 0xA0));
    EXPECT_EQ(PixelText(dest, 14, 13), Hex(9, 9, 0xA0));
    EXPECT_EQ(PixelText(dest, 5, 13), Hex(0, 9, 0xA0));
    // Untouched around it.
    EXPECT_EQ(PixelText(dest, 2, 5), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 15, 5), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 5, 4), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 5, 14), Hex(0, 0, 0));
}

TEST(CVskDIBBlt, TenByTenIntoFourByFourCopiesTheTopLeftBand) {
    CVskDIB src(10, 10);
    FillPattern(src, 0xB0);
    CVskDIB dest(4, 4);
    dest.Blt(0, 0, &src);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(PixelText(dest, x, y), Hex(x, y, 0xB0)) << x << "," << y;
        }
    }
}

TEST(CVskDIBBlt, WholeSourceAtAnOffset) {
    CVskDIB src(3, 2);
    FillPattern(src, 0xC0);
    CVskDIB dest(8, 8);
    dest.Blt(4, 5, &src);
    EXPECT_EQ(PixelText(dest, 4, 5), Hex(0, 0, 0xC0));
    EXPECT_EQ(PixelText(dest, 6, 6), Hex(2, 1, 0xC0));
    EXPECT_EQ(PixelText(dest, 7, 6), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 4, 7), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 3, 5), Hex(0, 0, 0));
}

TEST(CVskDIBBlt, RightAndBottomAreClampedToTheDestinationSize) {
    CVskDIB src(10, 10);
    FillPattern(src, 0xD0);
    CVskDIB dest(6, 6);
    dest.Blt(&src, 2, 2, 9, 9, 0, 0);
    // right and bottom become 5: 4 columns (x 2..5) of rows 2..5.
    EXPECT_EQ(PixelText(dest, 0, 0), Hex(2, 2, 0xD0));
    EXPECT_EQ(PixelText(dest, 3, 3), Hex(5, 5, 0xD0));
    EXPECT_EQ(PixelText(dest, 4, 0), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 0, 4), Hex(0, 0, 0));
}

TEST(CVskDIBBlt, RowLengthIsClampedAtTheDestinationRightEdge) {
    CVskDIB src(8, 8);
    FillPattern(src, 0xE0);
    CVskDIB dest(8, 8);
    dest.Blt(&src, 0, 0, 7, 7, 5, 0);
    for (int y = 0; y < 8; ++y) {
        EXPECT_EQ(PixelText(dest, 4, y), Hex(0, 0, 0));
        EXPECT_EQ(PixelText(dest, 5, y), Hex(0, y, 0xE0));
        EXPECT_EQ(PixelText(dest, 7, y), Hex(2, y, 0xE0));
    }
    // The padding after the last pixel is not written (stride 24, no padding
    // for width 8), and the next row starts unchanged: checked by row 1 above.
}

TEST(CVskDIBBlt, RowLengthBelowOneCopiesNothing) {
    CVskDIB src(8, 8);
    FillPattern(src, 0xF0);
    CVskDIB dest(8, 8);
    const std::string before(reinterpret_cast<const char*>(dest.GetBits()), 24 * 8);
    dest.Blt(&src, 0, 0, 7, 7, 8, 0);  // count 0
    dest.Blt(&src, 5, 0, 2, 7, 0, 0);  // right < left
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(dest.GetBits()), 24 * 8), before);
}

TEST(CVskDIBBlt, SubRectangleKeepsTheSourceCorner) {
    CVskDIB src(10, 10);
    FillPattern(src, 0x10);
    CVskDIB dest(10, 10);
    dest.Blt(&src, 3, 4, 5, 6, 1, 2);
    EXPECT_EQ(PixelText(dest, 1, 2), Hex(3, 4, 0x10));
    EXPECT_EQ(PixelText(dest, 3, 4), Hex(5, 6, 0x10));
    EXPECT_EQ(PixelText(dest, 4, 2), Hex(0, 0, 0));
    EXPECT_EQ(PixelText(dest, 1, 5), Hex(0, 0, 0));
}

// ---- painting onto device contexts ------------------------------------------

namespace {

// A 32-bit top-down DIB section selected into a memory device context,
// filled with one colour: the painting target whose pixels the test reads.
class CMemoryTarget {
public:
    CMemoryTarget(int width, int height, COLORREF fill) : m_width(width) {
        m_dc = CreateCompatibleDC(nullptr);
        BITMAPINFOHEADER header = {};
        header.biSize = sizeof header;
        header.biWidth = width;
        header.biHeight = -height;
        header.biPlanes = 1;
        header.biBitCount = 32;
        header.biCompression = BI_RGB;
        void* bits = nullptr;
        m_bitmap = CreateDIBSection(m_dc, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS, &bits, nullptr, 0);
        m_bits = static_cast<std::uint32_t*>(bits);
        m_old = SelectObject(m_dc, m_bitmap);
        for (int i = 0; i < width * height; ++i) {
            m_bits[i] = (GetRValue(fill) << 16) | (GetGValue(fill) << 8) | GetBValue(fill);
        }
    }
    ~CMemoryTarget() {
        SelectObject(m_dc, m_old);
        DeleteObject(m_bitmap);
        DeleteDC(m_dc);
    }
    HDC Dc() const { return m_dc; }
    bool Ok() const { return m_dc && m_bitmap && m_bits; }
    // The pixel as GDI reads it back from the context.
    COLORREF At(int x, int y) const { return GetPixel(m_dc, x, y); }
    // The same pixel read from the section's memory.
    COLORREF InMemory(int x, int y) const {
        GdiFlush();
        const std::uint32_t v = m_bits[y * m_width + x];
        return RGB((v >> 16) & 0xFF, (v >> 8) & 0xFF, v & 0xFF);
    }

private:
    int m_width;
    HDC m_dc = nullptr;
    HBITMAP m_bitmap = nullptr;
    HGDIOBJ m_old = nullptr;
    std::uint32_t* m_bits = nullptr;
};

// Colours that survive a 24-bit round trip exactly.
COLORREF PatternColour(int x, int y) { return RGB(0x20 + 0x10 * x, 0x40 + 0x10 * y, 0x80); }

void FillColours(CVskDIB& dib) {
    for (int y = 0; y < dib.GetHeight(); ++y) {
        for (int x = 0; x < dib.GetWidth(); ++x) {
            const COLORREF c = PatternColour(x, y);
            SetPixel24(dib, x, y, GetBValue(c), GetGValue(c), GetRValue(c));
        }
    }
}

std::string ColourText(COLORREF c) {
    char text[16];
    std::snprintf(text, sizeof text, "%06lX", static_cast<unsigned long>(c & 0xFFFFFF));
    return text;
}

const COLORREF kBackground = RGB(0x01, 0x02, 0x03);

} // namespace

TEST(CVskDIBPaint, UnscaledOntoAMemoryContext) {
    CVskDIB dib(4, 3);
    FillColours(dib);
    CMemoryTarget target(16, 16, kBackground);
    ASSERT_TRUE(target.Ok());
    EXPECT_TRUE(dib.StretchDIBits(target.Dc(), 3, 2));
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(ColourText(target.At(3 + x, 2 + y)), ColourText(PatternColour(x, y))) << x << "," << y;
            EXPECT_EQ(ColourText(target.InMemory(3 + x, 2 + y)), ColourText(PatternColour(x, y)));
        }
    }
    EXPECT_EQ(ColourText(target.At(2, 2)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(7, 2)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(3, 5)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(3, 1)), ColourText(kBackground));
}

TEST(CVskDIBPaint, ZoomTwiceOntoAMemoryContext) {
    CVskDIB dib(3, 2);
    FillColours(dib);
    CMemoryTarget target(16, 16, kBackground);
    EXPECT_TRUE(dib.StretchDIBits(target.Dc(), 1, 1, 2.0, 2.0));
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) {
            EXPECT_EQ(ColourText(target.At(1 + x, 1 + y)), ColourText(PatternColour(x / 2, y / 2))) << x << "," << y;
        }
    }
    EXPECT_EQ(ColourText(target.At(7, 1)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(1, 5)), ColourText(kBackground));
}

TEST(CVskDIBPaint, ZoomHalfOntoAMemoryContext) {
    // 2 x 2 blocks of one colour, so that every stretch mode gives the same.
    CVskDIB dib(8, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 8; ++x) {
            const COLORREF c = PatternColour(x / 2, y / 2);
            SetPixel24(dib, x, y, GetBValue(c), GetGValue(c), GetRValue(c));
        }
    }
    CMemoryTarget target(16, 16, kBackground);
    EXPECT_TRUE(dib.StretchDIBits(target.Dc(), 0, 0, 0.5, 0.5));
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(ColourText(target.At(x, y)), ColourText(PatternColour(x, y))) << x << "," << y;
        }
    }
    EXPECT_EQ(ColourText(target.At(4, 0)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(0, 2)), ColourText(kBackground));
}

TEST(CVskDIBPaint, ZoomedSizeIsTruncatedTowardZero) {
    CVskDIB dib(3, 3);
    FillColours(dib);
    CMemoryTarget target(16, 16, kBackground);
    EXPECT_TRUE(dib.StretchDIBits(target.Dc(), 0, 0, 1.5, 1.5)); // 4.5 -> 4 pixels
    EXPECT_NE(ColourText(target.At(3, 3)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(4, 0)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(0, 4)), ColourText(kBackground));
}

TEST(CVskDIBPaint, SourceRectangleForm) {
    CVskDIB dib(4, 4);
    FillColours(dib);
    CMemoryTarget target(16, 16, kBackground);
    // The middle 2 x 2 (symmetric in the 4 rows, so either row origin agrees).
    EXPECT_TRUE(dib.StretchDIBits(target.Dc(), 5, 5, 2, 2, 1, 1, 2, 2));
    EXPECT_EQ(ColourText(target.At(5, 5)), ColourText(PatternColour(1, 1)));
    EXPECT_EQ(ColourText(target.At(6, 5)), ColourText(PatternColour(2, 1)));
    EXPECT_EQ(ColourText(target.At(5, 6)), ColourText(PatternColour(1, 2)));
    EXPECT_EQ(ColourText(target.At(6, 6)), ColourText(PatternColour(2, 2)));
    EXPECT_EQ(ColourText(target.At(7, 5)), ColourText(kBackground));
    EXPECT_EQ(ColourText(target.At(4, 5)), ColourText(kBackground));
}

TEST(CVskDIBPaint, ZeroLinesPaintedCountsAsSuccess) {
    // GDI paints nothing and returns 0 on a null context; only GDI_ERROR is a failure.
    CVskDIB dib(2, 2);
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = 2;
    header.biHeight = -2;
    header.biPlanes = 1;
    header.biBitCount = 24;
    ASSERT_EQ(::StretchDIBits(nullptr, 0, 0, 2, 2, 0, 0, 2, 2, dib.GetBits(), reinterpret_cast<BITMAPINFO*>(&header),
                              DIB_RGB_COLORS, SRCCOPY),
              0);
    EXPECT_TRUE(dib.StretchDIBits(nullptr, 0, 0));
    EXPECT_TRUE(dib.StretchDIBits(nullptr, 0, 0, 2.0, 2.0));
    EXPECT_TRUE(dib.StretchDIBits(nullptr, 0, 0, 2, 2, 0, 0, 2, 2));
}

TEST(CVskDIBPaint, OntoAWindowContextUnscaledAndZoomed) {
    HWND window = CreateWindowExA(WS_EX_TOPMOST, "STATIC", "", WS_POPUP | WS_VISIBLE, 0, 0, 96, 96, nullptr, nullptr,
                                  GetModuleHandleA(nullptr), nullptr);
    ASSERT_NE(window, nullptr) << vsktest::Win32ErrorText(GetLastError());
    UpdateWindow(window);
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        DispatchMessageA(&msg);
    }
    HDC dc = ::GetDC(window);
    ASSERT_NE(dc, nullptr);

    CVskDIB dib(4, 4);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const COLORREF c = PatternColour(x / 2, y / 2);
            SetPixel24(dib, x, y, GetBValue(c), GetGValue(c), GetRValue(c));
        }
    }
    EXPECT_TRUE(dib.StretchDIBits(dc, 10, 10));
    EXPECT_TRUE(dib.StretchDIBits(dc, 30, 10, 2.0, 2.0));
    EXPECT_TRUE(dib.StretchDIBits(dc, 50, 10, 0.5, 0.5));
    GdiFlush();
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(ColourText(GetPixel(dc, 10 + x, 10 + y)), ColourText(PatternColour(x / 2, y / 2)));
        }
    }
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(ColourText(GetPixel(dc, 30 + x, 10 + y)), ColourText(PatternColour(x / 4, y / 4)));
        }
    }
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 2; ++x) {
            EXPECT_EQ(ColourText(GetPixel(dc, 50 + x, 10 + y)), ColourText(PatternColour(x, y)));
        }
    }
    // Read back the unscaled block once more through GetDIBits of a copy.
    HDC mem = CreateCompatibleDC(dc);
    HBITMAP copy = CreateCompatibleBitmap(dc, 4, 4);
    HGDIOBJ old = SelectObject(mem, copy);
    BitBlt(mem, 0, 0, 4, 4, dc, 10, 10, SRCCOPY);
    SelectObject(mem, old);
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = 4;
    header.biHeight = -4;
    header.biPlanes = 1;
    header.biBitCount = 32;
    std::uint32_t pixels[16] = {};
    EXPECT_EQ(GetDIBits(mem, copy, 0, 4, pixels, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS), 4);
    for (int i = 0; i < 16; ++i) {
        const COLORREF c = PatternColour((i % 4) / 2, (i / 4) / 2);
        EXPECT_EQ(pixels[i] & 0xFFFFFF, std::uint32_t((GetRValue(c) << 16) | (GetGValue(c) << 8) | GetBValue(c)))
            << i;
    }
    DeleteObject(copy);
    DeleteDC(mem);
    ReleaseDC(window, dc);
    DestroyWindow(window);
}

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
