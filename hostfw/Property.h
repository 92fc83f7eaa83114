// Property.h - read-only and read-write members that look like fields but ask
// their owner each time, so that values such as an item count always come
// from the system object underneath.
#pragma once

namespace hostfw {

/// A value read through `Get` of its owner each time it is used.
/// Not copyable: it belongs to one owner object.
template <typename Owner, typename T, T (Owner::*Get)() const>
class TReadProperty {
public:
    /// A property of `owner`.
    explicit TReadProperty(const Owner* owner) : m_owner(owner) {}
    TReadProperty(const TReadProperty&) = delete;
    TReadProperty& operator=(const TReadProperty&) = delete;
    /// The value, from the owner's getter.
    operator T() const { return (m_owner->*Get)(); }
    /// For pointer values: `node->Parent->Count`.
    T operator->() const { return (m_owner->*Get)(); }

private:
    const Owner* m_owner;
};

/// A value read through `Get` and written through `Set` of its owner.
template <typename Owner, typename T, T (Owner::*Get)() const, void (Owner::*Set)(T)>
class TProperty {
public:
    /// A property of `owner`.
    explicit TProperty(Owner* owner) : m_owner(owner) {}
    TProperty(const TProperty&) = delete;
    TProperty& operator=(const TProperty&) = delete;
    /// The value, from the owner's getter.
    operator T() const { return (m_owner->*Get)(); }
    /// Sets the value through the owner's setter.
    TProperty& operator=(T value) {
        (m_owner->*Set)(value);
        return *this;
    }

private:
    Owner* m_owner;
};

/// An indexed value, `Strings[i]`, read through `Get(i)` of its owner.
template <typename Owner, typename T, T (Owner::*Get)(int) const>
class TIndexedReadProperty {
public:
    /// A property of `owner`.
    explicit TIndexedReadProperty(const Owner* owner) : m_owner(owner) {}
    TIndexedReadProperty(const TIndexedReadProperty&) = delete;
    TIndexedReadProperty& operator=(const TIndexedReadProperty&) = delete;
    /// The value at `index`, from the owner's getter.
    T operator[](int index) const { return (m_owner->*Get)(index); }

private:
    const Owner* m_owner;
};

} // namespace hostfw
