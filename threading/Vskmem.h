// Vskmem.h - the owned byte buffer.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskmem)
