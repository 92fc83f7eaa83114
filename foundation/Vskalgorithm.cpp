// Vskalgorithm.cpp - double-byte character position tests.
#include "foundation/Vskalgorithm.h"

#include "platform/Win32.h"

VSK_DEFINE_UNIT(Vskalgorithm, nullptr, nullptr)

namespace vsk {

namespace {
bool IsLead(const char* p) { return IsDBCSLeadByte(static_cast<BYTE>(*p)) != FALSE; }
} // namespace

bool IsDBCSLeadByteForStr(const char* str, const char* pos) {
    const char* p = str;
    while (p < pos)
        p += IsLead(p) ? 2 : 1;
    // Jumping over `pos` means it is the second byte of a character.
    if (p != pos)
        return false;
    return IsLead(pos);
}

bool IsDBCSTrailByteForStr(const char* str, const char* pos) {
    if (pos <= str)
        return false;
    return IsDBCSLeadByteForStr(str, pos - 1);
}

} // namespace vsk
