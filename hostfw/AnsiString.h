// AnsiString.h - stand-in of the host framework's System::AnsiString.
#pragma once

#include "hostfw/Hostfw_stdafx.h"

namespace System {

/// The host framework's narrow string. Like the framework's own, an empty
/// AnsiString holds no data pointer: `data()` is nullptr and `c_str()` gives "",
/// and copies share one reference-counted buffer (so passing one by value
/// costs an interlocked increment, not a copy of the text).
class HOSTFW_API AnsiString {
public:
    AnsiString() = default;
    /// Copies `s` up to its NUL; nullptr gives the empty string.
    AnsiString(const char* s);
    /// Copies exactly `length` bytes of `s`, NUL bytes included.
    AnsiString(const char* s, int length);
    /// A copy of `other`'s text.
    AnsiString(const AnsiString& other);
    /// Takes a copy of `other`'s text.
    AnsiString& operator=(const AnsiString& other);
    ~AnsiString();

    /// The text, NUL-terminated; "" when empty.
    const char* c_str() const;
    /// The data pointer; nullptr when empty.
    char* data() const { return m_data; }
    /// The length in bytes.
    int Length() const { return m_length; }
    /// No bytes.
    bool IsEmpty() const { return m_length == 0; }

    /// The same bytes.
    bool operator==(const AnsiString& other) const;
    /// Different bytes.
    bool operator!=(const AnsiString& other) const { return !(*this == other); }

private:
    void Assign(const char* s, int length);
    void Release();

    char* m_data = nullptr;
    int m_length = 0;
};

} // namespace System
