// Vskstrrefcnt.cpp - CVskStrRefCntTC<T> for char and wchar_t.
#include "foundation/Vskstrrefcnt.h"

#include <stdexcept>

VSK_DEFINE_UNIT(Vskstrrefcnt, nullptr, nullptr)

template <typename T>
CVskStrRefCntTC<T>::~CVskStrRefCntTC() noexcept(false) {
    if (m_refCount > 0)
        throw std::runtime_error("CVskStrRefCntTC<T>::~CVskStrRefCntTC() 参照カウンタエラー");
}

template class CVskStrRefCntTC<char>;
template class CVskStrRefCntTC<wchar_t>;
