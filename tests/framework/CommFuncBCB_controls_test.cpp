// CommFuncBCB_controls_test.cpp - tests of the host-framework control helpers
// of vsk::bcb on real device contexts, windows, list boxes and tree views.
#include "framework/CommFuncBCB.h"
#include "gui/Vskwnd.h"
#include "tests/diagnostics/LogTestSupport.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using vsktest::CLogTest;
using vsktest::MaskTimestamps;
using vsktest::ReadOrMissing;

// "引数indexが大きすぎる" in code page 932.
const char kIndexTooLarge[] = "\x88\xF8\x90\x94index\x82\xAA\x91\xE5\x82\xAB\x82\xB7\x82\xAC\x82\xE9";

using Point = std::pair<int, int>;

// ---------------------------------------------------------------------------
// A canvas over a memory device context with a 32-bit DIB section
// ---------------------------------------------------------------------------

constexpr int kSide = 48;
constexpr unsigned kWhite = 0x00FFFFFF;

class CDibCanvas {
public:
    CDibCanvas() {
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof(info.bmiHeader);
        info.bmiHeader.biWidth = kSide;
        info.bmiHeader.biHeight = -kSide; // top-down: row 0 first
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        info.bmiHeader.biCompression = BI_RGB;
        m_dc = CreateCompatibleDC(nullptr);
        m_bitmap = CreateDIBSection(m_dc, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&m_bits), nullptr, 0);
        m_old = SelectObject(m_dc, m_bitmap);
        std::fill(m_bits, m_bits + kSide * kSide, kWhite);
        canvas.Handle = m_dc;
    }
    ~CDibCanvas() {
        canvas.Handle = nullptr;
        SelectObject(m_dc, m_old);
        DeleteObject(m_bitmap);
        DeleteDC(m_dc);
    }
    bool Ready() const { return m_dc && m_bitmap && m_bits; }

    // The pixels that are no longer white.
    std::set<Point> Painted() {
        GdiFlush();
        std::set<Point> painted;
        for (int y = 0; y < kSide; ++y)
            for (int x = 0; x < kSide; ++x)
                if ((m_bits[y * kSide + x] & 0x00FFFFFF) != kWhite)
                    painted.insert({x, y});
        return painted;
    }

    Graphics::TCanvas canvas;

private:
    HDC m_dc = nullptr;
    HBITMAP m_bitmap = nullptr;
    HGDIOBJ m_old = nullptr;
    unsigned* m_bits = nullptr;
};

void CALLBACK CollectPoint(int x, int y, LPARAM data) {
    reinterpret_cast<std::vector<Point>*>(data)->push_back({x, y});
}

// The points that the system's LineDDA visits from a towards b.
std::vector<Point> LineDDAPoints(Point a, Point b) {
    std::vector<Point> points;
    LineDDA(a.first, a.second, b.first, b.second, &CollectPoint, reinterpret_cast<LPARAM>(&points));
    return points;
}

// The dashes as segments (start, end), written here from the description of
// the dashed line: a dash opens at count 0 (replacing one still open) and
// closes at count `dash`, or at the last point.
std::vector<std::pair<Point, Point>> ModelDashes(const std::vector<Point>& points, int gap, int dash) {
    std::vector<std::pair<Point, Point>> dashes;
    const long long period = static_cast<long long>(gap) + dash;
    long long count = 0;
    bool open = false;
    Point start;
    for (const Point& p : points) {
        if (count == 0) {
            open = true;
            start = p;
        } else if (count == dash && open) {
            dashes.push_back({start, p});
            open = false;
        }
        count = (count + 1) % period;
    }
    if (open)
        dashes.push_back({start, points.back()});
    return dashes;
}

// The pixels that LineTo paints for the dashes: every point LineDDA visits
// from a dash's start to its end (the end itself is not painted).
std::set<Point> ExpectedPixels(Point from, Point to, int gap, int dash) {
    std::set<Point> pixels;
    for (const auto& d : ModelDashes(LineDDAPoints(from, to), gap, dash))
        for (const Point& p : LineDDAPoints(d.first, d.second))
            pixels.insert(p);
    return pixels;
}

std::string Describe(const std::set<Point>& pixels) {
    std::string text;
    for (const Point& p : pixels)
        text += "(" + std::to_string(p.first) + "," + std::to_string(p.second) + ")";
    return text;
}

std::set<Point> DrawnPixels(Point from, Point to, int gap, int dash) {
    CDibCanvas dib;
    EXPECT_TRUE(dib.Ready());
    vsk::bcb::DrawLineDDA(&dib.canvas, from.first, from.second, to.first, to.second, gap, dash);
    return dib.Painted();
}

std::set<Point> Row(int y, std::initializer_list<int> xs) {
    std::set<Point> pixels;
    for (int x : xs)
        pixels.insert({x, y});
    return pixels;
}

} // namespace

// ---------------------------------------------------------------------------
// DrawLineDDA
// ---------------------------------------------------------------------------

