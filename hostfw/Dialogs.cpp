// Dialogs.cpp - stand-in of the host framework's Dialogs::ShowMessage.
#include "hostfw/Dialogs.h"

#include "platform/Win32.h"

#include <cstring>

namespace {

hostfw::ShowMessageHook g_hook = nullptr;
void* g_hookContext = nullptr;

// The program's file name without folder and extension, as the framework
// titles its message boxes with the application's title.
void ProgramTitle(char* title, DWORD size) {
    char path[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    path[n < MAX_PATH ? n : MAX_PATH - 1] = '\0';
    const char* name = path;
    for (const char* p = path; *p; p = CharNextA(p)) {
        if (*p == '\\' || *p == '/' || *p == ':')
            name = p + 1;
    }
    lstrcpynA(title, name, static_cast<int>(size));
    char* dot = std::strrchr(title, '.');
    if (dot && dot != title)
        *dot = '\0';
}

} // namespace

namespace Dialogs {

void ShowMessage(const System::AnsiString& message) {
    if (g_hook && g_hook(message.c_str(), g_hookContext))
        return;
    char title[MAX_PATH];
    ProgramTitle(title, sizeof title);
    MessageBoxA(GetActiveWindow(), message.c_str(), title, MB_OK);
}

} // namespace Dialogs

namespace hostfw {

ShowMessageHook SetShowMessageHook(ShowMessageHook hook, void* context) {
    const ShowMessageHook previous = g_hook;
    g_hook = hook;
    g_hookContext = context;
    return previous;
}

} // namespace hostfw
