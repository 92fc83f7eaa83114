// demo_window.cpp - the windowed demo: every subsystem at work in one window.
//   demo_window                      shows the window until it is closed
//   demo_window --screenshot a.bmp   paints every panel (with a sample
//                                    composition), saves the window's picture
//                                    and the panel rectangles (a.bmp.panels),
//                                    and exits: 0 when the picture was saved
#include "diagnostics/Filelogger.h"
#include "examples/DemoWindow.h"
#include "files/VskFile.h"

#include <ole2.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>

namespace {

std::string MakeWorkFolder() {
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    const std::string folder = std::string(temp) + "vskdemo-" + std::to_string(GetCurrentProcessId());
    CreateDirectoryA(folder.c_str(), nullptr);
    return folder;
}

// Lets the window paint: messages for about half a second.
void Settle(const CDemoWindow& window) {
    for (int i = 0; i < 25; ++i) {
        window.CVskWnd::DoEvent(); // the window's messages (not the drop decoder's DoEvent)
        Sleep(20);
    }
}

bool SavePicture(CDemoWindow& window, const std::string& path) {
    window.ShowSampleComposition();
    SetWindowPos(window.GetHandle(), HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    RedrawWindow(window.GetHandle(), nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
    Settle(window);
    if (!window.SaveScreenshot(path)) {
        std::printf("demo_window: the picture could not be saved to %s\n", path.c_str());
        return false;
    }
    std::ofstream panels(path + ".panels");
    for (const auto& panel : window.Panels())
        panels << panel.first << '|' << panel.second.left << '|' << panel.second.top << '|' << panel.second.right
               << '|' << panel.second.bottom << '\n';
    std::printf("demo_window: saved %s and its panel list\n", path.c_str());
    return static_cast<bool>(panels);
}

} // namespace

int main(int argc, char** argv) {
    const bool screenshot = argc == 3 && std::strcmp(argv[1], "--screenshot") == 0;
    if (argc != 1 && !screenshot) {
        std::printf("usage: demo_window [--screenshot <file.bmp>]\n");
        return 2;
    }
    OleInitialize(nullptr);
    const std::string folder = MakeWorkFolder();
    int result = 1;
    {
        CDemoWindow window(folder);
        try {
            if (window.CreateDemo() != 0) {
                std::printf("demo_window: the window could not be created\n");
            } else if (screenshot) {
                result = SavePicture(window, argv[2]) ? 0 : 1;
                DestroyWindow(window.GetHandle());
            } else {
                result = window.DoMessageLoop();
            }
        } catch (const std::exception& e) {
            std::printf("demo_window: stopped: %s\n", e.what());
        }
    }
    FileLogger_SetLogFileName(nullptr); // closes the demo's log before its folder goes
    vskfile::RemoveDirectoryForce(folder.c_str());
    OleUninitialize();
    return result;
}
