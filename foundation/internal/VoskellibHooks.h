// VoskellibHooks.h - the hooks that tests of Voskellib.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

namespace vsk::package {

/// Called whenever a unit's counter makes a unit start (first `Initialize`) or
/// stop (last `Finalize`), with the unit's name and whether it is starting.
using UnitObserver = void (*)(const char* unit, bool starting);

/// Installs `observer` (nullptr removes it) and returns the previous one.
/// Thread safety: none; install it on the thread that drives the units.
VSK_API UnitObserver SetUnitObserver(UnitObserver observer);

/// Called right before a unit's start-up routine (`startUp` true) or exit
/// routine (`startUp` false) runs, with the unit's name. Units that only count
/// have no routines and are never reported here.
using UnitRoutineObserver = void (*)(const char* unit, bool startUp);

/// Installs `observer` (nullptr removes it) and returns the previous one.
/// Thread safety: none; install it on the thread that drives the units.
VSK_API UnitRoutineObserver SetUnitRoutineObserver(UnitRoutineObserver observer);

} // namespace vsk::package
