// Commonfunctions.cpp - path names, full and relative paths. Child processes
// and a thread's windows are in Commonfunctions_processes.cpp, part of this
// unit.
#include "files/Commonfunctions.h"

#include "platform/LastError.h"
#include "platform/Mbcs.h"
#include "platform/Replaceable.h"
#include "platform/Win32.h"
#include "files/internal/CommonfunctionsHooks.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <stdexcept>
#include <vector>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Commonfunctions, StartUp, ExitRoutine)

// ---------------------------------------------------------------------------
// Path names
// ---------------------------------------------------------------------------

namespace {

using vskstr::CVskStr;
using vsk::detail::IsTrailByteAt;

// The unit's two constants, shared by every path function. They are only
// ever read through references: taking a copy would change their reference
// count, which is not safe while other threads use them.
struct CPathConstants {
    const CVskStr separator{"\\"};
    const CVskStr extensionMark{"."};
};

CPathConstants* g_constants = nullptr;

void StartUp() { g_constants = new CPathConstants; }

void ExitRoutine() {
    delete g_constants;
    g_constants = nullptr;
}

// The two one-byte marks the functions look for, read from the constants.
struct CMarks {
    unsigned char separator;
    unsigned char extension;
};

// Runs `body` with the unit's marks; outside the unit's lifetime (before its
// start-up or after its exit routine) with a set of constants of its own.
template <typename Body>
auto WithMarks(Body body) {
    const auto marks = [](const CPathConstants& c) {
        return CMarks{static_cast<unsigned char>(c.separator.c_str()[0]),
                      static_cast<unsigned char>(c.extensionMark.c_str()[0])};
    };
    if (g_constants)
        return body(marks(*g_constants));
    const CPathConstants own;
    return body(marks(own));
}

unsigned long __stdcall SystemModuleFileName(void* module, char* buffer, unsigned long size) {
    return GetModuleFileNameA(static_cast<HMODULE>(module), buffer, size);
}

vsk::detail::CReplaceable<vsk::detail::ModuleFileNameFn> g_moduleFileName{SystemModuleFileName};

// ---- Byte walks --------------------------------------------------------------
// The functions read the characters in place instead of cutting strings
// apart: every string they would make costs allocations. Each walk gives
// what the string operations named beside it give.

const unsigned char* Bytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

bool HasZeroByte(std::uint32_t word) { return ((word - 0x01010101u) & ~word & 0x80808080u) != 0; }

// The first byte at or after `from` and before `end` that is NUL or `c`, or
// `end`. Four bytes at a time.
int FindNulOr(const char* s, int from, int end, unsigned char c) {
    const std::uint32_t pattern = 0x01010101u * c;
    int i = from;
    for (; i + 4 <= end; i += 4) {
        std::uint32_t word;
        std::memcpy(&word, s + i, 4);
        if (HasZeroByte(word) || HasZeroByte(word ^ pattern))
            break;
    }
    for (; i < end; ++i) {
        if (s[i] == '\0' || Bytes(s)[i] == c)
            return i;
    }
    return end;
}

// How many of the first `length` bytes come before the first NUL: the
// C-string view, where the string's searches stop.
int VisibleLength(const char* s, int length) { return FindNulOr(s, 0, length, 0); }

// The last single-byte `mark` among bytes `begin`..`end` - 1 that is not a
// trail byte, or -1; `begin` is a character boundary and `end` at most the
// visible length. This is what repeated forward searches with Pos find (each
// one byte after the previous hit); searching from the back stops at the
// first hit.
int LastMark(const char* s, int begin, int end, unsigned char mark) {
    if (vsk::detail::LeadByteTable()[mark])
        return -1; // a lead byte never stands alone
    for (int i = end - 1; i >= begin; --i) {
        if (Bytes(s)[i] == mark && !IsTrailByteAt(s, i))
            return i;
    }
    return -1;
}

// The first single-byte `mark` at or after the character boundary `from`
// and before the visible length `end` that is not a trail byte, or -1: the
// string's Pos(mark, from).
int NextMark(const char* s, int from, int end, unsigned char mark) {
    for (int i = FindNulOr(s, from, end, mark); i < end; i = FindNulOr(s, i + 1, end, mark)) {
        if (!IsTrailByteAt(s, i))
            return i;
    }
    return -1;
}

// The bytes of a result. Up to 520 stay on the stack, so that making the
// string at the end is its only allocation.
class CByteBuilder {
public:
    CByteBuilder() = default;
    CByteBuilder(const CByteBuilder&) = delete;
    CByteBuilder& operator=(const CByteBuilder&) = delete;

