// DemoWindow.h - the windowed demo: one window, one panel per subsystem.
#pragma once

#include "examples/DemoPanels.h"
#include "examples/ImeCompositionWindow.h"
#include "gui/Vskdib.h"
#include "gui/Vskolednd.h"

#include <string>
#include <vector>

/// The demo's main window: nine panels in a 3 x 3 grid (strings, paths,
/// folders, dates, the rotating log, a bitmap, dashed lines, drag and drop,
/// the input method's composition). The log panel gains a line every
/// 300 ms; text and files dropped on the window show in the drop panel; the
/// composition of the input method is painted clause by clause in its panel
/// (the window is an input-method window of its own).
class CDemoWindow : public CImeCompositionWindow, public CVskDnDDropEvent {
public:
    static constexpr int kPanelWidth = 300;
    static constexpr int kPanelHeight = 150;
    static constexpr int kTitleHeight = 20;

    explicit CDemoWindow(const std::string& workFolder);
    ~CDemoWindow() override;

    /// Creates the window, shown; 0 on success (Create's result otherwise).
    int CreateDemo();
    /// Puts a sample composition of four clauses (one of each attribute) in
    /// place, as an input method would, for a picture without typing.
    void ShowSampleComposition();
    /// The panels' names and client rectangles, in grid order.
    std::vector<std::pair<std::string, RECT>> Panels() const;
    /// Saves the client area as the display shows it to a BMP file through
    /// CVskDIB; false when it cannot be read or written.
    bool SaveScreenshot(const std::string& path) const;

    long OnCreate(CREATESTRUCTA* cs) override;
    long OnDestroy() override;
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override;
    long OnPaint(void* hdc, RECT updateRect) override;

    void OnDropText(void* window, const char* text) override;
    void OnDropHDrop(void* window, const std::vector<vskstr::CVskStr>& files) override;

private:
    void PaintPanel(HDC dc, int index, const char* title) const;
    void PaintLines(HDC dc, int index, const demo::Lines& lines) const;
    void PaintBitmap(HDC dc, const RECT& area) const;
    void PaintDashes(HDC dc, const RECT& area) const;
    void PaintComposition(HDC dc, const RECT& area);

    std::string m_workFolder;
    demo::CDemoLog m_log;
    int m_logLines = 0;
    demo::Lines m_stringLines, m_pathLines, m_folderLines, m_dateLines;
    demo::Lines m_dropLines;
    CVskDIB m_bitmap;
    CVskDropTarget* m_dropTarget = nullptr;
};
