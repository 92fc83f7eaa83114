// AnsiString.cpp - stand-in of System::AnsiString.
#include "hostfw/AnsiString.h"

#include <windows.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace System {

namespace {

// The shared buffer: a reference count, then the text and its NUL.
struct CSharedText {
    volatile LONG refs;
    char text[1];
};

CSharedText* SharedOf(char* data) {
    return reinterpret_cast<CSharedText*>(data - offsetof(CSharedText, text));
}

} // namespace

AnsiString::AnsiString(const char* s) { Assign(s, s ? static_cast<int>(std::strlen(s)) : 0); }

AnsiString::AnsiString(const char* s, int length) { Assign(s, length); }

AnsiString::AnsiString(const AnsiString& other) : m_data(other.m_data), m_length(other.m_length) {
    if (m_data)
        InterlockedIncrement(&SharedOf(m_data)->refs);
}

AnsiString& AnsiString::operator=(const AnsiString& other) {
    AnsiString copy(other);
    std::swap(m_data, copy.m_data);
    std::swap(m_length, copy.m_length);
    return *this;
}

AnsiString::~AnsiString() { Release(); }

void AnsiString::Release() {
    if (m_data && InterlockedDecrement(&SharedOf(m_data)->refs) == 0)
        std::free(SharedOf(m_data));
}

const char* AnsiString::c_str() const { return m_data ? m_data : ""; }

bool AnsiString::operator==(const AnsiString& other) const {
    return m_length == other.m_length &&
           (m_length == 0 || std::memcmp(m_data, other.m_data, m_length) == 0);
}

// Empty text keeps no allocation, as the framework's own string does.
void AnsiString::Assign(const char* s, int length) {
    if (!s || length <= 0)
        return;
    auto* shared = static_cast<CSharedText*>(std::malloc(offsetof(CSharedText, text) + length + 1));
    if (!shared)
        throw std::bad_alloc();
    shared->refs = 1;
    m_data = shared->text;
    std::memcpy(m_data, s, length);
    m_data[length] = '\0';
    m_length = length;
}

} // namespace System
