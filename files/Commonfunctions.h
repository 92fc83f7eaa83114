// Commonfunctions.h - path names, full and relative paths, child processes.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include "foundation/Vskstr.h"

VSK_DECLARE_UNIT(Commonfunctions)

// ---------------------------------------------------------------------------
// Path names
//
// These functions take a path apart and put it together again as text; they
// never touch the file system. They know exactly one directory separator, the
// backslash, and one extension marker, the full stop: "/" and ":" are
// ordinary characters to them. Every search is multibyte-aware, so the second
// byte of a double-byte character (0x5C in "\x95\x5C", which is a kanji in code
// page 932) is never taken for a separator. None of them changes its argument.
// ---------------------------------------------------------------------------

namespace vsk {

/// The full file name of the running program's executable (not of this
/// library), as the system reports it: drive, folders and file name with its
/// extension. Apply ExtractFilePath for its folder. The name is read into a
/// buffer of 520 characters; a longer one comes back cut to 520 bytes.
/// Errors: std::runtime_error "GetAppPath()" when the system gives no name.
///
/// Example: GetAppPath() == "C:\\app\\tool.exe"
VSK_API vskstr::CVskStr GetAppPath();

/// The text up to and including the last backslash; empty when there is none.
///
/// Example: ExtractFilePath("C:\\dir\\file.txt") == "C:\\dir\\"
///          ExtractFilePath("\\\\server\\share") == "\\\\server\\"
///          ExtractFilePath("C:/dir/file.txt") == ""
VSK_API vskstr::CVskStr ExtractFilePath(vskstr::CVskStr path);

/// The text after the last backslash; the whole text when there is none.
///
/// Example: ExtractFileName("C:\\dir\\file.txt") == "file.txt"
///          ExtractFileName("C:\\dir\\") == ""
///          ExtractFileName("C:file") == "C:file"
VSK_API vskstr::CVskStr ExtractFileName(vskstr::CVskStr path);

/// The text after the last "." of the file name (as ExtractFileName gives
/// it), without the full stop; empty when the file name has no full stop.
///
/// Example: ExtractFileExt("a.b.c") == "c"
///          ExtractFileExt(".profile") == "profile"
///          ExtractFileExt("C:\\rel1.2\\readme") == ""
VSK_API vskstr::CVskStr ExtractFileExt(vskstr::CVskStr path);

/// The file name (as ExtractFileName gives it) up to, not including, its
/// last "."; the whole file name when it has no full stop.
///
/// Example: ExtractFileNameNoExt("C:\\dir\\a.b.c") == "a.b"
///          ExtractFileNameNoExt(".profile") == ""
VSK_API vskstr::CVskStr ExtractFileNameNoExt(vskstr::CVskStr path);

/// ExtractFilePath(path) + ExtractFileNameNoExt(path) + "." + ext. The full
/// stop is always put in, whatever `ext` holds.
///
/// Example: ChangeFileExt("C:\\a\\b.txt", "log") == "C:\\a\\b.log"
///          ChangeFileExt("C:\\a\\b.txt", "") == "C:\\a\\b."
///          ChangeFileExt("C:\\a\\b.txt", ".log") == "C:\\a\\b..log"
VSK_API vskstr::CVskStr ChangeFileExt(vskstr::CVskStr path, vskstr::CVskStr ext);

/// The text with a backslash appended, unless it is empty or its last backslash is its
/// last byte.
///
/// Example: AddDirSep("C:") == "C:\\"
///          AddDirSep("C:\\") == "C:\\"
///          AddDirSep("") == ""
///          AddDirSep("C:/dir/") == "C:/dir/\\"
VSK_API vskstr::CVskStr AddDirSep(vskstr::CVskStr path);

// ---------------------------------------------------------------------------
// Full and relative paths
//
// Unlike the functions above, these accept "/" as well as "\\" and know
// roots: a drive root ("C:" and "C:\\x" both have the root "C:\\") and a
// network root ("\\\\server\\share\\"). They work on whole components, purely
// as text: nothing is looked up on disk and the current folder is never
// used. Components are compared without regard to case and only over the
// length of the second one, so a name equals any longer name it begins:
// "ab" matches "abc".
// ---------------------------------------------------------------------------

/// `path` resolved against the folder `base`. A `path` with a drive ("D:x")
/// or a network name ("\\\\srv\\s") comes back unchanged, slashes kept. Any
/// other `path` is relative to `base`, also one that begins with a single
/// backslash. ".." goes up one component (never above the root), "." is
/// skipped, runs of separators count as one. The result ends in a separator
/// only when `path` does. A `base` without a root is taken as a plain prefix
/// to which the components are appended directly: it should end in "\\".
/// Components are split as SplitString splits: in a text holding a NUL, the
/// last component runs on in NUL bytes to the text's length.
///
/// Example: MakeFullPath("C:\\a\\b", "..\\c\\d.txt") == "C:\\a\\c\\d.txt"
///          MakeFullPath("C:\\a", "\\b") == "C:\\a\\b"
///          MakeFullPath("C:\\a", ".\\b\\") == "C:\\a\\b\\"
///          MakeFullPath("C:/a/", "b") == "C:\\a\\b"
///          MakeFullPath("C:\\", "") == "C:"
///          MakeFullPath("sub\\", "x") == "sub\\x"
///          MakeFullPath("sub", "x") == "subx"
VSK_API vskstr::CVskStr MakeFullPath(vskstr::CVskStr base, vskstr::CVskStr path);

/// `path` expressed relative to the folder `base`, with "/" turned into
/// "\\". Paths on different drives or shares have no relative form: `path`
/// comes back whole (converted). The same folder gives ".". The result ends
/// in a separator only when `path` does.
///
/// Example: MakeRelPath("C:\\a\\b", "C:\\a\\c\\f.txt") == "..\\c\\f.txt"
///          MakeRelPath("c:\\A\\B", "C:\\a\\b") == "."
///          MakeRelPath("C:\\a", "C:\\a\\b\\") == "b\\"
///          MakeRelPath("C:\\a", "D:/a/f") == "D:\\a\\f"
///          MakeRelPath("C:\\abc\\x", "C:\\ab\\y") == "..\\y"
VSK_API vskstr::CVskStr MakeRelPath(vskstr::CVskStr base, vskstr::CVskStr path);

} // namespace vsk

