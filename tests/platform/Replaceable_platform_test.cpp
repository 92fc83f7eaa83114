// Replaceable_platform_test.cpp - a system function that tests replace.
#include "platform/Replaceable.h"
#include "platform/Win32.h"

#include <gtest/gtest.h>

using vsk::detail::CReplaceable;

namespace {

using TickFn = DWORD(__stdcall*)();

DWORD __stdcall FixedTick() { return 42; }
DWORD __stdcall OtherTick() { return 7; }

} // namespace

TEST(Replaceable, CallsTheSystemsFunctionUntilReplaced) {
    CReplaceable<TickFn> tick{GetTickCount};
    const DWORD before = GetTickCount();
    EXPECT_GE(tick(), before);
    EXPECT_EQ(static_cast<TickFn>(GetTickCount), tick.Replace(FixedTick));
    EXPECT_EQ(42u, tick());
}

TEST(Replaceable, ReplaceGivesThePreviousOneBackAndNullRestoresTheSystems) {
    CReplaceable<TickFn> tick{FixedTick};
    EXPECT_EQ(static_cast<TickFn>(FixedTick), tick.Replace(OtherTick));
    EXPECT_EQ(7u, tick());
    EXPECT_EQ(static_cast<TickFn>(OtherTick), tick.Replace(nullptr));
    EXPECT_EQ(42u, tick()) << "null puts the function it was made with back";
}

TEST(Replaceable, PassesTheArgumentsThrough) {
    CReplaceable<BOOL(WINAPI*)(LPCSTR, DWORD)> setAttributes{SetFileAttributesA};
    SetLastError(NO_ERROR);
    EXPECT_FALSE(setAttributes("Z:\\no\\such\\folder\\file.txt", FILE_ATTRIBUTE_NORMAL));
    EXPECT_NE(static_cast<DWORD>(NO_ERROR), GetLastError());
}
