// Vskstr.h - vskstr::CVskStr, the library's narrow (system code page) string.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstrbase.h"
#include "hostfw/HostFramework.h"

#include <cstdarg>
#include <deque>
#include <vector>

VSK_DECLARE_UNIT(Vskstr)

namespace vskstr {

class CVskStrW;

/// A multibyte string in the system code page over a shared buffer with copy
/// on write (see CVskStrBase). Lengths and positions are in bytes.
///
/// Example:
///   vskstr::CVskStr a("abc");
///   vskstr::CVskStr b(a);          // shares a's buffer, count 2
///   b.SubStr(1, 1);                // b gets its own buffer: "b"; a stays "abc"
class VSK_API CVskStr : public CVskStrBase<char> {
public:
    /// The empty string; does not allocate.
    CVskStr() = default;
    /// Shares `other`'s buffer (one reference more).
    CVskStr(const CVskStr& other) = default;
    /// The bytes of `s` up to its NUL.
    /// Errors: std::invalid_argument "CVskStr::CVskStr()" when `s` is nullptr.
    CVskStr(const char* s);
    /// Exactly `length` bytes of `s`, NUL bytes included.
    /// Errors: std::length_error for a negative `length`.
    CVskStr(const char* s, int length);
    /// The AnsiString's bytes; an empty AnsiString (no data) gives "".
    CVskStr(const System::AnsiString& s);
    /// The decimal text of `value`, e.g. "-2147483648".
    CVskStr(long value);
    /// As CVskStr(long); spares callers the choice between long and const char*.
    CVskStr(int value) : CVskStr(static_cast<long>(value)) {}
    /// The text of `w` up to its first NUL, converted to the OEM code page
    /// (code page 1, not the ANSI one); characters the code page lacks become
    /// its default character.
    /// Errors: std::runtime_error "CVskStr::CVskSTr()" (so spelled) when the
    /// conversion fails.
    CVskStr(const CVskStrW& w);
    ~CVskStr() override;

    /// Shares `other`'s buffer, giving up the one held.
    CVskStr& operator=(const CVskStr& other) = default;

    /// A new AnsiString of the C-string view (it ends at the first NUL).
    operator System::AnsiString() const;

    /// Replaces the text with the output of `format` and its arguments (the
    /// C runtime's `_vsnprintf` conventions) and returns this string. The
    /// output ends at its first NUL. The buffer grows 257, 517, 1037, ...
    /// bytes until the output fits; arguments may refer to this string.
    /// Errors: std::runtime_error "CVskStr::Format() : 処理可能な最大サイズを超えました"
    /// or std::length_error past the largest size; the text is then unchanged.
    ///
    /// Example: CVskStr().Format("%s=%d", "x", 5) == "x=5"
    CVskStr& Format(const char* format, ...) __attribute__((format(ms_printf, 2, 3)));

    /// Format with the arguments as a va_list, for functions that take a
    /// format and arguments of their own. `args` is only copied, never
    /// consumed: the caller still ends it.
    CVskStr& FormatV(const char* format, va_list args) __attribute__((format(ms_printf, 2, 0)));

    /// Replaces the text with the whole content of the file `path`, byte for
    /// byte (no byte-order mark, code-page or line-end handling; NUL bytes
    /// and CR LF are kept). The string gets a private buffer first, so other
    /// strings that shared its buffer keep their text. The file is opened for
    /// reading with others allowed to read, and closed before the function
    /// returns or throws.
    /// Errors: std::runtime_error "ファイルのオープンに失敗しました" when the file
    /// cannot be opened; "ファイルサイズ制限" when it is larger than 4026531838
    /// (0xEFFFFFFE) bytes; "ファイルの読み込みに失敗" when it cannot be read
    /// whole (the text then has the file's length, its content undefined);
    /// std::out_of_range for an empty file (the text is then empty): loading
    /// an empty file throws rather than giving "". A size the string cannot
    /// hold fails with the standard library's length error. The thread's last
    /// error tells what the system refused.
    ///
    /// Example: a file holding 'a', NUL, 'b' loads as a string of length 3.
    void LoadFromFile(const char* path);

