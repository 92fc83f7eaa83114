// VskstrrefcntHooks.h - the counters of the string buffer pool, for tests
// and benchmarks. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <cstddef>

namespace vsk::detail {

/// Bytes of string buffers handed out by the library's pool and not yet
/// freed, and the bytes the pool holds in all (for tests and benchmarks).
VSK_API std::size_t StringBufferPoolBytesInUse();
VSK_API std::size_t StringBufferPoolBytesReserved();

} // namespace vsk::detail
