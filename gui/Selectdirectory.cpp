// Selectdirectory.cpp - the folder chooser.
#include "gui/Selectdirectory.h"

#include "gui/internal/SelectdirectoryHooks.h"
#include "platform/CallbackBoundary.h"
#include "platform/Replaceable.h"

#include <shlobj.h>

VSK_DEFINE_UNIT(Selectdirectory, nullptr, nullptr)

namespace {

const UINT kBrowseFlags = BIF_RETURNONLYFSDIRS | BIF_STATUSTEXT; // 5
static_assert(kBrowseFlags == 5, "file-system folders only, with a status text");
static_assert(BFFM_SETSELECTIONA == 1126 && BFFM_SETSTATUSTEXTA == 1124, "the dialog's messages");

// Tags Open's call into the shell's dialog: the callback arms the call's
// stop action with the dialog it learns of.
const char kOpenCall[] = "CSelectDirectory::Open";

// Ends the dialog as if cancelled: what failed inside it (the callback, a
// window handler that its modal loop ran) is thrown by Open at once.
void CancelDialog(void* dialog) { ::PostMessageA(static_cast<HWND>(dialog), WM_COMMAND, IDCANCEL, 0); }

BOOL __stdcall SystemPathFromItems(LPCITEMIDLIST items, char* path) { return ::SHGetPathFromIDListA(items, path); }

// The lookup of the status text's path.
vsk::detail::CReplaceable<vsk::detail::PathFromItemsFn> g_statusPath{SystemPathFromItems};

void FreeItemList(LPITEMIDLIST items) {
    IMalloc* shellAllocator = nullptr;
    if (SUCCEEDED(::SHGetMalloc(&shellAllocator)) && shellAllocator) {
        shellAllocator->Free(items);
        shellAllocator->Release();
    }
}

} // namespace

CSelectDirectory::CSelectDirectory() = default;

CSelectDirectory::~CSelectDirectory() = default;

bool CSelectDirectory::Open(void* owner, const char* initialFolder, const char* title) {
    m_selectedFolder = vskstr::CVskStr();
    m_initialFolder = vskstr::CVskStr(initialFolder ? initialFolder : "");

    BROWSEINFOA info{};
    info.hwndOwner = static_cast<HWND>(owner);
    info.pidlRoot = nullptr;
    info.pszDisplayName = nullptr;
    info.lpszTitle = title;
    info.ulFlags = kBrowseFlags;
    info.lpfn = &CSelectDirectory::BrowseCallbackProc;
    info.lParam = reinterpret_cast<LPARAM>(this);

    vsk::detail::CSystemCallScope call(kOpenCall);
    LPITEMIDLIST items = ::SHBrowseForFolderA(&info);
    call.SetStopAction(nullptr, nullptr); // the dialog is gone
    if (!items) {
        call.RethrowError();
        return false;
    }
    char path[MAX_PATH] = {};
    const bool converted = ::SHGetPathFromIDListA(items, path) != FALSE;
    FreeItemList(items);
    call.RethrowError();
    if (converted && path[0] != '\0')
        m_selectedFolder = vskstr::CVskStr(path);
    return true;
}

vskstr::CVskStr CSelectDirectory::DirectOpen(void* owner, const char* initialFolder, const char* title) {
    CSelectDirectory chooser;
    if (chooser.Open(owner, initialFolder, title))
        return chooser.GetSelectedFolder();
    return vskstr::CVskStr();
}

vskstr::CVskStr CSelectDirectory::GetSelectedFolder() const { return m_selectedFolder; }

int CALLBACK CSelectDirectory::BrowseCallbackProc(HWND dialog, UINT msg, LPARAM lParam, LPARAM data) {
    // The shell's frames lie below: an exception is kept for Open (a program
    // that runs the dialog itself finds it in the log).
    vsk::detail::RunAtBoundary(VSK_BOUNDARY_SITE("CSelectDirectory::BrowseCallbackProc"), nullptr, [&] {
        auto* self = reinterpret_cast<CSelectDirectory*>(data);
        if (msg == BFFM_INITIALIZED && self) {
            vsk::detail::SetInnermostStopAction(kOpenCall, &CancelDialog, dialog);
            ::SendMessageA(dialog, BFFM_SETSELECTIONA, TRUE, reinterpret_cast<LPARAM>(self->m_initialFolder.c_str()));
        } else if (msg == BFFM_SELCHANGED) {
            char path[MAX_PATH] = {};
            if (g_statusPath(reinterpret_cast<LPCITEMIDLIST>(lParam), path))
                ::SendMessageA(dialog, BFFM_SETSTATUSTEXTA, 0, reinterpret_cast<LPARAM>(path));
        }
    });
    return 0;
}

const vsk::detail::SelectdirectoryHookTable vsk::detail::kSelectdirectoryHookTable = {
    [](PathFromItemsFn fn) { return g_statusPath.Replace(fn); },
};
