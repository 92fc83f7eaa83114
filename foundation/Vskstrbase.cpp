// Vskstrbase.cpp - CVskStrBase<T> for char and wchar_t.
#include "foundation/Vskstrbase.h"

#include "diagnostics/Filelogger.h"

#include "foundation/Vskstrw.h"
#include "platform/Mbcs.h"
#include "platform/MbcsCursor.h"
#include "platform/ReplaceMatches.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <stdexcept>
#include <string>

VSK_DEFINE_UNIT(Vskstrbase, nullptr, nullptr)

namespace vsk::detail {

void ThrowUnsupportedCharSize(const char* method) {
    // The text carries its own newline, and the line adds one more.
    FileLogger_PutLine("cannot converted !!\n");
    throw std::logic_error(std::string("指定のTでは実装されていないメソッド。CVskStrbase<T>::") + method);
}

} // namespace vsk::detail

namespace {

int ClampIndex(int index, int length) { return std::min(std::max(index, 0), length); }

template <typename T>
int CStringLength(const T* s) {
    return static_cast<int>(std::char_traits<T>::length(s));
}

// The first occurrence of `pattern` (non-empty C string) in the C string
// `text`, chosen by the width of T.
template <typename T>
const T* FindUnit(const T* text, const T* pattern) {
    if constexpr (sizeof(T) == 1) {
        return reinterpret_cast<const T*>(vsk::detail::MbsStr(
            reinterpret_cast<const char*>(text), reinterpret_cast<const char*>(pattern)));
    } else if constexpr (sizeof(T) == 2) {
        return reinterpret_cast<const T*>(std::wcsstr(reinterpret_cast<const wchar_t*>(text),
                                                      reinterpret_cast<const wchar_t*>(pattern)));
    } else if constexpr (sizeof(T) == 4) {
        auto* found = vskstr::__ucs4str(reinterpret_cast<const unsigned long*>(text), CStringLength(text),
                                        reinterpret_cast<const unsigned long*>(pattern),
                                        CStringLength(pattern));
        return reinterpret_cast<const T*>(found);
    } else {
        vsk::detail::ThrowUnsupportedCharSize("Pos()");
    }
}

// The first NUL among the first `n` units of `s`, or nullptr. Searched in
// place, a word at a time for bytes: the C runtime's search costs more than
// the whole rest of taking a short piece.
template <typename T>
const T* FirstNul(const T* s, std::size_t n) {
    if constexpr (sizeof(T) == 1) {
        const std::size_t i = vsk::detail::CMbcsCursor::FindNul(reinterpret_cast<const char*>(s), n);
        return i < n ? s + i : nullptr;
    } else {
        const T* nul = std::find(s, s + n, T());
        return nul < s + n ? nul : nullptr;
    }
}

// SubStr's rarer cases, kept out of its usual one.

// The `len` units from `start` of a shared text whose first NUL (or end)
// lies before the range's end: the units before that NUL, then NULs.
template <typename T>
__attribute__((noinline)) CVskStrRefCntTC<T>* PieceUpToTheNul(const T* view, int length, int start, int len) {
    const T* nul = FirstNul(view, static_cast<std::size_t>(length));
    const int viewLength = nul ? static_cast<int>(nul - view) : length;
    auto* own = new CVskStrRefCntTC<T>();
    try {
        if (start < viewLength)
            own->Text().assign(view + start, static_cast<std::size_t>(std::min(len, viewLength - start)));
        own->Text().resize(static_cast<std::size_t>(len), T());
    } catch (...) {
        own->Release();
        throw;
    }
    return own;
}

// A private text cut to the `len` units from `start`, NUL units and the
// terminator included, NULs after that.
template <typename T>
__attribute__((noinline)) void CutInPlace(std::basic_string<T>& text, int start, int len) {
    if (start >= static_cast<int>(text.size()))
        text.clear();
    else
        text.erase(0, start);
    text.resize(static_cast<std::size_t>(len), T());
}

} // namespace