    /// Writes all bytes of the string (its full length, NUL bytes included)
    /// to the file `path`, creating it or replacing its content; an empty
    /// string leaves an empty file.
    /// Errors: std::runtime_error "ファイルのオープンに失敗しました" when the file
    /// cannot be created (another handle holds it, a missing folder, a
    /// read-only file); "ファイルの書き込みに失敗" when the bytes cannot all be
    /// written (the file may then be truncated or partly written).
    void SaveToFile(const char* path) const;

    // The operations below take and return CVskStr, so that C strings convert
    // to patterns ("s.Pos("b")") and results chain as CVskStr.

    /// CVskStrBase::Pos with a CVskStr pattern.
    int Pos(const CVskStr& pattern, int start = 0) const { return CVskStrBase::Pos(pattern, start); }
    /// CVskStrBase::Strnicmp with a CVskStr.
    int Strnicmp(int pos, const CVskStr& other, int otherPos, int n) const {
        return CVskStrBase::Strnicmp(pos, other, otherPos, n);
    }
    /// CVskStrBase::SubStr; returns this string.
    CVskStr& SubStr(int start, int len) {
        CVskStrBase::SubStr(start, len);
        return *this;
    }
    /// CVskStrBase::Replace; returns this string.
    CVskStr& Replace(int first, int last, const CVskStr& with) {
        CVskStrBase::Replace(first, last, with);
        return *this;
    }
    /// CVskStrBase::ReplaceAll; returns this string.
    CVskStr& ReplaceAll(const CVskStr& pattern, const CVskStr& with) {
        CVskStrBase::ReplaceAll(pattern, with);
        return *this;
    }

private:
    friend VSK_API CVskStr& operator+=(CVskStr& left, const CVskStr& right);
    friend VSK_API CVskStr operator+(const CVskStr& left, const CVskStr& right);
    friend VSK_API bool operator==(const CVskStr& left, const CVskStr& right);
};

/// Appends to `out` the pieces of `source` between occurrences of
/// `separator`. Two touching separators give an empty piece; a separator at
/// the end gives no empty last piece; an empty source gives nothing. `out` is
/// not cleared. Each piece is cut from a private copy of `source`, which
/// ends at its first NUL: a piece that runs past that end holds the copy's
/// terminating NUL and NUL bytes after it, up to the piece's length (so
/// "a" NUL at "," gives the 2 bytes "a" NUL).
/// Errors: std::invalid_argument "SplitString()" for an empty separator.
///
/// Example: SplitString(out, "a,,b", ",") appends "a", "", "b".
VSK_API void SplitString(std::deque<CVskStr>& out, const CVskStr& source, const CVskStr& separator);
VSK_API void SplitString(std::vector<CVskStr>& out, const CVskStr& source, const CVskStr& separator);

/// Appends all bytes of `right` (NUL bytes included) to `left`, which is made
/// private first; `right` may be `left` itself.
VSK_API CVskStr& operator+=(CVskStr& left, const CVskStr& right);
/// The bytes of `left` followed by those of `right`.
VSK_API CVskStr operator+(const CVskStr& left, const CVskStr& right);
VSK_API CVskStr operator+(const char* left, const CVskStr& right);
/// Same length and same bytes (case and NUL bytes count).
VSK_API bool operator==(const CVskStr& left, const CVskStr& right);
VSK_API bool operator!=(const CVskStr& left, const CVskStr& right);
VSK_API bool operator==(const char* left, const CVskStr& right);
VSK_API bool operator!=(const char* left, const CVskStr& right);

} // namespace vskstr

namespace vsk::detail {

/// The next buffer size of the Format loop for a working text of `length`
/// units: at least 128 doubled, plus one (257, 517, 1037, ...).
/// Errors: std::runtime_error `overflowMessage` when `length` + 1 is
/// 2147483647; std::length_error when the size passes 2147483647.
VSK_API int NextFormatSize(int length, const char* overflowMessage);

/// NextFormatSize with the narrow Format's message, as Format uses it.
VSK_API int NextNarrowFormatSize(int length);

} // namespace vsk::detail
