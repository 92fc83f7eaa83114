// Mbcs.cpp - documented _mbsstr, _mbschr, _mbsrchr and _mbsnicmp behaviour
// over the system code page, on the double-byte cursor.
#include "platform/Mbcs.h"

#include "platform/MbcsCursor.h"

#include <cstring>
#include <mbstring.h>
#include <string>

namespace vsk::detail {

int MbsNICmp(const char* a, const char* b, std::size_t n) {
    const CMbcsCursor cursor;
    const std::size_t aLength = std::strlen(a);
    const std::size_t bLength = std::strlen(b);
    const bool cutA = cursor.IsTrailAt(a, aLength);
    const bool cutB = cursor.IsTrailAt(b, bLength);
    if (!cutA && !cutB)
        return _mbsnicmp(reinterpret_cast<const unsigned char*>(a), reinterpret_cast<const unsigned char*>(b), n);
    // The lone lead byte ends the string: compare copies without it.
    const std::string shortA(a, aLength - (cutA ? 1 : 0));
    const std::string shortB(b, bLength - (cutB ? 1 : 0));
    return _mbsnicmp(reinterpret_cast<const unsigned char*>(shortA.c_str()),
                     reinterpret_cast<const unsigned char*>(shortB.c_str()), n);
}

// A lone lead byte ends the string, its terminator and all: the walk stops
// on it, and no terminator is found after it.
const char* MbsChr(const char* s, unsigned char c) {
    const CMbcsCursor cursor;
    const char* p = s;
    for (; *p; p = cursor.Next(p)) {
        if (cursor.IsLoneLead(p))
            return nullptr;
        if (static_cast<unsigned char>(*p) == c && !cursor.IsLead(c))
            return p;
    }
    return c == 0 ? p : nullptr;
}

const char* MbsRChr(const char* s, unsigned char c) {
    const CMbcsCursor cursor;
    const char* p = s;
    const char* last = nullptr;
    for (; *p; p = cursor.Next(p)) {
        if (cursor.IsLoneLead(p))
            return last;
        if (static_cast<unsigned char>(*p) == c && !cursor.IsLead(c))
            last = p;
    }
    return c == 0 ? p : last;
}

const char* MbsStr(const char* s, const char* pattern) {
    const unsigned char first = static_cast<unsigned char>(pattern[0]);
    if (first == 0)
        return s;
    const CMbcsCursor cursor;
    // One walk over the text's characters, trying a match at each start.
    // Written out rather than built on strchr and strncmp: the pieces that
    // the strings search are mostly a few bytes long, where the calls cost
    // more than the bytes.
    // Runs of plain single-byte text without the first byte are stepped
    // over a word at a time.
    for (const char* p = cursor.SkipPlainWords(s, first); *p; p = cursor.SkipPlainWords(cursor.Next(p), first)) {
        if (static_cast<unsigned char>(*p) == first) {
            const char* a = p + 1;
            const char* b = pattern + 1;
            while (*b && *a == *b) {
                ++a;
                ++b;
            }
            if (*b == 0)
                return p;
        }
    }
    return nullptr;
}

} // namespace vsk::detail
