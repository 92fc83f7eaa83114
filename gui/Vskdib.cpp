// Vskdib.cpp - the 24-bit device-independent bitmap.
#include "gui/Vskdib.h"

#include "files/VskFile.h"
#include "platform/Stdio.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

VSK_DEFINE_UNIT(Vskdib, nullptr, nullptr)

namespace {

constexpr WORD kBmpFileType = 0x4D42; // "BM"
constexpr int kFileHeaderSize = 14;
constexpr int kInfoHeaderSize = 40;
constexpr int kHeadersSize = kFileHeaderSize + kInfoHeaderSize;
constexpr WORD kBitsPerPixel = 24;

// The largest pixel memory a bitmap may have: row offsets are computed as
// stride * y in signed 32-bit arithmetic, and a 32-bit process has no more
// room anyway.
constexpr std::int64_t kMaxPixelBytes = 0x7FFFFFFF;

// Bytes LoadFromFile reads in one call of the file object (whole rows).
constexpr int kLoadBatchBytes = 1 << 20;

// The stream buffer SaveToFile gathers rows in.
constexpr std::size_t kSaveBufferBytes = 256 * 1024;

const char kLoadError[] = "CVskDIB::LoadFromFile()";
const char kSaveError[] = "CVskDIB::SaveToFile()";

// Bytes per row for `width` pixels of 3 bytes, a multiple of 4; computed
// wide so that absurd widths cannot overflow.
std::int64_t StrideOf(int width) { return (std::int64_t(width) * 3 + 3) & ~std::int64_t(3); }

// The top-down 24-bit header of a bitmap.
BITMAPINFOHEADER TopDownHeader(int width, int height) {
    BITMAPINFOHEADER header;
    std::memset(&header, 0, sizeof header);
    header.biSize = sizeof(BITMAPINFOHEADER);
    header.biWidth = width;
    header.biHeight = -height;
    header.biPlanes = 1;
    header.biBitCount = kBitsPerPixel;
    header.biCompression = BI_RGB;
    return header;
}

std::uint16_t ReadU16(const unsigned char* p) { return std::uint16_t(p[0] | (p[1] << 8)); }

std::int32_t ReadI32(const unsigned char* p) {
    return std::int32_t(std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16) |
                        (std::uint32_t(p[3]) << 24));
}

void PutU16(unsigned char* p, std::uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

void PutU32(unsigned char* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<unsigned char>(v >> (8 * i));
    }
}

// Whether a file of `fileSize` bytes holds the pixel rows its header claims:
// stride * |height| bytes from offset 54. A width of 0 or less claims no rows
// (the bitmap's creation refuses it). Computed in 64 bits and by division,
// so that a claim past 32 (or 64) bits cannot wrap into a small size.
bool HoldsClaimedRows(std::uint64_t fileSize, std::int32_t width, std::int32_t fileHeight) {
    if (width <= 0) {
        return true;
    }
    const std::uint64_t rows =
        fileHeight < 0 ? std::uint64_t(-std::int64_t(fileHeight)) : std::uint64_t(fileHeight);
    const std::uint64_t available = fileSize > std::uint64_t(kHeadersSize) ? fileSize - kHeadersSize : 0;
    return rows <= available / std::uint64_t(StrideOf(width));
}

// The size of the open file; a size the system cannot tell fails the load.
std::uint64_t SizeOfLoadedFile(const vskfile::CVskFile& file) {
    try {
        return file.GetFileSize();
    } catch (const std::runtime_error&) {
        throw std::runtime_error(kLoadError);
    }
}

struct CFileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

CVskDIB::CVskDIB() {
    ClearMember();
    if (!CreateBitmap(1, 1)) {
        throw std::runtime_error("CVskDIB::CVskDIB()");
    }
}

CVskDIB::CVskDIB(int width, int height) {
    ClearMember();
    if (width <= 0 || height <= 0) {
        throw std::invalid_argument("CVskDIB::CVskDIB()");
    }
    if (!CreateBitmap(width, height)) {
        Destroy();
        throw std::runtime_error("CVskDIB::CVskDIB()");
    }
}

