// VskstrrefcntHooks.h - the counters of the string buffer pool, for tests
// and benchmarks. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

#include <cstddef>

namespace vsk::detail {

/// The unit's hooks, reached through vsk_InternalHooks.
struct VskstrrefcntHookTable {
    std::size_t (*bytesInUse)();
    std::size_t (*bytesReserved)();
};
/// Defined in Vskstrrefcnt.cpp; not exported.
extern const VskstrrefcntHookTable kVskstrrefcntHookTable;

/// Bytes of string buffers handed out by the library's pool and not yet
/// freed, and the bytes the pool holds in all (for tests and benchmarks).
inline std::size_t StringBufferPoolBytesInUse() {
    return vsk_InternalHooks()->vskstrrefcnt->bytesInUse();
}
inline std::size_t StringBufferPoolBytesReserved() {
    return vsk_InternalHooks()->vskstrrefcnt->bytesReserved();
}

} // namespace vsk::detail
