// MbcsCursor.h - the one walker over double-byte text of the system code
// page: which bytes lead, which are trail bytes, where the next character
// starts, and the searches for a single-byte character from either end.
// Internal; not exported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vsk::detail {

/// The system code page's lead bytes, read once: the code page does not
/// change while a process runs.
struct CLeadBytes {
    /// Whether each byte value is a lead byte.
    bool lead[256];
    /// True when no lead byte lies below 0x80 (so in every double-byte code
    /// page of the system): a run of bytes below 0x80 is then a run of whole
    /// single-byte characters.
    bool lowBytesAreSingle;
};
const CLeadBytes& LeadBytes();

/// The lead bytes as a table of 256 entries.
inline const bool* LeadByteTable() { return LeadBytes().lead; }

/// Reads double-byte text (the system's ANSI code page) character by
/// character. A byte's role cannot be told from its value alone (trail-byte
/// values overlap the single-byte characters, among them 0x5C '\'), so every
/// answer pairs the bytes as a walk from the start of the text does: each
/// lead-byte value takes the byte after it as its trail. The cursor holds
/// only the table, so a loop that makes one keeps it in a register; the
/// members are inline for the same reason.
///
/// Example (code page 932, where 0x95 is a lead byte):
///     "a\x95\x5C\\"  IsTrailAt 2 -> true, 3 -> false;
///     FindFirst(s, 0, 4, '\\') -> 3;  FindLast(s, 0, 4, '\\') -> 3
class CMbcsCursor {
public:
    /// Returned by the searches when nothing is found.
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    CMbcsCursor() : m_bytes(&LeadBytes()) {}

    /// True when `c` is a lead byte of the code page.
    bool IsLead(unsigned char c) const { return m_bytes->lead[c]; }

    /// Whether byte `i` of `s` is the second byte of a double-byte
    /// character. NUL bytes are bytes like any other here: a lead byte takes
    /// a NUL after it too. For `i` equal to a text's length: whether the text
    /// ends in a lone lead byte. The byte before a run of lead-byte values
    /// (or the start) ends a character, so the run pairs up from its start:
    /// only that run is read, backwards from `i`.
    bool IsTrailAt(const char* s, std::size_t i) const {
        std::size_t run = 0;
        while (run < i && m_bytes->lead[Byte(s[i - 1 - run])])
            ++run;
        return run % 2 == 1;
    }

    /// Whether byte `i` is a trail byte of the C string at `s`, judged from
    /// its start as the C runtime's `_ismbstrail` judges it: a NUL before `i`
    /// ends that string, and no byte after it is a trail byte.
    bool IsTrailInCString(const char* s, std::size_t i) const {
        return IsTrailAt(s, i) && FindNul(s, i) == i;
    }

    /// The number of bytes of the character at `p` in a C string: 2 for a
    /// lead byte followed by a byte other than NUL, else 1. A lead byte
    /// directly before the terminator is a character of its own.
    std::size_t CharBytes(const char* p) const { return (m_bytes->lead[Byte(*p)] && p[1] != '\0') ? 2 : 1; }

    /// The next character boundary after `p` in a C string.
    const char* Next(const char* p) const { return p + CharBytes(p); }

    /// The number of bytes of the character at byte `i` of a text of
    /// `length` bytes, whose NUL bytes are bytes like any other: 2 for a
    /// lead byte with a byte after it inside the text, else 1.
    std::size_t CharBytesIn(const char* s, std::size_t i, std::size_t length) const {
        return (m_bytes->lead[Byte(s[i])] && i + 1 < length) ? 2 : 1;
    }

