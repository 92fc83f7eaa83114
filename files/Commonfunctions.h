// Commonfunctions.h - path names and child processes.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Commonfunctions)

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
/// Errors: std::invalid_argument "GetWindowList : list==NULL" for a null list.
VSK_API bool GetWindowList(unsigned long threadId, std::vector<void*>* list);

} // namespace vsk
