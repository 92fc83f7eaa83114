// VskWndImeFull.cpp - the input-method window.
#include "gui/VskWndImeFull.h"

VSK_DEFINE_UNIT(Vskwndimefull, nullptr, nullptr)
