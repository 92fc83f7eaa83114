// ImeCompositionWindow.h - an example window that draws the IME composition
// itself: each clause is a box whose colour tells its attribute.
#pragma once

#include "gui/VskWndImeFull.h"

#include <vector>

/// Draws the composition as one box per clause on a white client area: the
/// boxes stand in a row from (kMargin, kMargin), kBoxHeight high, kBytePixels
/// wide per byte of the clause, kGap apart. The colour tells the attribute:
/// input light blue, target converted red, converted green, target not
/// converted orange (any other value black).
class CImeCompositionWindow : public CVskWndImeFull {
public:
    static constexpr int kMargin = 4;
    static constexpr int kBoxHeight = 20;
    static constexpr int kBytePixels = 8;
    static constexpr int kGap = 2;

    /// The colour of a clause with this attribute.
    static COLORREF ClauseColour(int attribute);
    /// The boxes of the clauses, in order.
    static std::vector<RECT> ClauseBoxes(const std::vector<vskstr::CVskStr>& clauses);

    void OnCompStrChange() override;
    void OnCompStrEnd() override;
    long OnPaint(void* hdc, RECT updateRect) override;
};
