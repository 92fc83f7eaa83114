// Controls.h - stand-in of the host framework's controls: a control with a
// position on the screen and a control over a real window.
#pragma once

#include "hostfw/Hostfw_stdafx.h"
#include "hostfw/Property.h"
#include "hostfw/Types.h"

#include <windows.h>

namespace Controls {

/// A control: something with a client area placed on the screen.
/// Thread safety: none; controls live on the thread that made them.
class HOSTFW_API TControl {
public:
    TControl() = default;
    virtual ~TControl();
    TControl(const TControl&) = delete;
    TControl& operator=(const TControl&) = delete;

    /// A point of the client area in screen coordinates.
    Types::TPoint ClientToScreen(const Types::TPoint& point) const;
    /// A screen point in client coordinates.
    Types::TPoint ScreenToClient(const Types::TPoint& point) const;

protected:
    /// The screen position of the client area's top-left corner.
    virtual Types::TPoint ClientOrigin() const = 0;
};

/// A control over a window of its own, made by the constructor and destroyed
/// with the object. `Handle` is the window.
///
/// Example:
///   Controls::TWinControl form(nullptr);     // a top-level window
///   form.SetBounds(100, 50, 200, 150);
///   Types::TPoint p = form.ClientToScreen(Types::TPoint(0, 0));
class HOSTFW_API TWinControl : public TControl {
public:
    /// A plain window: a child of `parentWindow`, or a top-level pop-up
    /// window when it is nullptr. Shown at (0, 0), 200 x 150 pixels.
    /// Errors: Sysutils::Exception when the window cannot be made.
    explicit TWinControl(HWND parentWindow);
    ~TWinControl() override;

    /// Moves and sizes the window (screen coordinates for a top-level one,
    /// the parent's client coordinates for a child).
    void SetBounds(int left, int top, int width, int height);

private:
    HWND GetHandle() const { return m_window; }

public:
    /// The control's window (read-only).
    hostfw::TReadProperty<TWinControl, HWND, &TWinControl::GetHandle> Handle{this};

protected:
    /// A window of the system class `className` with `style` (WS_CHILD or
    /// WS_POPUP is added after `parentWindow`).
    TWinControl(HWND parentWindow, const char* className, DWORD style, DWORD exStyle);
    Types::TPoint ClientOrigin() const override;

    /// Called for WM_DRAWITEM that the system sends to this control's parent
    /// about this control; the parent, when it is a plain TWinControl window,
    /// passes it here. Returns true when drawn.
    virtual bool DrawItem(const DRAWITEMSTRUCT& item);
    /// The same for WM_MEASUREITEM.
    virtual bool MeasureItem(MEASUREITEMSTRUCT& item);

private:
    void CreateWindowOrThrow(HWND parentWindow, const char* className, DWORD style, DWORD exStyle);
    static LRESULT CALLBACK PlainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static TWinControl* FromWindow(HWND window);

    HWND m_window = nullptr;
};

} // namespace Controls
