// Filelogger.h - the rotating log file.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Filelogger)
