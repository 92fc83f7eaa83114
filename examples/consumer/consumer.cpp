// consumer.cpp - a small program built against an installed VoskelLIB: it
// calls a path function, the string's formatting and splitting and the file
// object, and checks what it gets, so that a build that links but misbehaves
// still fails. It includes every public header first, and checks that they
// left the program's configuration of the system headers alone.
#include "foundation/Voskellib.h"

#include "WindowsConfigCheck.h"

#include <cstdio>
#include <cstring>
#include <deque>

namespace {

int g_failures = 0;

void Expect(const char* what, const char* got, const char* expected) {
    const bool ok = std::strcmp(got, expected) == 0;
    std::printf("%-28s \"%s\"%s\n", what, got, ok ? "" : "  <- unexpected");
    g_failures += ok ? 0 : 1;
}

} // namespace

int main() {
    using vskstr::CVskStr;

    const CVskStr name = vsk::ExtractFileName(CVskStr("C:\\data\\report.txt"));
    Expect("ExtractFileName:", name.c_str(), "report.txt");

    CVskStr line;
    line.Format("%s=%d", "answer", 42);
    Expect("Format:", line.c_str(), "answer=42");

    std::deque<CVskStr> pieces;
    vskstr::SplitString(pieces, CVskStr("a,b,,c"), CVskStr(","));
    CVskStr joined;
    for (const CVskStr& piece : pieces)
        joined = joined + CVskStr("[") + piece + CVskStr("]");
    Expect("SplitString:", joined.c_str(), "[a][b][][c]");

    CVskStr copy(line);
    copy.ReplaceAll(CVskStr("="), CVskStr(" is "));
    Expect("ReplaceAll on a copy:", copy.c_str(), "answer is 42");
    Expect("original unchanged:", line.c_str(), "answer=42");

    // The file object's members keep their names whatever <windows.h> does
    // with CreateFile.
    char folder[MAX_PATH];
    const DWORD folderLength = GetTempPathA(MAX_PATH, folder);
    const CVskStr path = CVskStr(folderLength > 0 && folderLength < MAX_PATH ? folder : ".\\") +
                         CVskStr("voskellib-consumer.txt");
    CVskStr written("?");
    {
        vskfile::CVskFile file;
        if (file.CreateFileA(path.c_str(), vskfile::CVskFile::CT_CREATE_ALWAYS, 0) &&
            file.Write("consumer", 8))
            written = CVskStr(static_cast<long>(file.GetFileSize()));
    }
    vskfile::CVskFile::Delete(path.c_str());
    Expect("CVskFile size written:", written.c_str(), "8");

    std::printf("%s\n", g_failures == 0 ? "consumer: all checks passed" : "consumer: FAILED");
    return g_failures == 0 ? 0 : 1;
}
