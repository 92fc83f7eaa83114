// Vskstringbuffer.cpp - string buffer support (no exported operations).
#include "foundation/Vskstringbuffer.h"

VSK_DEFINE_UNIT(Vskstringbuffer, nullptr, nullptr)
