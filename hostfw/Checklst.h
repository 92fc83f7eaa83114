// Checklst.h - stand-in of the host framework's check list box: an
// owner-drawn list box that draws a check box before each item.
#pragma once

#include "hostfw/Stdctrls.h"

namespace Checklst {

/// A list box whose items carry a check mark, drawn by the control itself
/// (LBS_OWNERDRAWFIXED) as a check box of the system's look, then the text.
/// The owner-draw requests reach the control when its parent is a plain
/// Controls::TWinControl window.
class HOSTFW_API TCheckListBox : public Stdctrls::TCustomListBox {
public:
    /// Creates an owner-drawn list box as a child of `parentWindow`.
    explicit TCheckListBox(HWND parentWindow);

    /// Whether item `index` is checked (kept as the item's data).
    bool GetChecked(int index) const;
    /// Checks or clears the item at `index`.
    void SetChecked(int index, bool checked);

protected:
    bool DrawItem(const DRAWITEMSTRUCT& item) override;
};

} // namespace Checklst
