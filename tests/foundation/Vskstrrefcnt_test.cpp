// Vskstrrefcnt_test.cpp - the string buffer checks its count when deleted.
#include "foundation/Vskstrrefcnt.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

TEST(CVskStrRefCntTC, DeletedWhileReferencedThrowsReferenceCounterError) {
    auto* buffer = new CVskStrRefCntTC<char>("text");
    try {
        delete buffer;
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        // "CVskStrRefCntTC<T>::~CVskStrRefCntTC() 参照カウンタエラー" in code page 932.
        EXPECT_EQ(std::string("CVskStrRefCntTC<T>::~CVskStrRefCntTC() "
                              "\x8E\x51\x8F\xC6\x83\x4A\x83\x45\x83\x93\x83\x5E\x83\x47\x83\x89\x81\x5B"),
                  e.what());
    }
}

TEST(CVskStrRefCntTC, LastReleaseDeletesQuietly) {
    auto* buffer = new CVskStrRefCntTC<wchar_t>(L"text");
    buffer->AddRef();
    buffer->Release();
    EXPECT_EQ(1, buffer->GetRefCount());
    EXPECT_NO_THROW(buffer->Release());
}

TEST(CVskStrRefCntTC, PointerAndLengthKeepsTerminators) {
    auto* buffer = new CVskStrRefCntTC<char>("a\0b", 3);
    EXPECT_EQ(3u, buffer->Text().size());
    buffer->Release();
}

} // namespace
