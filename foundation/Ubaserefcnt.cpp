// Ubaserefcnt.cpp - CBaseRefCnt.
#include "foundation/Ubaserefcnt.h"

VSK_DEFINE_UNIT(Ubaserefcnt, nullptr, nullptr)

CBaseRefCnt::~CBaseRefCnt() noexcept(false) {}
