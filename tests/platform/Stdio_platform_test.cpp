// Stdio_platform_test.cpp - opening a read-only file for writing fails, as on
// Windows, also where the platform lets the caller write to it.
#include "platform/Stdio.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

TEST(OpenWritableStream, RefusesAReadOnlyFileWithEacces) {
    vsktest::CTempDir dir;
    const std::string path = dir.File("ro.txt");
    vsktest::WriteFileBytes(path, "keep");
    ASSERT_TRUE(SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY));
    errno = 0;
    EXPECT_EQ(vsk::detail::OpenWritableStream(path.c_str(), "a"), nullptr);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(vsktest::ReadFileBytes(path), "keep");
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(OpenWritableStream, PlatformFopenOfAReadOnlyFileIsRefusedOrWrites) {
    // The two behaviours the check above stands between: Windows refuses
    // with EACCES; Wine run as root accepts, and what is written arrives.
    vsktest::CTempDir dir;
    const std::string path = dir.File("ro.txt");
    vsktest::WriteFileBytes(path, "keep");
    ASSERT_TRUE(SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY));
    errno = 0;
    std::FILE* f = std::fopen(path.c_str(), "a");
    const int error = errno;
    std::printf("platform fopen(\"a\") of a read-only file: %s\n", f ? "accepted (deviation)" : "refused");
    if (f) {
        std::fputs("+", f);
        std::fclose(f);
        EXPECT_EQ(vsktest::ReadFileBytes(path), "keep+");
    } else {
        EXPECT_EQ(error, EACCES);
        EXPECT_EQ(vsktest::ReadFileBytes(path), "keep");
    }
    SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(OpenWritableStream, OpensAWritableOrMissingFile) {
    vsktest::CTempDir dir;
    const std::string path = dir.File("new.txt");
    std::FILE* f = vsk::detail::OpenWritableStream(path.c_str(), "a");
    ASSERT_NE(f, nullptr);
    std::fputs("x\n", f);
    std::fclose(f);
    EXPECT_EQ(vsktest::ReadFileBytes(path), "x\r\n");
}

TEST(OpenWritableStream, MissingFolderFailsWithEnoent) {
    vsktest::CTempDir dir;
    errno = 0;
    EXPECT_EQ(vsk::detail::OpenWritableStream(dir.File("no\\such.txt").c_str(), "a"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
