// Vskrefcnt.h - vsk::CVskRefCnt<T>, a counted owning pointer with a separate counter record.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskrefcnt)

namespace vsk {

/// Owns the object that the pointer `T` points to, together with every copy:
/// the copies share one counter record, and the last one to go deletes the
/// object (through its virtual destructor) and the record.
///
/// Thread safety: none; copies that share a record must stay on one thread.
///
/// Example:
///   vsk::CVskRefCnt<vskstr::CVskStr*> a(new vskstr::CVskStr("text"));
///   vsk::CVskRefCnt<vskstr::CVskStr*> b(a);   // a and b share; count 2
///   // the string is deleted when both a and b are gone
// The compiler (from version 12) reports a use after free when two owners
// of one record are destroyed in one inlined scope: it does not follow the
// count that keeps the record alive for the first one.
#if defined(__GNUC__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuse-after-free"
#endif

template <typename T>
class CVskRefCnt {
public:
    /// The shared counter record.
    struct CRefCnt {
        /// The shared object.
        T m_object;
        /// How many CVskRefCnt objects share the record.
        int m_count;
    };

    /// Takes ownership of `object` (may be nullptr) with a new record, count 1.
    explicit CVskRefCnt(T object) : m_record(new CRefCnt{object, 1}) {}

    /// Shares `other`'s record and adds one to its count.
    CVskRefCnt(const CVskRefCnt& other) : m_record(other.m_record) { ++m_record->m_count; }

    /// Shares `other`'s record: the same counting as a copy followed by the
    /// destruction of what this object held before.
    CVskRefCnt& operator=(const CVskRefCnt& other) {
        if (m_record != other.m_record) {
            ++other.m_record->m_count;
            Drop();
            m_record = other.m_record;
        }
        return *this;
    }

    ~CVskRefCnt() { Drop(); }

    /// The owned object.
    T Get() const { return m_record->m_object; }
    /// The owned object, for member access.
    T operator->() const { return m_record->m_object; }
    /// Number of CVskRefCnt objects that share the record.
    int GetCount() const { return m_record->m_count; }

private:
    void Drop() {
        CRefCnt* record = m_record;
        m_record = nullptr;
        if (--record->m_count != 0)
            return;
        if (record->m_object)
            delete record->m_object;
        record->m_object = nullptr;
        delete record;
    }

    CRefCnt* m_record;
};

#if defined(__GNUC__) && __GNUC__ >= 12
#pragma GCC diagnostic pop
#endif

} // namespace vsk
