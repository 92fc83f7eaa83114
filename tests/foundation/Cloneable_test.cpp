// Cloneable_test.cpp - vsk::CCloneable.
#include "foundation/Cloneable.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class CShape : public vsk::CCloneable {
public:
    explicit CShape(int sides) : m_sides(sides) {}
    CCloneable* Clone() const override { return new CShape(*this); }
    int Sides() const { return m_sides; }

private:
    int m_sides;
};

TEST(CCloneable, CloneThroughTheInterfaceGivesAnOwnedCopy) {
    CShape triangle(3);
    const vsk::CCloneable& base = triangle;
    std::unique_ptr<vsk::CCloneable> copy(base.Clone());
    ASSERT_NE(nullptr, dynamic_cast<CShape*>(copy.get()));
    EXPECT_EQ(3, static_cast<CShape*>(copy.get())->Sides());
    EXPECT_NE(&triangle, copy.get());
}

TEST(CCloneable, AssignmentCopiesOnlyTheDerivedStateAndReturnsTheTarget) {
    CShape a(3), b(4);
    a = b;
    EXPECT_EQ(4, a.Sides());
    // The interface's own assignment returns the object assigned to.
    vsk::CCloneable& base = a;
    const vsk::CCloneable& other = b;
    EXPECT_EQ(&base, &(base = other));
}

} // namespace
