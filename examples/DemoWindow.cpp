// DemoWindow.cpp - the windowed demo's window and its panels.
#include "examples/DemoWindow.h"

#include "files/Commonfunctions.h"
#include "framework/CommFuncBCB.h"
#include "hostfw/Graphics.h"

#include <ole2.h>

namespace {

constexpr unsigned int kDropMessage = WM_APP + 1;
constexpr UINT_PTR kLogTimer = 1;
constexpr int kColumns = 3;

// Panel order in the grid, left to right, top to bottom.
const char* const kPanelTitles[] = {"Strings",   "Paths",           "A folder tree",
                                    "Dates",     "The rotating log", "A bitmap, plain and zoomed x2",
                                    "Dashed lines (DrawLineDDA)", "Drop text or files here",
                                    "Input method composition"};
constexpr int kPanelCount = sizeof kPanelTitles / sizeof kPanelTitles[0];

RECT PanelRect(int index) {
    const int left = (index % kColumns) * CDemoWindow::kPanelWidth;
    const int top = (index / kColumns) * CDemoWindow::kPanelHeight;
    return RECT{left, top, left + CDemoWindow::kPanelWidth, top + CDemoWindow::kPanelHeight};
}

// The part of a panel below its title.
RECT ContentRect(int index) {
    RECT r = PanelRect(index);
    r.top += CDemoWindow::kTitleHeight;
    InflateRect(&r, -6, -2);
    return r;
}

// A bitmap worth zooming: colour bands with a diagonal.
CVskDIB MakeSampleBitmap() {
    CVskDIB dib(40, 30);
    for (int y = 0; y < dib.GetHeight(); ++y) {
        unsigned char* row = dib.GetBits() + static_cast<std::ptrdiff_t>(dib.GetStride()) * y;
        for (int x = 0; x < dib.GetWidth(); ++x) {
            const bool diagonal = (x * 3) / 4 == y;
            row[x * 3 + 0] = diagonal ? 0 : static_cast<unsigned char>(x * 6); // blue
            row[x * 3 + 1] = diagonal ? 0 : static_cast<unsigned char>(y * 8); // green
            row[x * 3 + 2] = diagonal ? 0 : 200;                               // red
        }
    }
    return dib;
}

} // namespace

CDemoWindow::CDemoWindow(const std::string& workFolder)
    : m_workFolder(workFolder), m_log(workFolder + "\\log") {}

CDemoWindow::~CDemoWindow() {
    if (m_dropTarget)
        m_dropTarget->Release();
}

int CDemoWindow::CreateDemo() {
    const int result = Create(nullptr, "VoskelLIB demo", WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_VISIBLE, 0,
                              0, 0, kColumns * kPanelWidth, 3 * kPanelHeight, nullptr, nullptr,
                              GetModuleHandleA(nullptr));
    if (result != 0)
        return result;
    SetClientRect(0, 0, kColumns * kPanelWidth, 3 * kPanelHeight);
    return 0;
}

void CDemoWindow::ShowSampleComposition() {
    // "漢字かな表ab" as four clauses, the attribute of every byte: target
    // converted, converted, target not converted, input.
    const char text[] = "\x8A\xBF\x8E\x9A\x82\xA9\x82\xC8\x95\x5C" "ab";
    const unsigned char attributes[] = {1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 0, 0};
    m_compStr = vskstr::CVskStr(text, 12);
    m_compAttr.Resize(sizeof attributes);
    for (unsigned int i = 0; i < sizeof attributes; ++i)
        static_cast<unsigned char*>(m_compAttr.GetBuffer())[i] = attributes[i];
    OnCompStrChange();
}

std::vector<std::pair<std::string, RECT>> CDemoWindow::Panels() const {
    std::vector<std::pair<std::string, RECT>> panels;
    for (int i = 0; i < kPanelCount; ++i)
        panels.emplace_back(kPanelTitles[i], PanelRect(i));
    return panels;
}

