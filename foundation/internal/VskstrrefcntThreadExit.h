// VskstrrefcntThreadExit.h - what the package frame calls when a thread
// ends, for the string buffers. Internal: not installed, not exported.
#pragma once

namespace vsk::detail {

/// Gives the calling thread's cache of free string buffer blocks back to the
/// pool's shared list (the thread may still make strings afterwards).
void ReleaseStringBufferCache() noexcept;

} // namespace vsk::detail