    void Append(const char* s, int n) {
        if (n <= 0)
            return;
        if (!m_onHeap) {
            if (m_size + n <= kLocal) {
                std::memcpy(m_local + m_size, s, n);
                m_size += n;
                return;
            }
            m_heap.assign(m_local, m_size);
            m_onHeap = true;
        }
        m_heap.append(s, n);
        m_size += n;
    }
    void Append(unsigned char c) {
        const char byte = static_cast<char>(c);
        Append(&byte, 1);
    }
    /// Drops bytes from the end.
    void Shorten(int size) {
        m_size = size;
        if (m_onHeap)
            m_heap.resize(size);
    }
    int Size() const { return m_size; }
    const char* Data() const { return m_onHeap ? m_heap.data() : m_local; }
    // Every result, the empty one too, gets a buffer of its own: the
    // strings' shared empty buffer counts its users without a lock, and
    // these functions may run on several threads at once.
    CVskStr Make() const { return CVskStr(Data(), m_size); }

private:
    static constexpr int kLocal = 520;
    char m_local[kLocal];
    std::string m_heap;
    int m_size = 0;
    bool m_onHeap = false;
};

// `length` bytes of `text` from `start`, NUL bytes included. The source is
// read, never changed, so a shared buffer is never made private (which would
// cut it at its first NUL).
CVskStr Piece(const CVskStr& text, int start, int length) { return CVskStr(text.c_str() + start, length); }

CVskStr Empty() { return CVskStr("", 0); }

CVskStr Tail(const CVskStr& text, int start) { return Piece(text, start, text.Length() - start); }

// Where the file-name part and its extension lie in a path.
struct CNameParts {
    int separator; // the last separator, or -1
    int nameStart; // the first byte after it
    int dot;       // the last full stop of the name, or -1
};

// The name part is what follows the last separator; its last full stop is
// searched in place. The separator is a single-byte character, so the name
// begins on a character boundary and is judged there as it would be as a
// string of its own; both end at the path's first NUL.
CNameParts NameParts(const CVskStr& path, const CMarks& m, bool withDot) {
    const char* s = path.c_str();
    const int visible = VisibleLength(s, path.Length());
    CNameParts parts;
    parts.separator = LastMark(s, 0, visible, m.separator);
    parts.nameStart = parts.separator + 1;
    parts.dot = withDot ? LastMark(s, parts.nameStart, visible, m.extension) : -1;
    return parts;
}

CVskStr FilePath(const CVskStr& path, const CMarks& m) {
    const CNameParts parts = NameParts(path, m, false);
    return parts.separator < 0 ? Empty() : Piece(path, 0, parts.nameStart);
}

CVskStr FileName(const CVskStr& path, const CMarks& m) {
    const CNameParts parts = NameParts(path, m, false);
    return parts.separator < 0 ? path : Tail(path, parts.nameStart);
}

CVskStr FileExt(const CVskStr& path, const CMarks& m) {
    const CNameParts parts = NameParts(path, m, true);
    return parts.dot < 0 ? Empty() : Tail(path, parts.dot + 1);
}

CVskStr FileNameNoExt(const CVskStr& path, const CMarks& m) {
    const CNameParts parts = NameParts(path, m, true);
    if (parts.dot >= 0)
        return Piece(path, parts.nameStart, parts.dot - parts.nameStart);
    return parts.separator < 0 ? path : Tail(path, parts.nameStart);
}

// The folder part and the name without extension are adjacent in the path,
// so together they are the path up to the name's last full stop (the whole
// path without one); the mark and `ext` follow.
CVskStr ChangeExt(const CVskStr& path, const CVskStr& ext, const CMarks& m) {
    const CNameParts parts = NameParts(path, m, true);
    CByteBuilder result;
    result.Append(path.c_str(), parts.dot < 0 ? path.Length() : parts.dot);
    result.Append(m.extension);
    result.Append(ext.c_str(), ext.Length());
    return result.Make();
}

CVskStr DirSep(const CVskStr& path, const CMarks& m) {
    const int p = NameParts(path, m, false).separator;
    // Unsigned, so that the empty text (no hit, length - 1 == -1) counts as
    // ending in a separator.
    if (static_cast<unsigned int>(p) == static_cast<unsigned int>(path.Length() - 1))
        return path;
    CByteBuilder result;
    result.Append(path.c_str(), path.Length());
    result.Append(m.separator);
    return result.Make();
}

} // namespace

