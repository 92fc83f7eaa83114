// VskDebug.h - debug print, failure reports and tracing.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskdebug)