TEST(DrawLineDDA, GapTwoDashThreeDrawsThreeOfEveryFivePoints) {
    EXPECT_EQ(Describe(DrawnPixels({0, 5}, {10, 5}, 2, 3)), Describe(Row(5, {0, 1, 2, 5, 6, 7})));
}

TEST(DrawLineDDA, GapTwoDashThreeRightToLeft) {
    // Points 10..1 are visited; dashes 10-8 and 5-3.
    EXPECT_EQ(Describe(DrawnPixels({10, 5}, {0, 5}, 2, 3)), Describe(Row(5, {10, 9, 8, 5, 4, 3})));
}

TEST(DrawLineDDA, GapZeroReopensTheDashEveryPeriodSoOnlyTheLastPeriodIsDrawn) {
    // With gap 0 the count never reaches `dash`: each count 0 opens a new
    // dash in place of the open one, and only the dash open at the end is
    // drawn, from its start to the last visited point (which LineTo leaves
    // blank). Points 0..9: the last dash opens at 9 and ends there.
    EXPECT_TRUE(DrawnPixels({0, 5}, {10, 5}, 0, 3).empty());
    // Points 0..10: the last dash runs from 9 to 10.
    EXPECT_EQ(Describe(DrawnPixels({0, 5}, {11, 5}, 0, 3)), Describe(Row(5, {9})));
    // Points 0..11: from 9 to 11.
    EXPECT_EQ(Describe(DrawnPixels({0, 5}, {12, 5}, 0, 3)), Describe(Row(5, {9, 10})));
}

TEST(DrawLineDDA, LineShorterThanADashIsOneSegmentFromFirstToLastVisitedPoint) {
    EXPECT_EQ(Describe(DrawnPixels({3, 5}, {5, 5}, 2, 3)), Describe(Row(5, {3})));
    EXPECT_EQ(Describe(DrawnPixels({3, 5}, {6, 5}, 2, 3)), Describe(Row(5, {3, 4})));
}

TEST(DrawLineDDA, LineOfNoLengthDrawsNothing) {
    EXPECT_TRUE(DrawnPixels({7, 7}, {7, 7}, 2, 3).empty());
    EXPECT_TRUE(DrawnPixels({7, 7}, {8, 7}, 2, 3).empty()); // one point: a dash of no length
}

namespace {

const std::vector<std::pair<int, int>> kPatterns = {{0, 3}, {2, 3}, {1, 1}, {5, 1}, {0, 1}};

std::string LineName(const std::pair<Point, Point>& line, const std::pair<int, int>& pattern) {
    return "line (" + std::to_string(line.first.first) + "," + std::to_string(line.first.second) + ")-(" +
           std::to_string(line.second.first) + "," + std::to_string(line.second.second) + ") gap " +
           std::to_string(pattern.first) + " dash " + std::to_string(pattern.second);
}

// The model's dashes drawn here with MoveToEx/LineTo on a canvas of its own.
std::set<Point> ModelDashesDrawnDirectly(Point from, Point to, int gap, int dash) {
    CDibCanvas dib;
    EXPECT_TRUE(dib.Ready());
    HDC dc = dib.canvas.Handle;
    HGDIOBJ old = SelectObject(dc, GetStockObject(BLACK_PEN));
    for (const auto& d : ModelDashes(LineDDAPoints(from, to), gap, dash)) {
        MoveToEx(dc, d.first.first, d.first.second, nullptr);
        LineTo(dc, d.second.first, d.second.second);
    }
    SelectObject(dc, old);
    return dib.Painted();
}

} // namespace

TEST(DrawLineDDA, AxisAndDiagonalLinesInBothDirectionsPaintExactlyThePointsLineDDAVisits) {
    const std::vector<std::pair<Point, Point>> lines = {
        {{2, 10}, {40, 10}}, {{40, 10}, {2, 10}},   // horizontal
        {{10, 2}, {10, 40}}, {{10, 40}, {10, 2}},   // vertical
        {{3, 3}, {40, 40}},  {{40, 40}, {3, 3}},    // diagonal
        {{40, 3}, {3, 40}},  {{3, 40}, {40, 3}},    // the other diagonal
        {{20, 20}, {22, 20}}, {{20, 20}, {18, 18}}, // shorter than a dash
    };
    for (const auto& line : lines) {
        for (const auto& pattern : kPatterns) {
            const std::set<Point> expected = ExpectedPixels(line.first, line.second, pattern.first, pattern.second);
            const std::set<Point> drawn = DrawnPixels(line.first, line.second, pattern.first, pattern.second);
            EXPECT_EQ(Describe(drawn), Describe(expected)) << LineName(line, pattern);
        }
    }
}

