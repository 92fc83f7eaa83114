// Vskwnd.h - the window class and message loop.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskwnd)
