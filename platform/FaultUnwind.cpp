// FaultUnwind.cpp - the checks made before a fault is thrown at its site.
#include "platform/FaultUnwind.h"

#include "platform/Win32.h"

#include <cstdint>
#include <unwind.h>

// The unwinder's own lookup of a frame description; exported by the shared
// unwinder, not declared by its public header.
extern "C" const void* _Unwind_Find_FDE(void* pc, void* bases);

namespace vsk::detail {
namespace {

// Exception-handling pointer encodings of the language-specific data.
constexpr unsigned char kEncodingOmit = 0xff;

struct CByteReader {
    const unsigned char* p;

    unsigned long Uleb128() {
        unsigned long value = 0;
        int shift = 0;
        unsigned char byte;
        do {
            byte = *p++;
            value |= static_cast<unsigned long>(byte & 0x7f) << shift;
            shift += 7;
        } while (byte & 0x80);
        return value;
    }

    long Sleb128() {
        long value = 0;
        int shift = 0;
        unsigned char byte;
        do {
            byte = *p++;
            value |= static_cast<long>(byte & 0x7f) << shift;
            shift += 7;
        } while (byte & 0x80);
        if (shift < 32 && (byte & 0x40))
            value |= -(1L << shift);
        return value;
    }

    template <typename T> T Fixed() {
        T value;
        __builtin_memcpy(&value, p, sizeof value);
        p += sizeof value;
        return value;
    }

