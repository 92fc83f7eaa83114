// MessageBoxWatcher.h - closes the message boxes that a thread shows, and
// records their captions and texts, from a second thread.
#pragma once

#include "platform/Win32.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace vsktest {

/// While the object lives, a watcher thread looks every 20 ms for dialog
/// boxes ("#32770") of `threadId`, records the caption and the text of each
/// (the static control 0xFFFF of a message box) and presses its OK button.
class CMessageBoxWatcher {
public:
    struct Box {
        std::string caption;
        std::string text;
        int buttons = 0;   // push buttons of the box
        bool icon = false; // whether it shows an icon (MB_ICONERROR and the like)
    };

    explicit CMessageBoxWatcher(DWORD threadId = GetCurrentThreadId())
        : m_threadId(threadId), m_thread([this] { Run(); }) {}
    ~CMessageBoxWatcher() {
        m_stop = true;
        m_thread.join();
    }
    CMessageBoxWatcher(const CMessageBoxWatcher&) = delete;
    CMessageBoxWatcher& operator=(const CMessageBoxWatcher&) = delete;

    /// The boxes closed so far. Read it after the call that showed them returned.
    std::vector<Box> Boxes() const { return m_boxes; }

private:
    static BOOL CALLBACK Visit(HWND window, LPARAM context) {
        auto* self = reinterpret_cast<CMessageBoxWatcher*>(context);
        char className[16] = {};
        GetClassNameA(window, className, sizeof className);
        if (std::string(className) != "#32770" || !IsWindowVisible(window))
            return TRUE;
        Box box;
        char text[4096] = {};
        GetWindowTextA(window, text, sizeof text);
        box.caption = text;
        text[0] = '\0';
        GetDlgItemTextA(window, 0xFFFF, text, sizeof text);
        box.text = text;
        EnumChildWindows(window, &CMessageBoxWatcher::CountButton, reinterpret_cast<LPARAM>(&box.buttons));
        // The icon's control: 20 on Windows, 0x440 in Wine's template; in a
        // box without an icon it holds none.
        for (const int id : {20, 0x440}) {
            const HWND icon = GetDlgItem(window, id);
            box.icon = box.icon || (icon && SendMessageA(icon, STM_GETICON, 0, 0) != 0);
        }
        self->m_boxes.push_back(box);
        PostMessageA(window, WM_COMMAND, IDOK, 0);
        return FALSE;
    }

    static BOOL CALLBACK CountButton(HWND child, LPARAM context) {
        char className[16] = {};
        GetClassNameA(child, className, sizeof className);
        if (lstrcmpiA(className, "Button") == 0 && IsWindowVisible(child))
            ++*reinterpret_cast<int*>(context);
        return TRUE;
    }

    void Run() {
        while (!m_stop) {
            const std::size_t before = m_boxes.size();
            EnumThreadWindows(m_threadId, &CMessageBoxWatcher::Visit, reinterpret_cast<LPARAM>(this));
            // Give a closed box time to go before looking again.
            Sleep(m_boxes.size() != before ? 200 : 20);
        }
    }

    DWORD m_threadId;
    std::vector<Box> m_boxes;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace vsktest
