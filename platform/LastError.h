// LastError.h - keeping the thread's last error across clean-up calls.
// Internal; not exported.
#pragma once

#include "platform/Win32.h"

namespace vsk::detail {

/// Keeps the thread's last error from its construction and puts it back when
/// it goes: clean-up calls made meanwhile (closing a handle, writing a log
/// line) leave the caller the error of the call that failed.
///
/// Example: { const CLastErrorKeeper keep; CloseHandle(handle); }
class CLastErrorKeeper {
public:
    CLastErrorKeeper() : m_lastError(GetLastError()) {}
    ~CLastErrorKeeper() { SetLastError(m_lastError); }
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;

private:
    DWORD m_lastError;
};

} // namespace vsk::detail