    // The value part of an encoded pointer; how it is applied (relative to
    // what) does not matter for the offsets read here.
    unsigned long Encoded(unsigned char encoding) {
        switch (encoding & 0x0f) {
        case 0x00: return Fixed<std::uint32_t>();
        case 0x01: return Uleb128();
        case 0x02: return Fixed<std::uint16_t>();
        case 0x03: return Fixed<std::uint32_t>();
        case 0x04: return static_cast<unsigned long>(Fixed<std::uint64_t>());
        case 0x09: return static_cast<unsigned long>(Sleb128());
        case 0x0a: return static_cast<unsigned long>(Fixed<std::int16_t>());
        case 0x0b: return static_cast<unsigned long>(Fixed<std::int32_t>());
        case 0x0c: return static_cast<unsigned long>(Fixed<std::int64_t>());
        default: return 0;
        }
    }
};

// True when an exception reaching offset `ip` of the function whose data is
// `lsda` goes on through it (to a cleanup, a catch, or straight past). A
// point without a call-site entry, or inside a function that lists the
// exceptions it lets out (noexcept, throw(...)), would end the process
// instead.
bool LetsExceptionPass(const unsigned char* lsda, unsigned long ip) {
    CByteReader reader{lsda};
    const unsigned char landingPadBaseEncoding = *reader.p++;
    if (landingPadBaseEncoding != kEncodingOmit)
        reader.Encoded(landingPadBaseEncoding);
    const unsigned char typeEncoding = *reader.p++;
    if (typeEncoding != kEncodingOmit)
        reader.Uleb128();
    const unsigned char callSiteEncoding = *reader.p++;
    const unsigned long tableLength = reader.Uleb128();
    const unsigned char* const tableEnd = reader.p + tableLength;
    const unsigned char* const actions = tableEnd;
    while (reader.p < tableEnd) {
        const unsigned long start = reader.Encoded(callSiteEncoding);
        const unsigned long length = reader.Encoded(callSiteEncoding);
        reader.Encoded(callSiteEncoding); // landing pad
        const unsigned long action = reader.Uleb128();
        if (ip < start)
            return false; // the table is sorted: ip lies in a gap
        if (ip >= start + length)
            continue;
        if (action == 0)
            return true;
        CByteReader record{actions + action - 1};
        for (;;) {
            if (record.Sleb128() < 0)
                return false; // a list of allowed exceptions (noexcept, throw(...))
            const unsigned char* const displacementAt = record.p;
            const long displacement = record.Sleb128();
            if (displacement == 0)
                return true;
            record.p = displacementAt + displacement;
        }
    }
    return false;
}

struct CWalk {
    const void* guardAddress;
    const void* firstChecked;
    bool reached = false;
    bool blocked = false;
};

_Unwind_Reason_Code JudgeFrame(_Unwind_Context* context, void* argument) {
    auto* walk = static_cast<CWalk*>(argument);
    // The unwinder's CFA of a context is the frame's own stack pointer (its
    // callee's CFA): the guard's locals lie above it, the frames outside
    // the guard have theirs above the guard's locals.
    const auto stack = reinterpret_cast<const void*>(_Unwind_GetCFA(context));
    if (stack > walk->guardAddress) {
        walk->reached = true;
        return _URC_NORMAL_STOP;
    }
    if (stack < walk->firstChecked)
        return _URC_NO_REASON;
    const auto* lsda = static_cast<const unsigned char*>(_Unwind_GetLanguageSpecificData(context));
    if (!lsda)
        return _URC_NO_REASON; // nothing to run here: the exception passes
    int beforeInstruction = 0;
    unsigned long ip = _Unwind_GetIPInfo(context, &beforeInstruction);
    if (!beforeInstruction)
        --ip; // a return address: look inside the call
    if (!LetsExceptionPass(lsda, ip - _Unwind_GetRegionStart(context))) {
        walk->blocked = true;
        return _URC_NORMAL_STOP;
    }
    return _URC_NO_REASON;
}

bool IsReadable(const void* address, unsigned long size) {
    MEMORY_BASIC_INFORMATION info;
    if (!VirtualQuery(address, &info, sizeof info) || info.State != MEM_COMMIT)
        return false;
    if (info.Protect & (PAGE_NOACCESS | PAGE_GUARD))
        return false;
    const auto end = reinterpret_cast<unsigned long>(info.BaseAddress) + info.RegionSize;
    return reinterpret_cast<unsigned long>(address) + size <= end;
}

bool ReadWord(unsigned long address, unsigned long& value) {
    if (!IsReadable(reinterpret_cast<const void*>(address), 4))
        return false;
    __builtin_memcpy(&value, reinterpret_cast<const void*>(address), 4);
    return true;
}

// The function a call instruction ending at `returnAddress` calls: a direct
// call (E8 rel32) or one through an import slot (FF 15 [slot]), followed
// through an import thunk (FF 25 [slot]). Zero when it is neither.
unsigned long CallTarget(unsigned long returnAddress) {
    const auto* code = reinterpret_cast<const unsigned char*>(returnAddress);
    unsigned long target = 0;
    unsigned long slot = 0;
    if (!IsReadable(code - 6, 6))
        return 0;
    if (code[-5] == 0xE8) {
        std::int32_t displacement;
        __builtin_memcpy(&displacement, code - 4, 4);
        target = returnAddress + static_cast<unsigned long>(displacement);
    } else if (code[-6] == 0xFF && code[-5] == 0x15) {
        __builtin_memcpy(&slot, code - 4, 4);
        if (!ReadWord(slot, target))
            return 0;
    } else {
        return 0;
    }
    const auto* thunk = reinterpret_cast<const unsigned char*>(target);
    if (IsReadable(thunk, 6) && thunk[0] == 0xFF && thunk[1] == 0x25) {
        __builtin_memcpy(&slot, thunk + 2, 4);
        if (!ReadWord(slot, target))
            return 0;
    }
    return target;
}

// How far into the called function the fault may lie: the functions whose
// faults are unwound this way are short leaves of the C runtime.
constexpr unsigned long kLeafReach = 64 * 1024;

bool IsCallOfFaultingFunction(unsigned long returnAddress, unsigned long eip) {
    if (!HasUnwindInfo(reinterpret_cast<const void*>(returnAddress - 1)))
        return false;
    const unsigned long target = CallTarget(returnAddress);
    return target != 0 && eip >= target && eip - target < kLeafReach;
}

} // namespace

bool HasUnwindInfo(const void* pc) {
    void* bases[3] = {};
    return _Unwind_Find_FDE(const_cast<void*>(pc), bases) != nullptr;
}

bool ExceptionCanReach(const void* guardAddress, const void* firstChecked) {
    CWalk walk{guardAddress, firstChecked};
    _Unwind_Backtrace(JudgeFrame, &walk);
    return walk.reached && !walk.blocked;
}

bool FindForeignCall(unsigned long eip, unsigned long esp, unsigned long ebp, CForeignCall& call) {
    unsigned long returnAddress = 0;
    if (ReadWord(esp, returnAddress) && IsCallOfFaultingFunction(returnAddress, eip)) {
        call = {returnAddress, esp, ebp};
        return true;
    }
    unsigned long callerEbp = 0;
    if (esp == ebp && ReadWord(ebp + 4, returnAddress) && ReadWord(ebp, callerEbp) &&
        IsCallOfFaultingFunction(returnAddress, eip)) {
        call = {returnAddress, ebp + 4, callerEbp};
        return true;
    }
    return false;
}

} // namespace vsk::detail
