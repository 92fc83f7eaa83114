// Vskdib.cpp - the 24-bit device-independent bitmap.
#include "gui/Vskdib.h"

VSK_DEFINE_UNIT(Vskdib, nullptr, nullptr)
