// LastError_platform_test.cpp - the keeper that puts the thread's last error
// back after clean-up calls.
#include "platform/LastError.h"

#include <gtest/gtest.h>

namespace {

using vsk::detail::CLastErrorKeeper;

TEST(CLastErrorKeeper, PutsBackTheErrorAClosingCallReplaced) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    {
        const CLastErrorKeeper keep;
        EXPECT_FALSE(CloseHandle(nullptr)); // sets ERROR_INVALID_HANDLE
        EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), GetLastError());
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
}

TEST(CLastErrorKeeper, KeepsASuccessfulCallersZero) {
    SetLastError(NO_ERROR);
    {
        const CLastErrorKeeper keep;
        SetLastError(ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(static_cast<DWORD>(NO_ERROR), GetLastError());
}

} // namespace
