// Commonfunctions_fullpath.cpp - part of unit Commonfunctions: full and
// relative paths, worked out as text.
#include "files/Commonfunctions.h"

#include "files/internal/CommonfunctionsParts.h"
#include "platform/Mbcs.h"
#include "platform/MbcsCursor.h"
#include "platform/ReplaceMatches.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using vsk::detail::CMbcsCursor;
using vsk::detail::CPathBuilder;
using vsk::detail::CPathMarks;
using vsk::detail::PathBytes;
using vsk::detail::PathMarks;
using vsk::detail::SameBytes;
using vsk::detail::VisibleLength;
using vskstr::CVskStr;

// The first single-byte `mark` at or after the character boundary `from`
// and before the visible length `end` that is not a trail byte, or -1: the
// string's Pos(mark, from).
int NextMark(const char* s, int from, int end, unsigned char mark) {
    const std::size_t found =
        CMbcsCursor().FindFirst(s, static_cast<std::size_t>(from), static_cast<std::size_t>(end), mark);
    return found == CMbcsCursor::kNone ? -1 : static_cast<int>(found);
}

// A run of bytes inside a text: `length` bytes before the text's first NUL
// (its C-string view), then `nuls` more.
struct CSpan {
    const char* data;
    int length;
    /// NUL bytes that follow the `length` bytes of `data` (they are not read
    /// from `data`).
    int nuls = 0;
};

// A text after `ReplaceAll("/", separator)` on a copy that shares the
// caller's buffer, made with the string's replace steps: the text itself
// when it holds no "/" to turn; otherwise a turned copy that, like the shared
// string the replacement makes private, keeps only the bytes before the
// first NUL. A "/" that is the second byte of a double-byte character, or
// that follows the first NUL, is not turned, as the string's multibyte-aware
// search does not find it. The search for "/" is the cursor's, which skips
// four bytes at a time where the string's search steps a character at a time;
// both find the same bytes.
class CTurned {
public:
    CTurned(const CVskStr& text, unsigned char separator) : m_original(text) {
        struct CSteps {
            const char* s;
            std::size_t length;
            char separator;
            std::string& copy;
            std::size_t stop; // where the last search ended: the first NUL, or the length
            std::size_t Find(std::size_t from) {
                const std::size_t i = CMbcsCursor().FindFirstOrNul(s, from, length, '/');
                if (i < length && s[i] == '/')
                    return i;
                stop = i;
                return vsk::detail::kNoMatch;
            }
            std::size_t Begin() {
                const std::size_t visible =
                    static_cast<std::size_t>(VisibleLength(s, static_cast<int>(length)));
                copy.reserve(visible);
                return visible;
            }
            void Take(std::size_t from, std::size_t to) { copy.append(s + from, to - from); }
            void Insert() { copy.push_back(separator); }
        };
        CSteps steps{text.c_str(), static_cast<std::size_t>(text.Length()), static_cast<char>(separator),
                     m_copy, 0};
        if (vsk::detail::ReplaceEveryMatch(steps, 1) == 0) {
            m_data = steps.s;
            m_length = text.Length();
            m_visible = static_cast<int>(steps.stop);
            return;
        }
        m_data = m_copy.data();
        m_length = m_visible = static_cast<int>(m_copy.size());
    }
    CTurned(const CTurned&) = delete;
    CTurned& operator=(const CTurned&) = delete;

    const char* Data() const { return m_data; }
    int Length() const { return m_length; }
    /// Bytes before the first NUL.
    int Visible() const { return m_visible; }
    /// The turned text as a string; the argument itself when nothing changed.
    CVskStr Str() const { return m_data == m_original.c_str() ? m_original : CVskStr(m_data, m_length); }

private:
    const CVskStr& m_original;
    std::string m_copy;
    const char* m_data;
    int m_length;
    int m_visible;
};

// Whether the last character (not merely the last byte, which may be the
// trail byte 0x5C of a double-byte character) is a separator, as LastChar
// judges it from the start (a NUL before the last byte ends the text it is
// judged in).
bool EndsWithSeparator(const char* s, int length, unsigned char separator) {
    if (length == 0 || PathBytes(s)[length - 1] != separator)
        return false;
    return !CMbcsCursor().IsTrailInCString(s, static_cast<std::size_t>(length - 1));
}