namespace vsk::detail {

/// Splits the root off `path`: a drive root ("C:" gives "C:\\") or a network
/// root ("\\\\srv\\share\\"), with "/" read as "\\". On success `root` is the
/// root and `rest` what follows it, without its one leading separator, both
/// with "/" turned into "\\". Without a root (relative paths, a single
/// leading separator, "\\\\srv" or "\\\\srv\\" alone) returns false with `root`
/// empty and `rest` the path exactly as given.
///
/// Example: SplitRootPath("C:\\x\\y", root, rest) -> true, "C:\\", "x\\y"
///          SplitRootPath("//srv/share/d", root, rest) -> true, "\\\\srv\\share\\", "d"
VSK_API bool SplitRootPath(vskstr::CVskStr path, vskstr::CVskStr& root, vskstr::CVskStr& rest);

/// The unit's separator (a backslash) and extension marker "." while the unit is
/// started (between its start-up and its exit routine); nullptr outside that
/// time. Outside it the path functions use constants of their own.
VSK_API const vskstr::CVskStr* PathSeparatorConstant();
VSK_API const vskstr::CVskStr* ExtensionMarkConstant();

} // namespace vsk::detail

// ---------------------------------------------------------------------------
// Child processes and a thread's windows
// ---------------------------------------------------------------------------

#include <vector>

namespace vsk {

class CVskPipe;

/// Starts `commandLine` (with `application`, either may be null as for the
/// system's CreateProcessA) in a new console, showing its window as
/// `showWindow` (SW_*). The standard handles that are not null are given to
/// the child (STARTF_USESTDHANDLES; a null one stays null); inheritable
/// handles are inherited, and the process handle itself is inheritable.
/// `currentDirectory` null means the caller's. The process and thread
/// handles go to `*process` and `*thread` when those are not null (the caller
/// closes them), otherwise they are closed.
/// Returns false when the program cannot be started; the system's last error
/// is then left as CreateProcessA set it.
///
/// Example:
///   char cmd[] = "child.exe";
///   void* process = nullptr;
///   if (vsk::CreateProcessA(nullptr, cmd, SW_HIDE, nullptr, &process, nullptr,
///                           nullptr, nullptr, nullptr)) { ... CloseHandle(process); }
VSK_API bool CreateProcessA(const char* application, char* commandLine, int showWindow,
                            const char* currentDirectory, void** process, void** thread, void* stdInput,
                            void* stdOutput, void* stdError);

/// As CreateProcessA, with the child's standard streams on new anonymous
/// pipes (inheritable, buffer size 1) for each pipe object given. When
/// `stdOutput` and `stdError` are the same object, the child writes both
/// streams into one pipe. Whatever the result, each given object receives
/// both ends of its pipe (duplicates, inheritable): the caller writes to
/// `stdInput`'s write end and reads `stdOutput`'s and `stdError`'s read ends;
/// closing the ends that belong to the child (CloseRead/CloseWrite) is the
/// caller's business, and a reader sees the end of the stream only after
/// that. Objects not given get nothing; a null pointer leaves that stream
/// without a pipe.
/// Errors: std::runtime_error "CVskPipe::Create() :" when a pipe cannot be
/// made. Returns false when the program cannot be started.
VSK_API bool CreateProcessUsePipe(const char* application, char* commandLine, int showWindow,
                                  const char* currentDirectory, void** process, void** thread,
                                  CVskPipe* stdInput, CVskPipe* stdOutput, CVskPipe* stdError);

/// Appends the top-level windows (HWNDs) of thread `threadId` to the end of
/// `*list`, which is not cleared. Returns whether EnumThreadWindows returned
/// non-zero (false also for a thread without windows).
/// Errors: std::invalid_argument "GetWindowList : list==NULL" for a null list;
/// std::bad_alloc when the list cannot grow: the system's enumeration calls
/// the library back, so the exception is kept until the enumeration has
/// returned, the windows after it are left out, and GetWindowList throws it.
VSK_API bool GetWindowList(unsigned long threadId, std::vector<void*>* list);

} // namespace vsk
