// VskFile_test.cpp - vskfile::CVskFile on real files under a temporary folder.
#include "files/VskFile.h"

#include "platform/Win32.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using vskfile::CVskFile;
using vsktest::CTempDir;

constexpr DWORD kSentinelError = 0x2BADF00D;

// The bytes 0..255, NULs and CR LF included.
std::string AllBytes() {
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    return bytes + "\r\n\r\n";
}

// A handle the test opens itself, closed at the end of the scope.
class CRawHandle {
public:
    explicit CRawHandle(HANDLE handle) : m_handle(handle) {}
    ~CRawHandle() {
        if (m_handle != INVALID_HANDLE_VALUE)
            CloseHandle(m_handle);
    }
    CRawHandle(const CRawHandle&) = delete;
    CRawHandle& operator=(const CRawHandle&) = delete;
    HANDLE Get() const { return m_handle; }
    bool Valid() const { return m_handle != INVALID_HANDLE_VALUE; }

private:
    HANDLE m_handle;
};

HANDLE OpenRaw(const std::string& path, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING) {
    return CreateFileA(path.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// True when nobody else holds the file: an exclusive open succeeds.
bool NobodyHolds(const std::string& path) {
    CRawHandle h(OpenRaw(path, GENERIC_READ | GENERIC_WRITE, 0));
    return h.Valid();
}

// A file of `size` bytes that occupies no disk space (the end of file is set
// past unwritten space).
void MakeSizedFile(const std::string& path, unsigned long long size) {
    CRawHandle h(OpenRaw(path, GENERIC_WRITE, 0, CREATE_ALWAYS));
    ASSERT_TRUE(h.Valid()) << vsktest::Win32ErrorText(GetLastError());
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(size);
    ASSERT_TRUE(SetFilePointerEx(h.Get(), position, nullptr, FILE_BEGIN));
    ASSERT_TRUE(SetEndOfFile(h.Get())) << vsktest::Win32ErrorText(GetLastError());
}

// The slot of a virtual member function in the table: the Itanium C++ ABI
// (which our compiler follows on Windows as well) stores 1 + the slot's byte offset in a
// pointer to a virtual member.
template <typename Member>
int SlotOf(Member member) {
    static_assert(sizeof(Member) == 2 * sizeof(std::ptrdiff_t), "Itanium member pointer");
    std::ptrdiff_t raw[2];
    std::memcpy(raw, &member, sizeof raw);
    return static_cast<int>((raw[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

} // namespace

static_assert(std::has_virtual_destructor<CVskFile>::value, "CVskFile is polymorphic");
static_assert(!std::is_copy_constructible<CVskFile>::value && !std::is_copy_assignable<CVskFile>::value,
              "CVskFile owns its handle: not copyable");
static_assert(sizeof(CVskFile::CreateType) == 1, "the open mode is stored as one byte");

TEST(CVskFile, CreateTypeValuesHaveTheirNumbers) {
    EXPECT_EQ(0, CVskFile::CT_CREATE_NEW);
    EXPECT_EQ(1, CVskFile::CT_CREATE_ALWAYS);
    EXPECT_EQ(2, CVskFile::CT_READ);
    EXPECT_EQ(3, CVskFile::CT_WRITE);
    EXPECT_EQ(4, CVskFile::CT_WRITE_EXISTING);
    EXPECT_EQ(5, CVskFile::CT_APPEND);
}

TEST(CVskFile, VirtualSlotsFollowTheDestructorInOrder) {
    // Slots 0 and 1 are the two destructor entries the compiler makes for one virtual
    // destructor.
    EXPECT_EQ(2, SlotOf(&CVskFile::CreateFileA));
    EXPECT_EQ(3, SlotOf(&CVskFile::Close));
    EXPECT_EQ(4, SlotOf(&CVskFile::Read));
    EXPECT_EQ(5, SlotOf(&CVskFile::ReadEx));
    EXPECT_EQ(6, SlotOf(&CVskFile::Write));
}

TEST(CVskFile, FieldsAreTheHandleThenTheOneByteType) {
    struct Layout {
        void* table;
        HANDLE handle;
        unsigned char type;
    };
    EXPECT_EQ(sizeof(Layout), sizeof(CVskFile));
}

TEST(CVskFile, NewObjectHoldsNoHandle) {
    CVskFile file;
    EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    EXPECT_EQ(CVskFile::CT_CREATE_NEW, file.GetCreateType());
}

TEST(CVskFile, CreateNewMakesAFileAndRefusesAnExistingOne) {
    CTempDir dir;
    const std::string path = dir.File("new.bin");
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_CREATE_NEW, 0)) << vsktest::Win32ErrorText(GetLastError());
        EXPECT_TRUE(file.Write("abc", 3));
    }
    EXPECT_EQ("abc", vsktest::ReadFileBytes(path));
    CVskFile again;
    EXPECT_FALSE(again.CreateFileA(path.c_str(), CVskFile::CT_CREATE_NEW, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_EXISTS), GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, again.GetHandle());
    EXPECT_EQ("abc", vsktest::ReadFileBytes(path));
}

TEST(CVskFile, CreateAlwaysAndWriteTruncateAnExistingFile) {
    for (CVskFile::CreateType type : {CVskFile::CT_CREATE_ALWAYS, CVskFile::CT_WRITE}) {
        SCOPED_TRACE(static_cast<int>(type));
        CTempDir dir;
        const std::string path = dir.File("t.bin");
        vsktest::WriteFileBytes(path, "0123456789");
        {
            CVskFile file;
            ASSERT_TRUE(file.CreateFileA(path.c_str(), type, 0));
            EXPECT_EQ(type, file.GetCreateType());
            EXPECT_EQ(0u, file.GetFileSize());
            EXPECT_TRUE(file.Write("xy", 2));
        }
        EXPECT_EQ("xy", vsktest::ReadFileBytes(path));
        // A missing file is created.
        CVskFile fresh;
        EXPECT_TRUE(fresh.CreateFileA(dir.File("fresh").c_str(), type, 0));
    }
}

TEST(CVskFile, ReadOpensAnExistingFileOnly) {
    CTempDir dir;
    CVskFile file;
    EXPECT_FALSE(file.CreateFileA(dir.File("missing").c_str(), CVskFile::CT_READ, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    vsktest::WriteFileBytes(dir.File("here"), "data");
    ASSERT_TRUE(file.CreateFileA(dir.File("here").c_str(), CVskFile::CT_READ, 0));
    char buffer[8] = {};
    EXPECT_EQ(4, file.ReadEx(buffer, sizeof buffer));
    EXPECT_STREQ("data", buffer);
    SetLastError(0);
    EXPECT_FALSE(file.Write("z", 1));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
}

TEST(CVskFile, ReadLetsOthersReadButNotWrite) {
    CTempDir dir;
    const std::string path = dir.File("shared");
    vsktest::WriteFileBytes(path, "abc");
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    CRawHandle reader(OpenRaw(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_TRUE(reader.Valid()) << vsktest::Win32ErrorText(GetLastError());
    CRawHandle writer(OpenRaw(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_FALSE(writer.Valid());
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
}

TEST(CVskFile, WritingTypesShareNothing) {
    for (CVskFile::CreateType type : {CVskFile::CT_CREATE_ALWAYS, CVskFile::CT_WRITE, CVskFile::CT_WRITE_EXISTING,
                                      CVskFile::CT_APPEND, CVskFile::CT_CREATE_NEW}) {
        SCOPED_TRACE(static_cast<int>(type));
        CTempDir dir;
        const std::string path = dir.File("excl");
        if (type != CVskFile::CT_CREATE_NEW)
            vsktest::WriteFileBytes(path, "abc");
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), type, 0)) << vsktest::Win32ErrorText(GetLastError());
        CRawHandle reader(OpenRaw(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE));
        EXPECT_FALSE(reader.Valid());
        EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
        char c;
        EXPECT_EQ(-1, file.ReadEx(&c, 1)); // opened for writing only
    }
}

TEST(CVskFile, OpeningAFileHeldByAnotherHandleFails) {
    CTempDir dir;
    const std::string path = dir.File("held");
    vsktest::WriteFileBytes(path, "abc");
    CRawHandle holder(OpenRaw(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ));
    ASSERT_TRUE(holder.Valid());
    for (CVskFile::CreateType type : {CVskFile::CT_CREATE_ALWAYS, CVskFile::CT_READ, CVskFile::CT_WRITE,
                                      CVskFile::CT_WRITE_EXISTING, CVskFile::CT_APPEND}) {
        SCOPED_TRACE(static_cast<int>(type));
        CVskFile file;
        EXPECT_FALSE(file.CreateFileA(path.c_str(), type, 0));
        EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
        EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    }
    EXPECT_EQ("abc", vsktest::ReadFileBytes(path));
}

TEST(CVskFile, WriteExistingKeepsTheContentAndStartsAtTheFront) {
    CTempDir dir;
    const std::string path = dir.File("w");
    CVskFile file;
    EXPECT_FALSE(file.CreateFileA(path.c_str(), CVskFile::CT_WRITE_EXISTING, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_FALSE(CVskFile::Exists(path.c_str()));
    vsktest::WriteFileBytes(path, "0123456789");
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_WRITE_EXISTING, 0));
    EXPECT_TRUE(file.Write("AB", 2));
    ASSERT_TRUE(file.Close());
    EXPECT_EQ("AB23456789", vsktest::ReadFileBytes(path));
}

TEST(CVskFile, AppendCreatesAMissingFileAndWritesAtTheEnd) {
    CTempDir dir;
    const std::string path = dir.File("log.txt");
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_APPEND, 0));
        EXPECT_TRUE(file.Write("one\r\n", 5));
    }
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_APPEND, 0));
        unsigned __int64 position = 99;
        ASSERT_TRUE(file.GetFilePointer(position));
        EXPECT_EQ(5u, position);
        EXPECT_TRUE(file.Write("two\r\n", 5));
    }
    EXPECT_EQ("one\r\ntwo\r\n", vsktest::ReadFileBytes(path));
}

