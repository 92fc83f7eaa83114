// VskFile.h - the file object and directory functions.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskfile)
