// ime_demo.cpp - a window that draws its own IME composition: type with the
// input method switched on and watch the clauses change colour.
#include "examples/ImeCompositionWindow.h"

#include <cstdio>
#include <exception>

int main() {
    CImeCompositionWindow wnd;
    if (wnd.Create(nullptr, "IME composition", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, CW_USEDEFAULT, CW_USEDEFAULT,
                   400, 120, nullptr, nullptr, GetModuleHandleA(nullptr)) != 0) {
        std::printf("the window could not be created\n");
        return 1;
    }
    try {
        return wnd.DoMessageLoop();
    } catch (const std::exception& e) {
        std::printf("stopped: %s\n", e.what());
        return 1;
    }
}
