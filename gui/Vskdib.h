// Vskdib.h - the 24-bit device-independent bitmap.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskdib)
