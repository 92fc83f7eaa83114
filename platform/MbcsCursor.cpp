// MbcsCursor.cpp - the lead-byte table of the system code page.
#include "platform/MbcsCursor.h"

#include "platform/Win32.h"

namespace vsk::detail {

namespace {

struct CLeadByteTable {
    bool lead[256];
    CLeadByteTable() {
        for (int c = 0; c < 256; ++c)
            lead[c] = IsDBCSLeadByte(static_cast<BYTE>(c)) != FALSE;
    }
};

} // namespace

const bool* LeadByteTable() {
    static const CLeadByteTable table;
    return table.lead;
}

} // namespace vsk::detail
