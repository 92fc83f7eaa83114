// LogTestSupport.h - helpers of the log file tests: a fixture that gives each
// test a fresh folder and the log's load-time settings back, a capture of
// the C runtime's standard error, and file helpers.
#pragma once

#include "diagnostics/Filelogger.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <regex>
#include <string>
#include <sys/stat.h>

namespace vsktest {

inline bool FileExists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

/// The file's bytes, or "<missing>" when it does not exist.
inline std::string ReadOrMissing(const std::string& path) {
    return FileExists(path) ? ReadFileBytes(path) : std::string("<missing>");
}

/// "YYYY-MM-DD hh:mm:ss.mmm " as FileLogger_PutTimestamp writes it.
inline const std::regex& TimestampPattern() {
    static const std::regex pattern(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} )");
    return pattern;
}

/// `text` with every time stamp replaced by "<TS>".
inline std::string MaskTimestamps(const std::string& text) {
    return std::regex_replace(text, TimestampPattern(), "<TS>");
}

/// Points descriptor 2 (the C runtime's standard error) at a file while the
/// object lives; Finish() restores it and gives what was written.
class CStderrCapture {
public:
    explicit CStderrCapture(const std::string& path) : m_path(path) {
        std::fflush(stderr);
        m_saved = _dup(2);
        const int fd = _open(path.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY, _S_IREAD | _S_IWRITE);
        _dup2(fd, 2);
        _close(fd);
    }
    ~CStderrCapture() { Restore(); }
    CStderrCapture(const CStderrCapture&) = delete;
    CStderrCapture& operator=(const CStderrCapture&) = delete;

    std::string Finish() {
        Restore();
        return ReadFileBytes(m_path);
    }

private:
    void Restore() {
        if (m_saved < 0)
            return;
        std::fflush(stderr);
        _dup2(m_saved, 2);
        _close(m_saved);
        m_saved = -1;
    }

    std::string m_path;
    int m_saved = -1;
};

/// Each test gets a fresh folder; the log's settings go back to those of load
/// (no name, 1024 KiB, one generation, tracing off) before and after it, so
/// that the stream of one test never leaks into the next.
class CLogTest : public ::testing::Test {
protected:
    void SetUp() override { ResetLog(); }
    void TearDown() override { ResetLog(); }

    static void ResetLog() {
        FileLogger_SetLogFileName(nullptr);
        FileLogger_SetLogFileSize(1024);
        FileLogger_SetGenerationNumber(1);
        _FileLogger_IsAutoFuncNameLogger = false;
    }

    /// Names the log "<folder>\<name>" and returns that path.
    std::string UseLog(const std::string& name = "app.log") {
        const std::string path = m_dir.File(name);
        EXPECT_TRUE(FileLogger_SetLogFileName(path.c_str()));
        return path;
    }

    CTempDir m_dir;
};

} // namespace vsktest
