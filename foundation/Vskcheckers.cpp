// Vskcheckers.cpp - internal checks (no exported operations).
#include "foundation/Vskcheckers.h"

VSK_DEFINE_UNIT(Vskcheckers, nullptr, nullptr)
