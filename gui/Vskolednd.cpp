// Vskolednd.cpp - OLE drag and drop of text and file lists.
#include "gui/Vskolednd.h"

VSK_DEFINE_UNIT(Vskolednd, nullptr, nullptr)
