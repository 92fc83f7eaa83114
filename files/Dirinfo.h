// Dirinfo.h - CDirInfo, the complete result of one file-name search in memory.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <windows.h>

#include <vector>

VSK_DECLARE_UNIT(Dirinfo)

/// Reads every record of one file-name search (FindFirstFileA /
/// FindNextFileA) into memory, so that the entries can be walked, counted and
/// indexed after the search handle is closed.
///
/// Each entry of DirInfoList is a heap copy of the whole find record, owned by
/// this object, in the order the system returned them; "." and ".." are listed
/// when the search yields them (a "dir\*.*" search of a folder that is not a
/// drive's root).
///
/// Example:
///   CDirInfo info;
///   if (info.GetDirInfo("C:\\data\\*.*") == 0)
///       for (const WIN32_FIND_DATAA* e : info.DirInfoList)
///           if (!(e->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
///               std::puts(e->cFileName);
///
/// Thread safety: none; an object is used by one thread at a time.
/// Lifetime: the records live until the next GetDirInfo, ReleaseDirInfo or
/// the destructor. Not copyable (the records have one owner).
class VSK_API CDirInfo {
public:
    /// An empty list.
    CDirInfo();
    /// Frees the records (ReleaseDirInfo).
    virtual ~CDirInfo();
    CDirInfo(const CDirInfo&) = delete;
    CDirInfo& operator=(const CDirInfo&) = delete;

    /// Deletes every record and empties the list.
    void ReleaseDirInfo();

    /// Replaces the list with the result of a search for `pattern`, a path
    /// with wild cards such as "C:\\dir\\*.*". Returns 0 on success, also when
    /// nothing matches or the folder may not be read (the list is then empty);
    /// -1 on failure, for example for a folder that does not exist. On -1 the
    /// list holds the records read before the failure and must not be acted
    /// on. Nothing is thrown and nothing is logged; the thread's last error is
    /// the one the search ended with.
    int GetDirInfo(const char* pattern);

    /// The records of the last search, one heap copy per entry.
    std::vector<WIN32_FIND_DATAA*> DirInfoList;
};

namespace vsk::detail {

} // namespace vsk::detail
