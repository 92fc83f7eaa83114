// AnsiString_test.cpp - the host framework's string stand-in.
#include "hostfw/AnsiString.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(AnsiString, EmptyHasNoDataPointer) {
    System::AnsiString empty;
    EXPECT_EQ(nullptr, empty.data());
    EXPECT_STREQ("", empty.c_str());
    EXPECT_EQ(0, empty.Length());
    EXPECT_EQ(nullptr, System::AnsiString("").data());
}

TEST(AnsiString, CopiesShareOneBufferAndAssignmentLetsGoOfIt) {
    System::AnsiString a("a\0b", 3);
    System::AnsiString b(a);
    EXPECT_EQ(3, b.Length());
    EXPECT_EQ(a.data(), b.data());
    EXPECT_TRUE(a == b);
    b = System::AnsiString("x");
    EXPECT_FALSE(a == b);
    b = b;
    EXPECT_STREQ("x", b.c_str());
}

TEST(AnsiString, SharedBufferOutlivesTheOriginal) {
    auto* original = new System::AnsiString("shared text");
    System::AnsiString copy(*original);
    delete original;
    EXPECT_STREQ("shared text", copy.c_str());
    EXPECT_EQ(11, copy.Length());
}

TEST(AnsiString, CopiesAcrossFourThreadsLeaveTheSharedTextIntact) {
    const System::AnsiString source("\x95\x5C text");  // 表 and a tail
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&source] {
            for (int i = 0; i < 100000; ++i) {
                System::AnsiString copy(source);
                System::AnsiString other;
                other = copy;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // Had one increment or decrement been lost, the buffer would be freed or
    // leaked by now; freeing it would let the next allocation overwrite it.
    std::vector<System::AnsiString> fresh;
    for (int i = 0; i < 1000; ++i)
        fresh.emplace_back("xxxxxxxxxxxxxxx");
    EXPECT_STREQ("\x95\x5C text", source.c_str());
    System::AnsiString last(source);
    EXPECT_EQ(source.data(), last.data());
}

} // namespace
