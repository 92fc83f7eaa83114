// Vskserializeif_test.cpp - vsk::CSerializeIF.
#include "foundation/Vskserializeif.h"

#include <gtest/gtest.h>

#include <cstring>

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

} // namespace
