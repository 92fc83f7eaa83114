// Vskwnd.cpp - the window class and message loop.
#include "gui/Vskwnd.h"

VSK_DEFINE_UNIT(Vskwnd, nullptr, nullptr)