    /// Steps `p` (a character boundary of a C string) over whole aligned
    /// 4-byte words of bytes below 0x80 that hold neither NUL nor `c`:
    /// single-byte characters, none of them `c`. Returns `p` itself when its
    /// word does not qualify or is not aligned. An aligned word never crosses
    /// a page, so the bytes it reads past a terminator are always readable.
    const char* SkipPlainWords(const char* p, unsigned char c) const {
        if (!m_bytes->lowBytesAreSingle || reinterpret_cast<std::uintptr_t>(p) % 4 != 0)
            return p;
        const std::uint32_t pattern = 0x01010101u * c;
        for (;;) {
            std::uint32_t word;
            std::memcpy(&word, p, 4);
            if ((word & 0x80808080u) != 0 || HasZeroByte(word) || HasZeroByte(word ^ pattern))
                return p;
            p += 4;
        }
    }

    /// The first NUL byte among the first `n` bytes of `s`, or `n`. Needs no
    /// code page. A short text is searched four bytes at a time in place; a
    /// longer one sixteen at a time where the processor can.
    static std::size_t FindNul(const char* s, std::size_t n) {
        return n < kLongSearch ? ScanFor(s, 0, n, 0) : FindNulInLongText(s, n);
    }

    /// True when `p` is a lead byte directly before the terminator.
    bool IsLoneLead(const char* p) const { return m_bytes->lead[Byte(*p)] && p[1] == '\0'; }

    /// The first byte `c` that starts a character, at or after `from` (a
    /// character boundary) and before `end`, in the C-string view: when
    /// there is none, the first NUL byte at or after `from`, or `end`. (With
    /// `c` NUL: the first NUL byte, or `end`.) Reads four bytes at a time and
    /// pairs bytes only where `c` is found.
    std::size_t FindFirstOrNul(const char* s, std::size_t from, std::size_t end, unsigned char c) const {
        std::size_t i = ScanFor(s, from, end, c);
        while (i < end && s[i] != '\0' && IsTrailAt(s, i))
            i = ScanFor(s, i + 1, end, c);
        return i;
    }

    /// The first byte `c` (not NUL) that starts a character, at or after
    /// `from` (a character boundary) and before `end`, or kNone; the search
    /// ends at the first NUL byte.
    std::size_t FindFirst(const char* s, std::size_t from, std::size_t end, unsigned char c) const {
        const std::size_t i = FindFirstOrNul(s, from, end, c);
        return i < end && Byte(s[i]) == c ? i : kNone;
    }

    /// The last byte `c` that starts a character among bytes `begin` to
    /// `end` - 1, or kNone: searched from the back, so it stops at the first
    /// hit. `begin` is a character boundary; the bytes are judged from `s`.
    std::size_t FindLast(const char* s, std::size_t begin, std::size_t end, unsigned char c) const {
        for (std::size_t i = end; i > begin; --i) {
            if (Byte(s[i - 1]) == c && !IsTrailAt(s, i - 1))
                return i - 1;
        }
        return kNone;
    }

private:
    // Below this many bytes the search in place is as quick as any.
    static constexpr std::size_t kLongSearch = 32;

    static unsigned char Byte(char c) { return static_cast<unsigned char>(c); }

    static std::size_t FindNulInLongText(const char* s, std::size_t n);

    static bool HasZeroByte(std::uint32_t word) { return ((word - 0x01010101u) & ~word & 0x80808080u) != 0; }

    // The first byte at or after `from` and before `end` that is NUL or `c`,
    // or `end`; four bytes at a time.
    static std::size_t ScanFor(const char* s, std::size_t from, std::size_t end, unsigned char c) {
        const std::uint32_t pattern = 0x01010101u * c;
        std::size_t i = from;
        for (; i + 4 <= end; i += 4) {
            std::uint32_t word;
            std::memcpy(&word, s + i, 4);
            if (HasZeroByte(word) || HasZeroByte(word ^ pattern))
                break;
        }
        for (; i < end; ++i) {
            if (s[i] == '\0' || Byte(s[i]) == c)
                return i;
        }
        return end;
    }

    const CLeadBytes* m_bytes;
};

} // namespace vsk::detail