CVskDIB::CVskDIB(const char* path) {
    ClearMember();
    try {
        if (!LoadFromFile(path)) {
            throw std::runtime_error("CVskDIB::CVskDIB()");
        }
    } catch (...) {
        // The destructor does not run for an object whose constructor threw.
        Destroy();
        throw;
    }
}

CVskDIB::CVskDIB(const CVskDIB& other) {
    ClearMember();
    try {
        *this = other;
    } catch (...) {
        Destroy();
        throw;
    }
}

CVskDIB& CVskDIB::operator=(const CVskDIB& other) {
    if (this == &other) {
        return *this;
    }
    Destroy();
    // CreateBitmap destroys again; the released handles must not be deleted
    // a second time (the system may have handed their values out anew).
    ClearMember();
    if (!CreateBitmap(other.m_width, other.m_height)) {
        throw std::runtime_error("CVskDIB::operator=()");
    }
    Blt(0, 0, &other);
    return *this;
}

CVskDIB::~CVskDIB() {
    Destroy();
}

void CVskDIB::ClearMember() {
    m_memDC = nullptr;
    m_bitmap = nullptr;
    m_bits = nullptr;
}

bool CVskDIB::CreateBitmap(int width, int height) {
    Destroy();
    const std::int64_t stride = StrideOf(width);
    m_width = width;
    m_height = height;
    m_stride = static_cast<int>(static_cast<std::uint32_t>(stride));
    m_memDC = nullptr;
    m_bitmap = nullptr;
    m_bits = nullptr;
    // The memory context comes before the pixel memory: a size refused here
    // leaves one, as a size the system refuses does.
    if (HDC display = CreateDCA("DISPLAY", nullptr, nullptr, nullptr)) {
        m_memDC = CreateCompatibleDC(display);
        DeleteDC(display);
    }
    if (width <= 0 || height <= 0 || stride > kMaxPixelBytes / height) {
        return false;
    }

    BITMAPINFOHEADER header = TopDownHeader(width, height);
    void* bits = nullptr;
    m_bitmap = CreateDIBSection(m_memDC, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS, &bits,
                                nullptr, 0);
    if (!m_bitmap) {
        return false;
    }
    m_bits = static_cast<unsigned char*>(bits);
    // The padding of every row is defined (zero), so saved files and row
    // copies carry no stray bytes.
    unsigned char* padding = m_bits + m_stride - 4;
    for (int y = 0; y < m_height; ++y, padding += m_stride) {
        std::memset(padding, 0, 4);
    }
    return true;
}

void CVskDIB::Destroy() {
    if (m_bitmap) {
        DeleteObject(m_bitmap);
    }
    if (m_memDC) {
        DeleteDC(m_memDC);
    }
    m_bits = nullptr;
}

bool CVskDIB::LoadFromFile(const char* path) {
    // Closed by its destructor, also when a failure below throws.
    vskfile::CVskFile file;
    if (!file.CreateFileA(path, vskfile::CVskFile::CT_READ, 0)) {
        throw std::runtime_error(kLoadError);
    }
    // Both headers in one read: every read of the file object also checks for
    // other handles' locks, and a file too short for the second header fails
    // as it would on its own read, before anything of the bitmap changes.
    unsigned char headers[kHeadersSize];
    if (!file.Read(headers, kHeadersSize) || ReadU16(headers) != kBmpFileType) {
        throw std::runtime_error(kLoadError);
    }
    const unsigned char* info = headers + kFileHeaderSize;
    if (ReadU16(info + 14) != kBitsPerPixel) {
        throw std::runtime_error(kLoadError);
    }
    const std::int32_t width = ReadI32(info + 4);
    const std::int32_t fileHeight = ReadI32(info + 8);
    // A header may claim any size: the rows it claims must be in the file
    // before a bitmap of that size is made, so that a short file costs no
    // more memory than it holds, and the bitmap held so far stays untouched.
    if (!HoldsClaimedRows(SizeOfLoadedFile(file), width, fileHeight)) {
        throw std::runtime_error(kLoadError);
    }
    // |INT_MIN| has no 32-bit value; no bitmap can be that tall.
    const std::int32_t height = fileHeight == INT32_MIN ? 0 : (fileHeight < 0 ? -fileHeight : fileHeight);
    if (!CreateBitmap(width, height)) {
        throw std::runtime_error(kLoadError);
    }
    ReadRows(file, fileHeight >= 0);
    return true;
}