namespace vsk {

CVskStr GetAppPath() {
    constexpr unsigned long kBufferSize = 520;
    char buffer[kBufferSize] = {};
    if (g_moduleFileName(nullptr, buffer, kBufferSize) == 0)
        throw std::runtime_error("GetAppPath()");
    // A name that fills the whole buffer may come without its terminator.
    return CVskStr(buffer, static_cast<int>(strnlen(buffer, kBufferSize)));
}

CVskStr ExtractFilePath(CVskStr path) {
    return WithMarks([&](const CMarks& m) { return FilePath(path, m); });
}

CVskStr ExtractFileName(CVskStr path) {
    return WithMarks([&](const CMarks& m) { return FileName(path, m); });
}

CVskStr ExtractFileExt(CVskStr path) {
    return WithMarks([&](const CMarks& m) { return FileExt(path, m); });
}

CVskStr ExtractFileNameNoExt(CVskStr path) {
    return WithMarks([&](const CMarks& m) { return FileNameNoExt(path, m); });
}

CVskStr ChangeFileExt(CVskStr path, CVskStr ext) {
    return WithMarks([&](const CMarks& m) { return ChangeExt(path, ext, m); });
}

CVskStr AddDirSep(CVskStr path) {
    return WithMarks([&](const CMarks& m) { return DirSep(path, m); });
}

} // namespace vsk

// ---------------------------------------------------------------------------
// Full and relative paths
// ---------------------------------------------------------------------------