long CDemoWindow::OnCreate(CREATESTRUCTA* cs) {
    m_stringLines = demo::StringLines();
    m_pathLines = demo::PathLines();
    m_folderLines = demo::FolderLines(m_workFolder + "\\tree");
    m_dateLines = demo::DateLines();
    m_bitmap = MakeSampleBitmap();
    // The bitmap goes through a BMP file and back, as a program's would.
    const std::string bmp = m_workFolder + "\\sample.bmp";
    try {
        m_bitmap.SaveToFile(bmp.c_str());
        m_bitmap.LoadFromFile(bmp.c_str());
    } catch (const std::exception& e) {
        m_dropLines.push_back(std::string("bitmap file: ") + e.what());
    }
    // Enough lines for the log to have rotated before the first paint.
    for (m_logLines = 1; m_logLines <= 30; ++m_logLines)
        m_log.WriteLine(m_logLines);
    m_dropTarget = CVskDropTarget::Regist(m_hWnd, nullptr, kDropMessage, {CF_TEXT, CF_HDROP});
    SetTimer(m_hWnd, kLogTimer, 300, nullptr);
    return CImeCompositionWindow::OnCreate(cs);
}

long CDemoWindow::OnDestroy() {
    KillTimer(m_hWnd, kLogTimer);
    if (m_dropTarget)
        m_dropTarget->Revoke();
    return CImeCompositionWindow::OnDestroy();
}

long CDemoWindow::OnMessage(unsigned int msg, unsigned int wParam, long lParam) {
    switch (msg) {
    case WM_TIMER:
        if (wParam == kLogTimer) {
            m_log.WriteLine(m_logLines++);
            const RECT logPanel = PanelRect(4);
            InvalidateRect(m_hWnd, &logPanel, FALSE);
            return 0;
        }
        break;
    case kDropMessage:
        CVskDnDDropEvent::DoEvent(m_hWnd, wParam, lParam);
        return 0;
    case WM_ERASEBKGND:
        return 1; // every panel paints its whole rectangle
    default:
        break;
    }
    return CImeCompositionWindow::OnMessage(msg, wParam, lParam);
}

void CDemoWindow::OnDropText(void*, const char* text) {
    m_dropLines = {"text:", std::string(text).substr(0, 40)};
    const RECT dropPanel = PanelRect(7);
    InvalidateRect(m_hWnd, &dropPanel, FALSE);
}

void CDemoWindow::OnDropHDrop(void*, const std::vector<vskstr::CVskStr>& files) {
    m_dropLines = {std::to_string(files.size()) + " file(s):"};
    for (const vskstr::CVskStr& file : files)
        m_dropLines.push_back(vsk::ExtractFileName(file).c_str());
    const RECT dropPanel = PanelRect(7);
    InvalidateRect(m_hWnd, &dropPanel, FALSE);
}

long CDemoWindow::OnPaint(void* hdc, RECT) {
    const HDC dc = static_cast<HDC>(hdc);
    for (int i = 0; i < kPanelCount; ++i)
        PaintPanel(dc, i, kPanelTitles[i]);
    PaintLines(dc, 0, m_stringLines);
    PaintLines(dc, 1, m_pathLines);
    PaintLines(dc, 2, m_folderLines);
    PaintLines(dc, 3, m_dateLines);
    PaintLines(dc, 4, m_log.Lines(3));
    PaintBitmap(dc, ContentRect(5));
    PaintDashes(dc, ContentRect(6));
    PaintLines(dc, 7, m_dropLines.empty() ? demo::Lines{"(nothing dropped yet)"} : m_dropLines);
    PaintComposition(dc, ContentRect(8));
    return 0;
}

void CDemoWindow::PaintPanel(HDC dc, int index, const char* title) const {
    const RECT panel = PanelRect(index);
    const HBRUSH background = CreateSolidBrush(RGB(255, 255, 255));
    FillRect(dc, &panel, background);
    DeleteObject(background);
    RECT titleBar{panel.left, panel.top, panel.right, panel.top + kTitleHeight};
    const HBRUSH titleBrush = CreateSolidBrush(RGB(60, 90, 140));
    FillRect(dc, &titleBar, titleBrush);
    DeleteObject(titleBrush);
    FrameRect(dc, &panel, static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH)));
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, RGB(255, 255, 255));
    TextOutA(dc, panel.left + 6, panel.top + 3, title, lstrlenA(title));
}

