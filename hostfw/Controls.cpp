// Controls.cpp - stand-in of the host framework's controls.
#include "hostfw/Controls.h"

#include "hostfw/SysUtils.h"

namespace Controls {

namespace {

const char kPlainWindowClass[] = "HostfwPlainWindow";
// The window property that leads from a window to its control object.
const char kControlProperty[] = "HostfwControl";

HINSTANCE ThisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&ThisModule), &module);
    return module;
}

} // namespace

TControl::~TControl() = default;

Types::TPoint TControl::ClientToScreen(const Types::TPoint& point) const {
    const Types::TPoint origin = ClientOrigin();
    return Types::TPoint(point.x + origin.x, point.y + origin.y);
}

Types::TPoint TControl::ScreenToClient(const Types::TPoint& point) const {
    const Types::TPoint origin = ClientOrigin();
    return Types::TPoint(point.x - origin.x, point.y - origin.y);
}

TWinControl::TWinControl(HWND parentWindow) {
    static const ATOM plainClass = [] {
        WNDCLASSA windowClass = {};
        windowClass.lpfnWndProc = &TWinControl::PlainWindowProc;
        windowClass.hInstance = ThisModule();
        windowClass.hCursor = LoadCursorA(nullptr, reinterpret_cast<LPCSTR>(IDC_ARROW));
        windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
        windowClass.lpszClassName = kPlainWindowClass;
        return RegisterClassA(&windowClass);
    }();
    if (!plainClass)
        throw Sysutils::Exception("the plain window class could not be registered");
    CreateWindowOrThrow(parentWindow, kPlainWindowClass, WS_CLIPCHILDREN, 0);
}

TWinControl::TWinControl(HWND parentWindow, const char* className, DWORD style, DWORD exStyle) {
    CreateWindowOrThrow(parentWindow, className, style, exStyle);
}

TWinControl::~TWinControl() {
    if (m_window) {
        RemovePropA(m_window, kControlProperty);
        DestroyWindow(m_window);
    }
}

void TWinControl::CreateWindowOrThrow(HWND parentWindow, const char* className, DWORD style, DWORD exStyle) {
    style |= WS_VISIBLE | (parentWindow ? WS_CHILD : WS_POPUP);
    m_window = CreateWindowExA(exStyle, className, "", style, 0, 0, 200, 150, parentWindow, nullptr, ThisModule(),
                               nullptr);
    if (!m_window)
        throw Sysutils::Exception("the control's window could not be made");
    SetPropA(m_window, kControlProperty, this);
}

void TWinControl::SetBounds(int left, int top, int width, int height) {
    MoveWindow(m_window, left, top, width, height, TRUE);
}

Types::TPoint TWinControl::ClientOrigin() const {
    POINT origin = {0, 0};
    ::ClientToScreen(m_window, &origin);
    return Types::TPoint(origin.x, origin.y);
}

bool TWinControl::DrawItem(const DRAWITEMSTRUCT&) { return false; }

bool TWinControl::MeasureItem(MEASUREITEMSTRUCT&) { return false; }

TWinControl* TWinControl::FromWindow(HWND window) {
    return window ? static_cast<TWinControl*>(GetPropA(window, kControlProperty)) : nullptr;
}

// The plain window passes owner-draw requests on to the control they are
// about. Nothing may leave this procedure by exception: a control whose
// drawing fails leaves the item to the system's default.
LRESULT CALLBACK TWinControl::PlainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    try {
        if (message == WM_DRAWITEM) {
            const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
            TWinControl* control = FromWindow(item->hwndItem);
            if (control && control->DrawItem(*item))
                return TRUE;
        } else if (message == WM_MEASUREITEM) {
            auto* item = reinterpret_cast<MEASUREITEMSTRUCT*>(lParam);
            TWinControl* control = FromWindow(GetDlgItem(window, static_cast<int>(item->CtlID)));
            if (control && control->MeasureItem(*item))
                return TRUE;
        }
    } catch (...) {
        return FALSE;
    }
    return DefWindowProcA(window, message, wParam, lParam);
}

} // namespace Controls