// For steep and shallow lines the system's LineTo and its LineDDA may round a
// tie on a short dash differently (one end pixel of a dash one row or column
// apart), so the pixels are compared with the dashes of the model drawn
// directly, and each dash is checked to start and end on visited points.
TEST(DrawLineDDA, SteepAndShallowLinesInBothDirectionsPaintTheModelDashes) {
    const std::vector<std::pair<Point, Point>> lines = {
        {{5, 1}, {12, 45}},  {{12, 45}, {5, 1}},  // steep
        {{1, 5}, {45, 19}},  {{45, 19}, {1, 5}},  // shallow
        {{30, 2}, {21, 44}}, {{44, 30}, {2, 21}}, // other quadrants
        {{20, 20}, {22, 21}}, {{20, 20}, {19, 18}},
    };
    for (const auto& line : lines) {
        const std::vector<Point> visited = LineDDAPoints(line.first, line.second);
        const std::set<Point> visitedSet(visited.begin(), visited.end());
        for (const auto& pattern : kPatterns) {
            const std::set<Point> drawn = DrawnPixels(line.first, line.second, pattern.first, pattern.second);
            EXPECT_EQ(Describe(drawn),
                      Describe(ModelDashesDrawnDirectly(line.first, line.second, pattern.first, pattern.second)))
                << LineName(line, pattern);
            for (const auto& d : ModelDashes(visited, pattern.first, pattern.second)) {
                EXPECT_EQ(visitedSet.count(d.first), 1u) << LineName(line, pattern);
                EXPECT_EQ(visitedSet.count(d.second), 1u) << LineName(line, pattern);
                if (d.first != d.second) {
                    EXPECT_EQ(drawn.count(d.first), 1u) << "dash start not painted, " << LineName(line, pattern);
                }
            }
        }
    }
}

TEST(DrawLineDDA, DrawsWithTheCanvasPen) {
    CDibCanvas dib;
    ASSERT_TRUE(dib.Ready());
    dib.canvas.Pen->Color = RGB(255, 0, 0);
    vsk::bcb::DrawLineDDA(&dib.canvas, 0, 0, 4, 0, 2, 3);
    GdiFlush();
    EXPECT_EQ(GetPixel(dib.canvas.Handle, 0, 0), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(dib.canvas.Handle, 2, 0), RGB(255, 0, 0));
}

TEST(DrawLineDDA, PeriodZeroThrowsInvalidArgumentInsteadOfDividingByZero) {
    CDibCanvas dib;
    ASSERT_TRUE(dib.Ready());
    for (const auto& pattern : std::vector<std::pair<int, int>>{{0, 0}, {3, -3}, {-5, 5}}) {
        try {
            vsk::bcb::DrawLineDDA(&dib.canvas, 0, 0, 10, 0, pattern.first, pattern.second);
            ADD_FAILURE() << "no exception for gap " << pattern.first << " dash " << pattern.second;
        } catch (const std::invalid_argument& e) {
            EXPECT_STREQ(e.what(), "gap+dash==0");
        }
    }
    EXPECT_TRUE(dib.Painted().empty());
}

TEST(DrawLineDDA, ChoiceNullCanvasThrowsInvalidArgument) {
    try {
        vsk::bcb::DrawLineDDA(nullptr, 0, 0, 10, 0, 2, 3);
        ADD_FAILURE() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "canvas==NULL");
    }
}

TEST(DrawLineDDA, ChoiceNegativeGapOrDashIsUsedAsGivenWithoutCrash) {
    const std::vector<std::pair<int, int>> patterns = {{-1, 3}, {5, -2}, {-5, 2}, {-1, -1}, {INT_MAX, 1},
                                                       {INT_MIN, 1}, {1, INT_MAX}, {INT_MIN, INT_MIN}};
    for (const auto& pattern : patterns) {
        const std::set<Point> expected = ExpectedPixels({1, 9}, {40, 30}, pattern.first, pattern.second);
        EXPECT_EQ(Describe(DrawnPixels({1, 9}, {40, 30}, pattern.first, pattern.second)), Describe(expected))
            << "gap " << pattern.first << " dash " << pattern.second;
    }
    // A negative dash never closes a dash early: one segment over the line.
    EXPECT_EQ(Describe(DrawnPixels({0, 5}, {10, 5}, 20, -2)), Describe(Row(5, {0, 1, 2, 3, 4, 5, 6, 7, 8})));
}

TEST(DrawLineDDA, CanvasExceptionIsKeptAndThrownAfterTheSystemWalkReturns) {
    // A canvas without a device context cannot draw: its first MoveTo throws
    // inside the per-point function, at the point that closes the first dash.
    Graphics::TCanvas noContext;
    try {
        vsk::bcb::DrawLineDDA(&noContext, 0, 0, 100, 0, 2, 3);
        ADD_FAILURE() << "no exception";
    } catch (const Sysutils::Exception& e) {
        EXPECT_STREQ(e.Message.c_str(), "the canvas has no device context to draw on");
    }
}

namespace {

// A canvas that fails after a number of successful drawing calls: the
// context is given back on every read of Handle but removed after `budget`.
class CFailingCanvas : public Graphics::TCanvas {
public:
    CFailingCanvas(HDC dc, int budget) : m_dc(dc), m_budget(budget) {}
    int handleRequests = 0;

protected:
    void CreateHandle() override {
        ++handleRequests;
        if (handleRequests > m_budget)
            throw std::runtime_error("canvas gone");
        SetDeviceContext(m_dc);
    }

private:
    HDC m_dc;
    int m_budget;
};

} // namespace

