// Vskstrw.h - vskstr::CVskStrW, the UTF-16 string, and the UCS-4 routines on raw 32-bit arrays.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstr.h"
#include "foundation/Vskstrbase.h"

VSK_DECLARE_UNIT(Vskstrw)

namespace vskstr {

/// A UTF-16 string over a shared buffer with copy on write (see
/// CVskStrBase); lengths and positions count 16-bit units. It carries text to
/// and from wide-character system interfaces.
///
/// Conversions with CVskStr go through the OEM code page (code page 1), not
/// the ANSI one; a character the code page lacks becomes its default
/// character silently.
///
/// Example:
///   vskstr::CVskStrW w(vskstr::CVskStr("abc"));   // L"abc"
///   vskstr::CVskStr back(w);                      // "abc"
class VSK_API CVskStrW : public CVskStrBase<wchar_t> {
public:
    /// The empty string; shares the one empty wide buffer.
    CVskStrW() = default;
    /// Shares `other`'s buffer (one reference more).
    CVskStrW(const CVskStrW& other) = default;
    /// The text of `s` up to its first NUL, converted from the OEM code page.
    /// Errors: std::runtime_error "CVskStrW::CVskStrW()" when the conversion fails.
    CVskStrW(const CVskStr& s);
    /// The units of `s` up to its NUL.
    /// Errors: std::invalid_argument "CVskStrW::CVskStrW()" when `s` is nullptr.
    CVskStrW(const wchar_t* s);
    /// Exactly `length` units of `s`, NUL units included.
    /// Errors: std::length_error for a negative `length`.
    CVskStrW(const wchar_t* s, int length);
    ~CVskStrW() override;

    /// Shares `other`'s buffer, giving up the one held.
    CVskStrW& operator=(const CVskStrW& other) = default;

    /// Replaces the text with the output of `format` and its arguments (the
    /// C runtime's `_vsnwprintf` conventions, so "%s" takes a wide string) and
    /// returns this string. The output ends at its first NUL. The buffer grows
    /// 257, 517, 1037, ... units until the output fits; arguments may refer
    /// to this string.
    /// Errors: std::runtime_error "CVskStrW::Format() : 処理可能な最大サイズを超えました"
    /// or std::length_error past the largest size; the text is then unchanged.
    ///
    /// Example: CVskStrW().Format(L"%s=%d", L"x", 5) == L"x=5"
    CVskStrW& Format(const wchar_t* format, ...);

    // The operations below take and return CVskStrW, so that wide C strings
    // convert to patterns and results chain as CVskStrW.

    /// CVskStrBase::Pos with a CVskStrW pattern.
    int Pos(const CVskStrW& pattern, int start = 0) const { return CVskStrBase::Pos(pattern, start); }
    /// CVskStrBase::Strnicmp with a CVskStrW.
    int Strnicmp(int pos, const CVskStrW& other, int otherPos, int n) const {
        return CVskStrBase::Strnicmp(pos, other, otherPos, n);
    }
    /// CVskStrBase::SubStr; returns this string.
    CVskStrW& SubStr(int start, int len) {
        CVskStrBase::SubStr(start, len);
        return *this;
    }
    /// CVskStrBase::Replace; returns this string.
    CVskStrW& Replace(int first, int last, const CVskStrW& with) {
        CVskStrBase::Replace(first, last, with);
        return *this;
    }
    /// CVskStrBase::ReplaceAll; returns this string.
    CVskStrW& ReplaceAll(const CVskStrW& pattern, const CVskStrW& with) {
        CVskStrBase::ReplaceAll(pattern, with);
        return *this;
    }

    /// Same length and same units (NUL units count).
    bool operator==(const CVskStrW& other) const { return Text() == other.Text(); }
    /// The texts differ.
    bool operator!=(const CVskStrW& other) const { return !(*this == other); }
};

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

namespace vsk::detail {

/// The next buffer size of CVskStrW::Format for a working text of `length`
/// units (the growth rule of NextFormatSize with the wide string's message).
VSK_API int NextWideFormatSize(int length);

} // namespace vsk::detail
