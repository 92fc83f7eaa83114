// CommFuncBCB.cpp - host-framework helpers and regular expressions.
#include "framework/CommFuncBCB.h"

VSK_DEFINE_UNIT(Commfuncbcb, nullptr, nullptr)