TEST(DrawLineDDA, StandardExceptionOfTheCanvasKeepsItsTypeAndStopsTheDrawing) {
    CFailingCanvas canvas(nullptr, 0);
    try {
        vsk::bcb::DrawLineDDA(&canvas, 0, 0, 100, 0, 2, 3);
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "canvas gone");
    }
    // After the first failure the remaining 99 points draw nothing.
    EXPECT_EQ(canvas.handleRequests, 1);
}

namespace {

const UINT kDrawNow = WM_APP + 51;

// A window whose handler draws a dashed line on a canvas that fails.
class CDrawingWnd : public CVskWnd {
public:
    std::string drawThrew = "nothing";
    bool passItOn = false;
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override {
        if (msg == kDrawNow) {
            CFailingCanvas canvas(nullptr, 0);
            try {
                vsk::bcb::DrawLineDDA(&canvas, 0, 0, 20, 0, 2, 3);
            } catch (const std::runtime_error& e) {
                drawThrew = e.what();
                if (passItOn)
                    throw;
            }
        }
        return CVskWnd::OnMessage(msg, wParam, lParam);
    }
};

} // namespace

TEST(DrawLineDDA, InsideAWindowHandlerTheCanvasExceptionComesOutOfDrawLineDDAAndWhatLeavesTheHandlerOutOfTheLoop) {
    CDrawingWnd wnd;
    ASSERT_EQ(0, wnd.Create(nullptr, "draw", WS_OVERLAPPEDWINDOW, 0, 0, 0, 100, 100, nullptr, nullptr,
                            GetModuleHandleA(nullptr)));
    // DrawLineDDA is the innermost running call: the handler catches it, and
    // DoEvent (the call outside) has nothing to throw.
    PostMessageA(wnd.GetHandle(), kDrawNow, 0, 0);
    EXPECT_NO_THROW(wnd.DoEvent());
    EXPECT_EQ("canvas gone", wnd.drawThrew);
    // Passed on by the handler, it reaches DoEvent's caller.
    wnd.passItOn = true;
    wnd.drawThrew = "nothing";
    PostMessageA(wnd.GetHandle(), kDrawNow, 0, 0);
    std::string caught = "nothing";
    try {
        wnd.DoEvent();
    } catch (const std::runtime_error& e) {
        caught = e.what();
    }
    EXPECT_EQ("canvas gone", wnd.drawThrew);
    EXPECT_EQ("canvas gone", caught);
    DestroyWindow(wnd.GetHandle());
}

TEST(DrawLineDDA, SegmentsBeforeTheCanvasFailureStayDrawn) {
    CDibCanvas dib;
    ASSERT_TRUE(dib.Ready());
    // The first dash draws (MoveTo and LineTo each take the context), then
    // the context goes and the second dash's MoveTo fails.
    struct CLosingCanvas : Graphics::TCanvas {
        explicit CLosingCanvas(HDC dc) { SetDeviceContext(dc); }
        void Drop() { SetDeviceContext(nullptr); }
    } canvas(dib.canvas.Handle);
    // Draw once successfully, then drop the context and draw again.
    vsk::bcb::DrawLineDDA(&canvas, 0, 3, 10, 3, 2, 3);
    canvas.Drop();
    EXPECT_THROW(vsk::bcb::DrawLineDDA(&canvas, 0, 6, 10, 6, 2, 3), Sysutils::Exception);
    EXPECT_EQ(Describe(dib.Painted()), Describe(Row(3, {0, 1, 2, 5, 6, 7})));
}

// ---------------------------------------------------------------------------
// ClientToScreen and ScreenToClient
// ---------------------------------------------------------------------------

TEST(ClientToScreen, NullControlGivesTheRectangleUnchanged) {
    const Types::TRect r(-5, 7, 300, -40);
    EXPECT_TRUE(vsk::bcb::ClientToScreen(nullptr, r) == r);
    EXPECT_TRUE(vsk::bcb::ScreenToClient(nullptr, r) == r);
}

TEST(ClientToScreen, WindowAtAKnownPositionShiftsBothCorners) {
    Controls::TWinControl form(nullptr);
    form.SetBounds(100, 50, 300, 200);
    Controls::TWinControl child(form.Handle);
    child.SetBounds(10, 20, 100, 80);
    // Borderless pop-up and child: the client areas start at the windows' corners.
    const Types::TRect r(1, 2, 30, 40);
    const Types::TRect onScreen = vsk::bcb::ClientToScreen(&form, r);
    EXPECT_EQ(onScreen.Left, 101);
    EXPECT_EQ(onScreen.Top, 52);
    EXPECT_EQ(onScreen.Right, 130);
    EXPECT_EQ(onScreen.Bottom, 90);
    const Types::TRect childOnScreen = vsk::bcb::ClientToScreen(&child, r);
    EXPECT_TRUE(childOnScreen == Types::TRect(111, 72, 140, 110));
    EXPECT_TRUE(vsk::bcb::ScreenToClient(&child, childOnScreen) == r);
    EXPECT_TRUE(vsk::bcb::ScreenToClient(&form, Types::TRect(0, 0, 100, 50)) == Types::TRect(-100, -50, 0, 0));
    // Moved again: the answer follows the window.
    form.SetBounds(-20, 400, 300, 200);
    EXPECT_TRUE(vsk::bcb::ClientToScreen(&form, r) == Types::TRect(-19, 402, 10, 440));
}

