// Vskcheckers.h - internal checks (no exported operations).
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskcheckers)
