// Ubaserefcnt.cpp - CBaseRefCnt.
#include "foundation/Ubaserefcnt.h"

#include <climits>
#include <exception>

VSK_DEFINE_UNIT(Ubaserefcnt, nullptr, nullptr)

CBaseRefCnt::~CBaseRefCnt() noexcept(false) {}

void CBaseRefCnt::AddRef() {
    if (m_refCount == INT_MAX)
        throw std::exception();
    ++m_refCount;
}


