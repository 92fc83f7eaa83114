// Vskmem.cpp - the owned byte buffer.
#include "threading/Vskmem.h"

VSK_DEFINE_UNIT(Vskmem, nullptr, nullptr)
