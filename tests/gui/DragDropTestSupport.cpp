// DragDropTestSupport.cpp - plain Win32 windows, OLE set-up and counters shared by the
// drag-and-drop tests.
#include "tests/gui/DragDropTestSupport.h"
#include "gui/internal/VskoledndHooks.h"

#include <cstring>

namespace vsktest {

namespace {

const char kClassName[] = "VskDragDropTestWindow";

void RegisterClassOnce() {
    static bool registered = false;
    if (registered)
        return;
    WNDCLASSA wc{};
    wc.lpfnWndProc = &DefWindowProcA;
    wc.hInstance = ::GetModuleHandleA(nullptr);
    wc.hCursor = ::LoadCursorA(nullptr, reinterpret_cast<LPCSTR>(IDC_ARROW));
    wc.hbrBackground = static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH));
    wc.lpszClassName = kClassName;
    registered = ::RegisterClassA(&wc) != 0;
}

} // namespace

CPlainWindow::CPlainWindow(int x, int y, int width, int height) {
    RegisterClassOnce();
    m_hwnd = ::CreateWindowExA(WS_EX_TOPMOST, kClassName, "", WS_POPUP | WS_VISIBLE, x, y, width, height, nullptr,
                               nullptr, ::GetModuleHandleA(nullptr), nullptr);
    if (m_hwnd) {
        ::SetWindowLongPtrA(m_hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        ::SetWindowLongPtrA(m_hwnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&CPlainWindow::Procedure));
        ::UpdateWindow(m_hwnd);
    }
}

CPlainWindow::~CPlainWindow() { Destroy(); }

void CPlainWindow::Destroy() {
    if (m_hwnd) {
        ::SetWindowLongPtrA(m_hwnd, GWLP_USERDATA, 0);
        ::DestroyWindow(m_hwnd);
        m_hwnd = nullptr;
    }
}

POINT CPlainWindow::Center() const {
    RECT r{};
    ::GetWindowRect(m_hwnd, &r);
    return POINT{(r.left + r.right) / 2, (r.top + r.bottom) / 2};
}

LRESULT CALLBACK CPlainWindow::Procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = reinterpret_cast<CPlainWindow*>(::GetWindowLongPtrA(hwnd, GWLP_USERDATA));
    if (self && self->onMessage) {
        try {
            self->onMessage(message, wParam, lParam);
        } catch (...) {
            if (!self->error)
                self->error = std::current_exception();
        }
    }
    return ::DefWindowProcA(hwnd, message, wParam, lParam);
}

void PumpMessages() {
    MSG msg;
    while (::PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&msg);
        ::DispatchMessageA(&msg);
    }
}

long LiveDragDropObjects() {
    const vsk::detail::DragDropObjectCounts c = vsk::detail::GetDragDropObjectCounts();
    return (c.targets - c.targetsDestroyed) + (c.dataObjects - c.dataObjectsDestroyed) +
           (c.enumerators - c.enumeratorsDestroyed) + (c.sources - c.sourcesDestroyed);
}

HGLOBAL GlobalBlockOf(const std::string& bytes) {
    HGLOBAL block = ::GlobalAlloc(GMEM_MOVEABLE, bytes.size());
    if (block && !bytes.empty()) {
        void* p = ::GlobalLock(block);
        std::memcpy(p, bytes.data(), bytes.size());
        ::GlobalUnlock(block);
    }
    return block;
}

std::string BytesOfGlobal(HGLOBAL block) {
    const SIZE_T size = ::GlobalSize(block);
    const void* p = ::GlobalLock(block);
    std::string bytes = p ? std::string(static_cast<const char*>(p), size) : std::string();
    if (p)
        ::GlobalUnlock(block);
    return bytes;
}

} // namespace vsktest