void CDemoWindow::PaintLines(HDC dc, int index, const demo::Lines& lines) const {
    const RECT area = ContentRect(index);
    SetTextColor(dc, RGB(0, 0, 0));
    const HGDIOBJ previous = SelectObject(dc, GetStockObject(ANSI_VAR_FONT));
    int y = area.top + 2;
    for (const std::string& line : lines) {
        if (y + 14 > area.bottom)
            break;
        RECT row{area.left, y, area.right, y + 14};
        DrawTextA(dc, line.c_str(), static_cast<int>(line.size()), &row, DT_LEFT | DT_SINGLELINE | DT_END_ELLIPSIS);
        y += 15;
    }
    SelectObject(dc, previous);
}

void CDemoWindow::PaintBitmap(HDC dc, const RECT& area) const {
    m_bitmap.StretchDIBits(dc, area.left + 4, area.top + 8);
    m_bitmap.StretchDIBits(dc, area.left + 60, area.top + 8, 2.0, 2.0);
    const char label[] = "40 x 30 pixels, through a BMP file";
    SetTextColor(dc, RGB(0, 0, 0));
    const HGDIOBJ previous = SelectObject(dc, GetStockObject(ANSI_VAR_FONT));
    TextOutA(dc, area.left + 4, area.top + 76, label, lstrlenA(label));
    SelectObject(dc, previous);
}

void CDemoWindow::PaintDashes(HDC dc, const RECT& area) const {
    Graphics::TCanvas canvas;
    canvas.Handle = dc;
    const struct {
        int gap, dash;
        COLORREF colour;
    } styles[] = {{2, 6, RGB(200, 0, 0)}, {4, 4, RGB(0, 120, 0)}, {1, 2, RGB(0, 0, 200)}};
    int y = area.top + 10;
    for (const auto& style : styles) {
        canvas.Pen->Color = style.colour;
        vsk::bcb::DrawLineDDA(&canvas, area.left + 4, y, area.right - 4, y, style.gap, style.dash);
        y += 20;
    }
    canvas.Pen->Color = RGB(120, 0, 120);
    vsk::bcb::DrawLineDDA(&canvas, area.left + 4, area.bottom - 4, area.right - 4, area.top + 70, 3, 5);
    canvas.Handle = nullptr;
}

void CDemoWindow::PaintComposition(HDC dc, const RECT& area) {
    std::vector<vskstr::CVskStr> clauses;
    std::vector<int> attributes;
    GetCompStrWithAttr(clauses, attributes);
    if (clauses.empty()) {
        const char hint[] = "(switch the input method on and type)";
        SetTextColor(dc, RGB(0, 0, 0));
        const HGDIOBJ previous = SelectObject(dc, GetStockObject(ANSI_VAR_FONT));
        TextOutA(dc, area.left, area.top + 2, hint, lstrlenA(hint));
        SelectObject(dc, previous);
        return;
    }
    std::vector<RECT> boxes = ClauseBoxes(clauses);
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        OffsetRect(&boxes[i], area.left, area.top + 10);
        const HBRUSH brush = CreateSolidBrush(ClauseColour(attributes[i]));
        FillRect(dc, &boxes[i], brush);
        DeleteObject(brush);
    }
}

bool CDemoWindow::SaveScreenshot(const std::string& path) const {
    RECT client;
    GetClientRect(m_hWnd, &client);
    POINT origin{0, 0};
    ClientToScreen(m_hWnd, &origin);
    CVskDIB picture(client.right, client.bottom);
    // The screen's pixels of the client area, read into the bitmap's rows
    // (top-down, 24 bits, rows padded to four bytes: the bitmap's layout).
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    const HBITMAP copy = CreateCompatibleBitmap(screen, client.right, client.bottom);
    const HGDIOBJ previous = SelectObject(memory, copy);
    BitBlt(memory, 0, 0, client.right, client.bottom, screen, origin.x, origin.y, SRCCOPY);
    SelectObject(memory, previous);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = client.right;
    info.bmiHeader.biHeight = -client.bottom;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = BI_RGB;
    const int rows = GetDIBits(memory, copy, 0, client.bottom, picture.GetBits(), &info, DIB_RGB_COLORS);
    DeleteObject(copy);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    if (rows != client.bottom)
        return false;
    try {
        return picture.SaveToFile(path.c_str());
    } catch (const std::exception&) {
        return false;
    }
}
