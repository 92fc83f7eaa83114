// CommonfunctionsParts.h - what the source files of unit Commonfunctions
// share: the path marks, the byte walks over a path's text and the builder
// of a result. Internal: not installed, not for programs.
#pragma once

#include "files/internal/CommonfunctionsHooks.h"
#include "foundation/Vskstr.h"
#include "platform/MbcsCursor.h"

#include <cstring>
#include <string>

namespace vsk::detail {

/// The two one-byte marks the path functions look for.
struct CPathMarks {
    unsigned char separator;
    unsigned char extension;
};

/// The marks, read from the unit's constants; outside the unit's lifetime
/// (before its start-up or after its exit routine) from a set of constants
/// of its own.
CPathMarks PathMarks();

/// Puts `fn` (the library's own when null) in place of GetWindowList's
/// append step and returns the one it replaces; the hook table's entry.
WindowListAppendFn ReplaceWindowListAppend(WindowListAppendFn fn);

// ---- Byte walks --------------------------------------------------------------
// The path functions read the characters in place instead of cutting strings
// apart: every string they would make costs allocations. Each walk gives what
// the string operations named beside it give; the double-byte cursor judges
// the bytes.

inline const unsigned char* PathBytes(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

/// Whether the first `n` bytes of `a` and `b` are the same. Compared in
/// place: the C runtime's comparison costs more under Wine than comparing
/// a path's component.
inline bool SameBytes(const char* a, const char* b, int n) {
    for (int i = 0; i < n; ++i) {
        if (a[i] != b[i])
            return false;
    }
    return true;
}

/// How many of the first `length` bytes come before the first NUL: the
/// C-string view, where the string's searches stop.
inline int VisibleLength(const char* s, int length) {
    return static_cast<int>(CMbcsCursor::FindNul(s, static_cast<std::size_t>(length)));
}

/// The bytes of a result. Up to 520 stay on the stack, so that making the
/// string at the end is its only allocation.
class CPathBuilder {
public:
    CPathBuilder() = default;
    CPathBuilder(const CPathBuilder&) = delete;
    CPathBuilder& operator=(const CPathBuilder&) = delete;

    void Append(const char* s, int n) {
        if (n <= 0)
            return;
        if (!m_onHeap) {
            if (m_size + n <= kLocal) {
                CopyBytes(m_local + m_size, s, n);
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
        if (!m_onHeap && m_size < kLocal) {
            m_local[m_size++] = static_cast<char>(c);
            return;
        }
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
    /// Every result, the empty one too, gets a buffer of its own: the
    /// strings' shared empty buffer counts its users without a lock, and
    /// these functions may run on several threads at once.
    vskstr::CVskStr Make() const { return vskstr::CVskStr(Data(), m_size); }

private:
    static constexpr int kLocal = 520;
    // Longer runs go to the C runtime's copy.
    static constexpr int kLongCopy = 32;

    // Most runs are a component or a separator: copied in place, as the C
    // runtime's copy of a few bytes costs more under Wine than the whole step.
    static void CopyBytes(char* to, const char* from, int n) {
        if (n > kLongCopy) {
            std::memcpy(to, from, n);
            return;
        }
        for (int i = 0; i < n; ++i)
            to[i] = from[i];
    }

    char m_local[kLocal];
    std::string m_heap;
    int m_size = 0;
    bool m_onHeap = false;
};

/// An empty result with a buffer of its own.
inline vskstr::CVskStr EmptyPathText() { return vskstr::CVskStr("", 0); }

} // namespace vsk::detail
