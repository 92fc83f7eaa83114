// VskFile.h - vskfile::CVskFile, a thin file-handle object, and the directory
// and file-name functions.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <windows.h>

VSK_DECLARE_UNIT(Vskfile)

namespace vskfile {

/// The characters a file name may not hold: backslash, slash, colon, comma,
/// semicolon, asterisk, question mark, double quote, less-than, greater-than
/// and vertical bar (comma and semicolon are refused too, by design).
VSK_API extern const char* const CAN_NOT_USE_FILE_NAME;

/// Owns one operating-system file handle, opened in one of six fixed ways.
/// Failures are `bool` results (or -1) with the thread's last error left as
/// the failing system call set it; only GetFileSize throws.
///
/// The handle is the invalid-handle value (all bits set) while closed.
/// CreateFileA, Close, Read, ReadEx and Write are virtual (in that order after
/// the destructor); Read calls ReadEx and CreateFileA calls Close through the
/// virtual slots, so a derived class may replace them.
///
/// Example:
///   vskfile::CVskFile file;
///   if (file.CreateFileA("C:\\data\\log.txt", vskfile::CVskFile::CT_APPEND, 0))
///       file.Write("line\r\n", 6);        // appended at the end
///
/// Thread safety: none; an object is used by one thread at a time.
/// Lifetime: the destructor closes the handle. Not copyable (one owner per
/// handle).
class VSK_API CVskFile {
public:
    /// How CreateFileA opens a file. Stored as one byte; values above
    /// CT_APPEND open nothing.
    enum CreateType : unsigned char {
        /// Write, no sharing; fails when the file exists.
        CT_CREATE_NEW = 0,
        /// Write, no sharing; creates the file or truncates an existing one.
        CT_CREATE_ALWAYS = 1,
        /// Read, others may read; the file must exist.
        CT_READ = 2,
        /// Write, no sharing; creates or truncates (as CT_CREATE_ALWAYS).
        CT_WRITE = 3,
        /// Write, no sharing; the file must exist (its content is kept).
        CT_WRITE_EXISTING = 4,
        /// Write, no sharing; opens or creates the file, then puts the file
        /// pointer at its end.
        CT_APPEND = 5,
    };

    /// A closed object.
    CVskFile();
    /// Closes the handle (this class's Close: a derived class's part is gone
    /// by then).
    virtual ~CVskFile();
    CVskFile(const CVskFile&) = delete;
    CVskFile& operator=(const CVskFile&) = delete;

    /// Closes any handle held (through Close, even when the new open then
    /// fails), stores `type`, and opens `name` as `type` says, with
    /// `attributes` as flags and attributes (FILE_ATTRIBUTE_NORMAL when 0).
    /// For CT_APPEND the pointer then goes to the end; if that fails the file
    /// is closed again and the last error is the one of the failed move.
    /// Returns true when a handle is held at the end. A type above CT_APPEND
    /// opens nothing and returns false (the type is stored all the same).
    virtual bool CreateFileA(const char* name, CreateType type, unsigned long attributes);

    /// Closes the handle. True at once when none is held; otherwise the
    /// handle is marked closed whatever happens, and the result is whether
    /// the system closed it.
    virtual bool Close();

    /// Reads exactly `size` bytes: calls ReadEx(buffer, size - done) until
    /// `size` bytes have come in, false as soon as a call gives -1 or 0 (end
    /// of file). Every call is given the start of `buffer`, so when the
    /// system hands a read over in parts, later parts overwrite the front of
    /// the buffer; a caller that needs all bytes in place reads a size the
    /// system delivers whole (a disk file does). Read(buffer, 0) is false.
    ///
    /// Example: a ReadEx that delivers 3 of 8 bytes per call leaves the last
    /// 2 bytes of the file at buffer[0..1] and returns true after 3 calls.
    virtual bool Read(void* buffer, int size);

    /// One ReadFile call: the number of bytes read (0 at end of file), or -1
    /// for a negative size, a null buffer (both without a system call) or a
    /// failed read.
    virtual int ReadEx(void* buffer, int size);

    /// One WriteFile call; true only when it succeeded and wrote all `size`
    /// bytes. False without a system call for a negative size or a null
    /// `data`. A size of 0 succeeds on an open file.
    virtual bool Write(const void* data, int size);

    /// The system's SetFilePointer on the handle, result unchanged
    /// (INVALID_SET_FILE_POINTER with a non-zero last error on failure).
    unsigned long SetFilePointer(long low, long* high, unsigned long method);

    /// Moves the file pointer to the 64-bit `position` relative to `method`
    /// (FILE_BEGIN, FILE_CURRENT or FILE_END). True unless the system reports
    /// a failure.
    bool SetFilePointer(unsigned __int64 position, unsigned long method);

