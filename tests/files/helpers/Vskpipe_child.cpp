// Vskpipe_child.cpp - the child program of the pipe and process tests.
//   (no argument)  writes "VSK-CHILD-STDERR\n" to standard error, then copies
//                  standard input to standard output up to a byte 0x04 (not
//                  copied) or the input's end; exit 0. The 0x04 is needed
//                  because a child started with handle inheritance also
//                  inherits the write end of its own input pipe (every pipe
//                  end the library makes is inheritable), so its input never
//                  ends by itself.
//   startup        writes "cb=<cb> flags=<dwFlags> show=<wShowWindow>" to
//                  standard output; exit 0.
//   exit <n>       exits with code n at once.
//   handles <file> writes into <file> the standard handles that the start-up
//                  record gave, as "in=<hex> out=<hex> err=<hex>", then
//                  " title=<console title>" (the title of the console this
//                  child runs in, "<none>" without one); exit 0.
#include "platform/Win32.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool WriteAll(HANDLE handle, const char* data, DWORD size) {
    while (size > 0) {
        DWORD written = 0;
        if (!WriteFile(handle, data, size, &written, nullptr))
            return false;
        data += written;
        size -= written;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && std::strcmp(argv[1], "exit") == 0)
        return std::atoi(argv[2]);
    if (argc >= 2 && std::strcmp(argv[1], "startup") == 0) {
        STARTUPINFOA info{};
        info.cb = sizeof info;
        GetStartupInfoA(&info);
        char text[128];
        const int n = std::snprintf(text, sizeof text, "cb=%lu flags=%lu show=%u", info.cb, info.dwFlags,
                                    static_cast<unsigned>(info.wShowWindow));
        return WriteAll(GetStdHandle(STD_OUTPUT_HANDLE), text, static_cast<DWORD>(n)) ? 0 : 3;
    }
    if (argc >= 3 && std::strcmp(argv[1], "handles") == 0) {
        STARTUPINFOA info{};
        info.cb = sizeof info;
        GetStartupInfoA(&info);
        char title[256] = "<none>";
        if (GetConsoleTitleA(title, sizeof title) == 0 && GetLastError() != 0)
            std::strcpy(title, "<none>");
        char text[512];
        const int n = std::snprintf(text, sizeof text, "in=%p out=%p err=%p title=%s", info.hStdInput,
                                    info.hStdOutput, info.hStdError, title);
        HANDLE file = CreateFileA(argv[2], GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return 6;
        const bool ok = WriteAll(file, text, static_cast<DWORD>(n));
        CloseHandle(file);
        return ok ? 0 : 7;
    }
    const char marker[] = "VSK-CHILD-STDERR\n";
    if (!WriteAll(GetStdHandle(STD_ERROR_HANDLE), marker, sizeof marker - 1))
        return 4;
    char buffer[4096];
    for (;;) {
        DWORD read = 0;
        if (!ReadFile(GetStdHandle(STD_INPUT_HANDLE), buffer, sizeof buffer, &read, nullptr) || read == 0)
            break;
        const char* end = static_cast<const char*>(std::memchr(buffer, '\x04', read));
        const DWORD keep = end ? static_cast<DWORD>(end - buffer) : read;
        if (!WriteAll(GetStdHandle(STD_OUTPUT_HANDLE), buffer, keep))
            return 5;
        if (end)
            break;
    }
    return 0;
}