namespace {

// A run of bytes inside a text.
struct CSpan {
    const char* data;
    int length;
    /// NUL bytes that follow the `length` bytes of `data` (they are not read
    /// from `data`).
    int nuls = 0;
};

// A text after `ReplaceAll("/", separator)` on a copy that shares the
// caller's buffer: the text itself when it holds no "/" to turn; otherwise a
// turned copy that, like the shared string the replacement makes private,
// keeps only the bytes before the first NUL. A "/" that is the second byte of
// a double-byte character, or that follows the first NUL, is not turned, as
// the string's multibyte-aware search does not find it.
class CTurned {
public:
    CTurned(const CVskStr& text, unsigned char separator) : m_original(text) {
        const char* s = text.c_str();
        const int length = text.Length();
        int i = FindNulOr(s, 0, length, '/');
        while (i < length && s[i] == '/' && IsTrailByteAt(s, i))
            i = FindNulOr(s, i + 1, length, '/');
        if (i == length || s[i] == '\0') {
            m_data = s;
            m_length = length;
            m_visible = i;
            return;
        }
        m_copy.assign(s, VisibleLength(s, length));
        for (std::size_t j = i; j < m_copy.size(); ++j) {
            if (m_copy[j] == '/' && !IsTrailByteAt(m_copy.data(), j))
                m_copy[j] = static_cast<char>(separator);
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
// judges it from the start. A text with a NUL before its last byte is left to
// LastChar itself.
bool EndsWithSeparator(const char* s, int length, int visible, unsigned char separator) {
    if (length == 0 || Bytes(s)[length - 1] != separator)
        return false;
    if (visible < length - 1) {
        const CVskStr text(s, length);
        const int last = text.LastChar();
        return last >= 0 && Bytes(text.c_str())[last] == separator;
    }
    return !IsTrailByteAt(s, length - 1);
}

bool BeginsWithTwoSeparators(const char* s, int length, unsigned char separator) {
    return length >= 2 && Bytes(s)[0] == separator && Bytes(s)[1] == separator;
}

// The string's Pos(":") == 1 for a text of at least two bytes: the first
// ":" is the second byte, so the first byte is a character of its own (not
// NUL, not ":", not a lead byte that would take the ":" as its trail).
bool ColonSecond(const char* s) {
    const unsigned char first = Bytes(s)[0];
    return first != '\0' && first != ':' && !vsk::detail::LeadByteTable()[first] && s[1] == ':';
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
    if (root.restStart < length && Bytes(s)[root.restStart] == separator)
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
            int p = m_pos < m_end ? NextMark(m_s, m_pos, m_end, m_separator) : -1;
            if (p < 0)
                p = m_length;
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
    const char* m_s;
    int m_pos;
    int m_end;
    int m_length;
    unsigned char m_separator;
};

bool HasLeadByte(CSpan text) {
    const bool* lead = vsk::detail::LeadByteTable();
    for (int i = 0; i < text.length; ++i) {
        if (lead[Bytes(text.data)[i]])
            return true;
    }
    return false;
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
    const int aVisible = VisibleLength(a.data, a.length);
    const int bVisible = VisibleLength(b.data, b.length);
    if (aVisible == bVisible && std::memcmp(a.data, b.data, bVisible) == 0)
        return true;
    if (bVisible == bLength && bVisible < aVisible && std::memcmp(a.data, b.data, bVisible) == 0 &&
        !HasLeadByte(b))
        return true;
    CByteBuilder aText;
    aText.Append(a.data, aVisible);
    aText.Append('\0');
    CByteBuilder bText;
    bText.Append(b.data, bVisible);
    bText.Append('\0');
    return vsk::detail::MbsNICmp(aText.Data(), bText.Data(), bLength) == 0;
}

// A component, its NUL bytes included, followed by a separator.
void AppendComponent(CByteBuilder& out, CSpan component, unsigned char separator) {
    out.Append(component.data, component.length);
    for (int i = 0; i < component.nuls; ++i)
        out.Append(static_cast<unsigned char>('\0'));
    out.Append(separator);
}

// The root (with its separator) in `out`; nothing without one.
void AppendRoot(CByteBuilder& out, const CTurned& text, const CRoot& root, unsigned char separator) {
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

CVskStr FullPath(const CVskStr& base, const CVskStr& path, const CMarks& m) {
    // A path with a drive or a network name is already full (seen as given,
    // slashes and all).
    if (path.Length() > 1 &&
        (ColonSecond(path.c_str()) || BeginsWithTwoSeparators(path.c_str(), path.Length(), m.separator)))
        return path;
    const CTurned relative(path, m.separator);
    const bool trailing = EndsWithSeparator(relative.Data(), relative.Length(), relative.Visible(), m.separator);

    // The prefix, then each component of the base followed by a separator;
    // the components of the path go on from there, ".." removing the last
    // one (never the prefix) and "." nothing.
    const CTurned turnedBase(base, m.separator);
    const CRoot root = SplitRoot(turnedBase, m.separator);
    CByteBuilder result;
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
        components.Empty()
            ? EndsWithSeparator(result.Data(), prefixLength, VisibleLength(result.Data(), prefixLength), m.separator)
            : true;
    if (!trailing && endsWithSeparator)
        result.Shorten(result.Size() - 1);
    return result.Make();
}

CVskStr RelPath(const CVskStr& base, const CVskStr& path, const CMarks& m) {
    const CTurned turnedBase(base, m.separator);
    const CTurned turnedPath(path, m.separator);
    const bool trailing =
        EndsWithSeparator(turnedPath.Data(), turnedPath.Length(), turnedPath.Visible(), m.separator);

    // Both texts are turned already, so the root split finds nothing more to
    // turn; without a root the rest is the whole text.
    const CRoot baseRoot = SplitRoot(turnedBase, m.separator);
    const CRoot pathRoot = SplitRoot(turnedPath, m.separator);
    CByteBuilder baseRootText;
    AppendRoot(baseRootText, turnedBase, baseRoot, m.separator);
    CByteBuilder pathRootText;
    AppendRoot(pathRootText, turnedPath, pathRoot, m.separator);
    // Different drives or shares have no relative form. An empty root (no
    // root at all) matches every root.
    if (!Matches({baseRootText.Data(), baseRootText.Size()}, {pathRootText.Data(), pathRootText.Size()}))
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
    CByteBuilder result;
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

CVskStr MakeFullPath(CVskStr base, CVskStr path) {
    return WithMarks([&](const CMarks& m) { return FullPath(base, path, m); });
}

CVskStr MakeRelPath(CVskStr base, CVskStr path) {
    return WithMarks([&](const CMarks& m) { return RelPath(base, path, m); });
}

} // namespace vsk

namespace vsk::detail {

bool SplitRootPath(CVskStr path, CVskStr& root, CVskStr& rest) {
    return WithMarks([&](const CMarks& m) {
        const CTurned text(path, m.separator);
        const CRoot split = SplitRoot(text, m.separator);
        if (!split.found) {
            root = Empty();
            rest = path;
            return false;
        }
        CByteBuilder rootText;
        AppendRoot(rootText, text, split, m.separator);
        root = rootText.Make();
        rest = CVskStr(text.Data() + split.restStart, text.Length() - split.restStart);
        return true;
    });
}

const CVskStr* PathSeparatorConstant() { return g_constants ? &g_constants->separator : nullptr; }

const CVskStr* ExtensionMarkConstant() { return g_constants ? &g_constants->extensionMark : nullptr; }

const CommonfunctionsHookTable kCommonfunctionsHookTable = {
    [](ModuleFileNameFn function) { return g_moduleFileName.Replace(function); },
};

} // namespace vsk::detail
