// VoskellibHooks.h - the hooks that tests of Voskellib.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

namespace vsk::package {

/// Called whenever a unit's counter makes a unit start (first `Initialize`) or
/// stop (last `Finalize`), with the unit's name and whether it is starting.
using UnitObserver = void (*)(const char* unit, bool starting);

/// Called right before a unit's start-up routine (`startUp` true) or exit
/// routine (`startUp` false) runs, with the unit's name. Units that only count
/// have no routines and are never reported here.
using UnitRoutineObserver = void (*)(const char* unit, bool startUp);

/// The unit's hooks, reached through vsk_InternalHooks.
struct VoskellibHookTable {
    UnitObserver (*setUnitObserver)(UnitObserver observer);
    UnitRoutineObserver (*setUnitRoutineObserver)(UnitRoutineObserver observer);
};
/// Defined in Voskellib.cpp; not exported.
extern const VoskellibHookTable kVoskellibHookTable;

/// Installs `observer` (nullptr removes it) and returns the previous one.
/// Thread safety: none; install it on the thread that drives the units.
inline UnitObserver SetUnitObserver(UnitObserver observer) {
    return vsk_InternalHooks()->voskellib->setUnitObserver(observer);
}

/// Installs `observer` (nullptr removes it) and returns the previous one.
/// Thread safety: none; install it on the thread that drives the units.
inline UnitRoutineObserver SetUnitRoutineObserver(UnitRoutineObserver observer) {
    return vsk_InternalHooks()->voskellib->setUnitRoutineObserver(observer);
}

} // namespace vsk::package
