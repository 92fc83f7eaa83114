// ScopedHandle.h - one owner for every kind of system handle the library
// closes itself. Internal; not exported.
#pragma once

#include "platform/LastError.h"
#include "platform/Win32.h"

namespace vsk::detail {

/// Owns one handle of the kind `Traits` describes and closes it when it
/// goes (or is reset). Closing keeps the thread's last error, so a failed
/// call's error reaches the caller past the clean-up. Movable, not copyable.
///
/// Example:
///   CScopedKernelHandle file(CreateFileA(...));
///   if (!file)
///       return false;          // GetLastError() is CreateFileA's
///   ReadFile(file.Get(), ...);
template <typename Traits>
class CScopedHandle {
public:
    using Handle = typename Traits::Handle;

    CScopedHandle() noexcept = default;
    explicit CScopedHandle(Handle handle) noexcept : m_handle(handle) {}
    CScopedHandle(CScopedHandle&& other) noexcept : m_handle(other.Release()) {}
    CScopedHandle& operator=(CScopedHandle&& other) noexcept {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }
    CScopedHandle(const CScopedHandle&) = delete;
    CScopedHandle& operator=(const CScopedHandle&) = delete;
    ~CScopedHandle() { Reset(); }

    Handle Get() const noexcept { return m_handle; }
    explicit operator bool() const noexcept { return Traits::IsHeld(m_handle); }

    /// Gives the handle up without closing it.
    Handle Release() noexcept {
        const Handle handle = m_handle;
        m_handle = Traits::None();
        return handle;
    }

    /// Closes the handle held (if any) and takes `handle`.
    void Reset(Handle handle = Traits::None()) noexcept {
        if (Traits::IsHeld(m_handle)) {
            const CLastErrorKeeper keep;
            Traits::Close(m_handle);
        }
        m_handle = handle;
    }

private:
    Handle m_handle = Traits::None();
};

/// A kernel object (file, pipe, process, thread, event): CloseHandle. Both
/// null and INVALID_HANDLE_VALUE mean "none", as the system's functions
/// return one or the other on failure.
struct CKernelHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return nullptr; }
    static bool IsHeld(Handle handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { CloseHandle(handle); }
};

/// A directory search: FindClose.
struct CFindHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return INVALID_HANDLE_VALUE; }
    static bool IsHeld(Handle handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { FindClose(handle); }
};

/// Memory from LocalAlloc (and the system functions that allocate with it,
/// such as FormatMessageA with FORMAT_MESSAGE_ALLOCATE_BUFFER): LocalFree.
struct CLocalMemoryTraits {
    using Handle = HLOCAL;
    static Handle None() { return nullptr; }
    static bool IsHeld(Handle handle) { return handle != nullptr; }
    static void Close(Handle handle) { LocalFree(handle); }
};

/// Memory from GlobalAlloc: GlobalFree.
struct CGlobalMemoryTraits {
    using Handle = HGLOBAL;
    static Handle None() { return nullptr; }
    static bool IsHeld(Handle handle) { return handle != nullptr; }
    static void Close(Handle handle) { GlobalFree(handle); }
};

using CScopedKernelHandle = CScopedHandle<CKernelHandleTraits>;
using CScopedFindHandle = CScopedHandle<CFindHandleTraits>;
using CScopedLocalMemory = CScopedHandle<CLocalMemoryTraits>;
using CScopedGlobalMemory = CScopedHandle<CGlobalMemoryTraits>;

} // namespace vsk::detail
