// Vskstrrefcnt.h - CVskStrRefCntTC<T>, the shared, reference-counted text of the strings.
#pragma once

#include "foundation/Ubaserefcnt.h"
#include "foundation/Voskellib_stdafx.h"

#include <climits>
#include <string>

VSK_DECLARE_UNIT(Vskstrrefcnt)

/// The characters of one or more strings: a standard string of T with a
/// reference count. Made with one reference, deleted by its last `Release`.
/// A buffer whose count is above 1 is never written.
///
/// A buffer made as lasting for ever (the strings' shared empty buffers) has
/// the count `kLastsForEverCount` from the start to the end of the process:
/// `Share` and `Unshare` leave it alone, so it is never freed, its count is
/// never written, and it always counts as shared for a writer. Any number of
/// threads may share it at once. An ordinary buffer cannot reach that count:
/// each reference is a string object, and a 32-bit process has no room for
/// INT_MAX of them.
template <typename T>
class CVskStrRefCntTC : public CBaseRefCnt {
public:
    /// The count of a buffer that lasts for ever.
    static constexpr int kLastsForEverCount = INT_MAX;
    /// Chooses the constructor of a buffer that lasts for ever.
    struct LastingForEver {};

    CVskStrRefCntTC() = default;
    /// An empty buffer that lasts for ever.
    explicit CVskStrRefCntTC(LastingForEver) { m_refCount = kLastsForEverCount; }
    /// The characters of `s` up to its terminator.
    explicit CVskStrRefCntTC(const T* s) : m_text(s) {}
    /// Exactly `length` characters of `s`, terminators included.
    CVskStrRefCntTC(const T* s, std::size_t length) : m_text(TextOf(s, length)) {}

    /// Errors: throws std::runtime_error "CVskStrRefCntTC<T>::~CVskStrRefCntTC()
    /// 参照カウンタエラー" when the buffer is deleted while still referenced.
    ~CVskStrRefCntTC() noexcept(false) override;

    /// Buffers are made and freed once per string operation that needs a
    /// text of its own, so they come from a pool of equal-sized blocks inside
    /// the library: each thread keeps a few free blocks of its own (given
    /// back when the thread ends), and a block freed on any thread is reused.
    /// A class derived from this one with a larger size uses the heap.
    /// Errors: std::bad_alloc when no memory can be had.
    static void* operator new(std::size_t size);
    /// Gives the block back to the pool (or the heap, for a larger size).
    static void operator delete(void* p, std::size_t size) noexcept;

    /// True for a buffer made as lasting for ever.
    bool LastsForEver() const { return m_refCount == kLastsForEverCount; }
    /// One more reference for a string that shares this buffer; nothing on a
    /// buffer that lasts for ever.
    /// Errors: as AddRef.
    void Share() {
        if (!LastsForEver())
            AddRef();
    }
    /// Gives back a string's reference (deleting the buffer at 0); nothing on
    /// a buffer that lasts for ever.
    void Unshare() {
        if (!LastsForEver())
            Release();
    }

    /// The text, for changing it.
    std::basic_string<T>& Text() { return m_text; }
    /// The text.
    const std::basic_string<T>& Text() const { return m_text; }

private:
    /// The most units a standard string holds without allocating.
    static constexpr std::size_t kShortLength = 15 / sizeof(T);

    /// `length` units of `s`. A short text is copied by code made for its
    /// exact length: the C runtime's copy of a few bytes, called for a length
    /// it learns at run time, costs more than all the rest of making a buffer.
    template <std::size_t N = kShortLength>
    static std::basic_string<T> TextOf(const T* s, std::size_t length) {
        if constexpr (N == 0)
            return length == 0 ? std::basic_string<T>() : std::basic_string<T>(s, length);
        else
            return length == N ? std::basic_string<T>(s, N) : TextOf<N - 1>(s, length);
    }

    std::basic_string<T> m_text;
};

extern template class VSK_API CVskStrRefCntTC<char>;
extern template class VSK_API CVskStrRefCntTC<wchar_t>;

