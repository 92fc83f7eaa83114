// Voskellib_stdafx.cpp - the shared-declarations unit; it only counts.
#include "foundation/Voskellib_stdafx.h"

VSK_DEFINE_UNIT(Voskellib_stdafx, nullptr, nullptr)
