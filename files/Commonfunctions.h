// Commonfunctions.h - path names and child processes.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Commonfunctions)
