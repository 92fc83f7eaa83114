// Vskpipe.h - anonymous pipe pairs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskpipe)
