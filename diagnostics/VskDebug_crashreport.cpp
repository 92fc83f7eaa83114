// VskDebug_crashreport.cpp - part of unit VskDebug: the crash report of a
// structured exception (its header, registers, call stack and modules).
#include "diagnostics/VskDebug.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>

namespace {

struct CExceptionName {
    unsigned long code;
    const char* name;
};

// Searched in this order; the first equal code gives the name.
const CExceptionName kExceptionNames[] = {
    {0xC0000005ul, "Access Violation"},
    {0x80000003ul, "Break Point"},
    {0x80000002ul, "Datatype Miss Alignment"},
    {0x80000004ul, "Single Step"},
    {0xC000008Cul, "Array Bounds Exceeded"},
    {0xC000008Dul, "Floating-Point Denormal Operand"},
    {0xC000008Eul, "Floating-Point Divide by Zero"},
    {0xC000008Ful, "Floating-Point Inexact Result"},
    {0xC0000090ul, "Floating-Point Invalid Operation"},
    {0xC0000091ul, "Floating-Point Overflow"},
    {0xC0000092ul, "Floating-Point Stack Check"},
    {0xC0000093ul, "Floating-Point Underflow"},
    {0xC0000094ul, "Integer Divide by Zero"},
    {0xC0000095ul, "Integer Overflow"},
    {0xC0000096ul, "Not Allow Instruction Code"},
    {0xC0000025ul, "Noncontinuable Exception"},
};

const char* const kUnexpectedException = "予期せぬ例外が発生しました";

// The integer group with the processor-family bit, and the control group
// with it: every x86 context carries the family bit, so in practice both
// groups print; the tests are kept as they are.
constexpr DWORD kIntegerGroupTest = 0x00010002;
constexpr DWORD kControlGroupTest = 0x00010001;
constexpr DWORD kModulePathSize = 259;

// A null text is written as the C runtime's printf writes it.
const char* Text(const char* s) { return s ? s : "(null)"; }

// One formatted piece of bounded size.
class CPiece {
public:
    template <typename... Args>
    const char* operator()(const char* format, Args... args) {
        std::snprintf(m_text, sizeof m_text, format, args...);
        return m_text;
    }

private:
    char m_text[64];
};

void WriteRegisters(vsk::detail::CReportOutput& out, const CONTEXT& context) {
    CPiece piece;
    out.Put("<Registers>\n");
    if (context.ContextFlags & kIntegerGroupTest) {
        out.Put(piece(" EAX   =0x%08X\n", static_cast<unsigned>(context.Eax)));
        out.Put(piece(" EBX   =0x%08X\n", static_cast<unsigned>(context.Ebx)));
        out.Put(piece(" ECX   =0x%08X\n", static_cast<unsigned>(context.Ecx)));
        out.Put(piece(" EDX   =0x%08X\n", static_cast<unsigned>(context.Edx)));
        out.Put(piece(" ESI   =0x%08X\n", static_cast<unsigned>(context.Esi)));
        out.Put(piece(" EDI   =0x%08X\n", static_cast<unsigned>(context.Edi)));
    }
    if (context.ContextFlags & kControlGroupTest) {
        out.Put(piece(" EBP   =0x%08X\n", static_cast<unsigned>(context.Ebp)));
        out.Put(piece(" EIP   =0x%08X\n", static_cast<unsigned>(context.Eip)));
        out.Put(piece(" ESP   =0x%08X\n", static_cast<unsigned>(context.Esp)));
        out.Put(piece(" SegCS =0x%08X\n", static_cast<unsigned>(context.SegCs)));
        out.Put(piece(" SegSs =0x%08X\n", static_cast<unsigned>(context.SegSs)));
        out.Put(piece(" EFlags=0x%08X\n", static_cast<unsigned>(context.EFlags)));
    }
    out.Put("\n");
}

// The frame-pointer walk. Each frame holds the caller's frame in its first
// word and the return address in its second. Both words are checked for
// reading (the second can lie on the next page). A chain whose next frame
// is not above the current one ends there: frames of a real stack always
// move up, and this keeps a corrupt, looping chain from running forever.
void WriteCallStack(vsk::detail::CReportOutput& out, const CONTEXT& context) {
    CPiece piece;
    out.Put("<Call Stack>\n");
    auto frame = static_cast<std::uintptr_t>(context.Ebp);
    while (frame != 0 && frame % 4 == 0 && !IsBadReadPtr(reinterpret_cast<const void*>(frame), 8)) {
        const auto* words = reinterpret_cast<const std::uintptr_t*>(frame);
        const std::uintptr_t returnAddress = words[1];
        if (returnAddress == 0)
            break;
        const std::uintptr_t next = words[0];
        out.Put(piece(" 0x%08X\n", static_cast<unsigned>(returnAddress)));
        if (next <= frame)
            break;
        frame = next;
    }
    out.Put("\n");
}

void WriteModules(vsk::detail::CReportOutput& out) {
    out.Put("<Load Modules>\n");
    char line[16 + kModulePathSize + 8];
    char path[kModulePathSize + 1];
    MEMORY_BASIC_INFORMATION region;
    std::uintptr_t address = 0;
    while (VirtualQuery(reinterpret_cast<const void*>(address), &region, sizeof region) == sizeof region) {
        const auto base = reinterpret_cast<std::uintptr_t>(region.BaseAddress);
        if (region.AllocationBase != nullptr && region.AllocationBase == region.BaseAddress) {
            const DWORD n = GetModuleFileNameA(static_cast<HMODULE>(region.AllocationBase), path, kModulePathSize);
            if (n != 0) {
                path[n < kModulePathSize ? n : kModulePathSize] = '\0';
                std::snprintf(line, sizeof line, " 0x%08X : %s\n", static_cast<unsigned>(base), path);
                out.Put(line);
            }
        }
        const std::uintptr_t next = base + region.RegionSize;
        if (next <= address)
            break; // the top of the address space
        address = next;
    }
}

} // namespace

