// Vskpipe.cpp - vsk::CVskPipe, the two ends of one anonymous pipe.
#include "files/Vskpipe.h"

#include "platform/LastError.h"
#include "platform/Replaceable.h"
#include "platform/Win32.h"
#include "files/internal/VskpipeHooks.h"

#include <stdexcept>

VSK_DEFINE_UNIT(Vskpipe, nullptr, nullptr)

namespace {

int __stdcall SystemCreatePipe(void** read, void** write, void* attributes, unsigned long size) {
    return ::CreatePipe(read, write, static_cast<SECURITY_ATTRIBUTES*>(attributes), size);
}

vsk::detail::CReplaceable<vsk::detail::CreatePipeFn> g_createPipe{SystemCreatePipe};

int __stdcall SystemCloseHandle(void* handle) { return ::CloseHandle(handle); }

vsk::detail::CReplaceable<vsk::detail::CloseHandleFn> g_closeHandle{SystemCloseHandle};

bool Held(HANDLE handle) { return handle != INVALID_HANDLE_VALUE; }

// Closes a held handle and marks it invalid, keeping the caller's last error.
void CloseHeld(void*& handle) {
    if (!Held(handle))
        return;
    const vsk::detail::CLastErrorKeeper keep;
    g_closeHandle(handle);
    handle = INVALID_HANDLE_VALUE;
}

// A duplicate of `source` in this process, inheritable, with the same access;
// the invalid value when the system refuses.
void* Duplicate(void* source) {
    HANDLE target = INVALID_HANDLE_VALUE;
    const HANDLE process = GetCurrentProcess();
    if (!DuplicateHandle(process, source, process, &target, 0, TRUE, DUPLICATE_SAME_ACCESS))
        return INVALID_HANDLE_VALUE;
    return target;
}

} // namespace

namespace vsk::detail {

const VskpipeHookTable kVskpipeHookTable = {
    [](CreatePipeFn function) { return g_createPipe.Replace(function); },
    [](CloseHandleFn function) { return g_closeHandle.Replace(function); },
};

} // namespace vsk::detail

namespace vsk {

CVskPipe::CVskPipe() : m_read(INVALID_HANDLE_VALUE), m_write(INVALID_HANDLE_VALUE) {}

CVskPipe::CVskPipe(const CVskPipe& other) : m_read(Duplicate(other.m_read)), m_write(Duplicate(other.m_write)) {}

CVskPipe& CVskPipe::operator=(const CVskPipe& other) {
    if (this == &other)
        return *this;
    CloseHeld(m_write);
    CloseHeld(m_read);
    m_read = Duplicate(other.m_read);
    m_write = Duplicate(other.m_write);
    return *this;
}

CVskPipe::~CVskPipe() {
    CloseHeld(m_write);
    CloseHeld(m_read);
}

void CVskPipe::Create(int inherit, unsigned long size) {
    SECURITY_ATTRIBUTES attributes{};
    attributes.nLength = sizeof attributes;
    static_assert(sizeof(SECURITY_ATTRIBUTES) == 12, "the attributes record is 12 bytes");
    attributes.lpSecurityDescriptor = nullptr;
    attributes.bInheritHandle = inherit;
    HANDLE read = INVALID_HANDLE_VALUE;
    HANDLE write = INVALID_HANDLE_VALUE;
    if (!g_createPipe(&read, &write, &attributes, size))
        throw std::runtime_error("CVskPipe::Create() :");
    m_read = read;
    m_write = write;
}

void CVskPipe::CloseRead() { CloseHeld(m_read); }

void CVskPipe::CloseWrite() { CloseHeld(m_write); }

} // namespace vsk
