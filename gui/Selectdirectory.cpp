// Selectdirectory.cpp - the folder chooser.
#include "gui/Selectdirectory.h"

VSK_DEFINE_UNIT(Selectdirectory, nullptr, nullptr)