// ---------------------------------------------------------------------------
// Horizontal extent of list boxes
// ---------------------------------------------------------------------------

namespace {

int ExtentOf(HWND listBox) { return static_cast<int>(SendMessageA(listBox, LB_GETHORIZONTALEXTENT, 0, 0)); }

// The widest of `texts`, measured here on a context of the list box with its font.
int WidestWithFontOf(HWND listBox, const std::vector<std::string>& texts) {
    HDC dc = GetDC(listBox);
    HGDIOBJ old = nullptr;
    if (HFONT font = reinterpret_cast<HFONT>(SendMessageA(listBox, WM_GETFONT, 0, 0)))
        old = SelectObject(dc, font);
    int widest = 0;
    for (const std::string& t : texts) {
        SIZE size = {};
        GetTextExtentPoint32A(dc, t.data(), static_cast<int>(t.size()), &size);
        widest = std::max(widest, static_cast<int>(size.cx));
    }
    if (old)
        SelectObject(dc, old);
    ReleaseDC(listBox, dc);
    return widest;
}

const std::vector<std::string> kDoubleByteItems = {"abc", "表示", "ソ表\\表", "ｱｲｳｴｵ", "x"};

} // namespace

TEST(SetHorizontalExtent, SendsTheExtentToTheListBox) {
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    vsk::bcb::SetHorizontalExtent(&box, 321);
    EXPECT_EQ(ExtentOf(box.Handle), 321);
    vsk::bcb::SetHorizontalExtent(&box, 0);
    EXPECT_EQ(ExtentOf(box.Handle), 0);
}

TEST(SetHorizontalExtentAuto, DoubleByteItemsGiveTheWidestTextExtent) {
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    for (const std::string& t : kDoubleByteItems)
        box.Items->Add(t.c_str());
    const int widest = WidestWithFontOf(box.Handle, kDoubleByteItems);
    // The widest text is a double-byte one, so byte counts would not give it.
    ASSERT_GT(widest, WidestWithFontOf(box.Handle, {"abc", "x"}));
    vsk::bcb::SetHorizontalExtentAuto(&box);
    EXPECT_EQ(ExtentOf(box.Handle), widest);
}

// Tabs, double-byte characters, empty items and an item longer than the
// first buffer: every text is measured as the list box holds it, each with
// its own length (a short item after a long one is not measured with the
// long one's bytes behind it).
TEST(SetHorizontalExtentAuto, TabsDoubleByteAndLongItemsGiveTheWidestTextExtent) {
    std::string longDoubleByte;
    for (int i = 0; i < 200; ++i)
        longDoubleByte += "表";
    const std::vector<std::vector<std::string>> cases = {
        {"", "a\tb", "表\t示\tｱ", longDoubleByte, "x", ""},
        {std::string(300, 'i'), "W\t表", "", "ソ\t\t\tz"},
    };
    for (const std::vector<std::string>& items : cases) {
        Controls::TWinControl form(nullptr);
        Stdctrls::TCustomListBox box(form.Handle);
        for (const std::string& t : items)
            box.Items->Add(t.c_str());
        vsk::bcb::SetHorizontalExtentAuto(&box);
        EXPECT_EQ(ExtentOf(box.Handle), WidestWithFontOf(box.Handle, items)) << items[1];
    }
}

TEST(SetHorizontalExtentAuto, CheckListBoxAddsTwentyForTheCheckBox) {
    Controls::TWinControl form(nullptr);
    Checklst::TCheckListBox box(form.Handle);
    for (const std::string& t : kDoubleByteItems)
        box.Items->Add(t.c_str());
    vsk::bcb::SetHorizontalExtentAuto(&box);
    EXPECT_EQ(ExtentOf(box.Handle), WidestWithFontOf(box.Handle, kDoubleByteItems) + 20);
}

TEST(SetHorizontalExtentAuto, EmptyListBoxGivesZeroAndEmptyCheckListBoxTwenty) {
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    vsk::bcb::SetHorizontalExtent(&box, 77);
    vsk::bcb::SetHorizontalExtentAuto(&box);
    EXPECT_EQ(ExtentOf(box.Handle), 0);
    Checklst::TCheckListBox checks(form.Handle);
    vsk::bcb::SetHorizontalExtentAuto(&checks);
    EXPECT_EQ(ExtentOf(checks.Handle), 20);
    // Through the base class the check box is not added.
    vsk::bcb::SetHorizontalExtentAuto(static_cast<Stdctrls::TCustomListBox*>(&checks));
    EXPECT_EQ(ExtentOf(checks.Handle), 0);
}

