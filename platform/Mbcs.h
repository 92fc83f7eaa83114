// Mbcs.h - multibyte (double-byte character set) string routines with the
// documented Windows C runtime behaviour. Internal; not exported.
#pragma once

#include <cstddef>

namespace vsk::detail {

/// Finds `pattern` in `s` as the Windows C runtime's `_mbsstr` does: a match
/// starts only on a character boundary (never on the trail byte of a
/// double-byte character, judged from `s`), and both strings end at their
/// first NUL. Returns `s` for an empty pattern, nullptr when nothing is found.
///
/// Wine's `_mbsstr` compares bytewise and reports a match that starts on a
/// trail byte such as 0x5C ('\'); tests/foundation/Mbcs_test.cpp pins this one.
const char* MbsStr(const char* s, const char* pattern);

/// Compares at most `n` characters of `a` and `b` ignoring case, as the
/// Windows C runtime's `_mbsnicmp` does (its case rules are the C runtime's
/// own); a lead byte directly before the terminator ends the string there.
/// Returns <0, 0 or >0.
///
/// Wine's `_mbsnicmp` takes such a lead byte and the terminator for one
/// character and goes on reading past the string;
/// tests/platform/Mbcs_search_platform_test.cpp pins it.
int MbsNICmp(const char* a, const char* b, std::size_t n);

/// Finds the single-byte character `c` in `s` as the Windows C runtime's
/// `_mbschr` does: only on a character boundary (a trail byte such as 0x5C is
/// never taken for it), and a lead byte followed by NUL ends the string.
/// Returns the first occurrence (the terminator itself for `c` 0), or nullptr.
///
/// Wine's `_mbschr` and `_mbsrchr` step over the NUL that follows a lone lead
/// byte and go on reading past the string;
/// tests/platform/Mbcs_search_platform_test.cpp pins it.
const char* MbsChr(const char* s, unsigned char c);

/// The last occurrence of the single-byte character `c` in `s`, judged as
/// MbsChr judges it (`_mbsrchr`), or nullptr.
const char* MbsRChr(const char* s, unsigned char c);

} // namespace vsk::detail
