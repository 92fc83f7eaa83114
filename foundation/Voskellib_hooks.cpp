// Voskellib_hooks.cpp - the package's one entry to the units' hooks, the
// only name under which the DLL exports them.
#include "foundation/internal/InternalHooks.h"

#include "diagnostics/internal/FileloggerHooks.h"
#include "files/internal/CommonfunctionsHooks.h"
#include "files/internal/DirinfoHooks.h"
#include "files/internal/VskpipeHooks.h"
#include "foundation/internal/VoskellibHooks.h"
#include "foundation/internal/VskstrHooks.h"
#include "foundation/internal/VskstrrefcntHooks.h"
#include "foundation/internal/VskstrwHooks.h"
#include "gui/internal/SelectdirectoryHooks.h"
#include "gui/internal/VskoledndHooks.h"

namespace {

// Constant-initialised: the tables are there before any unit starts.
constexpr vsk::detail::InternalHookTables kTables = {
    &vsk::package::kVoskellibHookTable, &vsk::detail::kVskstrHookTable,
    &vsk::detail::kVskstrwHookTable,    &vsk::detail::kVskstrrefcntHookTable,
    &vsk::detail::kFileloggerHookTable, &vsk::detail::kCommonfunctionsHookTable,
    &vsk::detail::kDirinfoHookTable,    &vsk::detail::kVskpipeHookTable,
    &vsk::detail::kVskoledndHookTable,  &vsk::detail::kSelectdirectoryHookTable,
};

} // namespace

const vsk::detail::InternalHookTables* vsk_InternalHooks() {
    return &kTables;
}
