// Ubaserefcnt.h - CBaseRefCnt, an intrusive reference count that deletes its object.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Ubaserefcnt)

/// Base of objects that count their own references and delete themselves when
/// the last one is released. A new object holds one reference, owned by its
/// maker; it must be allocated with `new`.
///
/// Thread safety: none; the count is a plain integer. Objects that share a
/// count must be used by one thread at a time.
class VSK_API CBaseRefCnt {
public:
    CBaseRefCnt() = default;
    /// Derived destructors may check their state and throw, so this one may
    /// let exceptions through.
    virtual ~CBaseRefCnt() noexcept(false);

    /// Adds one reference.
    /// Errors: throws std::exception when the count is already 2147483647;
    /// the count is then unchanged.
    void AddRef();

    /// Drops one reference; at 0 the object is destroyed and freed.
    void Release() {
        if (--m_refCount == 0)
            delete this;
    }

    /// The current number of references.
    int GetRefCount() const { return m_refCount; }

protected:
    /// The reference count; a new object starts with the one its creator owns.
    int m_refCount = 1;
};
