// VskFile.cpp - vskfile::CVskFile and the directory and file-name functions.
#include "files/VskFile.h"

#include "diagnostics/Filelogger.h"
#include "platform/File.h"
#include "platform/LastError.h"
#include "platform/Mbcs.h"
#include "platform/ScopedHandle.h"

#include <cstring>
#include <cwchar>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

VSK_DEFINE_UNIT(Vskfile, nullptr, nullptr)

namespace vskfile {

const char* const CAN_NOT_USE_FILE_NAME = "\\/:,;*?\"<>|";

} // namespace vskfile

namespace {

using vskfile::CVskFile;

// How each CreateType opens its file.
struct COpenMode {
    DWORD access;
    DWORD share;
    DWORD disposition;
};

constexpr COpenMode kOpenModes[] = {
    {GENERIC_WRITE, 0, CREATE_NEW},              // CT_CREATE_NEW
    {GENERIC_WRITE, 0, CREATE_ALWAYS},           // CT_CREATE_ALWAYS
    {GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING}, // CT_READ
    {GENERIC_WRITE, 0, CREATE_ALWAYS},           // CT_WRITE
    {GENERIC_WRITE, 0, OPEN_EXISTING},           // CT_WRITE_EXISTING
    {GENERIC_WRITE, 0, OPEN_ALWAYS},             // CT_APPEND
};

bool IsKnownType(CVskFile::CreateType type) { return type <= CVskFile::CT_APPEND; }

// The source name and line numbers that RemoveDirectoryForce's reports carry;
// log readers search for them, so they stay fixed.
const char* const kReportSource = "VskFile";
const char* const kReportFunction = "RemoveDirectoryForce";
constexpr int kSubFolderFailedLine = 642;
constexpr int kFileFailedLine = 650;
constexpr int kFolderFailedLine = 658;

// Writes one failure report; the caller's last error (that of the failed
// deletion) survives the log's own file calls.
void ReportDeleteError(int line, const char* message, const std::string& path) {
    const vsk::detail::CLastErrorKeeper keep;
    vsk::detail::PutReportHead(kReportSource, line, kReportFunction);
    FileLogger_PutLine(message, path.c_str());
}

// The directory and name functions refuse a null path the way the system
// refuses a bad argument.
bool RefuseNull() {
    SetLastError(ERROR_INVALID_PARAMETER);
    return false;
}

bool IsDotEntry(const wchar_t* name) {
    return std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0;
}

// A result of SetFilePointer / GetFileSize is a failure when it is all ones
// and the system set a last error (all ones is also a valid low half).
bool FailedLowPart(DWORD low) { return low == 0xFFFFFFFF && GetLastError() != NO_ERROR; }

// ---- The folder tree that RemoveDirectoryForce walks ------------------------
// The tree is walked in the wide API with paths in the "\\?\" form, which the
// system takes as they are: they may be longer than MAX_PATH (a folder of 257
// to 260 bytes has no room left for "\\*.*" in the narrow API), and a name
// that ends in a space or a dot (made as "name \" or through "\\?\") is not
// cut to another name. Reports name the paths as the caller wrote them.

// The code page the narrow file functions use.
UINT FileApiCodePage() {
    return AreFileApisANSI() ? CP_ACP : CP_OEMCP;
}

std::wstring Widen(const char* text) {
    const int length = MultiByteToWideChar(FileApiCodePage(), 0, text, -1, nullptr, 0);
    std::wstring wide(length > 0 ? std::size_t(length) : 1, L'\0');
    MultiByteToWideChar(FileApiCodePage(), 0, text, -1, &wide[0], length);
    wide.resize(std::wcslen(wide.c_str()));
    return wide;
}

std::string Narrow(const wchar_t* text) {
    const int length = WideCharToMultiByte(FileApiCodePage(), 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(length > 0 ? std::size_t(length) : 1, '\0');
    WideCharToMultiByte(FileApiCodePage(), 0, text, -1, &narrow[0], length, nullptr, nullptr);
    narrow.resize(std::strlen(narrow.c_str()));
    return narrow;
}

bool StartsWith(const std::wstring& text, const wchar_t* start) {
    return text.compare(0, std::wcslen(start), start) == 0;
}

// The "\\?\" form of the folder `path` names: its full path as the system's
// own functions resolve it (so the folder CreateDirectoryA made of the same
// text), without a trailing separator unless it is a drive's root. A path in
// that form already is taken as it is, as the system takes it. False, with
// the system's last error, when the path cannot be resolved.
bool LongFormOf(const char* path, std::wstring& longForm) {
    const std::wstring wide = Widen(path);
    if (StartsWith(wide, L"\\\\?\\")) {
        longForm = wide;
    } else {
        const DWORD needed = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
        if (needed == 0)
            return false;
        std::wstring full(needed, L'\0');
        const DWORD length = GetFullPathNameW(wide.c_str(), needed, &full[0], nullptr);
        if (length == 0 || length >= needed)
            return false;
        full.resize(length);
        if (StartsWith(full, L"\\\\?\\"))
            longForm = full;
        else if (StartsWith(full, L"\\\\.\\"))
            longForm = L"\\\\?\\" + full.substr(4);
        else if (StartsWith(full, L"\\\\"))
            longForm = L"\\\\?\\UNC\\" + full.substr(2);
        else
            longForm = L"\\\\?\\" + full;
    }
    while (longForm.size() > 1 && longForm.back() == L'\\' && longForm[longForm.size() - 2] != L':')
        longForm.pop_back();
    return true;
}

// One entry of a folder, "." and ".." left out.
struct CFolderEntry {
    std::wstring name;
    bool isFolder;
};

// Every entry of `folder` (long form) in the order the system lists them.
// A folder with nothing to list or that may not be read has no entries;
// false, with the system's last error, when it cannot be listed (it does not
// exist, or is a file).
bool ListFolder(const std::wstring& folder, std::vector<CFolderEntry>& entries) {
    WIN32_FIND_DATAW record;
    const HANDLE first = FindFirstFileW((folder + L"\\*").c_str(), &record);
    if (first == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_ACCESS_DENIED;
    }
    const vsk::detail::CScopedFindHandle search(first);
    do {
        if (!IsDotEntry(record.cFileName))
            entries.push_back({record.cFileName, (record.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    } while (FindNextFileW(search.Get(), &record));
    return GetLastError() == ERROR_NO_MORE_FILES;
}

// Deletes `folder` (long form, `shown` as reports name it) with everything
// under it, in listing order; stops at the first entry that stays, with its
// report.
bool RemoveTree(const std::wstring& folder, const std::string& shown) {
    std::vector<CFolderEntry> entries;
    if (!ListFolder(folder, entries))
        return false;
    for (const CFolderEntry& entry : entries) {
        const std::wstring child = folder + L"\\" + entry.name;
        const std::string shownChild = shown + "\\" + Narrow(entry.name.c_str());
        if (entry.isFolder) {
            if (!RemoveTree(child, shownChild)) {
                ReportDeleteError(kSubFolderFailedLine, "delete error : folder is %s", shownChild);
                return false;
            }
        } else if (!DeleteFileW(child.c_str())) {
            ReportDeleteError(kFileFailedLine, "delete error : file is %s", shownChild);
            return false;
        }
    }
    if (!RemoveDirectoryW(folder.c_str())) {
        ReportDeleteError(kFolderFailedLine, "delete error : folder is %s", shown);
        return false;
    }
    return true;
}

} // namespace

namespace vskfile {

CVskFile::CVskFile() : m_handle(INVALID_HANDLE_VALUE), m_type(CT_CREATE_NEW) {}

CVskFile::~CVskFile() { CVskFile::Close(); }

bool CVskFile::CreateFileA(const char* name, CreateType type, unsigned long attributes) {
    Close();
    m_type = type;
    if (!IsKnownType(type))
        return false;
    const COpenMode& mode = kOpenModes[type];
    m_handle = vsk::detail::CreateFileDocumented(name, mode.access, mode.share, mode.disposition,
                                                 attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL);
    if (m_handle != INVALID_HANDLE_VALUE && type == CT_APPEND && !SetFilePointer(0ULL, FILE_END)) {
        // The caller learns why the move failed, not how the close went.
        const vsk::detail::CLastErrorKeeper keep;
        Close();
    }
    return m_handle != INVALID_HANDLE_VALUE;
}

bool CVskFile::Close() {
    if (m_handle == INVALID_HANDLE_VALUE)
        return true;
    const HANDLE handle = m_handle;
    m_handle = INVALID_HANDLE_VALUE;
    return CloseHandle(handle) != FALSE;
}

bool CVskFile::Read(void* buffer, int size) {
    int done = 0;
    do {
        // Each part lands at the front of the buffer: callers rely on reads
        // the system delivers whole.
        const int got = ReadEx(buffer, size - done);
        if (got <= 0)
            return false;
        done += got;
    } while (done < size);
    return true;
}

int CVskFile::ReadEx(void* buffer, int size) {
    if (size < 0 || !buffer)
        return -1;
    DWORD got = 0;
    if (!vsk::detail::ReadFileDocumented(m_handle, buffer, static_cast<DWORD>(size), &got))
        return -1;
    return static_cast<int>(got);
}

bool CVskFile::Write(const void* data, int size) {
    if (size < 0 || !data)
        return false;
    DWORD written = 0;
    if (!WriteFile(m_handle, data, static_cast<DWORD>(size), &written, nullptr))
        return false;
    return written == static_cast<DWORD>(size);
}

unsigned long CVskFile::SetFilePointer(long low, long* high, unsigned long method) {
    return ::SetFilePointer(m_handle, low, high, method);
}

bool CVskFile::SetFilePointer(unsigned __int64 position, unsigned long method) {
    long high = static_cast<long>(position >> 32);
    const DWORD low = SetFilePointer(static_cast<long>(position & 0xFFFFFFFF), &high, method);
    return !FailedLowPart(low);
}

bool CVskFile::GetFilePointer(unsigned __int64& position) {
    long high = 0;
    const DWORD low = SetFilePointer(0, &high, FILE_CURRENT);
    if (FailedLowPart(low))
        return false;
    position = (static_cast<unsigned __int64>(static_cast<DWORD>(high)) << 32) | low;
    return true;
}

bool CVskFile::SeekToTop() { return SetFilePointer(0ULL, FILE_BEGIN); }

bool CVskFile::SeekToTail() { return SetFilePointer(0ULL, FILE_END); }

unsigned __int64 CVskFile::GetFileSize() const {
    DWORD high = 0;
    const DWORD low = ::GetFileSize(m_handle, &high);
    if (FailedLowPart(low))
        throw std::runtime_error("CVskFile::GetFileSize():");
    return (static_cast<unsigned __int64>(high) << 32) | low;
}

bool CVskFile::GetFileTime(FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite) const {
    return ::GetFileTime(m_handle, creation, lastAccess, lastWrite) != FALSE;
}

bool CVskFile::SetFileTime(const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite) {
    return ::SetFileTime(m_handle, creation, lastAccess, lastWrite) != FALSE;
}

bool CVskFile::Delete(const char* name) { return DeleteFileA(name) != FALSE; }

bool CVskFile::GetFileAttr(const char* name, unsigned long& attributes) {
    attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES;
}

bool CVskFile::SetFileAttr(const char* name, unsigned long attributes) {
    return SetFileAttributesA(name, attributes) != FALSE;
}

bool CVskFile::Exists(const char* name) {
    WIN32_FIND_DATAA record;
    const vsk::detail::CScopedFindHandle search(FindFirstFileA(name, &record));
    return static_cast<bool>(search);
}

bool CVskFile::CanWrite(CreateType type) { return IsKnownType(type) && type != CT_READ; }

bool CVskFile::CanRead(CreateType type) { return type == CT_READ; }

bool CreateAllDirectory(const char* path) {
    if (!path)
        return RefuseNull();
    if (CreateDirectoryA(path, nullptr))
        return true;
    // An existing folder fails here with ERROR_ALREADY_EXISTS: only a missing
    // parent is worth climbing for.
    if (GetLastError() != ERROR_PATH_NOT_FOUND)
        return false;
    // Multibyte-aware: the trail byte of a double-byte character may be 0x5C.
    const char* separator = vsk::detail::MbsRChr(path, '\\');
    if (!separator)
        return false;
    const std::string parent(path, static_cast<std::size_t>(separator - path));
    if (!CreateAllDirectory(parent.c_str()))
        return false;
    // A path that ends in "\" names its parent again, which now exists.
    return CreateDirectoryA(path, nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

bool RemoveDirectoryForce(const char* path) {
    if (!path)
        return RefuseNull();
    // An empty path would list "\\*.*", the root of the current drive, and
    // delete what lies there: it names no folder, so it is refused as one
    // that does not exist.
    if (*path == '\0') {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return false;
    }
    try {
        std::wstring folder;
        return LongFormOf(path, folder) && RemoveTree(folder, path);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
}

bool CanUseFileName(const char* name) {
    if (!name)
        return RefuseNull();
    for (const char* c = CAN_NOT_USE_FILE_NAME; *c; ++c)
        if (vsk::detail::MbsChr(name, static_cast<unsigned char>(*c)))
            return false;
    return true;
}

bool IsLocalPath(const char* path) {
    if (!path)
        return false;
    const char first = path[0];
    const bool letter = (first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z');
    return letter && path[1] == ':';
}

bool IsNetworkPath(const char* path) { return path && path[0] == '\\' && path[1] == '\\'; }

} // namespace vskfile
