// Vskwnd_bench.cpp - message dispatch through CVskWnd::WndProc against its
// bound: a window procedure that does only what the window class's behaviour
// fixes for every message (read the object from GWL_USERDATA, call its
// virtual handler), 100,000 messages each.
#include "bench/BenchSupport.h"
#include "gui/Vskwnd.h"

namespace {

const UINT kBenchMessage = WM_APP + 7;
volatile long g_sum = 0;

__attribute__((noinline)) long Handle(unsigned int msg, unsigned int wParam, long lParam) {
    g_sum = g_sum + static_cast<long>(msg) + static_cast<long>(wParam) + lParam;
    return 1;
}

class CBenchWnd : public CVskWnd {
public:
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == kBenchMessage)
            return Handle(msg, wParam, lParam);
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
};

// The bound's object: a virtual handler, as CVskWnd's.
class CBoundHandler {
public:
    virtual ~CBoundHandler() = default;
    virtual long OnMessage(HWND hwnd, unsigned int msg, unsigned int wParam, long lParam) {
        if (msg == kBenchMessage)
            return Handle(msg, wParam, lParam);
        return DefWindowProcA(hwnd, msg, wParam, lParam);
    }
};

// The bound: per message the GWL_USERDATA read and the virtual call, nothing else.
LRESULT CALLBACK BoundProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
    auto* handler = reinterpret_cast<CBoundHandler*>(GetWindowLongA(hwnd, GWL_USERDATA));
    if (handler == nullptr)
        return DefWindowProcA(hwnd, msg, wParam, lParam);
    return handler->OnMessage(hwnd, msg, static_cast<unsigned int>(wParam), static_cast<long>(lParam));
}

// Neither the read nor the object: the handler called straight away.
LRESULT CALLBACK PlainProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
    if (msg == kBenchMessage)
        return Handle(msg, static_cast<unsigned int>(wParam), static_cast<long>(lParam));
    return DefWindowProcA(hwnd, msg, wParam, lParam);
}

HWND CreateWindowOfProc(HINSTANCE instance, WNDPROC proc, const char* className) {
    WNDCLASSEXA wc{};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = proc;
    wc.hInstance = instance;
    wc.lpszClassName = className;
    RegisterClassExA(&wc);
    return CreateWindowExA(0, wc.lpszClassName, className, WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                           instance, nullptr);
}

void SendAll(HWND hwnd, int messages) {
    for (int i = 0; i < messages; ++i)
        SendMessageA(hwnd, kBenchMessage, static_cast<WPARAM>(i), 1);
}

} // namespace

int main() {
    const int messages = vskbench::Count(100000);
    const HINSTANCE instance = GetModuleHandleA(nullptr);
    CBenchWnd wnd;
    if (wnd.Create(nullptr, "bench", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr, instance) != 0)
        return 1;
    CBoundHandler handler;
    const HWND bound = CreateWindowOfProc(instance, BoundProc, "VskwndBenchBound");
    const HWND plain = CreateWindowOfProc(instance, PlainProc, "VskwndBenchPlain");
    if (bound == nullptr || plain == nullptr)
        return 1;
    SetWindowLongA(bound, GWL_USERDATA, reinterpret_cast<LONG>(&handler));

    double library = 0, boundSeconds = 0, plainSeconds = 0;
    vskbench::BestSecondsAlternating(
        9, [&] { SendAll(wnd.GetHandle(), messages); }, [&] { SendAll(bound, messages); }, library, boundSeconds);
    plainSeconds = vskbench::BestSeconds(5, [&] { SendAll(plain, messages); });
    std::printf("%d messages a round\n", messages);
    vskbench::ReportAgainstBound("100,000 messages: CVskWnd::WndProc vs its bound", library,
                                 "  procedure with the GWL_USERDATA read and a virtual call", boundSeconds, messages,
                                 "message");
    vskbench::PrintMeasure("  plain procedure, no GWL_USERDATA read", plainSeconds / messages * 1e9,
                           "ns a message: what the system's dispatch costs without the object");
    DestroyWindow(plain);
    DestroyWindow(bound);
    DestroyWindow(wnd.GetHandle());
    return vskbench::Finish(0);
}