template <typename T>
CVskStrBase<T>::CVskStrBase() : m_buffer(SharedEmptyBuffer()) {}

template <typename T>
CVskStrBase<T>::CVskStrBase(const CVskStrBase& other) : m_buffer(other.m_buffer) {
    m_buffer->Share();
}

template <typename T>
CVskStrBase<T>& CVskStrBase<T>::operator=(const CVskStrBase& other) {
    if (this != &other && m_buffer != other.m_buffer) {
        other.m_buffer->Share();
        m_buffer->Unshare();
        m_buffer = other.m_buffer;
    }
    return *this;
}

// Made on first use (the one-time initialisation is safe on any thread) and
// lasting for ever: strings share it without counting, so default strings
// made and dropped on many threads at once write nothing shared, and writers
// always find it shared and copy it first.
template <typename T>
typename CVskStrBase<T>::Buffer* CVskStrBase<T>::SharedEmptyBuffer() {
    static Buffer* const empty = new Buffer(typename Buffer::LastingForEver());
    return empty;
}

template <typename T>
void CVskStrBase<T>::MakeUnique() {
    if (m_buffer->GetRefCount() <= 1)
        return;
    Buffer* own = new Buffer(m_buffer->Text().c_str());
    m_buffer->Unshare();
    m_buffer = own;
}

template <typename T>
void CVskStrBase<T>::CutAtNul() {
    std::basic_string<T>& text = MutableText();
    const auto nul = text.find(T());
    if (nul != std::basic_string<T>::npos)
        text.erase(nul);
}

template <typename T>
int CVskStrBase<T>::Pos(const CVskStrBase& pattern, int start) const {
    const T* pat = pattern.c_str();
    if (pat[0] == T())
        return -1;
    const T* text = c_str();
    const T* found = FindUnit(text + ClampIndex(start, Length()), pat);
    return found ? static_cast<int>(found - text) : -1;
}

template <typename T>
int CVskStrBase<T>::LastChar() const {
    const int length = Length();
    if (length == 0)
        return -1;
    if constexpr (sizeof(T) == 1) {
        // Judged from the start as the C runtime's _ismbstrail judges it:
        // a NUL before the last byte ends the text there.
        const vsk::detail::CMbcsCursor cursor;
        const char* text = reinterpret_cast<const char*>(c_str());
        return cursor.IsTrailInCString(text, static_cast<std::size_t>(length - 1)) ? length - 2 : length - 1;
    } else if constexpr (sizeof(T) == 2 || sizeof(T) == 4) {
        return length - 1;
    } else {
        vsk::detail::ThrowUnsupportedCharSize("LastChar()");
    }
}

template <typename T>
int CVskStrBase<T>::Strnicmp(int pos, const CVskStrBase& other, int otherPos, int n) const {
    pos = ClampIndex(pos, Length());
    otherPos = ClampIndex(otherPos, other.Length());
    if (n < 0)
        n = other.Length() - otherPos;
    const T* a = c_str() + pos;
    const T* b = other.c_str() + otherPos;
    if constexpr (sizeof(T) == 1) {
        // The C runtime's comparison, with a lead byte right before the end
        // taken as the end (Wine's _mbsnicmp reads past the string there).
        return vsk::detail::MbsNICmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b),
                                     static_cast<std::size_t>(n));
    } else if constexpr (sizeof(T) == 2) {
        return _wcsnicmp(reinterpret_cast<const wchar_t*>(a), reinterpret_cast<const wchar_t*>(b), n);
    } else if constexpr (sizeof(T) == 4) {
        return vskstr::__ucs4strnicmp(reinterpret_cast<const unsigned long*>(a), std::min(n, Length() - pos),
                                      reinterpret_cast<const unsigned long*>(b),
                                      std::min(n, other.Length() - otherPos));
    } else {
        vsk::detail::ThrowUnsupportedCharSize("Strnicmp()");
    }
}

