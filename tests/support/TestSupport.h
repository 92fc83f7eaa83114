// TestSupport.h - helpers shared by the test suites.
#pragma once

#include <cstddef>
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

/// A named pipe whose reading end closes as soon as a writer has opened the
/// other end (by name). It holds 4096 bytes, so a write of more fails whether
/// it comes before or after the close.
class CPipeWithoutReader {
public:
    /// `tag` makes the name unique within the process.
    explicit CPipeWithoutReader(const std::string& tag);
    ~CPipeWithoutReader();
    CPipeWithoutReader(const CPipeWithoutReader&) = delete;
    CPipeWithoutReader& operator=(const CPipeWithoutReader&) = delete;

    /// False when the pipe or its closing thread could not be made.
    bool Ok() const { return m_closer != nullptr; }
    /// The name a writer opens ("\\.\pipe\...").
    const std::string& Name() const { return m_name; }

private:
    std::string m_name;
    void* m_closer = nullptr; // the thread that closes the reading end
};

/// The process's open handles, counted by asking the system about every
/// handle value in turn: Wine's GetProcessHandleCount succeeds but always
/// reports 0, so tests cannot read the count from it.
unsigned long OpenHandleCount();

/// Bytes in use on the C runtime's heap (malloc, new), walked block by block.
std::size_t CrtHeapBytesInUse();

/// Bytes in use on the process heap (GetProcessHeap, where global memory and
/// the strings' pool chunks live), walked block by block.
std::size_t ProcessHeapBytesInUse();

/// The folder of the running test program, where the build puts the child
/// programs and modules the tests start; without a trailing separator.
std::string ProgramFolder();

/// What a child program did: whether it started and ended in time, its exit
/// code and everything it wrote to its standard output.
struct CProgramRun {
    bool started = false;
    bool ended = false;
    unsigned long exitCode = 0;
    std::string output;
};

/// Runs `program` (a path) with `arguments`, reading its standard output
/// through a pipe, and waits at most `timeoutMs` for it to end; a program
/// still running then is terminated (`ended` false).
CProgramRun RunProgram(const std::string& program, const std::string& arguments, unsigned long timeoutMs);

/// The lines of `text`, without their "\n" ends.
std::vector<std::string> SplitLines(const std::string& text);

/// `value` as "0x" and eight upper-case hexadecimal digits, as crash reports
/// write addresses and registers.
std::string Hex32(std::uintptr_t value);

} // namespace vsktest
