// Process.cpp - process and window-enumeration calls with the documented
// Windows behaviour.
#include "platform/Process.h"

#include "platform/LastError.h"

namespace vsk::detail {

void ApplyInheritance(HANDLE handle, const SECURITY_ATTRIBUTES* attributes) {
    if (!attributes || !handle)
        return;
    const CLastErrorKeeper keep;
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, attributes->bInheritHandle ? HANDLE_FLAG_INHERIT : 0);
}

namespace {

struct CCountingEnumeration {
    WNDENUMPROC callback;
    LPARAM context;
    int windows;
};

BOOL CALLBACK CountWindow(HWND window, LPARAM context) {
    auto* enumeration = reinterpret_cast<CCountingEnumeration*>(context);
    ++enumeration->windows;
    return enumeration->callback(window, enumeration->context);
}

} // namespace

BOOL EnumThreadWindowsDocumented(DWORD threadId, WNDENUMPROC callback, LPARAM context) {
    CCountingEnumeration enumeration{callback, context, 0};
    const BOOL result = EnumThreadWindows(threadId, CountWindow, reinterpret_cast<LPARAM>(&enumeration));
    return enumeration.windows > 0 ? result : FALSE;
}

} // namespace vsk::detail
