// Vskolednd.h - OLE drag and drop of text and file lists.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskolednd)