namespace vsk::detail {

const char* ExceptionName(unsigned long code) {
    for (const CExceptionName& entry : kExceptionNames) {
        if (entry.code == code)
            return entry.name;
    }
    return "Unknown Exception";
}

void WriteExceptionReport(CReportOutput& out, unsigned long code, const EXCEPTION_POINTERS* pointers,
                          const char* file, int line, const char* func) {
    CPiece piece;
    out.PutTimestamp();
    out.PutPrefix(file, line, func);
    out.Put(kUnexpectedException);
    out.Put("\n");

    // The header as "<Exception>\n Code     : 0x%08x\n Name     : %s\n File     :
    // %s\n Line     : %d\n Function : %s()\n" gives it, the texts written
    // whole so that no length of file or func is cut.
    out.Put("<Exception>\n");
    out.Put(piece(" Code     : 0x%08x\n", static_cast<unsigned>(code)));
    out.Put(" Name     : ");
    out.Put(ExceptionName(code));
    out.Put("\n File     : ");
    out.Put(Text(file));
    out.Put(piece("\n Line     : %d\n", line));
    out.Put(" Function : ");
    out.Put(Text(func));
    out.Put("()\n");
    out.Put("\n");

    // Without a context record the sections stay empty rather than fault
    // inside the report.
    CONTEXT empty{};
    const CONTEXT& context = pointers && pointers->ContextRecord ? *pointers->ContextRecord : empty;
    WriteRegisters(out, context);
    WriteCallStack(out, context);
    WriteModules(out);
    out.PutLine("");
}

void ReportAndThrow(CReportOutput& out, unsigned long code, const EXCEPTION_POINTERS* pointers, const char* file,
                    int line, const char* func) {
    WriteExceptionReport(out, code, pointers, file, line, func);
    throw std::runtime_error(kUnexpectedException);
}

} // namespace vsk::detail
