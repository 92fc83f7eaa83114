// consumer.cpp - a small program built against an installed VoskelLIB: it
// calls a path function, the string's formatting and splitting, and checks
// what it gets, so that a build that links but misbehaves still fails.
#include "files/Commonfunctions.h"
#include "foundation/Vskstr.h"

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

    std::printf("%s\n", g_failures == 0 ? "consumer: all checks passed" : "consumer: FAILED");
    return g_failures == 0 ? 0 : 1;
}
