// VskDebug.cpp - debug print, failure reports and tracing.
#include "diagnostics/VskDebug.h"

VSK_DEFINE_UNIT(Vskdebug, nullptr, nullptr)
