// Dirinfo.cpp - CDirInfo, the complete result of one file-name search in memory.
#include "files/Dirinfo.h"

#include "platform/LastError.h"
#include "platform/Replaceable.h"
#include "platform/ScopedHandle.h"
#include "files/internal/DirinfoHooks.h"

#include <new>

VSK_DEFINE_UNIT(Dirinfo, nullptr, nullptr)

namespace {

HANDLE WINAPI SystemFindFirstFile(const char* pattern, WIN32_FIND_DATAA* record) {
    return ::FindFirstFileA(pattern, record);
}

BOOL WINAPI SystemFindNextFile(HANDLE search, WIN32_FIND_DATAA* record) { return ::FindNextFileA(search, record); }

vsk::detail::CReplaceable<vsk::detail::FindFirstFileFn> g_findFirst{SystemFindFirstFile};
vsk::detail::CReplaceable<vsk::detail::FindNextFileFn> g_findNext{SystemFindNextFile};

// An empty folder (nothing matches) and a folder that may not be read are
// listings without entries, not failures.
bool IsEmptyListing(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_ACCESS_DENIED; }

// Appends a heap copy of `record`; false, with ERROR_NOT_ENOUGH_MEMORY as the
// last error, when memory runs out (the list is then as it was).
bool Append(std::vector<WIN32_FIND_DATAA*>& list, const WIN32_FIND_DATAA& record) {
    WIN32_FIND_DATAA* copy = new (std::nothrow) WIN32_FIND_DATAA(record);
    if (copy) {
        try {
            list.push_back(copy);
            return true;
        } catch (const std::bad_alloc&) {
            delete copy;
        }
    }
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
}

} // namespace

namespace vsk::detail {

const DirinfoHookTable kDirinfoHookTable = {
    [](FindFirstFileFn function) { return g_findFirst.Replace(function); },
    [](FindNextFileFn function) { return g_findNext.Replace(function); },
};

} // namespace vsk::detail

CDirInfo::CDirInfo() = default;

CDirInfo::~CDirInfo() { ReleaseDirInfo(); }

void CDirInfo::ReleaseDirInfo() {
    for (WIN32_FIND_DATAA* record : DirInfoList)
        delete record;
    DirInfoList.clear();
}

int CDirInfo::GetDirInfo(const char* pattern) {
    ReleaseDirInfo();
    WIN32_FIND_DATAA record;
    const HANDLE first = g_findFirst(pattern, &record);
    if (first == INVALID_HANDLE_VALUE)
        return IsEmptyListing(GetLastError()) ? 0 : -1;
    // Closing the search keeps the thread's last error, which tells the
    // caller how the search ended.
    const vsk::detail::CScopedFindHandle search(first);
    do {
        if (!Append(DirInfoList, record))
            return -1;
    } while (g_findNext(search.Get(), &record));
    return GetLastError() == ERROR_NO_MORE_FILES ? 0 : -1;
}
