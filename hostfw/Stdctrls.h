// Stdctrls.h - stand-in of the host framework's list box over a real
// LISTBOX window, with its item list and its canvas.
#pragma once

#include "hostfw/AnsiString.h"
#include "hostfw/Controls.h"
#include "hostfw/Graphics.h"
#include "hostfw/Hostfw_stdafx.h"
#include "hostfw/Property.h"

namespace Stdctrls {

class TCustomListBox;

/// The item texts of a list box, kept by the list box window itself.
/// Lifetime: owned by its list box.
class HOSTFW_API TListBoxStrings {
public:
    /// The items of `listBox`.
    explicit TListBoxStrings(HWND listBox) : m_listBox(listBox) {}
    TListBoxStrings(const TListBoxStrings&) = delete;
    TListBoxStrings& operator=(const TListBoxStrings&) = delete;

    /// Appends `text` (up to its first NUL, as the window keeps C strings);
    /// returns its index.
    /// Errors: Sysutils::Exception when the window refuses the item.
    int Add(const System::AnsiString& text);
    /// Removes every item.
    void Clear();

private:
    int GetCount() const;
    System::AnsiString GetString(int index) const;

public:
    /// Number of items (LB_GETCOUNT).
    hostfw::TReadProperty<TListBoxStrings, int, &TListBoxStrings::GetCount> Count{this};
    /// The text of item `index` (LB_GETTEXT); Errors: Sysutils::Exception
    /// for an index out of range.
    hostfw::TIndexedReadProperty<TListBoxStrings, System::AnsiString, &TListBoxStrings::GetString> Strings{this};

private:
    HWND m_listBox;
};

/// A canvas over a window's device context (GetDC), taken on first use with
/// the window's font selected and released with the canvas.
class HOSTFW_API TControlCanvas : public Graphics::TCanvas {
public:
    /// A canvas on `window`.
    explicit TControlCanvas(HWND window) : m_window(window) {}
    ~TControlCanvas() override;

protected:
    void CreateHandle() override;

private:
    HWND m_window;
    HGDIOBJ m_originalFont = nullptr;
};

/// A list box over a real LISTBOX window with a horizontal scroll bar.
///
/// Example:
///   Stdctrls::TCustomListBox box(form.Handle);
///   box.Items->Add("first");
///   int n = box.Items->Count;   // 1
class HOSTFW_API TCustomListBox : public Controls::TWinControl {
public:
    /// A list box window, child of `parentWindow` (top-level when nullptr).
    explicit TCustomListBox(HWND parentWindow);
    ~TCustomListBox() override;

    /// The list box's items.
    TListBoxStrings* const Items;
    /// The list box's canvas.
    Graphics::TCanvas* const Canvas;

protected:
    /// For derived list boxes: the window with `extraStyle` added.
    TCustomListBox(HWND parentWindow, DWORD extraStyle);
};

} // namespace Stdctrls
