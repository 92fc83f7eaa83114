// Checklst.cpp - stand-in of the host framework's check list box.
#include "hostfw/Checklst.h"

#include <vector>

namespace Checklst {

TCheckListBox::TCheckListBox(HWND parentWindow) : Stdctrls::TCustomListBox(parentWindow, LBS_OWNERDRAWFIXED) {}

bool TCheckListBox::GetChecked(int index) const {
    return SendMessageA(Handle, LB_GETITEMDATA, static_cast<WPARAM>(index), 0) == 1;
}

void TCheckListBox::SetChecked(int index, bool checked) {
    SendMessageA(Handle, LB_SETITEMDATA, static_cast<WPARAM>(index), checked ? 1 : 0);
    InvalidateRect(Handle, nullptr, TRUE);
}

bool TCheckListBox::DrawItem(const DRAWITEMSTRUCT& item) {
    if (item.itemID == static_cast<UINT>(-1))
        return true;
    RECT area = item.rcItem;
    FillRect(item.hDC, &area, GetSysColorBrush(COLOR_WINDOW));
    const int side = area.bottom - area.top;
    RECT box = {area.left + 2, area.top + 1, area.left + side, area.bottom - 1};
    const UINT state = DFCS_BUTTONCHECK | (GetChecked(static_cast<int>(item.itemID)) ? DFCS_CHECKED : 0);
    DrawFrameControl(item.hDC, &box, DFC_BUTTON, state);
    const LRESULT length = SendMessageA(item.hwndItem, LB_GETTEXTLEN, item.itemID, 0);
    if (length > 0) {
        std::vector<char> text(static_cast<std::size_t>(length) + 1);
        SendMessageA(item.hwndItem, LB_GETTEXT, item.itemID, reinterpret_cast<LPARAM>(text.data()));
        SetBkMode(item.hDC, TRANSPARENT);
        TextOutA(item.hDC, area.left + side + 2, area.top, text.data(), static_cast<int>(length));
    }
    return true;
}

} // namespace Checklst
