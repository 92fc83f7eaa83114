// Dirinfo.h - directory listing.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Dirinfo)