template <typename T>
CVskStrBase<T>& CVskStrBase<T>::SubStr(int start, int len) {
    if (len < 0)
        throw std::length_error("CVskStrBase<T>::SubStr()");
    // The range is read from the (private) text and its terminating NUL; units
    // further out are taken as NUL too rather than read from memory this
    // string does not own. A negative start is taken as 0.
    start = std::max(start, 0);
    if (m_buffer->GetRefCount() <= 1) {
        CutInPlace(m_buffer->Text(), start, len);
        return *this;
    }
    // A private copy would hold the units before the first NUL: the range is
    // taken from those directly, without copying the rest first. Only the
    // units up to the range's end are searched for a NUL, so a short piece of
    // a long text costs what the piece costs.
    const T* view = c_str();
    const std::size_t rangeEnd = static_cast<std::size_t>(start) + static_cast<std::size_t>(len);
    Buffer* own = rangeEnd <= static_cast<std::size_t>(Length()) && !FirstNul(view, rangeEnd)
                      ? new Buffer(view + start, static_cast<std::size_t>(len)) // the usual case
                      : PieceUpToTheNul(view, Length(), start, len);
    m_buffer->Unshare();
    m_buffer = own;
    return *this;
}

template <typename T>
CVskStrBase<T>& CVskStrBase<T>::Replace(int first, int last, const CVskStrBase& with) {
    if (first < 0 || first > Length())
        throw std::out_of_range("CVskStrBase<T>::Replace()");
    // When `with` shares this string's buffer, making this string private
    // leaves the old buffer to `with`.
    std::basic_string<T>& text = MutableText();
    // An inverted range is empty: `with` is inserted at `first`.
    text.replace(first, std::max(last - first + 1, 0), with.Text());
    return *this;
}

// The shared replace steps over this string: the search is Pos's, and the
// text becomes private at the first match only.
template <typename T>
CVskStrBase<T>& CVskStrBase<T>::ReplaceAll(const CVskStrBase& pattern, const CVskStrBase& with) {
    if (&with == this) {
        // The replacement text is this string, which each replacement
        // changes: replace, then search on after the new length.
        for (int from = 0, p; (p = Pos(pattern, from)) >= 0; from = p + with.Length())
            Replace(p, p + pattern.Length() - 1, with);
        return *this;
    }
    if (pattern.c_str()[0] == T())
        return *this; // Pos finds no empty pattern

    struct CSteps {
        CSteps(CVskStrBase& text, const CVskStrBase& find, const CVskStrBase& by)
            : self(text), pattern(find), with(by), search(find.c_str()) {}

        CVskStrBase& self;
        const CVskStrBase& pattern;
        const CVskStrBase& with;
        const T* search;
        std::basic_string<T> patternCopy;
        std::basic_string<T> insert;
        std::basic_string<T>* source = nullptr;
        std::basic_string<T> result;

        std::size_t Find(std::size_t from) {
            const T* text = self.c_str();
            const T* found = FindUnit(text + from, search);
            return found ? static_cast<std::size_t>(found - text) : vsk::detail::kNoMatch;
        }
        // `pattern` or `with` may share this string's text, which is made
        // private here: both are copied first.
        std::size_t Begin() {
            patternCopy = pattern.c_str();
            search = patternCopy.c_str();
            insert = with.Text();
            source = &self.MutableText();
            result.reserve(source->size());
            return source->size();
        }
        void Take(std::size_t from, std::size_t to) { result.append(*source, from, to - from); }
        void Insert() { result.append(insert); }
    };
    CSteps steps(*this, pattern, with);
    if (vsk::detail::ReplaceEveryMatch(steps, static_cast<std::size_t>(pattern.Length())) > 0)
        steps.source->swap(steps.result);
    return *this;
}

template class CVskStrBase<char>;
template class CVskStrBase<wchar_t>;
