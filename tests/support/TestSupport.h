// TestSupport.h - helpers shared by the test suites.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vsktest {

/// A fresh folder under the system's temporary folder, removed with its
/// contents when the object goes.
class CTempDir {
public:
    CTempDir();
    ~CTempDir();
    CTempDir(const CTempDir&) = delete;
    CTempDir& operator=(const CTempDir&) = delete;

    /// The folder's path, without a trailing separator.
    const std::string& Path() const { return m_path; }
    /// `name` inside the folder.
    std::string File(const std::string& name) const { return m_path + "\\" + name; }

private:
    std::string m_path;
};

/// The system's text for a Win32 error code, for failure messages.
std::string Win32ErrorText(unsigned long code);

/// Reads a whole file as bytes; throws std::runtime_error when it cannot.
std::string ReadFileBytes(const std::string& path);

/// Writes `bytes` to a file, replacing it; throws std::runtime_error when it cannot.
void WriteFileBytes(const std::string& path, const std::string& bytes);

/// The lines of `text`, without their "\n" ends.
std::vector<std::string> SplitLines(const std::string& text);

/// `value` as "0x" and eight upper-case hexadecimal digits, as crash reports
/// write addresses and registers.
std::string Hex32(std::uintptr_t value);

} // namespace vsktest
