// Filelogger.cpp - the rotating log file.
#include "diagnostics/Filelogger.h"

VSK_DEFINE_UNIT(Filelogger, nullptr, nullptr)
