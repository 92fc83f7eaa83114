// TestSupport.cpp - helpers shared by the test suites.
#include "tests/support/TestSupport.h"

#include "platform/ScopedHandle.h"
#include "platform/Win32.h"

#include <atomic>
#include <cstdint>
#include <malloc.h>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace vsktest {

namespace {

std::atomic<int> g_tempCounter{0};

void RemoveTree(const std::string& path) {
    WIN32_FIND_DATAA entry;
    // The search ends before the folder goes: an open search keeps it.
    if (const vsk::detail::CScopedFindHandle find{FindFirstFileA((path + "\\*").c_str(), &entry)}) {
        do {
            const std::string name = entry.cFileName;
            if (name == "." || name == "..")
                continue;
            const std::string child = path + "\\" + name;
            SetFileAttributesA(child.c_str(), FILE_ATTRIBUTE_NORMAL);
            if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                RemoveTree(child);
            else
                DeleteFileA(child.c_str());
        } while (FindNextFileA(find.Get(), &entry));
    }
    RemoveDirectoryA(path.c_str());
}

} // namespace

CTempDir::CTempDir() {
    char base[MAX_PATH];
    GetTempPathA(MAX_PATH, base);
    for (;;) {
        char name[64];
        std::snprintf(name, sizeof name, "vsktest-%lu-%d", GetCurrentProcessId(), g_tempCounter++);
        m_path = std::string(base) + name;
        if (CreateDirectoryA(m_path.c_str(), nullptr))
            return;
        if (GetLastError() != ERROR_ALREADY_EXISTS)
            throw std::runtime_error("cannot create " + m_path + ": " + Win32ErrorText(GetLastError()));
    }
}

CTempDir::~CTempDir() { RemoveTree(m_path); }

std::string Win32ErrorText(unsigned long code) {
    char* text = nullptr;
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                   nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
    const vsk::detail::CScopedLocalMemory textMemory(text);
    return "error " + std::to_string(code) + (text ? std::string(": ") + text : "");
}

std::string ReadFileBytes(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        throw std::runtime_error("cannot open " + path);
    std::string bytes;
    char chunk[4096];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        bytes.append(chunk, got);
    std::fclose(f);
    return bytes;
}

void WriteFileBytes(const std::string& path, const std::string& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        throw std::runtime_error("cannot create " + path);
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    std::fclose(f);
    if (!ok)
        throw std::runtime_error("cannot write " + path);
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string Hex32(std::uintptr_t value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%08X", static_cast<unsigned>(value));
    return buffer;
}

namespace {

// Waits until a writer has opened the pipe, then closes the reading end.
DWORD WINAPI CloseOnceConnected(void* pipe) {
    ConnectNamedPipe(pipe, nullptr);
    CloseHandle(pipe);
    return 0;
}

} // namespace

CPipeWithoutReader::CPipeWithoutReader(const std::string& tag)
    : m_name("\\\\.\\pipe\\vsk-no-reader-" + std::to_string(GetCurrentProcessId()) + "-" + tag) {
    HANDLE server = CreateNamedPipeA(m_name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096,
                                     0, nullptr);
    if (server == INVALID_HANDLE_VALUE)
        return;
    m_closer = CreateThread(nullptr, 0, CloseOnceConnected, server, 0, nullptr);
    if (!m_closer)
        CloseHandle(server);
}

CPipeWithoutReader::~CPipeWithoutReader() {
    if (!m_closer)
        return;
    // A pipe nobody opened: open it, so that the thread stops waiting.
    if (WaitForSingleObject(m_closer, 0) == WAIT_TIMEOUT) {
        HANDLE client = CreateFileA(m_name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (client != INVALID_HANDLE_VALUE)
            CloseHandle(client);
    }
    WaitForSingleObject(m_closer, 10000);
    CloseHandle(m_closer);
}

std::string ProgramFolder() {
    char path[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    const std::string file(path, n);
    return file.substr(0, file.find_last_of('\\'));
}

CProgramRun RunProgram(const std::string& program, const std::string& arguments, unsigned long timeoutMs) {
    CProgramRun run;
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inheritable, 0))
        return run;
    vsk::detail::CScopedKernelHandle reader(readEnd), writer(writeEnd);
    SetHandleInformation(reader.Get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writer.Get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    std::string commandLine = "\"" + program + "\" " + arguments;
    PROCESS_INFORMATION info{};
    run.started = CreateProcessA(program.c_str(), &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                 &startup, &info) != FALSE;
    if (!run.started)
        return run;
    vsk::detail::CScopedKernelHandle process(info.hProcess), thread(info.hThread);
    // Only the child holds the writing end now: the pipe breaks when it ends.
    writer.Reset();
    // Read while the child runs, so that a full pipe never stops it; polled,
    // so that a child that never ends cannot hold the test.
    const DWORD started = GetTickCount();
    for (;;) {
        DWORD available = 0;
        if (!PeekNamedPipe(reader.Get(), nullptr, 0, nullptr, &available, nullptr))
            break; // broken: the child has ended and everything is read
        if (available > 0) {
            char buffer[4096];
            DWORD read = 0;
            if (!ReadFile(reader.Get(), buffer, sizeof buffer, &read, nullptr))
                break;
            run.output.append(buffer, read);
        } else if (GetTickCount() - started > timeoutMs) {
            break;
        } else {
            Sleep(10);
        }
    }
    const DWORD elapsed = GetTickCount() - started;
    run.ended = WaitForSingleObject(process.Get(), elapsed < timeoutMs ? timeoutMs - elapsed : 0) == WAIT_OBJECT_0;
    if (!run.ended)
        TerminateProcess(process.Get(), 99);
    DWORD code = 0;
    GetExitCodeProcess(process.Get(), &code);
    run.exitCode = code;
    return run;
}

unsigned long OpenHandleCount() {
    unsigned long count = 0;
    for (std::uintptr_t value = 4; value < 0x10000; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags))
            ++count;
    }
    return count;
}

std::size_t CrtHeapBytesInUse() {
    std::size_t used = 0;
    _HEAPINFO entry{};
    while (_heapwalk(&entry) == _HEAPOK) {
        if (entry._useflag == _USEDENTRY)
            used += entry._size;
    }
    return used;
}

std::size_t ProcessHeapBytesInUse() {
    const HANDLE heap = GetProcessHeap();
    std::size_t used = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry)) {
        if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY)
            used += entry.cbData;
    }
    HeapUnlock(heap);
    return used;
}

} // namespace vsktest
