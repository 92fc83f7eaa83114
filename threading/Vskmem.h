// Vskmem.h - the owned byte buffer.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskmem)

/// An owned, resizable block of raw bytes from the C runtime heap (malloc,
/// realloc, free). Copies are deep. Allocation failures become exceptions
/// instead of null pointers, and a failed operation leaves the object as it was.
///
/// Example:
///   CVskMem mem(16, 0xAB);   // sixteen bytes of 0xAB
///   mem.Resize(32);          // the first sixteen bytes are kept
///   mem.Resize(0);           // GetSize() == 0; a one-byte block stays held
///
/// Thread safety: none; one object belongs to one thread at a time.
class VSK_API CVskMem {
public:
    /// An empty object: null buffer, size 0.
    CVskMem();
    /// malloc(size); the contents are undefined. malloc(0) is asked for a
    /// size of 0 too (this C runtime gives a valid block).
    /// Errors: std::runtime_error "CVskMem::CVskMem()" when malloc fails.
    explicit CVskMem(unsigned int size);
    /// malloc(size), then every byte set to `fill`.
    /// Errors: std::runtime_error "CVskMem::CVskMem()" when malloc fails.
    CVskMem(unsigned int size, unsigned char fill);
    /// Starts empty, then assigns from `other`.
    /// Errors: as operator=.
    CVskMem(const CVskMem& other);
    /// Frees the buffer.
    virtual ~CVskMem();

    /// Deep copy. A buffer of another size is replaced by a new malloc of
    /// `other`'s size (also of size 0); a buffer of the same size is reused.
    /// Errors: std::runtime_error "CVskMem::operator=()" when malloc fails;
    /// the object keeps its buffer and size.
    CVskMem& operator=(const CVskMem& other);

    /// Changes the size with realloc, keeping the leading bytes; new bytes are
    /// undefined. The current size is a no-op. Resize(0) reports size 0 but
    /// keeps a one-byte block. Returns true.
    /// Errors: std::runtime_error "CVskMem::Resize()" when realloc fails; the
    /// buffer and size stay as they were.
    bool Resize(unsigned int size);

    /// The block, or null for an empty object.
    void* GetBuffer() const { return m_buffer; }
    /// The size in bytes the object reports (0 after Resize(0)).
    unsigned int GetSize() const { return m_size; }

private:
    void* m_buffer;
    unsigned int m_size;
};