unsigned char* CVskDIB::FileRow(int i, bool bottomUp) const {
    const int y = bottomUp ? m_height - 1 - i : i;
    return m_bits + std::ptrdiff_t(m_stride) * y;
}

// Rows come in batches of whole rows (about 1 MiB): every read of the file
// object also asks the system whether another handle locked the bytes, which
// costs far more than reading one row. Each batch puts the same bytes into the
// same rows as reading row by row; when a batch read comes back short or
// fails (a lock), what arrived is placed and the rest of the batch is read
// row by row, so a failure keeps what the row-by-row reading would have kept.
void CVskDIB::ReadRows(vskfile::CVskFile& file, bool bottomUp) {
    int rowsPerBatch = std::min(m_height, std::max(1, kLoadBatchBytes / m_stride));
    std::unique_ptr<unsigned char[]> batch;
    if (bottomUp && rowsPerBatch > 1) {
        batch.reset(new (std::nothrow) unsigned char[std::size_t(rowsPerBatch) * m_stride]);
        if (!batch) {
            rowsPerBatch = 1; // no memory for a batch: straight into the rows
        }
    }
    for (int first = 0; first < m_height; first += rowsPerBatch) {
        const int rows = std::min(rowsPerBatch, m_height - first);
        const int wanted = rows * m_stride;
        unsigned char* target = batch ? batch.get() : FileRow(first, bottomUp);
        const int got = rows == 1 ? -1 : file.ReadEx(target, wanted);
        const int arrived = got > 0 ? got : 0;
        if (batch) {
            for (int r = 0; r * m_stride < arrived; ++r) {
                const int bytes = std::min(m_stride, arrived - r * m_stride);
                std::memcpy(FileRow(first + r, bottomUp), batch.get() + std::ptrdiff_t(r) * m_stride, bytes);
            }
        }
        if (got == wanted) {
            continue;
        }
        // Row by row from the first row that is not complete; a part that
        // arrived stays at its row's front and the read asks for the rest.
        const int partial = arrived % m_stride;
        for (int r = arrived / m_stride; r < rows; ++r) {
            const int skip = r == arrived / m_stride ? partial : 0;
            if (!file.Read(FileRow(first + r, bottomUp) + skip, m_stride - skip)) {
                throw std::runtime_error(kLoadError);
            }
        }
    }
}

