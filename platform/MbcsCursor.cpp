// MbcsCursor.cpp - the lead-byte table of the system code page.
#include "platform/MbcsCursor.h"

#include "platform/Win32.h"

#include <emmintrin.h>

#include <cstdint>

namespace vsk::detail {

namespace {

CLeadBytes ReadLeadBytes() {
    CLeadBytes bytes{};
    bytes.lowBytesAreSingle = true;
    for (int c = 0; c < 256; ++c) {
        bytes.lead[c] = IsDBCSLeadByte(static_cast<BYTE>(c)) != FALSE;
        if (bytes.lead[c] && c < 0x80)
            bytes.lowBytesAreSingle = false;
    }
    return bytes;
}

} // namespace

namespace {

// Sixteen bytes at a time. Each block read is 16-byte aligned, so it never
// crosses a page: the bytes it holds before `s` or after the text are
// readable, and are left out of the answer.
__attribute__((target("sse2"))) std::size_t FindNulSixteenAtATime(const char* s, std::size_t n) {
    const __m128i zero = _mm_setzero_si128();
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(s) % 16;
    const char* block = s - offset;
    unsigned int nuls =
        static_cast<unsigned int>(_mm_movemask_epi8(
            _mm_cmpeq_epi8(_mm_load_si128(reinterpret_cast<const __m128i*>(block)), zero))) >>
        offset << offset;
    for (;;) {
        if (nuls != 0) {
            const std::size_t i = static_cast<std::size_t>(block - s) + __builtin_ctz(nuls);
            return i < n ? i : n;
        }
        block += 16;
        if (static_cast<std::size_t>(block - s) >= n)
            return n;
        nuls = static_cast<unsigned int>(
            _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_load_si128(reinterpret_cast<const __m128i*>(block)), zero)));
    }
}

} // namespace

std::size_t CMbcsCursor::FindNulInLongText(const char* s, std::size_t n) {
    static const bool sixteenAtATime = IsProcessorFeaturePresent(PF_XMMI64_INSTRUCTIONS_AVAILABLE) != FALSE;
    return sixteenAtATime ? FindNulSixteenAtATime(s, n) : ScanFor(s, 0, n, 0);
}

const CLeadBytes& LeadBytes() {
    static const CLeadBytes bytes = ReadLeadBytes();
    return bytes;
}

} // namespace vsk::detail
