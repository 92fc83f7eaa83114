// DragDropTestSupport.h - plain Win32 windows, OLE set-up and counters shared by the
// drag-and-drop tests.
#pragma once

#include "gui/Vskolednd.h"
#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <string>

namespace vsktest {

/// A visible top-level popup window at a fixed screen rectangle whose
/// messages go to `onMessage` (then to the default procedure). An exception
/// of the handler is kept in `error`: it must not unwind through user32.
class CPlainWindow {
public:
    CPlainWindow(int x, int y, int width, int height);
    ~CPlainWindow();
    CPlainWindow(const CPlainWindow&) = delete;
    CPlainWindow& operator=(const CPlainWindow&) = delete;

    HWND Handle() const { return m_hwnd; }
    /// Destroys the window now (the destructor then does nothing).
    void Destroy();
    POINT Center() const;

    std::function<void(UINT message, WPARAM wParam, LPARAM lParam)> onMessage;
    std::exception_ptr error;

private:
    static LRESULT CALLBACK Procedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
    HWND m_hwnd = nullptr;
};

/// OleInitialize for the test's thread, undone at the end.
class COleScope {
public:
    COleScope() : m_result(::OleInitialize(nullptr)) {}
    ~COleScope() {
        if (SUCCEEDED(m_result))
            ::OleUninitialize();
    }
    COleScope(const COleScope&) = delete;
    COleScope& operator=(const COleScope&) = delete;
    HRESULT Result() const { return m_result; }

private:
    HRESULT m_result;
};

/// Handles the window's messages that are waiting (no blocking).
void PumpMessages();

/// The drag-and-drop COM objects alive now (made minus destroyed), all kinds.
long LiveDragDropObjects();

/// A new moveable global block holding `bytes`.
HGLOBAL GlobalBlockOf(const std::string& bytes);

/// The bytes of a global block (its whole size).
std::string BytesOfGlobal(HGLOBAL block);

} // namespace vsktest
