// Vskstrbase_unsupported_test.cpp - the branch of CVskStrBase<T> for a
// character size it has no implementation for: a log line, then logic_error.
#include "foundation/Vskstrbase.h"

#include "diagnostics/Filelogger.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

// "指定のTでは実装されていないメソッド。CVskStrbase<T>::Pos()" in code page 932.
const char kPosMessage[] = "\x8E\x77\x92\xE8\x82\xCCT\x82\xC5\x82\xCD\x8E\xC0\x91\x95\x82\xB3\x82\xEA\x82\xC4\x82"
                           "\xA2\x82\xC8\x82\xA2\x83\x81\x83\x5C\x83\x62\x83\x68\x81\x42"
                           "CVskStrbase<T>::Pos()";

TEST(ThrowUnsupportedCharSize, LogsTheLineThenThrowsLogicErrorNamingTheMethod) {
    vsktest::CTempDir dir;
    const std::string log = dir.File("unsupported.log");
    ASSERT_TRUE(FileLogger_SetLogFileName(log.c_str()));
    try {
        vsk::detail::ThrowUnsupportedCharSize("Pos()");
        ADD_FAILURE() << "no exception";
    } catch (const std::logic_error& e) {
        EXPECT_STREQ(e.what(), kPosMessage);
        EXPECT_STREQ(e.what(), "指定のTでは実装されていないメソッド。CVskStrbase<T>::Pos()");
    }
    // The text ends with its own "\n" and the line adds one: two line ends.
    EXPECT_EQ(vsktest::ReadFileBytes(log), "cannot converted !!\r\n\r\n");
    FileLogger_SetLogFileName(nullptr);
}

} // namespace