bool BeginsWithTwoSeparators(const char* s, int length, unsigned char separator) {
    return length >= 2 && PathBytes(s)[0] == separator && PathBytes(s)[1] == separator;
}

// The string's Pos(":") == 1 for a text of at least two bytes: the first
// ":" is the second byte, so the first byte is a character of its own (not
// NUL, not ":", not a lead byte that would take the ":" as its trail).
bool ColonSecond(const char* s) {
    const unsigned char first = PathBytes(s)[0];
    return first != '\0' && first != ':' && !CMbcsCursor().IsLead(first) && s[1] == ':';
}

// Where the root split puts its parts, in a turned text: the root is its
// first `rootLength` bytes followed by a separator, the rest runs from
// `restStart` to its end.
struct CRoot {
    bool found;
    int rootLength;
    int restStart;
};

CRoot SplitRoot(const CTurned& text, unsigned char separator) {
    const char* s = text.Data();
    const int length = text.Length();
    const CRoot none{false, 0, 0};
    if (length < 2)
        return none;
    CRoot root{true, 0, 0};
    if (ColonSecond(s)) {
        root.rootLength = root.restStart = 2;
    } else if (BeginsWithTwoSeparators(s, length, separator)) {
        const int serverEnd = NextMark(s, 2, text.Visible(), separator);
        if (serverEnd < 0)
            return none;
        const int shareEnd = NextMark(s, serverEnd + 1, text.Visible(), separator);
        if (shareEnd >= 0)
            root.rootLength = root.restStart = shareEnd;
        else if (serverEnd == length - 1)
            return none; // "\\\\server\\" names no share
        else
            root.rootLength = root.restStart = length;
    } else {
        return none;
    }
    if (root.restStart < length && PathBytes(s)[root.restStart] == separator)
        ++root.restStart;
    return root;
}

// The components between separators of a text of `length` bytes from byte
// `begin`, a character boundary, where `end` is its visible length; empty ones
// are skipped. These are the non-empty pieces SplitString gives: its pieces
// are cut from a private copy, which ends at the first NUL, and a piece that
// runs past that end is filled up with NUL bytes to its length, so the last
// component of a text with a NUL ends in NULs (or is made of them).
class CComponents {
public:
    CComponents(const char* s, int begin, int end, int length, unsigned char separator)
        : m_s(s), m_pos(begin), m_end(end), m_length(length), m_separator(separator) {}

    bool Next(CSpan& component) {
        while (m_pos < m_length) {
            // The cursor is kept, so that the lead-byte table is looked up
            // once for the whole list.
            std::size_t found = CMbcsCursor::kNone;
            if (m_pos < m_end)
                found = m_cursor.FindFirst(m_s, static_cast<std::size_t>(m_pos), static_cast<std::size_t>(m_end),
                                           m_separator);
            const int p = found == CMbcsCursor::kNone ? m_length : static_cast<int>(found);
            const int start = m_pos;
            m_pos = p + 1;
            if (p > start) {
                const int real = std::max(std::min(p, m_end) - start, 0);
                component = {m_s + start, real, p - start - real};
                return true;
            }
        }
        return false;
    }

private:
    const CMbcsCursor m_cursor;
    const char* m_s;
    int m_pos;
    int m_end;
    int m_length;
    unsigned char m_separator;
};

bool HasLeadByte(CSpan text) {
    const CMbcsCursor cursor;
    for (int i = 0; i < text.length; ++i) {
        if (cursor.IsLead(PathBytes(text.data)[i]))
            return true;
    }
    return false;
}

// Whether `n` bytes at `s` are all below 0x80: in the system's double-byte
// code pages, plain single-byte characters.
bool IsPlain(const char* s, int n) {
    for (int i = 0; i < n; ++i) {
        if (PathBytes(s)[i] >= 0x80)
            return false;
    }
    return true;
}

// The multibyte comparison's answer for two views of plain single-byte
// characters: a character is a byte and its case is the letters A to Z.
// Equal when the first `n` characters agree ignoring case, or both views end
// together before that.
bool PlainEqualIgnoringCase(const char* a, int aLength, const char* b, int bLength, int n) {
    const auto lower = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
    for (int i = 0; i < n; ++i) {
        const unsigned char ca = i < aLength ? PathBytes(a)[i] : 0;
        const unsigned char cb = i < bLength ? PathBytes(b)[i] : 0;
        if (lower(ca) != lower(cb))
            return false;
        if (ca == 0)
            return true;
    }
    return true;
}