TEST(CVskFile, ZeroAttributesMeanNormalAndOthersAreApplied) {
    CTempDir dir;
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(dir.File("plain").c_str(), CVskFile::CT_CREATE_NEW, 0));
    }
    unsigned long attributes = 0;
    ASSERT_TRUE(CVskFile::GetFileAttr(dir.File("plain").c_str(), attributes));
    EXPECT_EQ(0u, attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(dir.File("hidden").c_str(), CVskFile::CT_CREATE_NEW,
                                     FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
        EXPECT_TRUE(file.Write("x", 1)); // the new handle may still write
    }
    ASSERT_TRUE(CVskFile::GetFileAttr(dir.File("hidden").c_str(), attributes));
    EXPECT_EQ(static_cast<unsigned long>(FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY),
              attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
}

TEST(CVskFile, WritingTypesRefuseAReadOnlyFileAndLeaveItWhole) {
    CTempDir dir;
    const std::string path = dir.File("ro");
    vsktest::WriteFileBytes(path, "keep");
    ASSERT_TRUE(CVskFile::SetFileAttr(path.c_str(), FILE_ATTRIBUTE_READONLY));
    for (const CVskFile::CreateType type :
         {CVskFile::CT_CREATE_ALWAYS, CVskFile::CT_WRITE, CVskFile::CT_WRITE_EXISTING, CVskFile::CT_APPEND}) {
        CVskFile file;
        SetLastError(kSentinelError);
        EXPECT_FALSE(file.CreateFileA(path.c_str(), type, 0)) << "type " << int(type);
        EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError()) << "type " << int(type);
        EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    }
    CVskFile file;
    EXPECT_FALSE(file.CreateFileA(path.c_str(), CVskFile::CT_CREATE_NEW, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_EXISTS), GetLastError());
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    char buffer[4] = {};
    EXPECT_TRUE(file.Read(buffer, 4));
    EXPECT_EQ("keep", std::string(buffer, 4));
    file.Close();
    ASSERT_TRUE(CVskFile::SetFileAttr(path.c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST(CVskFile, TypeAboveFiveOpensNothingButIsStored) {
    CTempDir dir;
    const std::string path = dir.File("six");
    vsktest::WriteFileBytes(path, "abc");
    for (int value : {6, 7, 127, 255}) {
        SCOPED_TRACE(value);
        CVskFile file;
        SetLastError(kSentinelError);
        EXPECT_FALSE(file.CreateFileA(path.c_str(), static_cast<CVskFile::CreateType>(value), 0));
        EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
        EXPECT_EQ(value, file.GetCreateType());
        EXPECT_EQ(kSentinelError, GetLastError()); // no system call was made
        EXPECT_FALSE(CVskFile::CanRead(file.GetCreateType()));
        EXPECT_FALSE(CVskFile::CanWrite(file.GetCreateType()));
    }
    EXPECT_TRUE(NobodyHolds(path));
}

namespace {
// Counts the calls of Close made through the virtual slot.
class CCountingFile : public CVskFile {
public:
    bool Close() override {
        ++closes;
        return CVskFile::Close();
    }
    int closes = 0;
};
} // namespace

TEST(CVskFile, CreateFileAClosesTheHeldHandleFirstEvenWhenTheNewOpenFails) {
    CTempDir dir;
    const std::string held = dir.File("held");
    CCountingFile file;
    ASSERT_TRUE(file.CreateFileA(held.c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    EXPECT_EQ(1, file.closes);
    EXPECT_FALSE(NobodyHolds(held));
    EXPECT_FALSE(file.CreateFileA(dir.File("missing").c_str(), CVskFile::CT_READ, 0));
    EXPECT_EQ(2, file.closes);
    EXPECT_EQ(CVskFile::CT_READ, file.GetCreateType());
    EXPECT_TRUE(NobodyHolds(held));
    // A type above five closes the held handle as well.
    ASSERT_TRUE(file.CreateFileA(held.c_str(), CVskFile::CT_APPEND, 0));
    EXPECT_FALSE(file.CreateFileA(held.c_str(), static_cast<CVskFile::CreateType>(9), 0));
    EXPECT_TRUE(NobodyHolds(held));
}

namespace {
constexpr DWORD kCloseError = 0x1BADC105;

// Its Close leaves a last error of its own, as any close may.
class CNoisyCloseFile : public CVskFile {
public:
    bool Close() override {
        const bool closed = CVskFile::Close();
        ++closes;
        SetLastError(kCloseError);
        return closed;
    }
    int closes = 0;
};

// The server ends (two instances) of a named pipe of this process: a client
// opens it for writing, but a pipe has no file pointer to move.
class CPipeServer {
public:
    CPipeServer()
        : m_name("\\\\.\\pipe\\vsk_append_" + std::to_string(GetCurrentProcessId()) + "_" +
                 std::to_string(GetTickCount())),
          m_handle(Instance(m_name)), m_second(Instance(m_name)) {}
    ~CPipeServer() {
        for (const HANDLE h : {m_handle, m_second})
            if (h != INVALID_HANDLE_VALUE)
                CloseHandle(h);
    }
    CPipeServer(const CPipeServer&) = delete;
    CPipeServer& operator=(const CPipeServer&) = delete;
    const std::string& Name() const { return m_name; }
    bool Valid() const { return m_handle != INVALID_HANDLE_VALUE && m_second != INVALID_HANDLE_VALUE; }

private:
    // One instance per client: the test connects two.
    static HANDLE Instance(const std::string& name) {
        return CreateNamedPipeA(name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 2, 4096, 4096, 0,
                                nullptr);
    }
    std::string m_name;
    HANDLE m_handle;
    HANDLE m_second;
};
} // namespace

TEST(CVskFile, AppendKeepsTheLastErrorOfTheFailedMoveAcrossItsCleanUpClose) {
    CPipeServer pipe;
    ASSERT_TRUE(pipe.Valid()) << vsktest::Win32ErrorText(GetLastError());
    // What the system says when a pipe's pointer is moved to its end.
    DWORD moveError = 0;
    {
        CRawHandle client(OpenRaw(pipe.Name(), GENERIC_WRITE, 0, OPEN_ALWAYS));
        ASSERT_TRUE(client.Valid()) << vsktest::Win32ErrorText(GetLastError());
        LONG high = 0;
        SetLastError(0);
        const DWORD low = SetFilePointer(client.Get(), 0, &high, FILE_END);
        moveError = GetLastError();
        ASSERT_TRUE(low == INVALID_SET_FILE_POINTER && moveError != NO_ERROR)
            << "the system moved a pipe's pointer: " << low << ", last error " << moveError;
    }
    CNoisyCloseFile file;
    SetLastError(0);
    EXPECT_FALSE(file.CreateFileA(pipe.Name().c_str(), CVskFile::CT_APPEND, 0));
    EXPECT_EQ(moveError, GetLastError()) << "the move's error, not the close's";
    EXPECT_EQ(2, file.closes) << "closed before opening and again after the failed move";
    EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    EXPECT_EQ(CVskFile::CT_APPEND, file.GetCreateType());
}

TEST(CVskFile, CloseTwiceIsTrueBothTimes) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("c").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    SetLastError(kSentinelError);
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(kSentinelError, GetLastError());
    EXPECT_TRUE(NobodyHolds(dir.File("c")));
}

TEST(CVskFile, CloseOnANeverOpenedObjectIsTrue) {
    CVskFile file;
    EXPECT_TRUE(file.Close());
}

TEST(CVskFile, CloseThatTheSystemRefusesIsFalseAndTheHandleIsForgotten) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("p").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    const HANDLE raw = file.GetHandle();
    ASSERT_TRUE(SetHandleInformation(raw, HANDLE_FLAG_PROTECT_FROM_CLOSE, HANDLE_FLAG_PROTECT_FROM_CLOSE));
    EXPECT_FALSE(file.Close());
    EXPECT_EQ(INVALID_HANDLE_VALUE, file.GetHandle());
    EXPECT_TRUE(SetHandleInformation(raw, HANDLE_FLAG_PROTECT_FROM_CLOSE, 0));
    EXPECT_TRUE(CloseHandle(raw));
}

TEST(CVskFile, DestructorClosesTheHandle) {
    CTempDir dir;
    const std::string path = dir.File("d");
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
        EXPECT_FALSE(NobodyHolds(path));
    }
    EXPECT_TRUE(NobodyHolds(path));
}

TEST(CVskFile, ReadOfZeroBytesIsFalseAndWriteOfZeroBytesIsTrue) {
    CTempDir dir;
    const std::string path = dir.File("z");
    vsktest::WriteFileBytes(path, "abc");
    CVskFile reader;
    ASSERT_TRUE(reader.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    char buffer[4] = {};
    EXPECT_FALSE(reader.Read(buffer, 0));
    EXPECT_EQ(0, reader.ReadEx(buffer, 0));
    CVskFile writer;
    ASSERT_TRUE(writer.CreateFileA(dir.File("w").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    EXPECT_TRUE(writer.Write(buffer, 0));
    EXPECT_TRUE(writer.Write("", 0));
}

TEST(CVskFile, BadArgumentsFailWithoutASystemCall) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("b").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    char buffer[4];
    SetLastError(kSentinelError);
    EXPECT_FALSE(file.Write(nullptr, 1));
    EXPECT_FALSE(file.Write(nullptr, 0));
    EXPECT_FALSE(file.Write(buffer, -1));
    EXPECT_EQ(-1, file.ReadEx(buffer, -1));
    EXPECT_EQ(-1, file.ReadEx(nullptr, 1));
    EXPECT_FALSE(file.Read(buffer, -1));
    EXPECT_FALSE(file.Read(nullptr, 1));
    EXPECT_EQ(kSentinelError, GetLastError());
    EXPECT_EQ(0u, file.GetFileSize());
}

TEST(CVskFile, ReadExGivesTheCountAndZeroAtTheEnd) {
    CTempDir dir;
    const std::string path = dir.File("r");
    vsktest::WriteFileBytes(path, AllBytes());
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    std::vector<char> buffer(1000);
    EXPECT_EQ(260, file.ReadEx(buffer.data(), 1000));
    EXPECT_EQ(AllBytes(), std::string(buffer.data(), 260));
    EXPECT_EQ(0, file.ReadEx(buffer.data(), 1000));
}

TEST(CVskFile, ReadReadsTheWholeSizeOrFails) {
    CTempDir dir;
    const std::string path = dir.File("r");
    vsktest::WriteFileBytes(path, AllBytes());
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    std::vector<char> buffer(260);
    EXPECT_TRUE(file.Read(buffer.data(), 260));
    EXPECT_EQ(AllBytes(), std::string(buffer.data(), 260));
    EXPECT_FALSE(file.Read(buffer.data(), 1)); // at the end
    ASSERT_TRUE(file.SeekToTop());
    std::vector<char> bigger(261);
    EXPECT_FALSE(file.Read(bigger.data(), 261)); // the second call reads 0 bytes
}

TEST(CVskFile, ReadAndWriteOnAClosedObjectFail) {
    CVskFile file;
    char c = 0;
    EXPECT_EQ(-1, file.ReadEx(&c, 1));
    EXPECT_FALSE(file.Read(&c, 1));
    EXPECT_FALSE(file.Write(&c, 1));
    EXPECT_FALSE(file.Write(&c, 0));
}

namespace {
// Delivers at most `chunk` bytes per call from the real file, and records
// the buffer and size every call is given.
class CShortReadFile : public CVskFile {
public:
    explicit CShortReadFile(int chunk) : m_chunk(chunk) {}
    int ReadEx(void* buffer, int size) override {
        calls.push_back({buffer, size});
        return CVskFile::ReadEx(buffer, size < m_chunk ? size : m_chunk);
    }
    struct Call {
        void* buffer;
        int size;
    };
    std::vector<Call> calls;

private:
    int m_chunk;
};

// Gives a fixed sequence of results without reading.
class CScriptedReadFile : public CVskFile {
public:
    explicit CScriptedReadFile(std::vector<int> results) : m_results(std::move(results)) {}
    int ReadEx(void*, int) override { return m_results.at(calls++); }
    std::size_t calls = 0;

private:
    std::vector<int> m_results;
};
} // namespace

TEST(CVskFile, SplitReadGivesEveryCallTheStartOfTheBuffer) {
    CTempDir dir;
    const std::string path = dir.File("split");
    vsktest::WriteFileBytes(path, "ABCDEFGH");
    CShortReadFile file(3);
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    char buffer[9] = "........";
    EXPECT_TRUE(file.Read(buffer, 8));
    ASSERT_EQ(3u, file.calls.size());
    for (const CShortReadFile::Call& call : file.calls)
        EXPECT_EQ(static_cast<void*>(buffer), call.buffer);
    EXPECT_EQ(8, file.calls[0].size);
    EXPECT_EQ(5, file.calls[1].size);
    EXPECT_EQ(2, file.calls[2].size);
    // "ABC", then "DEF", then "GH" all landed at the front.
    EXPECT_EQ(std::string("GHF....."), std::string(buffer, 8));
}

TEST(CVskFile, SplitReadStopsAtTheFirstZeroOrMinusOne) {
    {
        CScriptedReadFile file({4, 0, 4});
        char buffer[8];
        EXPECT_FALSE(file.Read(buffer, 8));
        EXPECT_EQ(2u, file.calls);
    }
    {
        CScriptedReadFile file({2, 2, -1, 4});
        char buffer[8];
        EXPECT_FALSE(file.Read(buffer, 8));
        EXPECT_EQ(3u, file.calls);
    }
    {
        CScriptedReadFile file({1, 1, 1, 1, 1, 1, 1, 1});
        char buffer[8];
        EXPECT_TRUE(file.Read(buffer, 8));
        EXPECT_EQ(8u, file.calls);
    }
}

TEST(CVskFile, SetFilePointerMovesIn64Bits) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("p").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    const unsigned __int64 distant = (5ULL << 32) | 7;
    ASSERT_TRUE(file.SetFilePointer(distant, FILE_BEGIN));
    unsigned __int64 position = 0;
    ASSERT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ(distant, position);
    ASSERT_TRUE(file.SetFilePointer(static_cast<unsigned __int64>(-7LL), FILE_CURRENT));
    ASSERT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ(5ULL << 32, position);
    EXPECT_TRUE(file.SeekToTop());
    ASSERT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ(0u, position);
}

TEST(CVskFile, RawSetFilePointerReturnsTheSystemResult) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("p").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    EXPECT_EQ(0x10u, file.SetFilePointer(0x10, nullptr, FILE_BEGIN));
    EXPECT_EQ(0x8u, file.SetFilePointer(-8, nullptr, FILE_CURRENT));
    long high = 3;
    EXPECT_EQ(0x10u, file.SetFilePointer(0x10, &high, FILE_BEGIN));
    EXPECT_EQ(3, high);
    unsigned __int64 position = 0;
    ASSERT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ((3ULL << 32) | 0x10, position);
    high = -1;
    SetLastError(0);
    EXPECT_EQ(0xFFFFFFFFu, file.SetFilePointer(-100, &high, FILE_BEGIN)); // before the start
    EXPECT_EQ(static_cast<DWORD>(ERROR_NEGATIVE_SEEK), GetLastError());
}

TEST(CVskFile, PositionWithAllOnesLowHalfIsASuccess) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("p").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    SetLastError(kSentinelError); // a stale error must not turn this into a failure
    EXPECT_TRUE(file.SetFilePointer(0xFFFFFFFFULL, FILE_BEGIN));
    unsigned __int64 position = 0;
    SetLastError(kSentinelError);
    EXPECT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ(0xFFFFFFFFULL, position);
}

TEST(CVskFile, MovingBeforeTheStartFails) {
    CTempDir dir;
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(dir.File("p").c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
    ASSERT_TRUE(file.Write("abc", 3));
    EXPECT_FALSE(file.SetFilePointer(static_cast<unsigned __int64>(-4LL), FILE_CURRENT));
    EXPECT_EQ(static_cast<DWORD>(ERROR_NEGATIVE_SEEK), GetLastError());
    unsigned __int64 position = 0;
    ASSERT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ(3u, position);
}

TEST(CVskFile, SeekToTailAndTopGoToTheEnds) {
    CTempDir dir;
    const std::string path = dir.File("s");
    vsktest::WriteFileBytes(path, "0123456789");
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    unsigned __int64 position = 0;
    ASSERT_TRUE(file.SeekToTail());
    ASSERT_TRUE(file.GetFilePointer(position));
    EXPECT_EQ(10u, position);
    ASSERT_TRUE(file.SeekToTop());
    char c = 0;
    EXPECT_EQ(1, file.ReadEx(&c, 1));
    EXPECT_EQ('0', c);
}

TEST(CVskFile, PointerFunctionsOnAClosedObjectFail) {
    CVskFile file;
    unsigned __int64 position = 1234;
    EXPECT_FALSE(file.GetFilePointer(position));
    EXPECT_EQ(1234u, position);
    EXPECT_FALSE(file.SeekToTop());
    EXPECT_FALSE(file.SeekToTail());
    EXPECT_FALSE(file.SetFilePointer(1ULL, FILE_BEGIN));
}

TEST(CVskFile, GetFileSizeGivesTheSizeIn64Bits) {
    CTempDir dir;
    const std::string path = dir.File("size");
    for (unsigned long long size : {0ULL, 3ULL, 0xFFFFFFFEULL, 0x100000000ULL, (5ULL << 32) + 9}) {
        SCOPED_TRACE(size);
        MakeSizedFile(path, size);
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
        EXPECT_EQ(size, file.GetFileSize());
    }
}

TEST(CVskFile, SizeWithAllOnesLowHalfIsNotAFailure) {
    CTempDir dir;
    const std::string path = dir.File("size");
    for (unsigned long long size : {0xFFFFFFFFULL, 0x1FFFFFFFFULL}) {
        SCOPED_TRACE(size);
        MakeSizedFile(path, size);
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
        SetLastError(kSentinelError);
        EXPECT_EQ(size, file.GetFileSize());
    }
}

TEST(CVskFile, GetFileSizeOnAClosedObjectThrows) {
    const CVskFile file;
    try {
        file.GetFileSize();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("CVskFile::GetFileSize():", e.what());
    }
    EXPECT_NE(static_cast<DWORD>(NO_ERROR), GetLastError());
}

TEST(CVskFile, FileTimesAreSetAndReadBack) {
    CTempDir dir;
    const std::string path = dir.File("t");
    FILETIME written;
    written.dwLowDateTime = 0x12345600; // 2001-09-09 01:46:40 UTC and a bit
    written.dwHighDateTime = 0x01C13900;
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_CREATE_ALWAYS, 0));
        ASSERT_TRUE(file.Write("x", 1));
        EXPECT_TRUE(file.SetFileTime(nullptr, nullptr, &written)) << vsktest::Win32ErrorText(GetLastError());
        EXPECT_TRUE(file.SetFileTime(nullptr, nullptr, nullptr));
    }
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    FILETIME creation, access, lastWrite;
    EXPECT_TRUE(file.GetFileTime(&creation, &access, &lastWrite));
    EXPECT_EQ(written.dwHighDateTime, lastWrite.dwHighDateTime);
    // Some file systems keep less than 100 ns precision.
    EXPECT_LT(written.dwLowDateTime - lastWrite.dwLowDateTime, 10000000u);
    EXPECT_TRUE(file.GetFileTime(nullptr, nullptr, nullptr));
    FILETIME only;
    EXPECT_TRUE(file.GetFileTime(nullptr, nullptr, &only));
    EXPECT_EQ(lastWrite.dwLowDateTime, only.dwLowDateTime);
}

