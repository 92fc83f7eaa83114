// AnsiString.cpp - stand-in of System::AnsiString.
#include "hostfw/AnsiString.h"

#include <cstring>
#include <utility>

namespace System {

AnsiString::AnsiString(const char* s) { Assign(s, s ? static_cast<int>(std::strlen(s)) : 0); }

AnsiString::AnsiString(const char* s, int length) { Assign(s, length); }

AnsiString::AnsiString(const AnsiString& other) { Assign(other.m_data, other.m_length); }

AnsiString& AnsiString::operator=(const AnsiString& other) {
    if (this != &other) {
        AnsiString copy(other);
        std::swap(m_data, copy.m_data);
        std::swap(m_length, copy.m_length);
    }
    return *this;
}

AnsiString::~AnsiString() { delete[] m_data; }

const char* AnsiString::c_str() const { return m_data ? m_data : ""; }

bool AnsiString::operator==(const AnsiString& other) const {
    return m_length == other.m_length &&
           (m_length == 0 || std::memcmp(m_data, other.m_data, m_length) == 0);
}

// Empty text keeps no allocation, as the framework's own string does.
void AnsiString::Assign(const char* s, int length) {
    if (!s || length <= 0)
        return;
    m_data = new char[length + 1];
    std::memcpy(m_data, s, length);
    m_data[length] = '\0';
    m_length = length;
}

} // namespace System