bool CVskDIB::SaveToFile(const char* path) const {
    // Rows to write but no pixel memory to take them from (a destroyed
    // bitmap, a failed creation): refused before the file is touched.
    if (!m_bits && m_height > 0) {
        throw std::runtime_error(kSaveError);
    }
    // The C runtime's fopen, with a read-only file refused as Windows refuses
    // it (Wine running as root would open it), as the log's stream is.
    std::unique_ptr<std::FILE, CFileCloser> file(vsk::detail::OpenWritableStream(path, "wb"));
    if (!file) {
        throw std::runtime_error(kSaveError);
    }
    // Rows are gathered in a stream buffer of kSaveBufferBytes: one system
    // write per row costs about three times the writing of the same bytes
    // at once, and a buffer much larger than the cache costs more again. If
    // the buffer cannot be had, the stream's own smaller one serves.
    std::setvbuf(file.get(), nullptr, _IOFBF, kSaveBufferBytes);
    unsigned char fileHeader[kFileHeaderSize] = {};
    PutU16(fileHeader, kBmpFileType);
    PutU32(fileHeader + 2, std::uint32_t(m_stride) * std::uint32_t(m_height) + kHeadersSize);
    PutU32(fileHeader + 10, kHeadersSize);
    unsigned char infoHeader[kInfoHeaderSize] = {};
    PutU32(infoHeader, kInfoHeaderSize);
    PutU32(infoHeader + 4, std::uint32_t(m_width));
    PutU32(infoHeader + 8, std::uint32_t(m_height));
    PutU16(infoHeader + 12, 1);
    PutU16(infoHeader + 14, kBitsPerPixel);
    if (std::fwrite(fileHeader, sizeof fileHeader, 1, file.get()) != 1 ||
        std::fwrite(infoHeader, sizeof infoHeader, 1, file.get()) != 1) {
        throw std::runtime_error(kSaveError);
    }
    for (int y = m_height - 1; y >= 0; --y) {
        if (std::fwrite(m_bits + std::ptrdiff_t(m_stride) * y, 1, m_stride, file.get()) != size_t(m_stride)) {
            throw std::runtime_error(kSaveError);
        }
    }
    // What is still in the buffer must reach the file before success is
    // reported; a failure here is a short write like any other.
    if (std::fflush(file.get()) != 0) {
        throw std::runtime_error(kSaveError);
    }
    std::fclose(file.release());
    return true;
}

void CVskDIB::Blt(const CVskDIB* src, int left, int top, int right, int bottom, int destX, int destY) {
    // Without pixel memory on either side (a destroyed bitmap, or one whose
    // creation failed) there is nothing to copy from or to.
    if (!m_bits || !src || !src->m_bits) {
        return;
    }
    // One-sided clipping, kept as it is: a negative left or top moves the
    // destination, the source is still read from the unadjusted corner, and
    // right and bottom are clamped to this bitmap's size, not the source's.
    if (left < 0) {
        destX += left;
    }
    if (top < 0) {
        destY += top;
    }
    if (m_width <= right) {
        right = m_width - 1;
    }
    if (m_height <= bottom) {
        bottom = m_height - 1;
    }
    int count = right - left + 1;
    if (m_width <= count + destX) {
        count = m_width - destX;
    }
    if (count <= 0) {
        return;
    }
    const std::size_t rowBytes = std::size_t(count) * 3;
    unsigned char* dest = m_bits + std::ptrdiff_t(m_stride) * destY + std::ptrdiff_t(destX) * 3;
    const unsigned char* source = src->m_bits + std::ptrdiff_t(src->m_stride) * top + std::ptrdiff_t(left) * 3;
    for (int y = top; y <= bottom; ++y) {
        std::memcpy(dest, source, rowBytes);
        dest += m_stride;
        source += src->m_stride;
    }
}

void CVskDIB::Blt(int destX, int destY, const CVskDIB* src) {
    if (!src) {
        return;
    }
    Blt(src, 0, 0, src->m_width - 1, src->m_height - 1, destX, destY);
}

bool CVskDIB::StretchDIBits(void* hdc, int xDest, int yDest, int wDest, int hDest, int xSrc, int ySrc, int wSrc,
                            int hSrc) const {
    BITMAPINFOHEADER header = TopDownHeader(m_width, m_height);
    const int result = ::StretchDIBits(static_cast<HDC>(hdc), xDest, yDest, wDest, hDest, xSrc, ySrc, wSrc, hSrc,
                                       m_bits, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS, SRCCOPY);
    // Zero lines painted is not a failure; only GDI_ERROR is.
    return result != int(GDI_ERROR);
}

bool CVskDIB::StretchDIBits(void* hdc, int x, int y) const {
    return StretchDIBits(hdc, x, y, m_width, m_height, 0, 0, m_width, m_height);
}

bool CVskDIB::StretchDIBits(void* hdc, int x, int y, double zoomX, double zoomY) const {
    return StretchDIBits(hdc, x, y, static_cast<int>(m_width * zoomX), static_cast<int>(m_height * zoomY), 0, 0,
                         m_width, m_height);
}
