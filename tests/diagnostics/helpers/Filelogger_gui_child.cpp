// Filelogger_gui_child.cpp - a GUI-subsystem program (no console of its own)
// that calls FileLogger_AllocConsole, writes a log line with no log file
// named (so to the new standard error), and records what its console shows.
//   Filelogger_gui_child <result file>
// The result file gets one line per console row that holds text, then
// "stdout-console=<0|1>" telling whether the standard output handle is a
// console. Exit 0 when the result file was written.
#include "diagnostics/Filelogger.h"
#include "platform/Win32.h"

#include <cstdio>
#include <string>

namespace {

std::string ConsoleRows() {
    HANDLE screen = CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_EXISTING, 0, nullptr);
    if (screen == INVALID_HANDLE_VALUE)
        return "<no CONOUT$>\n";
    CONSOLE_SCREEN_BUFFER_INFO info;
    std::string rows;
    if (GetConsoleScreenBufferInfo(screen, &info)) {
        const int width = info.dwSize.X;
        for (SHORT y = 0; y < 10 && y < info.dwSize.Y; ++y) {
            std::string row(width, ' ');
            DWORD read = 0;
            COORD at = {0, y};
            if (!ReadConsoleOutputCharacterA(screen, &row[0], width, at, &read))
                return "<cannot read the console>\n";
            row.resize(read);
            while (!row.empty() && (row.back() == ' ' || row.back() == '\0'))
                row.pop_back();
            if (!row.empty())
                rows += row + "\n";
        }
    } else {
        rows = "<no screen buffer info>\n";
    }
    CloseHandle(screen);
    return rows;
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR commandLine, int) {
    const std::string resultPath = commandLine;
    FileLogger_AllocConsole();
    FileLogger_PutLine("log line %d", 7);
    DWORD mode = 0;
    const bool stdoutIsConsole = GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != FALSE;
    const std::string result = ConsoleRows() + "stdout-console=" + (stdoutIsConsole ? "1" : "0") + "\n";
    FileLogger_FreeConsole();
    FILE* out = std::fopen(resultPath.c_str(), "wb");
    if (!out)
        return 1;
    std::fwrite(result.data(), 1, result.size(), out);
    std::fclose(out);
    return 0;
}