TEST(SetHorizontalExtentAuto, ItemsOfSixtyFourKibAreMeasuredWhole) {
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    const std::string big(64 * 1024, 'W');
    std::string bigDoubleByte;
    while (bigDoubleByte.size() < 64 * 1024)
        bigDoubleByte += "表";
    box.Items->Add("short");
    box.Items->Add(big.c_str());
    box.Items->Add(bigDoubleByte.c_str());
    ASSERT_EQ(box.Items->Strings[1].Length(), 64 * 1024);
    vsk::bcb::SetHorizontalExtentAuto(&box);
    EXPECT_EQ(ExtentOf(box.Handle), WidestWithFontOf(box.Handle, {"short", big, bigDoubleByte}));
}

TEST(SetHorizontalExtentAuto, HundredThousandItems) {
    Controls::TWinControl form(nullptr);
    Stdctrls::TCustomListBox box(form.Handle);
    SendMessageA(box.Handle, LB_INITSTORAGE, 100000, 100000 * 8);
    // No repainting and scroll-bar updates while the items go in.
    SendMessageA(box.Handle, WM_SETREDRAW, FALSE, 0);
    std::vector<std::string> texts;
    for (int i = 0; i < 100000; ++i) {
        texts.push_back(i == 73512 ? std::string("表表表表表表表表表表") : std::to_string(i));
        box.Items->Add(texts.back().c_str());
    }
    ASSERT_EQ(box.Items->Count, 100000);
    vsk::bcb::SetHorizontalExtentAuto(&box);
    EXPECT_EQ(ExtentOf(box.Handle), WidestWithFontOf(box.Handle, texts));
}

TEST(SetHorizontalExtentAuto, ChoiceNullListBoxThrowsInvalidArgument) {
    for (int overload = 0; overload < 3; ++overload) {
        try {
            if (overload == 0)
                vsk::bcb::SetHorizontalExtentAuto(static_cast<Stdctrls::TCustomListBox*>(nullptr));
            else if (overload == 1)
                vsk::bcb::SetHorizontalExtentAuto(static_cast<Checklst::TCheckListBox*>(nullptr));
            else
                vsk::bcb::SetHorizontalExtent(nullptr, 5);
            ADD_FAILURE() << "no exception from overload " << overload;
        } catch (const std::invalid_argument& e) {
            EXPECT_STREQ(e.what(), "listBox==NULL");
        }
    }
}

// ---------------------------------------------------------------------------
// Tree nodes: failures, logged and thrown
// ---------------------------------------------------------------------------

namespace {

class CTreeLogTest : public CLogTest {
protected:
    CTreeLogTest() : form(nullptr), tree(form.Handle) {}

    // Runs `body`, which must throw std::invalid_argument; returns its text.
    template <typename Body>
    std::string InvalidArgumentOf(Body body) {
        try {
            body();
        } catch (const std::invalid_argument& e) {
            return e.what();
        } catch (...) {
            return "<other exception>";
        }
        return "<no exception>";
    }

    Controls::TWinControl form;
    Comctrls::TTreeView tree;
};

} // namespace

TEST_F(CTreeLogTest, JapaneseMessageIsCodePage932) { EXPECT_STREQ("引数indexが大きすぎる", kIndexTooLarge); }

TEST_F(CTreeLogTest, ChoiceGetSiblingNodeCountOfNullReportsNodeNullAtLine431) {
    const std::string log = UseLog();
    EXPECT_EQ(InvalidArgumentOf([] { vsk::bcb::GetSiblingNodeCount(nullptr); }), "node==NULL");
    EXPECT_EQ(MaskTimestamps(ReadOrMissing(log)), "<TS>CommFuncBCB(431): GetSiblingNodeCount: node==NULL\r\n");
}

TEST_F(CTreeLogTest, GetSiblingNodeFailuresCarryTheirLines) {
    Comctrls::TTreeNode* top = tree.Items->Add(nullptr, "t0");
    tree.Items->Add(nullptr, "t1");
    Comctrls::TTreeNode* child = tree.Items->AddChild(top, "c0");
    tree.Items->AddChild(top, "c1");
    const std::string log = UseLog();
    EXPECT_EQ(InvalidArgumentOf([] { vsk::bcb::GetSiblingNode(nullptr, -1); }), "node==NULL");
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::GetSiblingNode(child, -1); }), "index<0");
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::GetSiblingNode(child, 2); }), "index>=node->Parent->Count");
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::GetSiblingNode(top, 2); }), kIndexTooLarge);
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::GetSiblingNode(top, INT_MAX); }), kIndexTooLarge);
    EXPECT_EQ(MaskTimestamps(ReadOrMissing(log)),
              "<TS>CommFuncBCB(467): GetSiblingNode: node==NULL\r\n"
              "<TS>CommFuncBCB(468): GetSiblingNode: index<0\r\n"
              "<TS>CommFuncBCB(477): GetSiblingNode: index>=node->Parent->Count\r\n"
              "<TS>CommFuncBCB(500): GetSiblingNode: \x88\xF8\x90\x94index\x82\xAA\x91\xE5\x82\xAB\x82\xB7\x82\xAC\x82\xE9\r\n"
              "<TS>CommFuncBCB(500): GetSiblingNode: \x88\xF8\x90\x94index\x82\xAA\x91\xE5\x82\xAB\x82\xB7\x82\xAC\x82\xE9\r\n");
}

