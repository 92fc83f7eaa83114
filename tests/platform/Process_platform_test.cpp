// Process_platform_test.cpp - the documented process and window-enumeration
// behaviour that platform/Process carries where Wine differs.
#include "platform/Process.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>

namespace {

BOOL CALLBACK Continue(HWND, LPARAM) { return TRUE; }
BOOL CALLBACK Stop(HWND, LPARAM) { return FALSE; }

bool IsInheritable(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT) != 0;
}

std::string ChildCommand() {
    char path[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string folder(path, n);
    folder.erase(folder.find_last_of('\\') + 1);
    return "\"" + folder + "vsk_pipe_child.exe\" exit 0";
}

} // namespace

TEST(EnumThreadWindowsDocumented, ThreadWithoutWindowsGivesFalse) {
    BOOL documented = TRUE;
    BOOL system = FALSE;
    std::thread worker([&] {
        system = EnumThreadWindows(GetCurrentThreadId(), Continue, 0);
        documented = vsk::detail::EnumThreadWindowsDocumented(GetCurrentThreadId(), Continue, 0);
    });
    worker.join();
    EXPECT_FALSE(documented);
    std::printf("[ info ] the system's EnumThreadWindows gives %d for a thread without windows "
                "(Windows documents 0; Wine 8 gives 1)\n",
                system);
}

TEST(EnumThreadWindowsDocumented, KeepsTheCallbacksVerdictWhenThereAreWindows) {
    HWND window = CreateWindowExA(0, "STATIC", "w", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                  GetModuleHandleA(nullptr), nullptr);
    ASSERT_NE(nullptr, window);
    EXPECT_TRUE(vsk::detail::EnumThreadWindowsDocumented(GetCurrentThreadId(), Continue, 0));
    EXPECT_FALSE(vsk::detail::EnumThreadWindowsDocumented(GetCurrentThreadId(), Stop, 0));
    DestroyWindow(window);
}

TEST(ApplyInheritance, ProcessHandleBecomesInheritableAsItsAttributesAsk) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, TRUE};
    PROCESS_INFORMATION info{};
    std::string command = ChildCommand();
    ASSERT_TRUE(CreateProcessA(nullptr, &command[0], &attributes, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                               &info));
    std::printf("[ info ] the system's process handle is %sinheritable (Windows documents inheritable; "
                "Wine 8 gives a non-inheritable one)\n",
                IsInheritable(info.hProcess) ? "" : "not ");
    vsk::detail::ApplyInheritance(info.hProcess, &attributes);
    EXPECT_TRUE(IsInheritable(info.hProcess));
    SECURITY_ATTRIBUTES privateAttributes{sizeof privateAttributes, nullptr, FALSE};
    vsk::detail::ApplyInheritance(info.hThread, &privateAttributes);
    EXPECT_FALSE(IsInheritable(info.hThread));
    SetLastError(1234);
    vsk::detail::ApplyInheritance(info.hThread, nullptr);
    EXPECT_EQ(1234u, GetLastError()) << "the caller's last error is kept";
    WaitForSingleObject(info.hProcess, 30000);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
}
