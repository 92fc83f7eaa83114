// ImeCompositionWindow.cpp - an example window that draws the IME composition.
#include "examples/ImeCompositionWindow.h"

COLORREF CImeCompositionWindow::ClauseColour(int attribute) {
    switch (attribute) {
    case 0:
        return RGB(160, 200, 255);
    case 1:
        return RGB(255, 0, 0);
    case 2:
        return RGB(0, 160, 0);
    case 3:
        return RGB(255, 160, 0);
    default:
        return RGB(0, 0, 0);
    }
}

std::vector<RECT> CImeCompositionWindow::ClauseBoxes(const std::vector<vskstr::CVskStr>& clauses) {
    std::vector<RECT> boxes;
    int x = kMargin;
    for (const vskstr::CVskStr& clause : clauses) {
        const int width = clause.Length() * kBytePixels;
        boxes.push_back(RECT{x, kMargin, x + width, kMargin + kBoxHeight});
        x += width + kGap;
    }
    return boxes;
}

void CImeCompositionWindow::OnCompStrChange() { InvalidateRect(m_hWnd, nullptr, FALSE); }

void CImeCompositionWindow::OnCompStrEnd() { InvalidateRect(m_hWnd, nullptr, FALSE); }

long CImeCompositionWindow::OnPaint(void* hdc, RECT) {
    HDC dc = static_cast<HDC>(hdc);
    RECT client;
    GetClientRect(m_hWnd, &client);
    HBRUSH white = CreateSolidBrush(RGB(255, 255, 255));
    FillRect(dc, &client, white);
    DeleteObject(white);

    std::vector<vskstr::CVskStr> clauses;
    std::vector<int> attributes;
    GetCompStrWithAttr(clauses, attributes);
    const std::vector<RECT> boxes = ClauseBoxes(clauses);
    for (size_t i = 0; i < boxes.size(); ++i) {
        HBRUSH brush = CreateSolidBrush(ClauseColour(attributes[i]));
        FillRect(dc, &boxes[i], brush);
        DeleteObject(brush);
    }
    return 0;
}
