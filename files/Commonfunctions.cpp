// Commonfunctions.cpp - path names and child processes.
#include "files/Commonfunctions.h"

VSK_DEFINE_UNIT(Commonfunctions, nullptr, nullptr)
