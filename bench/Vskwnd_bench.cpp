// Vskwnd_bench.cpp - message dispatch through CVskWnd::WndProc against a plain
// window procedure that calls the same handler, 100,000 messages each.
#include "bench/BenchSupport.h"
#include "gui/Vskwnd.h"

namespace {

const UINT kBenchMessage = WM_APP + 7;
const int kMessages = 100000;
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

LRESULT CALLBACK PlainProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam) {
    if (msg == kBenchMessage)
        return Handle(msg, static_cast<unsigned int>(wParam), static_cast<long>(lParam));
    return DefWindowProcA(hwnd, msg, wParam, lParam);
}

HWND CreatePlainWindow(HINSTANCE instance) {
    WNDCLASSEXA wc{};
    wc.cbSize = sizeof(wc);
    wc.lpfnWndProc = PlainProc;
    wc.hInstance = instance;
    wc.lpszClassName = "VskwndBenchPlain";
    RegisterClassExA(&wc);
    return CreateWindowExA(0, wc.lpszClassName, "plain", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                           instance, nullptr);
}

void SendAll(HWND hwnd) {
    for (int i = 0; i < kMessages; ++i)
        SendMessageA(hwnd, kBenchMessage, static_cast<WPARAM>(i), 1);
}

} // namespace

int main() {
    const HINSTANCE instance = GetModuleHandleA(nullptr);
    CBenchWnd wnd;
    if (wnd.Create(nullptr, "bench", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr, instance) != 0)
        return 1;
    const HWND plain = CreatePlainWindow(instance);
    if (plain == nullptr)
        return 1;
    const double library = vskbench::BestSeconds(5, [&] { SendAll(wnd.GetHandle()); });
    const double baseline = vskbench::BestSeconds(5, [&] { SendAll(plain); });
    vskbench::Report("100,000 messages: CVskWnd::WndProc vs plain procedure", library, baseline, 1.0 / 1.2,
                     "cost at most 1.2x (ratio >= 0.83)");
    DestroyWindow(plain);
    DestroyWindow(wnd.GetHandle());
    return 0;
}
