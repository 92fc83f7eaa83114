// Vskserializeif.h - vsk::CSerializeIF, the interface of objects that write and read themselves.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskserializeif)

namespace vsk {

/// An object that can be written out and read back. No class of the library
/// implements it; it is there for applications.
class VSK_API CSerializeIF {
public:
    CSerializeIF() = default;
    /// Copies nothing: the interface has no state.
    CSerializeIF(const CSerializeIF&) {}
    /// Copies nothing: an interface has no state.
    CSerializeIF& operator=(const CSerializeIF&) { return *this; }
    virtual ~CSerializeIF();

    /// Writes the object's state to `buffer`, `size` bytes at most; returns
    /// the number of bytes written, or -1 when `size` is too small.
    virtual int Serialize(void* buffer, int size) const = 0;
    /// Restores the object's state from `size` bytes at `buffer`; returns
    /// false when they do not hold a valid state.
    virtual bool Deserialize(const void* buffer, int size) = 0;
};

} // namespace vsk
