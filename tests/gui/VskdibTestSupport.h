// VskdibTestSupport.h - what the CVskDIB tests share: pixels, BMP bytes, the
// SHA-256 of loaded rows (by the system's hashing service) and the shared
// BMP corpus with its manifest.
#pragma once

#include "gui/Vskdib.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"
#include "tests/threading/ImportSlots.h"

#include <wincrypt.h>

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

namespace vskdibtest {

using vsktest::CTempDir;
using vsktest::ReadFileBytes;
using vsktest::WriteFileBytes;

const char kLoadError[] = "CVskDIB::LoadFromFile()";

template <typename Exception, typename Body>
inline std::string ErrorOf(Body body) {
    try {
        body();
    } catch (const Exception& e) {
        return e.what();
    } catch (const std::exception& e) {
        return std::string("<other exception> ") + e.what();
    }
    return "<no exception>";
}

inline unsigned char* Pixel(const CVskDIB& dib, int x, int y) {
    return dib.GetBits() + std::ptrdiff_t(dib.GetStride()) * y + std::ptrdiff_t(x) * 3;
}

inline void SetPixel24(CVskDIB& dib, int x, int y, unsigned char b, unsigned char g, unsigned char r) {
    unsigned char* p = Pixel(dib, x, y);
    p[0] = b;
    p[1] = g;
    p[2] = r;
}

// A recognisable colour for every pixel: blue = x, green = y, red = tag.
inline void FillPattern(CVskDIB& dib, unsigned char tag) {
    for (int y = 0; y < dib.GetHeight(); ++y) {
        for (int x = 0; x < dib.GetWidth(); ++x) {
            SetPixel24(dib, x, y, static_cast<unsigned char>(x), static_cast<unsigned char>(y), tag);
        }
    }
}

inline std::string PixelText(const CVskDIB& dib, int x, int y) {
    const unsigned char* p = Pixel(dib, x, y);
    char text[32];
    std::snprintf(text, sizeof text, "%02X%02X%02X", p[0], p[1], p[2]);
    return text;
}

inline std::string Hex(unsigned char b, unsigned char g, unsigned char r) {
    char text[32];
    std::snprintf(text, sizeof text, "%02X%02X%02X", b, g, r);
    return text;
}

inline void PutU32(std::string& bytes, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<char>(v >> (8 * i));
    }
}

inline void PutU16(std::string& bytes, std::size_t at, std::uint32_t v) {
    bytes[at] = static_cast<char>(v);
    bytes[at + 1] = static_cast<char>(v >> 8);
}

inline std::uint32_t GetU32(const std::string& bytes, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i) {
        v = (v << 8) | static_cast<unsigned char>(bytes[at + i]);
    }
    return v;
}

// A 24-bit BMP file with the 54-byte headers and `rows` stored as given.
inline std::string MakeBmp(int width, int height, const std::string& rows, int bitsPerPixel = 24) {
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

// The SHA-256 digest as lowercase hex, by the system's hashing service. (The
// algorithm's identifier is spelt out: the system headers name it only for
// later system versions than the library targets.)
constexpr ALG_ID kSha256Algorithm = ALG_CLASS_HASH | ALG_TYPE_ANY | 12;

class CSha256 {
public:
    CSha256() {
        if (!CryptAcquireContextA(&m_provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) ||
            !CryptCreateHash(m_provider, kSha256Algorithm, 0, 0, &m_hash))
            throw std::runtime_error("the system's SHA-256 is not available: " +
                                     vsktest::Win32ErrorText(GetLastError()));
    }
    ~CSha256() {
        if (m_hash)
            CryptDestroyHash(m_hash);
        if (m_provider)
            CryptReleaseContext(m_provider, 0);
    }
    CSha256(const CSha256&) = delete;
    CSha256& operator=(const CSha256&) = delete;

    void Update(const unsigned char* data, std::size_t size) {
        if (!CryptHashData(m_hash, data, static_cast<DWORD>(size), 0))
            throw std::runtime_error("CryptHashData failed: " + vsktest::Win32ErrorText(GetLastError()));
    }

    std::string HexDigest() {
        unsigned char digest[32];
        DWORD size = sizeof digest;
        if (!CryptGetHashParam(m_hash, HP_HASHVAL, digest, &size, 0) || size != sizeof digest)
            throw std::runtime_error("CryptGetHashParam failed: " + vsktest::Win32ErrorText(GetLastError()));
        std::string hex;
        for (unsigned char byte : digest) {
            char pair[3];
            std::snprintf(pair, sizeof pair, "%02x", byte);
            hex += pair;
        }
        return hex;
    }

private:
    HCRYPTPROV m_provider = 0;
    HCRYPTHASH m_hash = 0;
};

inline std::string Sha256(const std::string& bytes) {
    CSha256 sha;
    sha.Update(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return sha.HexDigest();
}

inline std::string RowsSha256(const CVskDIB& dib) {
    CSha256 sha;
    for (int y = 0; y < dib.GetHeight(); ++y) {
        sha.Update(Pixel(dib, 0, y), std::size_t(dib.GetStride()));
    }
    return sha.HexDigest();
}

// The shared test data folder as a Windows path (Wine maps the Unix root to
// Z:): the build's, unless VSK_TESTDATA_DIR names another one at run time.
inline std::string TestDataDir() {
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

inline std::string CorpusDir() { return TestDataDir() + "\\bmpsuite"; }

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

inline std::vector<CManifestRow> ReadManifest() {
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

inline std::string CorpusFile(const std::string& relative) {
    std::string path = CorpusDir() + "\\" + relative;
    for (char& c : path) {
        if (c == '/') {
            c = '\\';
        }
    }
    return path;
}

} // namespace vskdibtest
