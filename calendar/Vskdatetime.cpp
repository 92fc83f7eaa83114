// Vskdatetime.cpp - the date-time value.
#include "calendar/Vskdatetime.h"

VSK_DEFINE_UNIT(Vskdatetime, nullptr, nullptr)
