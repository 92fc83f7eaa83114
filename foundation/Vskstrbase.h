// Vskstrbase.h - CVskStrBase<T>, the copy-on-write string operations shared by
// the narrow and the wide string.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstrrefcnt.h"

VSK_DECLARE_UNIT(Vskstrbase)

/// A string of T over a shared, reference-counted buffer. Copies share the
/// buffer (one pointer copy and one count change); the characters are copied
/// only when a shared string is about to change (`MakeUnique`). Positions and
/// lengths count T units: bytes for the narrow string, so a double-byte
/// character counts 2.
///
/// A string may hold NUL units (from the pointer-and-length constructor or a
/// file load), but searches work on the C-string view and stop at the first
/// NUL, and making a shared string private keeps only the units before its
/// first NUL. That loss is part of the design.
///
/// Thread safety: distinct string objects may be used on distinct threads at
/// the same time. A string and all copies that share its buffer must be used
/// by one thread at a time, as their count is a plain integer; give a string a
/// private buffer before handing it to another thread (for example
/// `CVskStr(s).SubStr(0, s.Length())`). Default strings of every thread share
/// one empty buffer that lasts for ever: its count is never changed, so that
/// sharing takes no lock and races on nothing.
template <typename T>
class CVskStrBase {
public:
    /// The reference-counted buffer type.
    using Buffer = CVskStrRefCntTC<T>;

    /// The empty string; shares the one empty buffer of all strings of T,
    /// which lasts for ever (made on first use, never counted, never freed).
    CVskStrBase();
    /// Shares `other`'s buffer.
    CVskStrBase(const CVskStrBase& other);
    /// Shares `other`'s buffer (nothing happens when both already share one).
    CVskStrBase& operator=(const CVskStrBase& other);
    /// Releases the buffer. Inline: callers destroy strings at a high rate.
    virtual ~CVskStrBase() {
        m_buffer->Unshare();
        m_buffer = nullptr;
    }

    /// Index of the first occurrence of `pattern` at or after `start`, counted
    /// from the start of the whole string, or -1. An empty pattern gives -1. A
    /// match never begins on the second byte of a double-byte character (judged
    /// from `start`), and the search ends at the first NUL of either string.
    /// A `start` outside 0..Length() is clamped into that range.
    ///
    /// Example: CVskStr("aXa").Pos("a", 1) == 2
    int Pos(const CVskStrBase& pattern, int start = 0) const;

    /// Index of the first unit of the last character: -1 when empty, Length()-2
    /// when the string ends with a double-byte character, else Length()-1.
    int LastChar() const;

    /// Compares at most `n` characters of this string from `pos` with `other`
    /// from `otherPos`, ignoring case (multibyte-aware for the narrow string).
    /// A negative `n` means the rest of `other`. Returns <0, 0 or >0.
    /// Positions outside the strings are clamped to their ends.
    ///
    /// Example: CVskStr("abcd").Strnicmp(0, "ABC", 0, -1) == 0
    int Strnicmp(int pos, const CVskStrBase& other, int otherPos, int n) const;

    /// Changes this string to the `len` units that begin at `start` and returns
    /// it; the result always has `len` units. The string is made private first,
    /// so a shared string holding NUL units is cut at its first NUL before the
    /// range is taken. The unit right after the last one is the terminating
    /// NUL, and a range that runs onto it takes it; units further out are NUL
    /// as well (nothing outside the string is read). A negative `start` is
    /// taken as 0.
    /// Errors: std::length_error for a negative `len`.
    ///
    /// Example: CVskStr("abc").SubStr(1, 1) == "b"
    CVskStrBase& SubStr(int start, int len);

    /// Replaces the inclusive range `first`..`last` with all units of `with`.
    /// Errors: std::out_of_range when `first` is outside 0..Length().
    CVskStrBase& Replace(int first, int last, const CVskStrBase& with);

    /// Replaces every occurrence of `pattern` from left to right; the search
    /// goes on after each inserted text, so it never matches inside it.
    ///
    /// Example: CVskStr("aa").ReplaceAll("a", "aa") == "aaaa"
    CVskStrBase& ReplaceAll(const CVskStrBase& pattern, const CVskStrBase& with);

    /// Gives this string a buffer of its own when its buffer is shared; the
    /// new buffer holds the units before the first NUL.
    void MakeUnique();

    /// The C-string view: the first unit, NUL-terminated.
    const T* c_str() const { return m_buffer->Text().c_str(); }
    /// Length in units (bytes for the narrow string), NUL units included.
    int Length() const { return static_cast<int>(m_buffer->Text().size()); }
    /// Number of strings that share this string's buffer; INT_MAX for the
    /// shared empty buffer, which is not counted and always counts as shared.
    int GetRefCount() const { return m_buffer->GetRefCount(); }

protected:
    /// Takes over the one reference of a buffer that was just made.
    explicit CVskStrBase(Buffer* adopted) : m_buffer(adopted) {}

    /// The text for writing: private first.
    std::basic_string<T>& MutableText() {
        if (m_buffer->GetRefCount() > 1)
            MakeUnique();
        return m_buffer->Text();
    }
    /// The whole buffer, embedded NULs included.
    const std::basic_string<T>& Text() const { return m_buffer->Text(); }
    /// Erases from the first NUL unit to the end.
    void CutAtNul();

private:
    static Buffer* SharedEmptyBuffer();

    Buffer* m_buffer;
};

extern template class VSK_API CVskStrBase<char>;
extern template class VSK_API CVskStrBase<wchar_t>;

namespace vsk::detail {

/// Writes "cannot converted !!" to the log and throws std::logic_error
/// "指定のTでは実装されていないメソッド。CVskStrbase<T>::<method>" for a
/// character size the string template does not implement.
[[noreturn]] VSK_API void ThrowUnsupportedCharSize(const char* method);

} // namespace vsk::detail
