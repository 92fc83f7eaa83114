// InternalHooks.h - the one entry through which tests reach the library's
// hooks. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

// The hooks (replaceable system calls, observers, counters) are no part of
// the library's interface, so the DLL does not export them under their own
// names. Each unit that has some gathers them in a table of function
// pointers, and one C entry hands out the tables of all units; the unit's
// <Unit>Hooks.h declares the table and, under the hooks' names, inline
// functions that call through it.

namespace vsk::package {
struct VoskellibHookTable;
} // namespace vsk::package

namespace vsk::detail {

struct VskstrHookTable;
struct VskstrwHookTable;
struct VskstrrefcntHookTable;
struct FileloggerHookTable;
struct CommonfunctionsHookTable;
struct DirinfoHookTable;
struct VskpipeHookTable;
struct VskoledndHookTable;
struct SelectdirectoryHookTable;

/// The hook tables of every unit that has hooks, each defined in the unit's
/// source.
struct InternalHookTables {
    const vsk::package::VoskellibHookTable* voskellib;
    const VskstrHookTable* vskstr;
    const VskstrwHookTable* vskstrw;
    const VskstrrefcntHookTable* vskstrrefcnt;
    const FileloggerHookTable* filelogger;
    const CommonfunctionsHookTable* commonfunctions;
    const DirinfoHookTable* dirinfo;
    const VskpipeHookTable* vskpipe;
    const VskoledndHookTable* vskolednd;
    const SelectdirectoryHookTable* selectdirectory;
};

} // namespace vsk::detail

/// The tables of the library's hooks; never null, the same for the life of
/// the DLL. Thread safety: any thread may call it.
extern "C" VSK_API const vsk::detail::InternalHookTables* vsk_InternalHooks();
