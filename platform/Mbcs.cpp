// Mbcs.cpp - documented _mbsstr behaviour over the system code page.
#include "platform/Mbcs.h"

#include "platform/Win32.h"

#include <cstring>

namespace vsk::detail {

namespace {

// The system code page does not change while a process runs, so its lead
// bytes are read once into a table: the search asks for every byte.
struct CLeadByteTable {
    bool lead[256];
    CLeadByteTable() {
        for (int c = 0; c < 256; ++c)
            lead[c] = IsDBCSLeadByte(static_cast<BYTE>(c)) != FALSE;
    }
};

const CLeadByteTable& LeadBytes() {
    static const CLeadByteTable table;
    return table;
}

} // namespace

bool IsLeadByte(unsigned char c) { return LeadBytes().lead[c]; }

const char* MbsStr(const char* s, const char* pattern) {
    const std::size_t patternLength = std::strlen(pattern);
    if (patternLength == 0)
        return s;
    const bool* lead = LeadBytes().lead;
    // Candidates come from strchr, which also stops at the text's end. For a
    // candidate that matches, the character walk moves on from the last
    // known character start, so the walk covers the text at most once.
    const char* boundary = s;
    for (const char* p = std::strchr(s, pattern[0]); p; p = std::strchr(p + 1, pattern[0])) {
        if (std::strncmp(p, pattern, patternLength) != 0)
            continue;
        while (boundary < p) {
            // A lead byte directly before the terminator is a character of its own.
            boundary += (lead[static_cast<unsigned char>(*boundary)] && boundary[1] != '\0') ? 2 : 1;
        }
        if (boundary == p)
            return p;
    }
    return nullptr;
}

} // namespace vsk::detail
