// Version_resource_test.cpp - the DLL's version record, read back with the
// system's version API from the loaded voskellib.dll.
#include "platform/Win32.h"

#include "VskVersion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string LoadedLibraryPath() {
    HMODULE module = GetModuleHandleA("voskellib.dll");
    if (!module)
        return std::string();
    char path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(module, path, MAX_PATH);
    return std::string(path, length);
}

std::vector<char> VersionBlock(const std::string& path) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeA(path.c_str(), &ignored);
    std::vector<char> block(size);
    if (size == 0 || !GetFileVersionInfoA(path.c_str(), 0, size, block.data()))
        block.clear();
    return block;
}

std::string StringValue(std::vector<char>& block, const char* name) {
    const std::string query = std::string("\\StringFileInfo\\040904b0\\") + name;
    void* value = nullptr;
    UINT length = 0;
    if (!VerQueryValueA(block.data(), query.c_str(), &value, &length) || !value)
        return "<missing>";
    return std::string(static_cast<const char*>(value));
}

} // namespace

TEST(VersionResource, TheLoadedLibraryCarriesItsFileVersionProductNameAndDescription) {
    const std::string path = LoadedLibraryPath();
    ASSERT_FALSE(path.empty()) << "voskellib.dll is not loaded in the test program";
    std::vector<char> block = VersionBlock(path);
    ASSERT_FALSE(block.empty()) << "no version record in " << path << ": error " << GetLastError();

    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&fixed), &length));
    ASSERT_GE(length, sizeof(VS_FIXEDFILEINFO));
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(fixed->dwFileVersionMS, (DWORD(VSK_VERSION_MAJOR) << 16) | DWORD(VSK_VERSION_MINOR));
    EXPECT_EQ(fixed->dwFileVersionLS, DWORD(VSK_VERSION_PATCH) << 16);
    EXPECT_EQ(fixed->dwProductVersionMS, fixed->dwFileVersionMS);
    EXPECT_EQ(fixed->dwFileType, DWORD(VFT_DLL));

    EXPECT_EQ(StringValue(block, "ProductName"), "VoskelLIB");
    EXPECT_EQ(StringValue(block, "FileVersion"), VSK_VERSION_TEXT);
    EXPECT_EQ(StringValue(block, "ProductVersion"), VSK_VERSION_TEXT);
    EXPECT_EQ(StringValue(block, "FileDescription"), "VoskelLIB utility library for 32-bit Windows applications");
    EXPECT_EQ(StringValue(block, "OriginalFilename"), "voskellib.dll");
}
