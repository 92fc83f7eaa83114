// Graphics.h - stand-in of the host framework's canvas: drawing on a device
// context with the canvas's pen.
#pragma once

#include "hostfw/Hostfw_stdafx.h"
#include "hostfw/Property.h"

#include <windows.h>

namespace Graphics {

/// A colour as 0x00BBGGRR, the system's COLORREF.
using TColor = unsigned long;

/// The pen a canvas draws lines with: solid, `Width` pixels, `Color`.
/// Changes take effect at the canvas's next drawing call.
struct TPen {
    /// The pen colour.
    TColor Color = 0;
    /// The pen width in pixels.
    int Width = 1;
};

/// Drawing on a device context. `Handle` is the context; a canvas made
/// without one (or a derived canvas whose CreateHandle gives none) cannot draw,
/// and its drawing calls throw Sysutils::Exception.
/// Thread safety: none; one thread uses a canvas at a time.
/// Lifetime: the canvas does not own a context given to it through Handle;
/// it restores the context's original pen when it lets the context go.
class HOSTFW_API TCanvas {
public:
    TCanvas();
    virtual ~TCanvas();
    TCanvas(const TCanvas&) = delete;
    TCanvas& operator=(const TCanvas&) = delete;

    /// Moves the current position to (x, y) without drawing.
    /// Errors: Sysutils::Exception when the canvas has no device context.
    void MoveTo(int x, int y);
    /// Draws a line with the pen from the current position to (x, y), the end
    /// pixel excluded, and makes (x, y) the current position.
    /// Errors: as MoveTo.
    void LineTo(int x, int y);

    /// The pen that lines are drawn with.
    TPen* const Pen;

private:
    HDC GetHandle() const;
    void SetHandle(HDC dc);

public:
    /// The device context; reading it asks CreateHandle for one when none is set.
    hostfw::TProperty<TCanvas, HDC, &TCanvas::GetHandle, &TCanvas::SetHandle> Handle{this};

protected:
    /// Called when Handle is read while no context is set; a derived canvas
    /// sets one with SetDeviceContext. The base class sets none.
    virtual void CreateHandle();
    /// Sets the context (nullptr lets the current one go).
    void SetDeviceContext(HDC dc);
    /// The context without asking CreateHandle.
    HDC CurrentDeviceContext() const { return m_dc; }

private:
    HDC RequireDeviceContextOrNull();
    HDC RequireDeviceContext();
    void SelectPen();
    void ReleasePen();

    HDC m_dc = nullptr;
    HPEN m_pen = nullptr;
    HGDIOBJ m_originalPen = nullptr;
    TColor m_penColor = 0;
    int m_penWidth = 0;
};

} // namespace Graphics
