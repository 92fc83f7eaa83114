// Vskserializeif_test.cpp - vsk::CSerializeIF.
#include "foundation/Vskserializeif.h"

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

namespace {

class CPoint : public vsk::CSerializeIF {
public:
    int x = 0, y = 0;
    int Serialize(void* buffer, int size) const override {
        if (size < 8)
            return -1;
        std::memcpy(buffer, &x, 4);
        std::memcpy(static_cast<char*>(buffer) + 4, &y, 4);
        return 8;
    }
    bool Deserialize(const void* buffer, int size) override {
        if (size != 8)
            return false;
        std::memcpy(&x, buffer, 4);
        std::memcpy(&y, static_cast<const char*>(buffer) + 4, 4);
        return true;
    }
};

TEST(CSerializeIF, WrittenObjectReadsBackThroughTheInterface) {
    CPoint a;
    a.x = 3;
    a.y = -4;
    char bytes[8];
    const vsk::CSerializeIF& out = a;
    ASSERT_EQ(8, out.Serialize(bytes, sizeof bytes));
    CPoint b;
    vsk::CSerializeIF& in = b;
    ASSERT_TRUE(in.Deserialize(bytes, 8));
    EXPECT_EQ(3, b.x);
    EXPECT_EQ(-4, b.y);
    EXPECT_EQ(-1, out.Serialize(bytes, 7));
}

// What the interface itself fixes, which a class of the test cannot supply:
// it is abstract, holds no data (only the table of its virtual operations),
// and deleting through it runs the implementing class's destructor.
TEST(CSerializeIF, IsAnAbstractInterfaceWithoutDataAndAVirtualDestructor) {
    static_assert(std::is_abstract_v<vsk::CSerializeIF>);
    static_assert(std::has_virtual_destructor_v<vsk::CSerializeIF>);
    EXPECT_EQ(sizeof(void*), sizeof(vsk::CSerializeIF));
    EXPECT_EQ(sizeof(vsk::CSerializeIF) + 8, sizeof(CPoint));
}

class CCounted : public CPoint {
public:
    explicit CCounted(int& destroyed) : m_destroyed(destroyed) {}
    ~CCounted() override { ++m_destroyed; }

private:
    int& m_destroyed;
};

TEST(CSerializeIF, DeletingThroughTheInterfaceRunsTheImplementersDestructor) {
    int destroyed = 0;
    vsk::CSerializeIF* object = new CCounted(destroyed);
    delete object;
    EXPECT_EQ(1, destroyed);
}

// The table of virtual operations: the destructor first (two entries in this
// ABI: the one that destroys and the one that also frees), then the operation
// that writes the object out, then the one that reads it back.
TEST(CSerializeIF, SlotsAreTheDestructorThenWriteThenRead) {
    CPoint point;
    point.x = 7;
    point.y = 9;
    void* const* table = *reinterpret_cast<void* const* const*>(static_cast<vsk::CSerializeIF*>(&point));
    using Write = int(__thiscall*)(const void*, void*, int);
    using Read = bool(__thiscall*)(void*, const void*, int);
    char bytes[8] = {};
    EXPECT_EQ(8, reinterpret_cast<Write>(table[2])(&point, bytes, 8));
    int x = 0;
    std::memcpy(&x, bytes, 4);
    EXPECT_EQ(7, x);
    const char other[8] = {1, 0, 0, 0, 2, 0, 0, 0};
    EXPECT_TRUE(reinterpret_cast<Read>(table[3])(&point, other, 8));
    EXPECT_EQ(1, point.x);
    EXPECT_EQ(2, point.y);
}

TEST(CSerializeIF, CopyAndAssignmentCopyNoState) {
    CPoint a;
    a.x = 1;
    CPoint b;
    b.x = 2;
    vsk::CSerializeIF& target = b;
    const vsk::CSerializeIF& source = a;
    EXPECT_EQ(&target, &(target = source));
    EXPECT_EQ(2, b.x); // the interface's assignment leaves the implementer's data alone
}

} // namespace
