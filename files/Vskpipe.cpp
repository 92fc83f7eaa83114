// Vskpipe.cpp - anonymous pipe pairs.
#include "files/Vskpipe.h"

VSK_DEFINE_UNIT(Vskpipe, nullptr, nullptr)
