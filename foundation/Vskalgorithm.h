// Vskalgorithm.h - where a byte stands inside a double-byte character string.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskalgorithm)

namespace vsk {

/// True when the byte at `pos` is the first byte of a double-byte character
/// of the string that starts at `str` (system code page). A byte's role
/// cannot be told from its value alone, so the string is scanned from `str`;
/// the scan does not stop at NUL bytes. `pos` must lie at or after `str`.
///
/// Example: in "\x95\x5C" (one double-byte character) the first byte is a
/// lead byte and the second is not, though 0x5C alone would be '\'.
VSK_API bool IsDBCSLeadByteForStr(const char* str, const char* pos);

/// True when the byte at `pos` is the second byte of a double-byte character
/// of the string that starts at `str`; false when `pos` is `str`.
VSK_API bool IsDBCSTrailByteForStr(const char* str, const char* pos);

} // namespace vsk
