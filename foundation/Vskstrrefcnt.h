// Vskstrrefcnt.h - CVskStrRefCntTC<T>, the shared, reference-counted text of the strings.
#pragma once

#include "foundation/Ubaserefcnt.h"
#include "foundation/Voskellib_stdafx.h"

#include <string>

VSK_DECLARE_UNIT(Vskstrrefcnt)

/// The characters of one or more strings: a standard string of T with a
/// reference count. Made with one reference, deleted by its last `Release`.
/// A buffer whose count is above 1 is never written.
template <typename T>
class CVskStrRefCntTC : public CBaseRefCnt {
public:
    CVskStrRefCntTC() = default;
    /// The characters of `s` up to its terminator.
    explicit CVskStrRefCntTC(const T* s) : m_text(s) {}
    /// Exactly `length` characters of `s`, terminators included.
    CVskStrRefCntTC(const T* s, std::size_t length) : m_text(s, length) {}

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

    /// The text, for changing it.
    std::basic_string<T>& Text() { return m_text; }
    /// The text.
    const std::basic_string<T>& Text() const { return m_text; }

private:
    std::basic_string<T> m_text;
};

extern template class VSK_API CVskStrRefCntTC<char>;
extern template class VSK_API CVskStrRefCntTC<wchar_t>;