// Every comparison of this family: a.Strnicmp(0, b, 0, -1) == 0, the
// case-insensitive multibyte comparison (MbsNICmp, which Strnicmp calls) of
// the two C-string views over at most as many characters as `b` has bytes,
// so "ab" matches "abc". Two
// shortcuts give the comparison's answer without making terminated copies:
// no characters to compare, and equal bytes (identical views, or `b` made of
// single-byte characters only and equal to the start of `a`).
bool Matches(CSpan a, CSpan b) {
    const int bLength = b.length + b.nuls;
    if (bLength == 0)
        return true;
    const int aVisible = a.length;
    const int bVisible = b.length;
    if (aVisible == bVisible && SameBytes(a.data, b.data, bVisible))
        return true;
    if (bVisible == bLength && bVisible < aVisible && SameBytes(a.data, b.data, bVisible) &&
        !HasLeadByte(b))
        return true;
    if (vsk::detail::LeadBytes().lowBytesAreSingle && IsPlain(a.data, aVisible) && IsPlain(b.data, bVisible))
        return PlainEqualIgnoringCase(a.data, aVisible, b.data, bVisible, bLength);
    CPathBuilder aText;
    aText.Append(a.data, aVisible);
    aText.Append('\0');
    CPathBuilder bText;
    bText.Append(b.data, bVisible);
    bText.Append('\0');
    return vsk::detail::MbsNICmp(aText.Data(), bText.Data(), bLength) == 0;
}

// A built text as a span: a root may hold NUL bytes.
CSpan SpanOf(const CPathBuilder& text) {
    const int visible = VisibleLength(text.Data(), text.Size());
    return {text.Data(), visible, text.Size() - visible};
}

// A component, its NUL bytes included, followed by a separator.
void AppendComponent(CPathBuilder& out, CSpan component, unsigned char separator) {
    out.Append(component.data, component.length);
    for (int i = 0; i < component.nuls; ++i)
        out.Append(static_cast<unsigned char>('\0'));
    out.Append(separator);
}

// The root (with its separator) in `out`; nothing without one.
void AppendRoot(CPathBuilder& out, const CTurned& text, const CRoot& root, unsigned char separator) {
    if (!root.found)
        return;
    out.Append(text.Data(), root.rootLength);
    out.Append(separator);
}

// ".." and "." as a.Strnicmp(0, "..", 0, -1) and (a, ".") judge a component:
// a full stop has no case, so the comparison is of bytes, and by the prefix
// rule only the first two (or one) count.
bool IsUp(CSpan component) { return component.length >= 2 && component.data[0] == '.' && component.data[1] == '.'; }

bool IsHere(CSpan component) { return component.length >= 1 && component.data[0] == '.'; }

// Where each component of a result begins; the first 64 stay on the stack.
class COffsets {
public:
    void Push(int offset) {
        if (m_size < kLocal)
            m_local[m_size] = offset;
        else
            m_more.push_back(offset);
        ++m_size;
    }
    bool Empty() const { return m_size == 0; }
    int Pop() {
        --m_size;
        if (m_size < kLocal)
            return m_local[m_size];
        const int offset = m_more.back();
        m_more.pop_back();
        return offset;
    }

private:
    static constexpr int kLocal = 64;
    int m_local[kLocal];
    std::vector<int> m_more;
    int m_size = 0;
};

