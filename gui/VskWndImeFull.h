// VskWndImeFull.h - the input-method window.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskwndimefull)
