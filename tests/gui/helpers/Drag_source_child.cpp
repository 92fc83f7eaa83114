// Drag_source_child.cpp - another program that drags text onto a window of the
// test program: the drop target's COM methods then run in the test program,
// called by this program's drag through the system.
//   <x> <y> <text>  shows a source window at (40, 40, 160 x 160), presses the
//                   left button over it (synthesised input), drags <text>
//                   with DoDragDrop (copy allowed) to the screen point
//                   (<x>, <y>) and releases there. Writes "result <n>" with
//                   what DoDragDrop returned (the effect, or -1), or "lost"
//                   when the button press never reached the source window
//                   (the test repeats the round then); exit 0.
#include "gui/Vskolednd.h"
#include "platform/Win32.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

const UINT kDataMessage = WM_APP + 31;
const char kClassName[] = "VskDragSourceChildWindow";

class CTextProvider : public CVskDnDGetEvent {
public:
    const char* text = "";
    void OnDropText(void*, vskstr::CVskStr& out) override { out = text; }
};

CTextProvider g_provider;
std::atomic<bool> g_buttonDown{false};

LRESULT CALLBACK SourceProcedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_LBUTTONDOWN)
        g_buttonDown = true;
    if (message == kDataMessage)
        g_provider.DoEvent(hwnd, static_cast<unsigned int>(wParam), static_cast<long>(lParam));
    return DefWindowProcA(hwnd, message, wParam, lParam);
}

HWND MakeSourceWindow() {
    WNDCLASSA wc{};
    wc.lpfnWndProc = &SourceProcedure;
    wc.hInstance = GetModuleHandleA(nullptr);
    wc.hCursor = LoadCursorA(nullptr, reinterpret_cast<LPCSTR>(IDC_ARROW));
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    wc.lpszClassName = kClassName;
    RegisterClassA(&wc);
    HWND hwnd = CreateWindowExA(WS_EX_TOPMOST, kClassName, "", WS_POPUP | WS_VISIBLE, 40, 40, 160, 160, nullptr,
                                nullptr, GetModuleHandleA(nullptr), nullptr);
    UpdateWindow(hwnd);
    return hwnd;
}

void SendMouse(DWORD flags, POINT at) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    input.mi.dx = MulDiv(at.x, 65535, GetSystemMetrics(SM_CXSCREEN) - 1);
    input.mi.dy = MulDiv(at.y, 65535, GetSystemMetrics(SM_CYSCREEN) - 1);
    input.mi.dwFlags = flags | MOUSEEVENTF_ABSOLUTE;
    SendInput(1, &input, sizeof input);
}

void SendEscape() {
    INPUT input[2]{};
    input[0].type = input[1].type = INPUT_KEYBOARD;
    input[0].ki.wVk = input[1].ki.wVk = VK_ESCAPE;
    input[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, input, sizeof input[0]);
}

void Pump() {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4)
        return 2;
    const POINT to{std::atoi(argv[1]), std::atoi(argv[2])};
    g_provider.text = argv[3];
    if (FAILED(OleInitialize(nullptr)))
        return 3;
    HWND source = MakeSourceWindow();
    const POINT from{120, 120};
    SetForegroundWindow(source);
    Pump();

    HANDLE started = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE returned = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::thread input([&] {
        SendMouse(MOUSEEVENTF_MOVE, from);
        SendMouse(MOUSEEVENTF_LEFTDOWN, from);
        if (WaitForSingleObject(started, 10000) != WAIT_OBJECT_0) {
            SendMouse(MOUSEEVENTF_LEFTUP, from);
            return;
        }
        Sleep(300);
        const int steps = 8;
        for (int i = 1; i <= steps; ++i) {
            SendMouse(MOUSEEVENTF_MOVE,
                      POINT{from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps});
            Sleep(60);
        }
        SendMouse(MOUSEEVENTF_MOVE, POINT{to.x + 2, to.y + 2});
        Sleep(300);
        SendMouse(MOUSEEVENTF_LEFTUP, POINT{to.x + 2, to.y + 2});
        // A drag that has not ended 20 s after the release is cancelled, so
        // that the test program is not kept waiting for ever.
        while (WaitForSingleObject(returned, 20000) == WAIT_TIMEOUT) {
            SendEscape();
            SendMouse(MOUSEEVENTF_LEFTUP, POINT{to.x + 2, to.y + 2});
        }
    });
    const DWORD deadline = GetTickCount() + 10000;
    while (!g_buttonDown && GetTickCount() < deadline) {
        Pump();
        Sleep(10);
    }
    if (g_buttonDown) {
        SetEvent(started);
        const long result = CVskDropSource::DoDragDrop(source, kDataMessage, {CF_TEXT}, DROPEFFECT_COPY);
        std::printf("result %ld\n", result);
    } else {
        std::printf("lost\n");
    }
    SetEvent(returned);
    input.join();
    std::fflush(stdout);
    DestroyWindow(source);
    OleUninitialize();
    return 0;
}