TEST(CVskFile, FileTimesOnAClosedObjectFail) {
    CVskFile file;
    FILETIME t = {};
    EXPECT_FALSE(file.GetFileTime(&t, &t, &t));
    EXPECT_FALSE(file.SetFileTime(&t, &t, &t));
}

TEST(CVskFile, DeleteRemovesAFileAndFailsAsTheSystemDoes) {
    CTempDir dir;
    const std::string path = dir.File("del");
    vsktest::WriteFileBytes(path, "x");
    EXPECT_TRUE(CVskFile::Delete(path.c_str()));
    EXPECT_FALSE(CVskFile::Exists(path.c_str()));
    EXPECT_FALSE(CVskFile::Delete(path.c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    vsktest::WriteFileBytes(path, "x");
    ASSERT_TRUE(CVskFile::SetFileAttr(path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_FALSE(CVskFile::Delete(path.c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
    EXPECT_TRUE(CVskFile::Exists(path.c_str()));
    ASSERT_TRUE(CVskFile::SetFileAttr(path.c_str(), FILE_ATTRIBUTE_NORMAL));
    CRawHandle holder(OpenRaw(path, GENERIC_READ, FILE_SHARE_READ));
    EXPECT_FALSE(CVskFile::Delete(path.c_str()));
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
}

TEST(CVskFile, GetFileAttrStoresTheResultInEveryCase) {
    CTempDir dir;
    const std::string path = dir.File("a");
    vsktest::WriteFileBytes(path, "x");
    unsigned long attributes = 0;
    ASSERT_TRUE(CVskFile::SetFileAttr(path.c_str(), FILE_ATTRIBUTE_HIDDEN));
    EXPECT_TRUE(CVskFile::GetFileAttr(path.c_str(), attributes));
    // Wine adds FILE_ATTRIBUTE_ARCHIVE to every file it reports; the result
    // is the system's, whatever it holds.
    EXPECT_EQ(GetFileAttributesA(path.c_str()), attributes);
    EXPECT_EQ(static_cast<unsigned long>(FILE_ATTRIBUTE_HIDDEN),
              attributes & ~static_cast<unsigned long>(FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_TRUE(CVskFile::GetFileAttr(dir.Path().c_str(), attributes));
    EXPECT_NE(0u, attributes & FILE_ATTRIBUTE_DIRECTORY);
    attributes = 0;
    EXPECT_FALSE(CVskFile::GetFileAttr(dir.File("missing").c_str(), attributes));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, attributes);
    EXPECT_FALSE(CVskFile::SetFileAttr(dir.File("missing").c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
}

TEST(CVskFile, ExistsFindsFilesFoldersAndWildCardMatches) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("x.txt"), "");
    ASSERT_TRUE(CreateDirectoryA(dir.File("sub").c_str(), nullptr));
    EXPECT_TRUE(CVskFile::Exists(dir.File("x.txt").c_str()));
    EXPECT_TRUE(CVskFile::Exists(dir.File("sub").c_str()));
    EXPECT_TRUE(CVskFile::Exists(dir.File("*.txt").c_str()));
    EXPECT_TRUE(CVskFile::Exists(dir.File("?.txt").c_str()));
    EXPECT_FALSE(CVskFile::Exists(dir.File("*.log").c_str()));
    EXPECT_FALSE(CVskFile::Exists(dir.File("y.txt").c_str()));
    EXPECT_FALSE(CVskFile::Exists(dir.File("missing\\x.txt").c_str()));
    EXPECT_FALSE(CVskFile::Exists(""));
}

TEST(CVskFile, ExistsClosesItsSearch) {
    CTempDir dir;
    vsktest::WriteFileBytes(dir.File("x"), "");
    const unsigned long before = vsktest::OpenHandleCount();
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(CVskFile::Exists(dir.File("x").c_str()));
    EXPECT_EQ(before, vsktest::OpenHandleCount());
}

TEST(CVskFile, CanReadAndCanWriteFollowTheTable) {
    const struct {
        int type;
        bool read;
        bool write;
    } table[] = {{0, false, true}, {1, false, true}, {2, true, false}, {3, false, true},
                 {4, false, true}, {5, false, true}, {6, false, false}, {255, false, false}};
    for (const auto& row : table) {
        SCOPED_TRACE(row.type);
        const auto type = static_cast<CVskFile::CreateType>(row.type);
        EXPECT_EQ(row.read, CVskFile::CanRead(type));
        EXPECT_EQ(row.write, CVskFile::CanWrite(type));
    }
}

TEST(CVskFile, DoubleByteNameWithTrailByte5CIsOneName) {
    CTempDir dir;
    const std::string path = dir.File("\x95\x5C"); // "表" in code page 932
    {
        CVskFile file;
        ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_CREATE_NEW, 0)) << vsktest::Win32ErrorText(GetLastError());
        ASSERT_TRUE(file.Write("hyou", 4));
    }
    EXPECT_TRUE(CVskFile::Exists(path.c_str()));
    EXPECT_EQ("hyou", vsktest::ReadFileBytes(path));
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    EXPECT_EQ(4u, file.GetFileSize());
}

TEST(CVskFile, FileOfFiveGibibytesIsWrittenAndReadAtItsEnd) {
    CTempDir dir;
    const std::string path = dir.File("big");
    MakeSizedFile(path, 5ULL << 30);
    CVskFile file;
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_APPEND, 0));
    EXPECT_TRUE(file.Write("end", 3));
    ASSERT_TRUE(file.Close());
    ASSERT_TRUE(file.CreateFileA(path.c_str(), CVskFile::CT_READ, 0));
    EXPECT_EQ((5ULL << 30) + 3, file.GetFileSize());
    ASSERT_TRUE(file.SetFilePointer((5ULL << 30) - 1, FILE_BEGIN));
    char tail[4] = {};
    EXPECT_TRUE(file.Read(tail, 4));
    EXPECT_EQ(std::string("\0end", 4), std::string(tail, 4));
}