    /// Stores the current 64-bit file pointer in `position`; false (and
    /// `position` untouched) on failure.
    bool GetFilePointer(unsigned __int64& position);

    /// Moves the file pointer to the start of the file.
    bool SeekToTop();
    /// Moves the file pointer to the end of the file.
    bool SeekToTail();

    /// The 64-bit size of the open file.
    /// Errors: std::runtime_error "CVskFile::GetFileSize():" when the system
    /// cannot tell it (for example on a closed object).
    unsigned __int64 GetFileSize() const;

    /// The system's GetFileTime on the handle; any pointer may be null.
    bool GetFileTime(FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite) const;
    /// The system's SetFileTime on the handle; a null pointer leaves that time.
    bool SetFileTime(const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite);

    /// The handle (INVALID_HANDLE_VALUE while closed).
    HANDLE GetHandle() const { return m_handle; }
    /// The type given to the last CreateFileA (CT_CREATE_NEW before any).
    CreateType GetCreateType() const { return m_type; }

    /// Deletes the file `name` (DeleteFileA).
    static bool Delete(const char* name);
    /// Stores the attributes of `name` in `attributes` (INVALID_FILE_ATTRIBUTES
    /// when it cannot be read) and returns whether they could be read.
    static bool GetFileAttr(const char* name, unsigned long& attributes);
    /// Sets the attributes of `name` (SetFileAttributesA).
    static bool SetFileAttr(const char* name, unsigned long attributes);
    /// True when a search for `name` finds anything; a name with wild cards
    /// therefore tells whether anything matches.
    static bool Exists(const char* name);
    /// True for the types that open for writing (0, 1, 3, 4, 5).
    static bool CanWrite(CreateType type);
    /// True for the type that opens for reading (CT_READ).
    static bool CanRead(CreateType type);

private:
    HANDLE m_handle;
    CreateType m_type;
};

/// Creates the folder `path` together with every missing parent. True when
/// `path` was created; false when it existed already (the last error is then
/// ERROR_ALREADY_EXISTS), when a parent cannot be made, or when a parent is
/// missing and `path` has no "\" to find it by. Double-byte names whose trail
/// byte is "\" (0x5C) are not split.
///
/// Example: with only "C:\" present, CreateAllDirectory("C:\\a\\b\\c") makes
/// "C:\a", "C:\a\b" and "C:\a\b\c" and returns true; a second call returns
/// false.
VSK_API bool CreateAllDirectory(const char* path);

/// Deletes the folder `path` with everything under it. Read-only files are
/// not made writable: deleting one fails. At the first entry that cannot be
/// deleted the function writes a report to the log file and returns false,
/// leaving that entry and the ones not yet reached in place; the reports are
/// "VskFile(642): RemoveDirectoryForce: delete error : folder is <sub-folder>",
/// "VskFile(650): RemoveDirectoryForce: delete error : file is <file>" and,
/// when the emptied folder itself stays, "VskFile(658): RemoveDirectoryForce:
/// delete error : folder is <path>", each after a time stamp, with `path` as
/// given joined to the entries' names. A folder that cannot be listed (it
/// does not exist) gives false without a report and without deleting
/// anything.
///
/// Every tree CreateAllDirectory makes can be removed: `path` names the
/// folder the system's functions find by it (spaces and dots at the end of
/// its last name are dropped, as CreateAllDirectory drops them; a path in the
/// "\\?\" form is taken as it is), and everything below is reached by its
/// exact names at any length, so paths longer than MAX_PATH and names that
/// end in a space or a dot (made as "name \" or in the "\\?\" form) go too.
///
/// Example: after CreateAllDirectory("C:\\t\\sp \\"), which makes "C:\t\sp "
/// with its trailing space, RemoveDirectoryForce("C:\\t") removes it, and so
/// does RemoveDirectoryForce("C:\\t\\sp \\"); RemoveDirectoryForce("C:\\t\\sp ")
/// names "C:\t\sp" and returns false when that does not exist.
VSK_API bool RemoveDirectoryForce(const char* path);

/// False when `name` holds a character of CAN_NOT_USE_FILE_NAME; the trail
/// byte of a double-byte character is not taken for one.
///
/// Example: CanUseFileName("a,b") is false, CanUseFileName("\x95\x5C.txt")
/// ("表.txt" in code page 932) is true, CanUseFileName("") is true.
VSK_API bool CanUseFileName(const char* name);

/// True when `path` begins with an ASCII letter and a colon ("c:"); false
/// for nullptr.
VSK_API bool IsLocalPath(const char* path);

/// True when `path` begins with two backslashes ("\\server"); false for
/// nullptr.
VSK_API bool IsNetworkPath(const char* path);

} // namespace vskfile
