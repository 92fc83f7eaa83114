// Graphics.cpp - stand-in of the host framework's canvas.
#include "hostfw/Graphics.h"

#include "hostfw/SysUtils.h"

namespace Graphics {

TCanvas::TCanvas() : Pen(new TPen) {}

TCanvas::~TCanvas() {
    ReleasePen();
    delete Pen;
}

HDC TCanvas::GetHandle() const {
    // Reading the handle may create it, as the framework's canvases do.
    return const_cast<TCanvas*>(this)->RequireDeviceContextOrNull();
}

void TCanvas::SetHandle(HDC dc) { SetDeviceContext(dc); }

void TCanvas::CreateHandle() {}

void TCanvas::SetDeviceContext(HDC dc) {
    if (dc == m_dc)
        return;
    ReleasePen();
    m_dc = dc;
}

HDC TCanvas::RequireDeviceContextOrNull() {
    if (!m_dc)
        CreateHandle();
    return m_dc;
}

HDC TCanvas::RequireDeviceContext() {
    HDC dc = RequireDeviceContextOrNull();
    if (!dc)
        throw Sysutils::Exception("the canvas has no device context to draw on");
    SelectPen();
    return dc;
}

// The pen is made once and kept selected; it is made again only when the
// colour or width has changed since.
void TCanvas::SelectPen() {
    if (m_pen && m_penColor == Pen->Color && m_penWidth == Pen->Width)
        return;
    HPEN pen = CreatePen(PS_SOLID, Pen->Width, Pen->Color);
    if (!pen)
        throw Sysutils::Exception("the canvas could not make its pen");
    HGDIOBJ previous = SelectObject(m_dc, pen);
    if (!m_originalPen)
        m_originalPen = previous;
    if (m_pen)
        DeleteObject(m_pen);
    m_pen = pen;
    m_penColor = Pen->Color;
    m_penWidth = Pen->Width;
}

void TCanvas::ReleasePen() {
    if (!m_pen)
        return;
    if (m_dc && m_originalPen)
        SelectObject(m_dc, m_originalPen);
    DeleteObject(m_pen);
    m_pen = nullptr;
    m_originalPen = nullptr;
}

void TCanvas::MoveTo(int x, int y) { MoveToEx(RequireDeviceContext(), x, y, nullptr); }

void TCanvas::LineTo(int x, int y) { ::LineTo(RequireDeviceContext(), x, y); }

} // namespace Graphics
