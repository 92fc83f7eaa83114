// CommFuncBCB.h - host-framework helpers and regular expressions.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Commfuncbcb)