TEST_F(CTreeLogTest, ChangeNodeIndexFailuresCarryTheirLines) {
    Comctrls::TTreeNode* top = tree.Items->Add(nullptr, "t0");
    tree.Items->Add(nullptr, "t1");
    Comctrls::TTreeNode* child = tree.Items->AddChild(top, "c0");
    const std::string log = UseLog();
    EXPECT_EQ(InvalidArgumentOf([] { vsk::bcb::ChangeNodeIndex(nullptr, -1); }), "node==NULL");
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::ChangeNodeIndex(top, -1); }), "newIndex<0");
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::ChangeNodeIndex(top, 2); }), "newIndex>=maxCount");
    EXPECT_EQ(InvalidArgumentOf([&] { vsk::bcb::ChangeNodeIndex(child, 1); }), "newIndex>=maxCount");
    EXPECT_EQ(MaskTimestamps(ReadOrMissing(log)),
              "<TS>CommFuncBCB(525): ChangeNodeIndex: node==NULL\r\n"
              "<TS>CommFuncBCB(526): ChangeNodeIndex: newIndex<0\r\n"
              "<TS>CommFuncBCB(530): ChangeNodeIndex: newIndex>=maxCount\r\n"
              "<TS>CommFuncBCB(530): ChangeNodeIndex: newIndex>=maxCount\r\n");
}

TEST_F(CTreeLogTest, ChangeNodeIndexToItsOwnIndexDoesNothingAndLogsNothing) {
    Comctrls::TTreeNode* a = tree.Items->Add(nullptr, "a");
    Comctrls::TTreeNode* b = tree.Items->Add(nullptr, "b");
    const std::string log = UseLog();
    const HTREEITEM before = b->ItemId();
    vsk::bcb::ChangeNodeIndex(b, 1);
    vsk::bcb::ChangeNodeIndex(a, 0);
    EXPECT_EQ(b->ItemId(), before); // not even moved onto itself
    EXPECT_EQ(ReadOrMissing(log), "<missing>");
}

TEST_F(CTreeLogTest, SiblingQuestionsOfValidNodesLogNothing) {
    std::vector<Comctrls::TTreeNode*> tops;
    for (int i = 0; i < 5; ++i)
        tops.push_back(tree.Items->Add(nullptr, std::to_string(i).c_str()));
    Comctrls::TTreeNode* c = tree.Items->AddChild(tops[2], "c");
    const std::string log = UseLog();
    for (int i = 0; i < 5; ++i) {
        // A top-level node counts every top-level node.
        EXPECT_EQ(vsk::bcb::GetSiblingNodeCount(tops[i]), 5);
        for (int j = 0; j < 5; ++j)
            EXPECT_EQ(vsk::bcb::GetSiblingNode(tops[i], j), tops[j]);
    }
    EXPECT_EQ(vsk::bcb::GetSiblingNodeCount(c), 1);
    EXPECT_EQ(vsk::bcb::GetSiblingNode(c, 0), c);
    EXPECT_EQ(ReadOrMissing(log), "<missing>");
}

// ---------------------------------------------------------------------------
// Tree reordering against a model, read back from the control
// ---------------------------------------------------------------------------

namespace {

std::string ItemText(HWND treeView, HTREEITEM item) {
    char text[64] = {};
    TVITEMA data = {};
    data.mask = TVIF_TEXT | TVIF_HANDLE;
    data.hItem = item;
    data.pszText = text;
    data.cchTextMax = sizeof(text);
    SendMessageA(treeView, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&data));
    return text;
}

