// DemoPanels.cpp - the lines of the windowed demo's text panels.
#include "examples/DemoPanels.h"

#include "calendar/Vskdatetime.h"
#include "diagnostics/Filelogger.h"
#include "files/Commonfunctions.h"
#include "files/VskFile.h"
#include "foundation/Vskstr.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fstream>

namespace demo {

using vskstr::CVskStr;

namespace {

std::string Quoted(const CVskStr& text) { return std::string("\"") + text.c_str() + "\""; }

bool Exists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

} // namespace

Lines StringLines() {
    CVskStr line;
    line.Format("%s=%d", "answer", 42);
    std::deque<CVskStr> pieces;
    vskstr::SplitString(pieces, CVskStr("red,green,,blue"), CVskStr(","));
    std::string split;
    for (const CVskStr& piece : pieces)
        split += "[" + std::string(piece.c_str()) + "]";
    CVskStr path("C:\\Program Files\\VoskelLIB");
    CVskStr copy(path); // shares the text until it changes
    copy.ReplaceAll(CVskStr("\\"), CVskStr("/"));
    return {"Format(\"%s=%d\"): " + Quoted(line), "SplitString(\"red,green,,blue\"): " + split,
            "ReplaceAll on a copy: " + Quoted(copy), "the original: " + Quoted(path)};
}

Lines PathLines() {
    const CVskStr file("C:\\data\\report.txt");
    return {"ExtractFileName: " + Quoted(vsk::ExtractFileName(file)),
            "ExtractFileExt: " + Quoted(vsk::ExtractFileExt(file)),
            "ChangeFileExt .log: " + Quoted(vsk::ChangeFileExt(file, CVskStr(".log"))),
            "MakeFullPath: " + Quoted(vsk::MakeFullPath(CVskStr("C:\\work\\app"), CVskStr("..\\data\\x.txt"))),
            "MakeRelPath: " + Quoted(vsk::MakeRelPath(CVskStr("C:\\work\\app"), CVskStr("C:\\work\\data\\x.txt")))};
}

Lines FolderLines(const std::string& base) {
    const std::string deepest = base + "\\a\\b\\c";
    const bool made = vskfile::CreateAllDirectory(deepest.c_str());
    const bool thereAfterMaking = Exists(deepest);
    const bool removed = vskfile::RemoveDirectoryForce(base.c_str());
    return {"CreateAllDirectory(...\\a\\b\\c): " + std::string(made ? "true" : "false"),
            "the folder exists: " + std::string(thereAfterMaking ? "yes" : "no"),
            "RemoveDirectoryForce(base): " + std::string(removed ? "true" : "false"),
            "the tree exists: " + std::string(Exists(base) ? "yes" : "no")};
}

Lines DateLines() {
    // One moment, 2007-03-05 00:04:07 UTC as seconds since 1970; its
    // calendar fields are local time, taken from the C runtime's zone.
    const long seconds = 1173053047;
    const CVskDatetime moment(seconds);
    Lines lines;
    const char* const zones[] = {"TZ=JST-9", "TZ=GMT0"};
    for (const char* zone : zones) {
        _putenv(zone);
        _tzset();
        lines.push_back(std::string(zone + 3) + ": " + moment.Format(CVskStr("YYYY/MM/DD hh:mm:ss (ddd)")).c_str());
    }
    lines.push_back("(the same moment: " + std::to_string(seconds) + " s after 1970 UTC)");
    return lines;
}

CDemoLog::CDemoLog(const std::string& folder) : m_folder(folder), m_path(folder + "\\demo.log") {
    CreateDirectoryA(folder.c_str(), nullptr);
    FileLogger_SetLogFileName(m_path.c_str());
    FileLogger_SetLogFileSize(1); // KiB: the file rotates after a few lines
    FileLogger_SetGenerationNumber(3);
}

void CDemoLog::WriteLine(int number) {
    FileLogger_PutTimestamp();
    FileLogger_PutLine("demo line %d: the log rotates at 1 KiB and keeps 3 old files", number);
}

Lines CDemoLog::Lines(int lastLines) const {
    demo::Lines lines;
    WIN32_FIND_DATAA entry;
    const HANDLE search = FindFirstFileA((m_folder + "\\demo*").c_str(), &entry);
    if (search != INVALID_HANDLE_VALUE) {
        do
            lines.push_back(std::string(entry.cFileName) + "  " + std::to_string(entry.nFileSizeLow) + " bytes");
        while (FindNextFileA(search, &entry));
        FindClose(search);
    }
    std::deque<std::string> tail;
    std::ifstream file(m_path);
    for (std::string line; std::getline(file, line);) {
        tail.push_back(line);
        if (static_cast<int>(tail.size()) > lastLines)
            tail.pop_front();
    }
    lines.insert(lines.end(), tail.begin(), tail.end());
    return lines;
}

} // namespace demo
