// Thread.cpp - the thread class and its pool of finished threads.
#include "threading/Thread.h"

VSK_DEFINE_UNIT(Thread, nullptr, nullptr)
