// Vskalgorithm.cpp - double-byte character position tests.
#include "foundation/Vskalgorithm.h"

#include "platform/MbcsCursor.h"

#include <cstddef>

VSK_DEFINE_UNIT(Vskalgorithm, nullptr, nullptr)

namespace vsk {

// The cursor pairs the bytes as the scan from `str` does (NUL bytes
// included), reading only the run of lead-byte values before `pos`.
bool IsDBCSLeadByteForStr(const char* str, const char* pos) {
    if (pos < str)
        return false;
    const vsk::detail::CMbcsCursor cursor;
    return !cursor.IsTrailAt(str, static_cast<std::size_t>(pos - str)) &&
           cursor.IsLead(static_cast<unsigned char>(*pos));
}

bool IsDBCSTrailByteForStr(const char* str, const char* pos) {
    if (pos <= str)
        return false;
    return IsDBCSLeadByteForStr(str, pos - 1);
}

} // namespace vsk
