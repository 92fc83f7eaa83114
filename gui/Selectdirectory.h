// Selectdirectory.h - the folder chooser.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Selectdirectory)
