// Vskmemorymanager.h - the fixed-size block pool.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskmemorymanager)
