// Vskdib_paint_test.cpp - CVskDIB painted onto real device contexts, unscaled and zoomed.
#include "tests/gui/VskdibTestSupport.h"

using namespace vskdibtest;

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
