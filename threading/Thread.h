// Thread.h - the thread class and its pool of finished threads.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Thread)
