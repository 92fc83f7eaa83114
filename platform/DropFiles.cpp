// DropFiles.cpp - the count of a DROPFILES file list with the documented Windows
// behaviour.
#include "platform/DropFiles.h"

#include <shellapi.h>
#include <shlobj.h>

namespace vsk::detail {

namespace {

bool ListIsEmpty(HDROP drop) {
    const auto* header = static_cast<const DROPFILES*>(::GlobalLock(drop));
    if (!header)
        return true;
    const auto* first = reinterpret_cast<const unsigned char*>(header) + header->pFiles;
    const bool empty = header->fWide ? (first[0] == 0 && first[1] == 0) : first[0] == 0;
    ::GlobalUnlock(drop);
    return empty;
}

} // namespace

unsigned int DragQueryFileCount(HDROP drop) {
    if (ListIsEmpty(drop))
        return 0;
    return ::DragQueryFileA(drop, 0xFFFFFFFF, nullptr, 0);
}

} // namespace vsk::detail