CVskStr FullPath(const CVskStr& base, const CVskStr& path, const CPathMarks& m) {
    // A path with a drive or a network name is already full (seen as given,
    // slashes and all).
    if (path.Length() > 1 &&
        (ColonSecond(path.c_str()) || BeginsWithTwoSeparators(path.c_str(), path.Length(), m.separator)))
        return path;
    const CTurned relative(path, m.separator);
    const bool trailing = EndsWithSeparator(relative.Data(), relative.Length(), m.separator);

    // The prefix, then each component of the base followed by a separator;
    // the components of the path go on from there, ".." removing the last
    // one (never the prefix) and "." nothing.
    const CTurned turnedBase(base, m.separator);
    const CRoot root = SplitRoot(turnedBase, m.separator);
    CPathBuilder result;
    if (root.found)
        AppendRoot(result, turnedBase, root, m.separator);
    else
        result.Append(base.c_str(), base.Length()); // no root: an opaque prefix, nothing of it is split
    const int prefixLength = result.Size();
    COffsets components;
    CSpan component;
    if (root.found) {
        for (CComponents list(turnedBase.Data(), root.restStart, turnedBase.Visible(), turnedBase.Length(),
                              m.separator);
             list.Next(component);) {
            components.Push(result.Size());
            AppendComponent(result, component, m.separator);
        }
    }
    for (CComponents list(relative.Data(), 0, relative.Visible(), relative.Length(), m.separator);
         list.Next(component);) {
        if (IsUp(component)) {
            if (!components.Empty())
                result.Shorten(components.Pop()); // never above the root
        } else if (!IsHere(component)) {
            components.Push(result.Size());
            AppendComponent(result, component, m.separator);
        }
    }
    // After a component the last byte is the separator put there, even when
    // the component ends in a lone lead byte; without components the prefix
    // ends the result, and its last character decides.
    const bool endsWithSeparator =
        components.Empty() ? EndsWithSeparator(result.Data(), prefixLength, m.separator) : true;
    if (!trailing && endsWithSeparator)
        result.Shorten(result.Size() - 1);
    return result.Make();
}

CVskStr RelPath(const CVskStr& base, const CVskStr& path, const CPathMarks& m) {
    const CTurned turnedBase(base, m.separator);
    const CTurned turnedPath(path, m.separator);
    const bool trailing = EndsWithSeparator(turnedPath.Data(), turnedPath.Length(), m.separator);

    // Both texts are turned already, so the root split finds nothing more to
    // turn; without a root the rest is the whole text.
    const CRoot baseRoot = SplitRoot(turnedBase, m.separator);
    const CRoot pathRoot = SplitRoot(turnedPath, m.separator);
    CPathBuilder baseRootText;
    AppendRoot(baseRootText, turnedBase, baseRoot, m.separator);
    CPathBuilder pathRootText;
    AppendRoot(pathRootText, turnedPath, pathRoot, m.separator);
    // Different drives or shares have no relative form. An empty root (no
    // root at all) matches every root.
    if (!Matches(SpanOf(baseRootText), SpanOf(pathRootText)))
        return turnedPath.Str();

    // Leave out the components both start with; the base's other components
    // each give "..", the path's follow.
    CComponents baseList(turnedBase.Data(), baseRoot.restStart, turnedBase.Visible(), turnedBase.Length(),
                         m.separator);
    CComponents pathList(turnedPath.Data(), pathRoot.restStart, turnedPath.Visible(), turnedPath.Length(),
                         m.separator);
    CSpan baseComponent{nullptr, 0};
    CSpan pathComponent{nullptr, 0};
    bool hasBase = baseList.Next(baseComponent);
    bool hasPath = pathList.Next(pathComponent);
    while (hasBase && hasPath && Matches(baseComponent, pathComponent)) {
        hasBase = baseList.Next(baseComponent);
        hasPath = pathList.Next(pathComponent);
    }
    CPathBuilder result;
    for (; hasBase; hasBase = baseList.Next(baseComponent)) {
        result.Append("..", 2);
        result.Append(m.separator);
    }
    for (; hasPath; hasPath = pathList.Next(pathComponent)) {
        AppendComponent(result, pathComponent, m.separator);
    }
    // The result is "." or ends in a separator put there after "..", or
    // after a component (which may end in a lone lead byte).
    if (result.Size() == 0)
        result.Append(".", 1);
    else if (!trailing)
        result.Shorten(result.Size() - 1);
    return result.Make();
}

} // namespace

namespace vsk {

CVskStr MakeFullPath(CVskStr base, CVskStr path) { return FullPath(base, path, PathMarks()); }

CVskStr MakeRelPath(CVskStr base, CVskStr path) { return RelPath(base, path, PathMarks()); }

} // namespace vsk

namespace vsk::detail {

bool SplitRootPath(CVskStr path, CVskStr& root, CVskStr& rest) {
    const CPathMarks m = PathMarks();
    const CTurned text(path, m.separator);
    const CRoot split = SplitRoot(text, m.separator);
    if (!split.found) {
        root = EmptyPathText();
        rest = path;
        return false;
    }
    CPathBuilder rootText;
    AppendRoot(rootText, text, split, m.separator);
    root = rootText.Make();
    rest = CVskStr(text.Data() + split.restStart, text.Length() - split.restStart);
    return true;
}

} // namespace vsk::detail
