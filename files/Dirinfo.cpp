// Dirinfo.cpp - directory listing.
#include "files/Dirinfo.h"

VSK_DEFINE_UNIT(Dirinfo, nullptr, nullptr)
