// VskoledndHooks.h - the hooks that tests of Vskolednd.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"
#include "platform/Win32.h"

namespace vsk::detail {

/// Counts of the library's drag-and-drop COM objects made and destroyed in
/// this process, for tests of their reference counting.
struct DragDropObjectCounts {
    long targets, targetsDestroyed;
    long dataObjects, dataObjectsDestroyed;
    long enumerators, enumeratorsDestroyed;
    long sources, sourcesDestroyed;
};

/// The GlobalAlloc the data providers call.
using GlobalAllocFn = HGLOBAL(__stdcall*)(UINT flags, SIZE_T bytes);

/// The unit's hooks, reached through vsk_InternalHooks.
struct VskoledndHookTable {
    DragDropObjectCounts (*getDragDropObjectCounts)();
    GlobalAllocFn (*setDragDropGlobalAlloc)(GlobalAllocFn fn);
};
/// Defined in Vskolednd.cpp; not exported.
extern const VskoledndHookTable kVskoledndHookTable;

/// The counts so far.
inline DragDropObjectCounts GetDragDropObjectCounts() {
    return vsk_InternalHooks()->vskolednd->getDragDropObjectCounts();
}

/// Replaces the GlobalAlloc of the data providers; tests make an allocation
/// fail (nullptr restores the system's). Returns the previous one.
inline GlobalAllocFn SetDragDropGlobalAlloc(GlobalAllocFn fn) {
    return vsk_InternalHooks()->vskolednd->setDragDropGlobalAlloc(fn);
}

} // namespace vsk::detail
