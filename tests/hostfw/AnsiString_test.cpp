// AnsiString_test.cpp - the host framework's string stand-in.
#include "hostfw/AnsiString.h"

#include <gtest/gtest.h>

namespace {

TEST(AnsiString, EmptyHasNoDataPointer) {
    System::AnsiString empty;
    EXPECT_EQ(nullptr, empty.data());
    EXPECT_STREQ("", empty.c_str());
    EXPECT_EQ(0, empty.Length());
    EXPECT_EQ(nullptr, System::AnsiString("").data());
}

TEST(AnsiString, CopiesKeepTheirOwnBytes) {
    System::AnsiString a("a\0b", 3);
    System::AnsiString b(a);
    EXPECT_EQ(3, b.Length());
    EXPECT_NE(a.data(), b.data());
    EXPECT_TRUE(a == b);
    b = System::AnsiString("x");
    EXPECT_FALSE(a == b);
    b = b;
    EXPECT_STREQ("x", b.c_str());
}

} // namespace
