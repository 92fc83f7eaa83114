// Vskpipe.h - vsk::CVskPipe, the two ends of one anonymous pipe.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskpipe)

namespace vsk {

/// Owns the read and the write end of one anonymous pipe. Both ends are the
/// invalid-handle value (all bits set) until `Create` succeeds; an end is
/// held when it is not that value.
///
/// Copying duplicates both ends into the copy, inheritable and with the same
/// access, so a copy can be handed to a child process while the original
/// stays open. The source's ends are duplicated as they are, even when they
/// are the invalid value.
///
/// Example:
///   vsk::CVskPipe pipe;
///   pipe.Create(1, 0);                 // inheritable, system buffer size
///   DWORD n;
///   WriteFile(pipe.WriteHandle(), "x", 1, &n, nullptr);
///
/// Thread safety: none; a pipe object is used by one thread at a time (its
/// two ends may be used from different threads through their handles).
/// Lifetime: the destructor closes the write end, then the read end.
class VSK_API CVskPipe {
public:
    /// Both ends invalid.
    CVskPipe();
    /// Duplicates both ends of `other`, inheritable, same access.
    CVskPipe(const CVskPipe& other);
    /// Closes the write and then the read end held, then duplicates both ends
    /// of `other` (inheritable, same access). Nothing happens on
    /// self-assignment.
    CVskPipe& operator=(const CVskPipe& other);
    /// Closes the write end, then the read end, each only when held.
    virtual ~CVskPipe();

    /// Makes the pipe: the read end goes to ReadHandle(), the write end to
    /// WriteHandle(). `inherit` non-zero makes both ends inheritable; `size`
    /// is the buffer size (0 lets the system choose). Ends already held are
    /// not closed first.
    /// Errors: std::runtime_error "CVskPipe::Create() :" when the pipe cannot
    /// be made.
    void Create(int inherit, unsigned long size);

    /// The read end (a HANDLE), or the invalid-handle value.
    void* ReadHandle() const { return m_read; }
    /// The write end (a HANDLE), or the invalid-handle value.
    void* WriteHandle() const { return m_write; }

    /// Closes the read end when held and makes it the invalid value, for a
    /// caller that gives that end to a child and keeps the other.
    void CloseRead();
    /// Closes the write end when held and makes it the invalid value; a
    /// reader of the pipe sees its end once every write end is closed.
    void CloseWrite();

private:
    void* m_read;
    void* m_write;
};

} // namespace vsk

namespace vsk::detail {

} // namespace vsk::detail
