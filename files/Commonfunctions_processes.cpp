// Commonfunctions_processes.cpp - part of unit Commonfunctions: child
// processes (with pipes for their standard streams) and a thread's windows.
#include "files/Commonfunctions.h"

#include "files/Vskpipe.h"
#include "files/internal/CommonfunctionsHooks.h"
#include "files/internal/CommonfunctionsParts.h"
#include "platform/CallbackBoundary.h"
#include "platform/LastError.h"
#include "platform/Process.h"
#include "platform/Replaceable.h"
#include "platform/ScopedHandle.h"
#include "platform/Win32.h"

#include <stdexcept>
#include <vector>

namespace {

void AppendWindow(std::vector<void*>* list, void* window) { list->push_back(window); }

vsk::detail::CReplaceable<vsk::detail::WindowListAppendFn> g_appendWindow{AppendWindow};

// Appends each window to the list. The system's frames lie below: an
// exception (only std::bad_alloc can arise) is kept for GetWindowList, which
// throws it after the enumeration; the windows after it are left out.
struct CWindowCollector {
    std::vector<void*>* list;
    const vsk::detail::CSystemCallScope* call;
};

BOOL CALLBACK CollectWindow(HWND window, LPARAM context) {
    auto* collector = reinterpret_cast<CWindowCollector*>(context);
    if (!collector->call->Failed())
        vsk::detail::RunAtBoundary(VSK_BOUNDARY_SITE("vsk::GetWindowList"), nullptr,
                                   [&] { g_appendWindow(collector->list, window); });
    return TRUE;
}

} // namespace

vsk::detail::WindowListAppendFn vsk::detail::ReplaceWindowListAppend(WindowListAppendFn fn) {
    return g_appendWindow.Replace(fn);
}

namespace vsk {

bool CreateProcessA(const char* application, char* commandLine, int showWindow, const char* currentDirectory,
                    void** process, void** thread, void* stdInput, void* stdOutput, void* stdError) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    static_assert(sizeof(STARTUPINFOA) == 68, "the start-up record is 68 bytes");
    startup.dwFlags = STARTF_USESHOWWINDOW | STARTF_USESTDHANDLES;
    startup.wShowWindow = static_cast<WORD>(showWindow);
    if (stdInput)
        startup.hStdInput = stdInput;
    if (stdOutput)
        startup.hStdOutput = stdOutput;
    if (stdError)
        startup.hStdError = stdError;

    SECURITY_ATTRIBUTES processAttributes{};
    processAttributes.nLength = sizeof processAttributes;
    processAttributes.lpSecurityDescriptor = nullptr;
    processAttributes.bInheritHandle = TRUE;

    PROCESS_INFORMATION info{};
    if (!::CreateProcessA(application, commandLine, &processAttributes, nullptr, TRUE, CREATE_NEW_CONSOLE,
                          nullptr, currentDirectory, &startup, &info))
        return false;
    vsk::detail::CScopedKernelHandle processHandle(info.hProcess);
    vsk::detail::CScopedKernelHandle threadHandle(info.hThread);
    vsk::detail::ApplyInheritance(info.hProcess, &processAttributes);
    // The handles the caller does not take are closed here.
    if (process)
        *process = processHandle.Release();
    if (thread)
        *thread = threadHandle.Release();
    return true;
}

bool CreateProcessUsePipe(const char* application, char* commandLine, int showWindow, const char* currentDirectory,
                          void** process, void** thread, CVskPipe* stdInput, CVskPipe* stdOutput,
                          CVskPipe* stdError) {
    CVskPipe input;
    CVskPipe output;
    CVskPipe error;
    constexpr int kInheritable = 1;
    constexpr unsigned long kBufferSize = 1;
    if (stdOutput)
        output.Create(kInheritable, kBufferSize);
    if (stdError) {
        if (stdError == stdOutput)
            error = output; // both streams of the child go into one pipe
        else
            error.Create(kInheritable, kBufferSize);
    }
    if (stdInput)
        input.Create(kInheritable, kBufferSize);

    const bool started = CreateProcessA(application, commandLine, showWindow, currentDirectory, process, thread,
                                        input.ReadHandle(), output.WriteHandle(), error.WriteHandle());
    // Keep the failed start's last error for the caller across the handle work.
    const vsk::detail::CLastErrorKeeper keep;
    if (stdInput)
        *stdInput = input;
    if (stdOutput)
        *stdOutput = output;
    if (stdError)
        *stdError = error;
    return started;
}

bool GetWindowList(unsigned long threadId, std::vector<void*>* list) {
    if (!list)
        throw std::invalid_argument("GetWindowList : list==NULL");
    vsk::detail::CSystemCallScope call;
    CWindowCollector collector{list, &call};
    const BOOL result = vsk::detail::EnumThreadWindowsDocumented(threadId, CollectWindow, reinterpret_cast<LPARAM>(&collector));
    call.RethrowError();
    return result != 0;
}

} // namespace vsk
