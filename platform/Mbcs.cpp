// Mbcs.cpp - documented _mbsstr, _mbschr and _mbsrchr behaviour over the
// system code page.
#include "platform/Mbcs.h"

#include "platform/Win32.h"

#include <cstring>
#include <mbstring.h>
#include <string>

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

const bool* LeadByteTable() { return LeadBytes().lead; }

// The byte before a run of lead-byte values (or the start) ends a character,
// so the run pairs up from its start: byte `i` is a trail byte when the run
// right before it is odd.
bool IsTrailByteAt(const char* s, std::size_t i) {
    const bool* lead = LeadBytes().lead;
    std::size_t run = 0;
    while (run < i && lead[static_cast<unsigned char>(s[i - 1 - run])])
        ++run;
    return run % 2 == 1;
}

int MbsNICmp(const char* a, const char* b, std::size_t n) {
    const std::size_t aLength = std::strlen(a);
    const std::size_t bLength = std::strlen(b);
    const bool cutA = IsTrailByteAt(a, aLength);
    const bool cutB = IsTrailByteAt(b, bLength);
    if (!cutA && !cutB)
        return _mbsnicmp(reinterpret_cast<const unsigned char*>(a), reinterpret_cast<const unsigned char*>(b), n);
    // The lone lead byte ends the string: compare copies without it.
    const std::string shortA(a, aLength - (cutA ? 1 : 0));
    const std::string shortB(b, bLength - (cutB ? 1 : 0));
    return _mbsnicmp(reinterpret_cast<const unsigned char*>(shortA.c_str()),
                     reinterpret_cast<const unsigned char*>(shortB.c_str()), n);
}

namespace {

// The next character boundary after `p`, or nullptr when `p` is a lead byte
// whose trail is the terminator (that lone lead byte ends the string).
const unsigned char* NextCharacter(const unsigned char* p) {
    if (!LeadBytes().lead[*p])
        return p + 1;
    return p[1] != 0 ? p + 2 : nullptr;
}

} // namespace

const char* MbsChr(const char* s, unsigned char c) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
    for (; p && *p; p = NextCharacter(p))
        if (*p == c && !LeadBytes().lead[*p])
            return reinterpret_cast<const char*>(p);
    return p && c == 0 ? reinterpret_cast<const char*>(p) : nullptr;
}

const char* MbsRChr(const char* s, unsigned char c) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
    const unsigned char* last = nullptr;
    for (; p && *p; p = NextCharacter(p))
        if (*p == c && !LeadBytes().lead[*p])
            last = p;
    return p && c == 0 ? reinterpret_cast<const char*>(p) : reinterpret_cast<const char*>(last);
}

const char* MbsStr(const char* s, const char* pattern) {
    const unsigned char first = static_cast<unsigned char>(pattern[0]);
    if (first == 0)
        return s;
    const bool* lead = LeadBytes().lead;
    // One walk over the text's characters, trying a match at each start.
    // Written out rather than built on strchr and strncmp: the pieces that
    // the strings search are mostly a few bytes long, where the calls cost
    // more than the bytes.
    const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
    while (*p) {
        if (*p == first) {
            const unsigned char* a = p + 1;
            const unsigned char* b = reinterpret_cast<const unsigned char*>(pattern) + 1;
            while (*b && *a == *b) {
                ++a;
                ++b;
            }
            if (*b == 0)
                return reinterpret_cast<const char*>(p);
        }
        // A lead byte directly before the terminator is a character of its own.
        p += (lead[*p] && p[1] != 0) ? 2 : 1;
    }
    return nullptr;
}

} // namespace vsk::detail
