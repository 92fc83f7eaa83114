// FaultUnwind.h - what the structured-exception guard needs to know before it
// turns a fault into a C++ exception thrown at the fault site. Internal.
//
// A fault can travel as a C++ exception only where every frame between it
// and the guard has unwind information, and where each of them lets an
// exception pass at the point it stopped: code compiled without non-call
// exceptions, or a noexcept function, has no entry for a faulting
// instruction, and the runtime would end the process there.
#pragma once

namespace vsk::detail {

/// True when the unwinder has a frame description for code address `pc`
/// (code of a module built with unwind tables that registered them).
bool HasUnwindInfo(const void* pc);

/// Walks the calling thread's stack from the caller of this function
/// outwards and tells whether a C++ exception thrown here would reach the
/// frame that holds `guardAddress` (a local of the guard's frame), passing
/// only frames that let it through. Frames whose stack pointer lies below
/// `firstChecked` (the thrower's own frames) are not judged.
bool ExceptionCanReach(const void* guardAddress, const void* firstChecked);

/// Where a caller with unwind information called the function that faulted
/// in code without it: its return address, its stack pointer and frame
/// pointer as they were at the call. Found only in the two shapes where the
/// faulting function cannot yet have changed a register that its caller
/// keeps: nothing pushed yet (the return address on top of the stack), or
/// only the frame pointer pushed and made the frame.
struct CForeignCall {
    unsigned long returnAddress;
    unsigned long esp; // the stack pointer pointing at the return address
    unsigned long ebp;
};

/// Looks for that caller of the code at `eip` with the stack `esp` and the
/// frame pointer `ebp`; false when neither shape fits or the return address
/// does not follow a call of the function that holds `eip`.
bool FindForeignCall(unsigned long eip, unsigned long esp, unsigned long ebp, CForeignCall& call);

} // namespace vsk::detail
