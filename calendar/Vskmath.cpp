// Vskmath.cpp - plane geometry.
#include "calendar/Vskmath.h"

VSK_DEFINE_UNIT(Vskmath, nullptr, nullptr)
