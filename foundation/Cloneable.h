// Cloneable.h - vsk::CCloneable, the interface of objects that copy themselves.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Cloneable)

namespace vsk {

/// An object that can make a copy of itself through its base.
///
/// Example:
///   class CShape : public vsk::CCloneable {
///       CCloneable* Clone() const override { return new CShape(*this); }
///   };
class VSK_API CCloneable {
public:
    CCloneable() = default;
    /// Copies nothing: the interface has no state.
    CCloneable(const CCloneable&) {}
    /// Copies nothing: an interface has no state.
    CCloneable& operator=(const CCloneable&) { return *this; }
    virtual ~CCloneable();

    /// Returns a newly allocated copy of this object, which the caller owns
    /// and deletes through this interface.
    virtual CCloneable* Clone() const = 0;
};

} // namespace vsk
