// ImeCompositionPicture_test.cpp - the example IME window drawn on the
// screen: a composition is driven, the window captured from the display into
// a PNG (kept under the build folder) and compared pixel for pixel with the
// picture computed from the clauses.
#include "examples/ImeCompositionWindow.h"

#include <gtest/gtest.h>

#include <imm.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

using vskstr::CVskStr;

namespace {

const int kWidth = 240;
const int kHeight = 40;

// --- a minimal PNG writer: 24-bit RGB, stored (uncompressed) deflate blocks

uint32_t Crc32(const std::string& data) {
    uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char byte : data) {
        crc ^= byte;
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void PutBigEndian(std::string& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out += static_cast<char>((value >> shift) & 0xFF);
}

void PutChunk(std::string& out, const char* type, const std::string& data) {
    PutBigEndian(out, static_cast<uint32_t>(data.size()));
    const std::string typed = std::string(type, 4) + data;
    out += typed;
    PutBigEndian(out, Crc32(typed));
}

std::string ZlibStored(const std::string& raw) {
    std::string out("\x78\x01", 2);
    size_t pos = 0;
    do {
        const size_t n = std::min<size_t>(65535, raw.size() - pos);
        out += static_cast<char>(pos + n == raw.size() ? 1 : 0);
        out += static_cast<char>(n & 0xFF);
        out += static_cast<char>(n >> 8);
        out += static_cast<char>(~n & 0xFF);
        out += static_cast<char>((~n >> 8) & 0xFF);
        out.append(raw, pos, n);
        pos += n;
    } while (pos < raw.size());
    uint32_t a = 1, b = 0;
    for (unsigned char byte : raw) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    PutBigEndian(out, (b << 16) | a);
    return out;
}

// Pixels as 0x00RRGGBB, row by row.
void WritePng(const std::string& path, const std::vector<uint32_t>& pixels, int width, int height) {
    std::string raw;
    for (int y = 0; y < height; ++y) {
        raw += '\0';
        for (int x = 0; x < width; ++x) {
            const uint32_t p = pixels[static_cast<size_t>(y * width + x)];
            raw += static_cast<char>((p >> 16) & 0xFF);
            raw += static_cast<char>((p >> 8) & 0xFF);
            raw += static_cast<char>(p & 0xFF);
        }
    }
    std::string header;
    PutBigEndian(header, static_cast<uint32_t>(width));
    PutBigEndian(header, static_cast<uint32_t>(height));
    header += std::string("\x08\x02\x00\x00\x00", 5);
    std::string png("\x89PNG\r\n\x1A\n", 8);
    PutChunk(png, "IHDR", header);
    PutChunk(png, "IDAT", ZlibStored(raw));
    PutChunk(png, "IEND", "");
    std::ofstream(path, std::ios::binary) << png;
}

// The client area as the display shows it, read back from the screen.
std::vector<uint32_t> CaptureClient(HWND hwnd, int width, int height) {
    POINT origin{0, 0};
    ClientToScreen(hwnd, &origin);
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    HBITMAP dib = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = SelectObject(memory, dib);
    BitBlt(memory, 0, 0, width, height, screen, origin.x, origin.y, SRCCOPY);
    GdiFlush();
    std::vector<uint32_t> pixels(static_cast<const uint32_t*>(bits),
                                 static_cast<const uint32_t*>(bits) + static_cast<size_t>(width * height));
    for (uint32_t& p : pixels)
        p &= 0x00FFFFFF;
    SelectObject(memory, old);
    DeleteObject(dib);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return pixels;
}

uint32_t Rgb(COLORREF c) { return (GetRValue(c) << 16) | (GetGValue(c) << 8) | GetBValue(c); }

std::vector<uint32_t> Expected(const std::vector<CVskStr>& clauses, const std::vector<int>& attributes) {
    std::vector<uint32_t> pixels(static_cast<size_t>(kWidth * kHeight), 0xFFFFFF);
    const std::vector<RECT> boxes = CImeCompositionWindow::ClauseBoxes(clauses);
    for (size_t i = 0; i < boxes.size(); ++i)
        for (int y = boxes[i].top; y < boxes[i].bottom && y < kHeight; ++y)
            for (int x = boxes[i].left; x < boxes[i].right && x < kWidth; ++x)
                pixels[static_cast<size_t>(y * kWidth + x)] = Rgb(CImeCompositionWindow::ClauseColour(attributes[i]));
    return pixels;
}

class CPictureWnd : public CImeCompositionWindow {
public:
    void SetComposition(const std::string& text, const std::vector<unsigned char>& attrs) {
        m_compStr = CVskStr(text.data(), static_cast<int>(text.size()));
        m_compAttr.Resize(static_cast<unsigned int>(attrs.size()));
        for (size_t i = 0; i < attrs.size(); ++i)
            static_cast<unsigned char*>(m_compAttr.GetBuffer())[i] = attrs[i];
        OnCompStrChange();
    }
};

std::string ArtifactPath(const char* name) {
    CreateDirectoryA(VSK_ARTIFACT_DIR, nullptr);
    return std::string(VSK_ARTIFACT_DIR) + "/" + name;
}

// Shows the window, lets it paint, captures it, keeps the PNG and compares.
void CaptureAndCompare(CPictureWnd& wnd, const char* pngName) {
    SetWindowPos(wnd.GetHandle(), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    UpdateWindow(wnd.GetHandle());
    wnd.DoEvent();
    Sleep(200);
    wnd.DoEvent();
    std::vector<CVskStr> clauses;
    std::vector<int> attributes;
    wnd.GetCompStrWithAttr(clauses, attributes);
    ASSERT_FALSE(clauses.empty());
    const std::vector<uint32_t> captured = CaptureClient(wnd.GetHandle(), kWidth, kHeight);
    WritePng(ArtifactPath(pngName), captured, kWidth, kHeight);
    const std::vector<uint32_t> expected = Expected(clauses, attributes);
    int differing = 0;
    for (size_t i = 0; i < expected.size(); ++i)
        differing += (captured[i] != expected[i]);
    EXPECT_EQ(0, differing) << "pixels differ from the clauses' picture; see " << ArtifactPath(pngName);
}

} // namespace

TEST(ImeCompositionPicture, CompositionOfThePlatformImeIsDrawnExactly) {
    CPictureWnd wnd;
    ASSERT_EQ(0, wnd.Create(nullptr, "picture", WS_POPUP | WS_VISIBLE, 0, 0, 0, kWidth, kHeight, nullptr, nullptr,
                            GetModuleHandleA(nullptr)));
    HIMC ctx = ImmGetContext(wnd.GetHandle());
    ImmSetOpenStatus(ctx, TRUE);
    wchar_t text[] = L"\u6F22\u5B57\u304B\u306A"; // 漢字かな
    ImmSetCompositionStringW(ctx, SCS_SETSTR, text, 8, nullptr, 0);
    EXPECT_EQ(std::string("\x8A\xBF\x8E\x9A\x82\xA9\x82\xC8"), std::string(wnd.GetCompStr().c_str()));
    CaptureAndCompare(wnd, "ime_composition_platform.png");
    ImmNotifyIME(ctx, NI_COMPOSITIONSTR, CPS_CANCEL, 0);
    ImmReleaseContext(wnd.GetHandle(), ctx);
    DestroyWindow(wnd.GetHandle());
}

TEST(ImeCompositionPicture, ClausesOfEveryAttributeAreDrawnExactlySetDirectlyBecauseThePlatformImeGivesOnlyInput) {
    CPictureWnd wnd;
    ASSERT_EQ(0, wnd.Create(nullptr, "picture", WS_POPUP | WS_VISIBLE, 0, 0, 0, kWidth, kHeight, nullptr, nullptr,
                            GetModuleHandleA(nullptr)));
    // 漢字 | かな | 表 | ab with attributes 1, 2, 3, 0.
    wnd.SetComposition("\x8A\xBF\x8E\x9A\x82\xA9\x82\xC8\x95\x5C" "ab", {1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 0, 0});
    CaptureAndCompare(wnd, "ime_composition_clauses.png");
    DestroyWindow(wnd.GetHandle());
}
