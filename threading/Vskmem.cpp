// Vskmem.cpp - the owned byte buffer.
#include "threading/Vskmem.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

VSK_DEFINE_UNIT(Vskmem, nullptr, nullptr)

CVskMem::CVskMem() : m_buffer(nullptr), m_size(0) {}

CVskMem::CVskMem(unsigned int size) : m_buffer(std::malloc(size)), m_size(size) {
    if (!m_buffer)
        throw std::runtime_error("CVskMem::CVskMem()");
}

CVskMem::CVskMem(unsigned int size, unsigned char fill) : CVskMem(size) {
    std::memset(m_buffer, fill, size);
}

CVskMem::CVskMem(const CVskMem& other) : CVskMem() {
    *this = other;
}

CVskMem::~CVskMem() {
    std::free(m_buffer);
    m_buffer = nullptr;
    m_size = 0;
}

CVskMem& CVskMem::operator=(const CVskMem& other) {
    if (this == &other)
        return *this;
    if (m_size != other.m_size) {
        // The new block is taken before the old one goes, so a failure
        // leaves this object untouched.
        void* buffer = std::malloc(other.m_size);
        if (!buffer)
            throw std::runtime_error("CVskMem::operator=()");
        std::free(m_buffer);
        m_buffer = buffer;
        m_size = other.m_size;
    }
    if (m_size != 0)
        std::memcpy(m_buffer, other.m_buffer, m_size);
    return *this;
}

bool CVskMem::Resize(unsigned int size) {
    if (size == m_size)
        return true;
    // A block always remains, so that the buffer never turns null behind a
    // caller that reads it after Resize(0).
    void* buffer = std::realloc(m_buffer, size == 0 ? 1 : size);
    if (!buffer)
        throw std::runtime_error("CVskMem::Resize()");
    m_buffer = buffer;
    m_size = size;
    return true;
}
