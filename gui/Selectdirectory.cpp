// Selectdirectory.cpp - the folder chooser.
#include "gui/Selectdirectory.h"

#include <shlobj.h>

#include <exception>
#include <utility>

VSK_DEFINE_UNIT(Selectdirectory, nullptr, nullptr)

namespace {

const UINT kBrowseFlags = BIF_RETURNONLYFSDIRS | BIF_STATUSTEXT; // 5
static_assert(kBrowseFlags == 5, "file-system folders only, with a status text");
static_assert(BFFM_SETSELECTIONA == 1126 && BFFM_SETSTATUSTEXTA == 1124, "the dialog's messages");

// The callback runs inside the shell's dialog; an exception there is kept
// until SHBrowseForFolderA has returned.
thread_local std::exception_ptr t_callbackError;

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

    LPITEMIDLIST items = ::SHBrowseForFolderA(&info);
    if (!items) {
        if (t_callbackError)
            std::rethrow_exception(std::exchange(t_callbackError, nullptr));
        return false;
    }
    char path[MAX_PATH] = {};
    const bool converted = ::SHGetPathFromIDListA(items, path) != FALSE;
    FreeItemList(items);
    if (t_callbackError)
        std::rethrow_exception(std::exchange(t_callbackError, nullptr));
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
    try {
        auto* self = reinterpret_cast<CSelectDirectory*>(data);
        if (msg == BFFM_INITIALIZED && self) {
            ::SendMessageA(dialog, BFFM_SETSELECTIONA, TRUE, reinterpret_cast<LPARAM>(self->m_initialFolder.c_str()));
        } else if (msg == BFFM_SELCHANGED) {
            char path[MAX_PATH] = {};
            if (::SHGetPathFromIDListA(reinterpret_cast<LPCITEMIDLIST>(lParam), path))
                ::SendMessageA(dialog, BFFM_SETSTATUSTEXTA, 0, reinterpret_cast<LPARAM>(path));
        }
    } catch (...) {
        if (!t_callbackError)
            t_callbackError = std::current_exception();
    }
    return 0;
}
