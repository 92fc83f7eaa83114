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
    for (const char* p = s; *p != '\0';) {
        if (*p == *pattern && std::strncmp(p, pattern, patternLength) == 0)
            return p;
        // A lead byte directly before the terminator is a character of its own.
        p += (lead[static_cast<unsigned char>(*p)] && p[1] != '\0') ? 2 : 1;
    }
    return nullptr;
}

} // namespace vsk::detail
