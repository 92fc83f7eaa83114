// Stdctrls.cpp - stand-in of the host framework's list box.
#include "hostfw/Stdctrls.h"

#include "hostfw/SysUtils.h"

#include <vector>

namespace Stdctrls {

namespace {

constexpr DWORD kListBoxStyle = WS_VSCROLL | WS_HSCROLL | WS_BORDER | LBS_NOTIFY | LBS_HASSTRINGS | LBS_NOINTEGRALHEIGHT;

} // namespace

int TListBoxStrings::Add(const System::AnsiString& text) {
    const LRESULT index = SendMessageA(m_listBox, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
    if (index < 0)
        throw Sysutils::Exception("the list box refused the item");
    return static_cast<int>(index);
}

void TListBoxStrings::Clear() { SendMessageA(m_listBox, LB_RESETCONTENT, 0, 0); }

int TListBoxStrings::GetCount() const { return static_cast<int>(SendMessageA(m_listBox, LB_GETCOUNT, 0, 0)); }

System::AnsiString TListBoxStrings::GetString(int index) const {
    const LRESULT length = SendMessageA(m_listBox, LB_GETTEXTLEN, static_cast<WPARAM>(index), 0);
    if (length < 0)
        throw Sysutils::Exception("list index out of bounds");
    if (length == 0)
        return System::AnsiString();
    // Short texts (nearly all) go through the stack, not the heap.
    char shortText[256];
    std::vector<char> longText;
    char* text = shortText;
    if (length >= static_cast<LRESULT>(sizeof(shortText))) {
        longText.resize(static_cast<std::size_t>(length) + 1);
        text = longText.data();
    }
    const LRESULT copied = SendMessageA(m_listBox, LB_GETTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text));
    if (copied < 0)
        throw Sysutils::Exception("list index out of bounds");
    return System::AnsiString(text, static_cast<int>(copied));
}

TControlCanvas::~TControlCanvas() {
    HDC dc = CurrentDeviceContext();
    if (!dc)
        return;
    SetDeviceContext(nullptr);
    if (m_originalFont)
        SelectObject(dc, m_originalFont);
    ReleaseDC(m_window, dc);
}

void TControlCanvas::CreateHandle() {
    HDC dc = GetDC(m_window);
    if (!dc)
        return;
    HFONT font = reinterpret_cast<HFONT>(SendMessageA(m_window, WM_GETFONT, 0, 0));
    if (font)
        m_originalFont = SelectObject(dc, font);
    SetDeviceContext(dc);
}

TCustomListBox::TCustomListBox(HWND parentWindow) : TCustomListBox(parentWindow, 0) {}

TCustomListBox::TCustomListBox(HWND parentWindow, DWORD extraStyle)
    : Controls::TWinControl(parentWindow, "LISTBOX", kListBoxStyle | extraStyle, 0),
      Items(new TListBoxStrings(Handle)), Canvas(new TControlCanvas(Handle)) {}

TCustomListBox::~TCustomListBox() {
    delete Canvas;
    delete Items;
}

} // namespace Stdctrls
