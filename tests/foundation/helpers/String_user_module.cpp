// String_user_module.cpp - a DLL that makes and passes strings on several
// threads; the unload test loads it (and with it the library) and unloads it
// again and again.
#include "foundation/Vskstr.h"
#include "platform/Win32.h"

#include <cstdio>
#include <vector>

namespace {

// Strings made on one thread and released on another, so that every thread
// keeps string blocks of its own while it runs. Each is made from a C string:
// the empty string that all default-made strings share has a plain count and
// must not be touched by several threads at once.
DWORD WINAPI MakeStrings(void* parameter) {
    auto* strings = static_cast<std::vector<vskstr::CVskStr>*>(parameter);
    for (int i = 0; i < 1000; ++i) {
        char text[64];
        std::snprintf(text, sizeof text, "a string of the thread, number %d", i);
        strings->emplace_back(text);
    }
    strings->erase(strings->begin(), strings->begin() + 500);
    return 0;
}

} // namespace

/// Runs `threads` threads that make 1000 strings each and release half of
/// them; the caller's thread releases the rest. Returns the strings' total
/// length, or -1 when a thread could not be run.
extern "C" __declspec(dllexport) int VskUseStrings(int threads) {
    std::vector<std::vector<vskstr::CVskStr>> made(threads);
    std::vector<HANDLE> handles;
    for (int t = 0; t < threads; ++t) {
        HANDLE thread = CreateThread(nullptr, 0, MakeStrings, &made[t], 0, nullptr);
        if (!thread)
            break;
        handles.push_back(thread);
    }
    for (HANDLE thread : handles) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    if (static_cast<int>(handles.size()) != threads)
        return -1;
    int length = 0;
    for (const auto& strings : made) {
        for (const vskstr::CVskStr& s : strings)
            length += s.Length();
    }
    return length;
}
