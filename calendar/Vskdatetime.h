// Vskdatetime.h - the date-time value.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskdatetime)
