// Vskdib.h - the 24-bit device-independent bitmap.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <windows.h>

VSK_DECLARE_UNIT(Vskdib)

namespace vskfile {
class CVskFile;
}

/// An owned, always 24-bit, top-down device-independent bitmap (a DIB
/// section). Pixel (x, y) is the three bytes blue, green, red at
/// GetBits() + y * GetStride() + x * 3; row 0 is the top row and lies first.
/// Rows are padded to a multiple of four bytes:
/// stride = (width * 3 + 3) rounded down to a multiple of 4, so a width of 1
/// gives stride 4, a width of 4 gives 12 and a width of 5 gives 16.
///
/// BMP files: reads and writes uncompressed 24-bit files with the 54-byte
/// headers only; the pixel rows are always taken from file offset 54.
///
/// Example:
///   CVskDIB dib(5, 2);                 // stride 16, padding bytes zero
///   dib.GetBits()[0] = 0xFF;           // pixel (0, 0) blue
///   dib.SaveToFile("a.bmp");           // 54 + 16 * 2 = 86 bytes, bottom row first
///   CVskDIB copy("a.bmp");             // same pixels and padding
///
/// Thread safety: none; an object is used by one thread at a time.
/// Lifetime: the pixel memory belongs to the DIB section and is valid until
/// Destroy, CreateBitmap, LoadFromFile, assignment or destruction.
class VSK_API CVskDIB {
public:
    /// A 1 x 1 bitmap.
    /// Errors: std::runtime_error "CVskDIB::CVskDIB()" when it cannot be created.
    CVskDIB();
    /// A bitmap of `width` x `height`, all bytes zero.
    /// Errors: std::invalid_argument "CVskDIB::CVskDIB()" unless both are above 0;
    /// std::runtime_error "CVskDIB::CVskDIB()" when it cannot be created.
    CVskDIB(int width, int height);
    /// The bitmap of a BMP file (see LoadFromFile).
    /// Errors: std::runtime_error "CVskDIB::LoadFromFile()" from the load.
    CVskDIB(const char* path);
    /// A copy of `other`'s size and pixels (see operator=).
    CVskDIB(const CVskDIB& other);
    /// Resizes this bitmap to `other`'s size and copies its pixels; nothing
    /// happens on self-assignment.
    /// Errors: std::runtime_error "CVskDIB::operator=()" when the bitmap cannot be created.
    CVskDIB& operator=(const CVskDIB& other);
    virtual ~CVskDIB();

    /// Forgets the handles and the pixel pointer without releasing them.
    void ClearMember();
    /// Releases what is held and creates a zeroed `width` x `height` bitmap
    /// with defined (zero) row padding. Returns false when the bitmap cannot be
    /// created: a width or height below 1, pixel memory that does not fit in
    /// 2 GiB, or a failed DIB section; the size is recorded all the same.
    bool CreateBitmap(int width, int height);
    /// Deletes the DIB section and the memory device context and sets the
    /// pixel pointer to null. The handle values themselves are kept.
    void Destroy();
    /// Loads an uncompressed 24-bit BMP file. A positive (or zero) height in
    /// the file means bottom-up rows, a negative one top-down rows; the rows
    /// are read from file offset 54 whatever the header says, so a file with
    /// a palette or a larger header is misread, not rejected. Returns true.
    ///
    /// The file must hold the rows its header claims (54 + stride * |height|
    /// bytes, by the file's size) before anything is created, so a load never
    /// takes much more memory than the file holds: a 54-byte file that claims
    /// 1 x 100,000,000 pixels is refused without making that bitmap.
    ///
    /// Errors: std::runtime_error "CVskDIB::LoadFromFile()" when the file cannot
    /// be opened, is not "BM", is not 24 bits per pixel, is shorter than its
    /// header claims (or its size cannot be told), the bitmap cannot be
    /// created, or a read fails. A failure before the bitmap's creation
    /// (headers, size) leaves this bitmap as it was; after it, the bitmap keeps
    /// what was created and read before the failure.
    bool LoadFromFile(const char* path);
    /// Saves the bitmap as a bottom-up 24-bit BMP file of 54 + stride * height
    /// bytes. Returns true.
    /// Errors: std::runtime_error "CVskDIB::SaveToFile()" when the file cannot be
    /// created or written; a partly written file is left on disk.
    bool SaveToFile(const char* path) const;

    /// Copies the rectangle of `src` whose corners (left, top) and (right,
    /// bottom) are inclusive to (destX, destY) of this bitmap, one row at a time.
    /// Clipping is one-sided: a negative left (top) moves destX (destY) by
    /// that much while the source is still read from left (top); right and
    /// bottom are clamped to this bitmap's size, and the row length to this
    /// bitmap's width from destX. Nothing else is checked: a rectangle outside
    /// the source, or rows that run past this bitmap's bottom, are the
    /// caller's error. A row length below 1 copies nothing, and so does a
    /// bitmap without pixel memory on either side (destroyed, or its creation
    /// failed) or a null `src`.
    ///
    /// Example: Blt(&src10x10, -2, 1, 9, 9, 5, 5) writes rows 5.. at x 3 and
    /// reads each source row from x -2 (the end of the row above).
    void Blt(const CVskDIB* src, int left, int top, int right, int bottom, int destX, int destY);
    /// Copies the whole of `src` to (destX, destY), clipped as above: a 10 x 10
    /// source into a 4 x 4 bitmap at (0, 0) copies its top-left 4 x 4 pixels.
    void Blt(int destX, int destY, const CVskDIB* src);

    /// Paints the source rectangle onto the device context `hdc` (an HDC),
    /// scaled to the destination rectangle, with SRCCOPY. False only when GDI
    /// reports GDI_ERROR; a result of 0 lines counts as success.
    bool StretchDIBits(void* hdc, int xDest, int yDest, int wDest, int hDest, int xSrc, int ySrc, int wSrc,
                       int hSrc) const;
    /// Paints the whole bitmap unscaled at (x, y).
    bool StretchDIBits(void* hdc, int x, int y) const;
    /// Paints the whole bitmap at (x, y), width * zoomX by height * zoomY
    /// (each truncated toward zero).
    bool StretchDIBits(void* hdc, int x, int y, double zoomX, double zoomY) const;

    /// The first byte of the pixel memory; nullptr when there is no bitmap.
    unsigned char* GetBits() const { return m_bits; }
    /// The width in pixels.
    int GetWidth() const { return m_width; }
    /// The height in pixels.
    int GetHeight() const { return m_height; }
    /// Bytes per row, a multiple of 4.
    int GetStride() const { return m_stride; }
    /// The memory device context (an HDC); the bitmap is never selected into it.
    void* GetDC() const { return m_memDC; }

private:
    /// The row that the `i`-th row of a file goes to.
    unsigned char* FileRow(int i, bool bottomUp) const;
    /// Reads every row from the file's current position (offset 54).
    void ReadRows(vskfile::CVskFile& file, bool bottomUp);

    HDC m_memDC = nullptr;
    HBITMAP m_bitmap = nullptr;
    unsigned char* m_bits = nullptr;
    int m_width = 0;
    int m_height = 0;
    int m_stride = 0;
};
