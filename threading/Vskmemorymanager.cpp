// Vskmemorymanager.cpp - the fixed-size block pool.
#include "threading/Vskmemorymanager.h"

VSK_DEFINE_UNIT(Vskmemorymanager, nullptr, nullptr)
