// VskoledndHooks.h - the hooks that tests of Vskolednd.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"
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
VSK_API DragDropObjectCounts GetDragDropObjectCounts();

/// The GlobalAlloc the data providers call; tests replace it to make an
/// allocation fail (nullptr restores the system's). Returns the previous one.
using GlobalAllocFn = HGLOBAL(__stdcall*)(UINT flags, SIZE_T bytes);
VSK_API GlobalAllocFn SetDragDropGlobalAlloc(GlobalAllocFn fn);

} // namespace vsk::detail
