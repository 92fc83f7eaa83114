// Vskstringbuffer.h - string buffer support (no exported operations).
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskstringbuffer)
