// Vskwnd.cpp - the window class and message loop.
#include "gui/Vskwnd.h"

#include "platform/CallbackBoundary.h"

VSK_DEFINE_UNIT(Vskwnd, nullptr, nullptr)

namespace {

const char kDefaultClassName[] = "VOSKEL Default Window Class";
const char kNoneTitle[] = "None Title";
const DWORD kErrorClassAlreadyExists = 1410;

// What a handler threw while no library call was running on the thread
// (the program pumps messages itself, or sent the message) waits here for
// vsk::RethrowWindowHandlerError.
const vsk::detail::CErrorCollector kHandlerErrors{"vsk::RethrowWindowHandlerError"};

// A handler that failed inside GetMessageA (a message sent by another
// thread) wakes the loop, which then throws at once instead of waiting for
// the next posted message.
void WakeMessageLoop(void*) { PostThreadMessageA(GetCurrentThreadId(), WM_NULL, 0, 0); }

WNDCLASSEXA DefaultClass(const char* title) {
    WNDCLASSEXA wc{};
    wc.cbSize = 48;
    wc.style = CS_VREDRAW | CS_HREDRAW;
    wc.cbClsExtra = 0;
    wc.cbWndExtra = 0;
    wc.hIcon = nullptr;
    wc.hCursor = nullptr;
    wc.hbrBackground = reinterpret_cast<HBRUSH>(5);
    // The title doubles as the menu name; a title that names no menu
    // resource is left to the system.
    wc.lpszMenuName = title;
    wc.lpszClassName = kDefaultClassName;
    wc.hIconSm = nullptr;
    return wc;
}

CVskWnd* StoredObject(HWND hwnd) { return reinterpret_cast<CVskWnd*>(GetWindowLongA(hwnd, GWL_USERDATA)); }

} // namespace

void vsk::RethrowWindowHandlerError() { vsk::detail::RethrowCollectedError(kHandlerErrors); }

CVskWnd::CVskWnd() : m_hWnd(nullptr), m_hExtra(nullptr) {}

CVskWnd::~CVskWnd() = default;

int CVskWnd::Create(WNDCLASSEXA* wc, const char* title, unsigned long style, unsigned long exStyle, int x, int y,
                    int width, int height, void* parent, void* menu, void* instance) {
    if (title == nullptr)
        title = kNoneTitle;
    WNDCLASSEXA defaultClass = DefaultClass(title);
    if (wc == nullptr)
        wc = &defaultClass;
    wc->lpfnWndProc = &CVskWnd::WndProc;
    wc->hInstance = static_cast<HINSTANCE>(instance);
    if (RegisterClassExA(wc) == 0 && GetLastError() != kErrorClassAlreadyExists)
        return -1;
    vsk::detail::CSystemCallScope call;
    HWND hwnd = CreateWindowExA(exStyle, wc->lpszClassName, title, style, x, y, width, height,
                                static_cast<HWND>(parent), static_cast<HMENU>(menu), static_cast<HINSTANCE>(instance),
                                this);
    m_hWnd = hwnd;
    call.RethrowError();
    return hwnd == nullptr ? -1 : 0;
}

LRESULT CALLBACK CVskWnd::WndProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
    try {
        CVskWnd* wnd = StoredObject(hwnd);
        switch (msg) {
        case WM_CREATE: {
            wnd = static_cast<CVskWnd*>(reinterpret_cast<CREATESTRUCTA*>(lParam)->lpCreateParams);
            wnd->m_hWnd = hwnd;
            SetWindowLongA(hwnd, GWL_USERDATA, reinterpret_cast<LONG>(wnd));
            return wnd->OnCreate(nullptr);
        }
        case WM_DESTROY: {
            if (wnd == nullptr)
                return DefWindowProcA(hwnd, msg, wParam, lParam);
            const long result = wnd->OnDestroy();
            wnd->m_hWnd = nullptr;
            return result;
        }
        case WM_PAINT: {
            if (wnd == nullptr)
                return DefWindowProcA(hwnd, msg, wParam, lParam);
            RECT rect;
            if (!GetUpdateRect(hwnd, &rect, TRUE))
                return 0;
            PAINTSTRUCT ps{};
            HDC hdc = BeginPaint(hwnd, &ps);
            long result = 0;
            try {
                result = wnd->OnPaint(hdc, rect);
            } catch (...) {
                EndPaint(hwnd, &ps);
                throw;
            }
            EndPaint(hwnd, &ps);
            return result;
        }
        default:
            if (wnd == nullptr)
                return DefWindowProcA(hwnd, msg, wParam, lParam);
            return wnd->OnMessage(msg, static_cast<unsigned int>(wParam), static_cast<long>(lParam));
        }
    } catch (...) {
        // The system sees 0; the exception goes to the library call running
        // on the thread (or, with none, to the log and the collecting call).
        vsk::detail::KeepCaughtException(VSK_BOUNDARY_SITE("CVskWnd::WndProc"), &kHandlerErrors);
        return 0;
    }
}

void CVskWnd::DoEvent() const {
    vsk::detail::CSystemCallScope call;
    MSG msg;
    while (PeekMessageA(&msg, m_hWnd, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
        call.RethrowError();
    }
    // A message that another thread sent is handled inside PeekMessageA.
    call.RethrowError();
}

int CVskWnd::DoMessageLoop() const {
    if (m_hWnd == nullptr)
        return -1;
    vsk::detail::CSystemCallScope call;
    MSG msg;
    while (m_hWnd != nullptr) {
        call.SetStopAction(&WakeMessageLoop, nullptr);
        const BOOL got = GetMessageA(&msg, nullptr, 0, 0);
        call.SetStopAction(nullptr, nullptr);
        if (got == -1) {
            call.RethrowError();
            return -1;
        }
        // A WM_QUIT (result 0) is dispatched like any message: only the
        // window's destruction ends the loop.
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
        call.RethrowError();
    }
    return 0;
}

bool CVskWnd::SetClientRect(int left, int top, int right, int bottom) {
    RECT rect{left, top, right, bottom};
    const DWORD style = static_cast<DWORD>(GetWindowLongA(m_hWnd, GWL_STYLE));
    const DWORD exStyle = static_cast<DWORD>(GetWindowLongA(m_hWnd, GWL_EXSTYLE));
    if (!AdjustWindowRectEx(&rect, style, GetMenu(m_hWnd) != nullptr, exStyle))
        return false;
    return SetWindowPos(m_hWnd, nullptr, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
                        SWP_NOZORDER | SWP_NOACTIVATE) != FALSE;
}

long CVskWnd::OnCreate(CREATESTRUCTA*) { return 0; }

long CVskWnd::OnDestroy() { return 0; }

long CVskWnd::OnMessage(unsigned int msg, unsigned int wParam, long lParam) {
    return static_cast<long>(DefWindowProcA(m_hWnd, msg, wParam, lParam));
}

long CVskWnd::OnPaint(void*, RECT) { return 0; }
