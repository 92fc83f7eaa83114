// MbcsCursor.cpp - the lead-byte table of the system code page.
#include "platform/MbcsCursor.h"

#include "platform/Win32.h"

namespace vsk::detail {

namespace {

struct CLeadByteTable {
    bool lead[256];
    bool lowBytesAreSingle = true;
    CLeadByteTable() {
        for (int c = 0; c < 256; ++c) {
            lead[c] = IsDBCSLeadByte(static_cast<BYTE>(c)) != FALSE;
            if (lead[c] && c < 0x80)
                lowBytesAreSingle = false;
        }
    }
};

const CLeadByteTable& Table() {
    static const CLeadByteTable table;
    return table;
}

} // namespace

const bool* LeadByteTable() { return Table().lead; }

bool LowBytesAreSingle() { return Table().lowBytesAreSingle; }

} // namespace vsk::detail