HTREEITEM NextItem(HWND treeView, HTREEITEM item, unsigned relation) {
    return reinterpret_cast<HTREEITEM>(SendMessageA(treeView, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
}

// The texts of the children of `parent` (the top level for nullptr), asked
// of the control itself.
std::vector<std::string> LevelTexts(HWND treeView, HTREEITEM parent) {
    std::vector<std::string> texts;
    HTREEITEM item = parent ? NextItem(treeView, parent, TVGN_CHILD) : NextItem(treeView, nullptr, TVGN_ROOT);
    for (; item; item = NextItem(treeView, item, TVGN_NEXT))
        texts.push_back(ItemText(treeView, item));
    return texts;
}

std::string Join(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& t : texts)
        joined += t + " ";
    return joined;
}

// For one level of `count` siblings: every (position, new index) pair in
// turn, each move checked against the model and the control's order; the
// moved node's child moves with it.
void CheckEveryMove(Comctrls::TTreeView& tree, bool nested, int count) {
    tree.Items->Clear();
    HWND window = tree.Handle;
    // The order is read from the control; repainting it after every move
    // would only cost time.
    SendMessageA(window, WM_SETREDRAW, FALSE, 0);
    Comctrls::TTreeNode* parent = nullptr;
    if (nested) {
        tree.Items->Add(nullptr, "before");
        parent = tree.Items->Add(nullptr, "parent");
        tree.Items->Add(nullptr, "after");
    }
    std::vector<Comctrls::TTreeNode*> model;
    for (int i = 0; i < count; ++i) {
        Comctrls::TTreeNode* node = tree.Items->AddChild(parent, std::to_string(i).c_str());
        tree.Items->AddChild(node, ("c" + std::to_string(i)).c_str());
        model.push_back(node);
    }
    for (int position = 0; position < count; ++position) {
        for (int newIndex = 0; newIndex < count; ++newIndex) {
            Comctrls::TTreeNode* node = model[position];
            vsk::bcb::ChangeNodeIndex(node, newIndex);
            model.erase(model.begin() + position);
            model.insert(model.begin() + newIndex, node);
            std::vector<std::string> expected;
            for (Comctrls::TTreeNode* n : model)
                expected.push_back(n->Text().c_str());
            const std::vector<std::string> actual = LevelTexts(window, parent ? parent->ItemId() : nullptr);
            ASSERT_EQ(Join(actual), Join(expected)) << (nested ? "nested" : "top level") << " count " << count
                                                    << " position " << position << " new index " << newIndex;
            const std::vector<std::string> children = LevelTexts(window, node->ItemId());
            ASSERT_EQ(Join(children), "c" + std::string(node->Text().c_str()) + " ");
            ASSERT_EQ(node->Index, newIndex);
        }
    }
    if (nested) {
        ASSERT_EQ(Join(LevelTexts(window, nullptr)), "before parent after ");
    }
}

} // namespace

TEST(ChangeNodeIndex, EveryMoveOfOneToFiftyTopLevelSiblings) {
    Controls::TWinControl form(nullptr);
    Comctrls::TTreeView tree(form.Handle);
    for (int count = 1; count <= 50; ++count) {
        CheckEveryMove(tree, false, count);
        if (HasFatalFailure())
            return;
    }
}

TEST(ChangeNodeIndex, EveryMoveOfOneToFiftyNestedSiblings) {
    Controls::TWinControl form(nullptr);
    Comctrls::TTreeView tree(form.Handle);
    for (int count = 1; count <= 50; ++count) {
        CheckEveryMove(tree, true, count);
        if (HasFatalFailure())
            return;
    }
}

TEST(ChangeNodeIndex, ToTheLastPositionMovesTheNodeToTheEndOfItsParentsChildren) {
    Controls::TWinControl form(nullptr);
    Comctrls::TTreeView tree(form.Handle);
    Comctrls::TTreeNode* p = tree.Items->Add(nullptr, "p");
    Comctrls::TTreeNode* a = tree.Items->AddChild(p, "a");
    tree.Items->AddChild(p, "b");
    tree.Items->AddChild(p, "c");
    tree.Items->AddChild(a, "a1");
    tree.Items->AddChild(a, "a2");
    vsk::bcb::ChangeNodeIndex(a, 2);
    EXPECT_EQ(Join(LevelTexts(tree.Handle, p->ItemId())), "b c a ");
    EXPECT_EQ(Join(LevelTexts(tree.Handle, a->ItemId())), "a1 a2 ");
    EXPECT_EQ(a->Parent, p);
}

TEST_F(CLogTest, ChoiceArgumentErrorsOfDrawingAndListBoxesWriteNoLogRecord) {
    const std::string log = UseLog();
    Graphics::TCanvas canvas;
    EXPECT_THROW(vsk::bcb::DrawLineDDA(nullptr, 0, 0, 5, 5, 2, 3), std::invalid_argument);
    EXPECT_THROW(vsk::bcb::DrawLineDDA(&canvas, 0, 0, 5, 5, 0, 0), std::invalid_argument);
    EXPECT_THROW(vsk::bcb::SetHorizontalExtent(nullptr, 1), std::invalid_argument);
    EXPECT_THROW(vsk::bcb::SetHorizontalExtentAuto(static_cast<Stdctrls::TCustomListBox*>(nullptr)),
                 std::invalid_argument);
    EXPECT_EQ(ReadOrMissing(log), "<missing>");
    // The tree functions do write one, so the log itself works here.
    EXPECT_THROW(vsk::bcb::GetSiblingNode(nullptr, 0), std::invalid_argument);
    EXPECT_EQ(MaskTimestamps(ReadOrMissing(log)), "<TS>CommFuncBCB(467): GetSiblingNode: node==NULL\r\n");
}
