// VskstrrefcntLifetime.h - what the package frame calls for the string
// buffers when a thread ends and when the library is unloaded. Internal: not
// installed, not exported.
#pragma once

namespace vsk::detail {

/// Gives the calling thread's cache of free string buffer blocks back to the
/// pool's shared list (the thread may still make strings afterwards).
void ReleaseStringBufferCache() noexcept;

/// Called when a program unloads the library (not at the end of the
/// process): once the library's own strings are destroyed, the buffer pool
/// gives its memory, the threads' caches and its thread-local slot back to
/// the system, so that loading and unloading the library again and again
/// uses up neither.
void NoteLibraryUnloading() noexcept;

} // namespace vsk::detail
