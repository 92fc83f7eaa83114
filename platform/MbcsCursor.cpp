// MbcsCursor.cpp - the lead-byte table of the system code page.
#include "platform/MbcsCursor.h"

#include "platform/Win32.h"

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

const CLeadBytes& LeadBytes() {
    static const CLeadBytes bytes = ReadLeadBytes();
    return bytes;
}

} // namespace vsk::detail
