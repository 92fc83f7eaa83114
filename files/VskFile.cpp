// VskFile.cpp - the file object and directory functions.
#include "files/VskFile.h"

VSK_DEFINE_UNIT(Vskfile, nullptr, nullptr)
