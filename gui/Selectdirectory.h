// Selectdirectory.h - the folder chooser.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstr.h"

#include <windows.h>

VSK_DECLARE_UNIT(Selectdirectory)

/// Asks the user for a file-system folder with the shell's folder-browsing
/// dialog, with a folder pre-selected and the highlighted folder's full path
/// shown as the dialog's status text.
///
/// Thread safety: the dialog is modal and runs on the calling thread, which
/// has initialised COM.
///
/// Example:
///   vskstr::CVskStr folder = CSelectDirectory::DirectOpen(hwnd, "C:\\data", "Folder to scan");
///   if (folder.Length() == 0) { /* cancelled */ }
class VSK_API CSelectDirectory {
public:
    /// A chooser with no selected and no initial folder.
    CSelectDirectory();
    virtual ~CSelectDirectory();

    /// Shows the dialog owned by `owner` with `initialFolder` pre-selected
    /// (nullptr or an unknown path: the dialog's default) and `title` above
    /// the tree (may be nullptr). Returns false when the user cancelled, true
    /// when a folder was chosen; GetSelectedFolder then gives its path (empty
    /// when the chosen item has no file-system path).
    /// Errors: an exception thrown while the dialog runs, by the dialog's
    /// callback or by a CVskWnd handler whose message the dialog's modal loop
    /// dispatched, ends the dialog as if cancelled and is thrown here, from
    /// Open's own frame, once the dialog has closed (the selected folder is
    /// then empty).
    bool Open(void* owner, const char* initialFolder, const char* title);

    /// Open on a temporary chooser: the chosen folder, or "" when cancelled.
    static vskstr::CVskStr DirectOpen(void* owner, const char* initialFolder, const char* title);

    /// The folder chosen by the last Open, or "".
    vskstr::CVskStr GetSelectedFolder() const;

    /// The dialog's callback: pre-selects the initial folder when the dialog
    /// starts, shows the highlighted folder's path as status text when the
    /// selection changes. `data` is the chooser. Returns 0.
    /// Errors: none leave it (the shell's frames lie below); an exception
    /// inside it is thrown by Open. A program that runs the dialog with this
    /// callback itself finds such an exception in the log only.
    static int CALLBACK BrowseCallbackProc(HWND dialog, UINT msg, LPARAM lParam, LPARAM data);

private:
    vskstr::CVskStr m_selectedFolder;
    vskstr::CVskStr m_initialFolder;
};
