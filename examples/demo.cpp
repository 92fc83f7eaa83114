// demo.cpp - a first look at VoskelLIB: strings that share their text,
// formatting, splitting and replacing.
#include "foundation/Voskellib.h"

#include <cstdio>
#include <deque>

int main() {
    using vskstr::CVskStr;

    std::printf("VoskelLIB - a utility library for 32-bit Windows applications.\n\n");

    CVskStr greeting("Hello, VoskelLIB");
    CVskStr copy(greeting);
    std::printf("A copy shares its text until it changes: %d strings share \"%s\".\n",
                greeting.GetRefCount(), greeting.c_str());
    copy.SubStr(7, 9);
    std::printf("After SubStr(7, 9) the copy is \"%s\", the original still \"%s\".\n\n", copy.c_str(),
                greeting.c_str());

    CVskStr line;
    line.Format("%s has %d units and version %d.%d", "VoskelLIB", 30, 0, 1);
    std::printf("Format: \"%s\"\n", line.c_str());

    std::deque<CVskStr> pieces;
    vskstr::SplitString(pieces, CVskStr("red,green,,blue"), CVskStr(","));
    std::printf("SplitString(\"red,green,,blue\", \",\") gives %u pieces:", static_cast<unsigned>(pieces.size()));
    for (const CVskStr& piece : pieces)
        std::printf(" \"%s\"", piece.c_str());
    std::printf("\n");

    CVskStr path("C:\\Program Files\\VoskelLIB\\bin");
    CVskStr slashed(path);
    slashed.ReplaceAll(CVskStr("\\"), CVskStr("/"));
    std::printf("ReplaceAll: \"%s\" -> \"%s\"\n", path.c_str(), slashed.c_str());

    CVskStr number(-2147483647L - 1);
    std::printf("CVskStr(long) of the smallest long: \"%s\" (%d bytes)\n", number.c_str(), number.Length());
    return 0;
}
