// Filelogger_gui_child.cpp - a GUI-subsystem program (no console of its own)
// that calls FileLogger_AllocConsole, writes a log line with no log file
// named (so to the new standard error), and records what its console shows.
//   Filelogger_gui_child <result file>
// The result file gets one line per console row that holds text, then
// "stdout-console=<0|1>" telling whether the standard output handle is a
// console. Exit 0 when the result file was written.
//   Filelogger_gui_child twice <result file>
// Makes a console itself, names the log "<result file>.log" and writes a line
// to it, then calls FileLogger_AllocConsole, whose AllocConsole fails; the
// result file gets the console's rows, then "moved=<0|1>" telling whether the
// log could be renamed afterwards (its stream closed).
//   Filelogger_gui_child noinput <result file>
// Calls FileLogger_AllocConsole with a standard-handle lookup that gives the
// invalid value, last error 6, for the input; the result file gets the
// console's rows.
//   Filelogger_gui_child freeconsole <result file>
// Makes a console itself, names the log and writes a line as "twice" does,
// then calls FileLogger_FreeConsole; the result file gets "console=<0|1>"
// (whether a console is still attached) and "moved=<0|1>".
#include "diagnostics/Filelogger.h"
#include "platform/Win32.h"
#include "diagnostics/internal/FileloggerHooks.h"

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

bool WriteResult(const std::string& path, const std::string& result) {
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out)
        return false;
    std::fwrite(result.data(), 1, result.size(), out);
    std::fclose(out);
    return true;
}

// Names the log "<result>.log" and writes a line, so that its stream is open.
std::string OpenLog(const std::string& resultPath) {
    const std::string log = resultPath + ".log";
    FileLogger_SetLogFileName(log.c_str());
    FileLogger_PutLine("open");
    return log;
}

std::string Moved(const std::string& log) {
    return std::string("moved=") + (MoveFileA(log.c_str(), (log + ".moved").c_str()) ? "1" : "0") + "\n";
}

void* __stdcall NoInput(unsigned long which) {
    if (which == STD_INPUT_HANDLE) {
        SetLastError(ERROR_INVALID_HANDLE);
        return INVALID_HANDLE_VALUE;
    }
    return GetStdHandle(which);
}

bool StartsWith(const std::string& text, const std::string& head) { return text.compare(0, head.size(), head) == 0; }

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR commandLine, int) {
    const std::string arguments = commandLine;
    if (StartsWith(arguments, "twice ")) {
        const std::string resultPath = arguments.substr(6);
        if (!AllocConsole())
            return 2;
        const std::string log = OpenLog(resultPath);
        FileLogger_AllocConsole();
        return WriteResult(resultPath, ConsoleRows() + Moved(log)) ? 0 : 1;
    }
    if (StartsWith(arguments, "noinput ")) {
        const std::string resultPath = arguments.substr(8);
        vsk::detail::SetGetStdHandleFunction(NoInput);
        FileLogger_AllocConsole();
        return WriteResult(resultPath, ConsoleRows()) ? 0 : 1;
    }
    if (StartsWith(arguments, "freeconsole ")) {
        const std::string resultPath = arguments.substr(12);
        if (!AllocConsole())
            return 2;
        const std::string log = OpenLog(resultPath);
        FileLogger_FreeConsole();
        const std::string console = std::string("console=") + (GetConsoleWindow() ? "1" : "0") + "\n";
        return WriteResult(resultPath, console + Moved(log)) ? 0 : 1;
    }
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
