// Vskstrw.h - the UTF-16 string's unit and the UCS-4 routines on raw 32-bit arrays.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskstrw)

namespace vskstr {

/// Finds `pat` (`plen` values) in `s` (`slen` values); nullptr when either is
/// empty or nothing is found. The arrays are not terminated.
VSK_API unsigned long* __ucs4str(const unsigned long* s, int slen, const unsigned long* pat, int plen);

/// Upper-cases the ASCII letters of `s` in place ('a'..'z' only).
VSK_API void __ucs4upr(unsigned long* s, int n);

/// Lower-cases the ASCII letters of `s` in place ('A'..'Z' only).
VSK_API void __ucs4lwr(unsigned long* s, int n);

/// Compares the common part of `a` and `b`: 1 at the first difference when
/// `a`'s value is greater (unsigned), else -1; after the common part -1 when
/// `a` is shorter, else 0. So a longer `a` that begins with `b` compares equal:
/// the routine tells whether `a` begins with `b`.
///
/// Example: "abc" vs "ab" gives 0; "ab" vs "abc" gives -1.
VSK_API int __ucs4strncmp(const unsigned long* a, int alen, const unsigned long* b, int blen);

/// As __ucs4strncmp with 'a'..'z' folded to 'A'..'Z' for the test; the sign
/// of a difference is taken from the unfolded values.
///
/// Example: "a" vs "B" gives 1 (97 is above 66).
VSK_API int __ucs4strnicmp(const unsigned long* a, int alen, const unsigned long* b, int blen);

} // namespace vskstr
