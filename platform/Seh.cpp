// Seh.cpp - the scoped structured-exception guard.
//
// How a fault inside the guard travels:
//   1. the system's dispatcher calls GuardHandler with the exception record and
//      the faulting context, the faulting frames still on the stack;
//   2. GuardHandler calls the filter; a C++ exception from it is caught right
//      there (thrown and caught inside our own frames only) and kept for the
//      guard, which is a running call into the system (CallbackBoundary.h);
//   3. where the faulting code has unwind information, the handler lets the
//      system resume the thread in ThrowAtFault as if the faulting
//      instruction had called it (a short leaf of code without unwind
//      information is left for its caller the same way); ThrowAtFault checks
//      that every frame up to the guard lets an exception pass and throws
//      the kept exception, so ordinary unwinding runs every destructor on
//      the way and RunSehGuarded's catch removes its registration;
//   4. otherwise (no unwind information, a stack overflow, a frame that
//      would end the process), RtlUnwind removes the registrations inside
//      the guard, leaving the guard's own on top, and __builtin_longjmp
//      resumes in RunSehGuarded, which removes its registration and throws
//      the kept exception from its own frame; destructors between the fault
//      and the guard do not run on this path, so the library's running calls
//      made inside the body are ended before the jump, while their objects
//      are still there.
// A callback that keeps an exception for the guard while its body runs
// (the body entered the system, which called a window procedure) has it
// thrown by the guard when the body returns.
#include "platform/Seh.h"

#include "platform/CallbackBoundary.h"
#include "platform/FaultUnwind.h"

#include <cstddef>
#include <exception>
#include <malloc.h>

namespace vsk::detail {
namespace {

struct CSehRecord {
    CSehRecord* next;
    void* handler;
};

// The registration first (the system receives its address as the
// establisher frame), then what the handler needs to resume the guard.
struct CGuardFrame {
    CSehRecord record;
    void* resume[5]; // __builtin_setjmp's buffer
    SehFilter filter;
    void* filterContext;
    CSystemCallScope* call; // the guard's running call: the filter's exception is kept there
    unsigned long code;
    EXCEPTION_RECORD fault; // for the unwind of the fallback path
};

CSehRecord* ChainHead() {
    CSehRecord* head;
    asm volatile("movl %%fs:0, %0" : "=r"(head));
    return head;
}

void SetChainHead(CSehRecord* head) { asm volatile("movl %0, %%fs:0" : : "r"(head) : "memory"); }

// RtlUnwind is known not to keep EBX, ESI and EDI on every system; keep them
// here so that the compiler's view of the registers stays true.
void UnwindTo(CSehRecord* target, EXCEPTION_RECORD* record) {
    auto* unwind = &RtlUnwind;
    asm volatile("pushl %%ebx\n\t"
                 "pushl %%esi\n\t"
                 "pushl %%edi\n\t"
                 "pushl %%ebp\n\t"
                 "pushl $0\n\t"
                 "pushl %1\n\t"
                 "pushl $0\n\t"
                 "pushl %0\n\t"
                 "call *%2\n\t"
                 "popl %%ebp\n\t"
                 "popl %%edi\n\t"
                 "popl %%esi\n\t"
                 "popl %%ebx"
                 :
                 : "r"(target), "r"(record), "r"(unwind)
                 : "eax", "ecx", "edx", "memory", "cc");
}

// A stack overflow leaves the handler a few kilobytes of stack: too little
// for a filter that formats and writes a report. Its filter runs on a stack
// of its own (one for the process, or a fresh one when another thread's
// overflow is using it); the thread's stack limits in its TIB follow, so the
// system accepts exception registrations made there.
constexpr std::size_t kSideStackSize = 256 * 1024;
alignas(16) unsigned char g_sideStack[kSideStackSize];
volatile LONG g_sideStackBusy = 0;

struct CFilterCall {
    CGuardFrame* frame;
    EXCEPTION_RECORD* record;
    CONTEXT* context;
    bool threw;
};

// Calls the filter; keeps its exception in the guard frame. Never throws.
void CallFilter(void* p) {
    auto* call = static_cast<CFilterCall*>(p);
    EXCEPTION_POINTERS pointers{call->record, call->context};
    try {
        call->frame->filter(call->record->ExceptionCode, &pointers, call->frame->filterContext);
        call->threw = false;
    } catch (...) {
        call->frame->call->Keep(std::current_exception(), VSK_BOUNDARY_SITE("vsk::detail::RunSehGuarded"));
        call->threw = true;
    }
}

struct CStackLimits {
    void* base;
    void* limit;
};

CStackLimits ReadStackLimits() {
    CStackLimits limits;
    asm volatile("movl %%fs:4, %0\n\tmovl %%fs:8, %1" : "=r"(limits.base), "=r"(limits.limit));
    return limits;
}

void WriteStackLimits(CStackLimits limits) {
    asm volatile("movl %0, %%fs:4\n\tmovl %1, %%fs:8" : : "r"(limits.base), "r"(limits.limit) : "memory");
}

// Calls fn(arg) with the stack pointer at `top` and returns on the old stack.
void CallOnStack(void (*fn)(void*), void* arg, void* top) {
    asm volatile("movl %%esp, %%eax\n\t"
                 "movl %2, %%esp\n\t"
                 "pushl %%eax\n\t"
                 "subl $8, %%esp\n\t"
                 "pushl %1\n\t"
                 "call *%0\n\t"
                 "addl $12, %%esp\n\t"
                 "popl %%esp"
                 :
                 : "r"(fn), "r"(arg), "r"(top)
                 : "eax", "ecx", "edx", "memory", "cc");
}

void RunOnSideStack(void (*fn)(void*), void* arg) {
    unsigned char* stack = g_sideStack;
    const bool shared = InterlockedExchange(&g_sideStackBusy, 1) == 0;
    if (!shared) {
        stack = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, kSideStackSize, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        if (!stack) {
            fn(arg); // nothing better: try on what is left
            return;
        }
    }
    const CStackLimits saved = ReadStackLimits();
    WriteStackLimits({stack + kSideStackSize, stack});
    CallOnStack(fn, arg, stack + kSideStackSize - 16);
    WriteStackLimits(saved);
    if (shared)
        InterlockedExchange(&g_sideStackBusy, 0);
    else
        VirtualFree(stack, 0, MEM_RELEASE);
}

// Ends the library's running calls made inside the guard's body, before a
// jump leaves their frames behind; what they held goes to the guard (and
// from there to the report, the guard having the filter's exception).
void AbandonCallsInsideGuard(void* frame) { static_cast<CGuardFrame*>(frame)->call->AbandonInnerCalls(); }

// Throws the guard's kept exception as if the faulting code had called this
// function (its return address is the faulting instruction's address plus
// one, or the return address of the faulting leaf's call). Entered with the
// guard frame in EAX, when the system has resumed the thread.
extern "C" __attribute__((regparm(1), noinline, used)) void vsk_ThrowAtFault(CGuardFrame* frame) {
    auto* const frameBase = static_cast<char*>(__builtin_frame_address(0));
    if (ExceptionCanReach(frame, frameBase + 8))
        std::rethrow_exception(frame->call->TakeError());
    AbandonCallsInsideGuard(frame);
    UnwindTo(&frame->record, &frame->fault);
    __builtin_longjmp(frame->resume, 1);
}

// Entered instead of the faulting instruction: ECX holds its address plus
// one, pushed as the return address of vsk_ThrowAtFault.
asm(".text\n"
    ".p2align 4\n"
    "_vsk_PushAndThrowAtFault:\n\t"
    "pushl %ecx\n\t"
    "jmp _vsk_ThrowAtFault\n");
extern "C" void vsk_PushAndThrowAtFault();

// Prepares the faulting context to resume in vsk_ThrowAtFault; false where
// the fault cannot travel as a C++ exception from its site. Of the faulting
// frame's registers only EAX, ECX and EDX are lost, which no compiled code
// keeps across an instruction that may throw.
bool ResumeInThrowAtFault(const EXCEPTION_RECORD& record, CONTEXT& context, CGuardFrame* frame) {
    if (record.ExceptionCode == EXCEPTION_STACK_OVERFLOW || (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE))
        return false;
    if (HasUnwindInfo(reinterpret_cast<const void*>(context.Eip))) {
        context.Ecx = context.Eip + 1;
        context.Eax = reinterpret_cast<DWORD>(frame);
        context.Eip = reinterpret_cast<DWORD>(&vsk_PushAndThrowAtFault);
        return true;
    }
    CForeignCall call;
    if (FindForeignCall(context.Eip, context.Esp, context.Ebp, call)) {
        context.Esp = call.esp;
        context.Ebp = call.ebp;
        context.Eax = reinterpret_cast<DWORD>(frame);
        context.Eip = reinterpret_cast<DWORD>(&vsk_ThrowAtFault);
        return true;
    }
    return false;
}

extern "C" EXCEPTION_DISPOSITION __cdecl GuardHandler(EXCEPTION_RECORD* record, void* establisher,
                                                      CONTEXT* context, void* /*dispatcher*/) {
    if (record->ExceptionFlags & (EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND))
        return ExceptionContinueSearch;
    auto* frame = static_cast<CGuardFrame*>(establisher);
    CFilterCall call{frame, record, context, false};
    if (record->ExceptionCode == EXCEPTION_STACK_OVERFLOW)
        RunOnSideStack(CallFilter, &call);
    else
        CallFilter(&call);
    if (!call.threw)
        return ExceptionContinueSearch;
    frame->code = record->ExceptionCode;
    frame->fault = *record;
    frame->fault.ExceptionRecord = nullptr;
    if (ResumeInThrowAtFault(*record, *context, frame))
        return ExceptionContinueExecution;
    // What is left of an overflowed stack is too little for a report.
    if (record->ExceptionCode == EXCEPTION_STACK_OVERFLOW)
        RunOnSideStack(AbandonCallsInsideGuard, frame);
    else
        AbandonCallsInsideGuard(frame);
    UnwindTo(&frame->record, record);
    __builtin_longjmp(frame->resume, 1);
}

} // namespace

void* SehChainHead() { return ChainHead(); }

void RunSehGuarded(void (*body)(void*), void* bodyContext, SehFilter filter, void* filterContext) {
    CGuardFrame frame;
    frame.record.next = ChainHead();
    frame.record.handler = reinterpret_cast<void*>(&GuardHandler);
    frame.filter = filter;
    frame.filterContext = filterContext;
    CSystemCallScope call;
    frame.call = &call;
    frame.code = 0;
    CGuardFrame* volatile self = &frame;
    // The resume restores only EBP and ESP; naming the other registers that
    // a caller expects kept makes the compiler save them on entry and give
    // them back on both ways out (return and throw).
    asm volatile("" : : : "ebx", "esi", "edi", "memory");
    if (__builtin_setjmp(frame.resume) == 0) {
        SetChainHead(&frame.record);
        try {
            body(bodyContext);
        } catch (...) {
            SetChainHead(frame.record.next);
            throw;
        }
        SetChainHead(frame.record.next);
        call.RethrowError();
        return;
    }
    // Resumed by the handler after a structured exception: the chain's head
    // is this guard's registration again (and the running calls made inside
    // the body were ended before the jump).
    SetChainHead(self->record.next);
    // A stack overflow used up the stack's guard page; put it back so that
    // the next overflow is reported again instead of ending the process.
    if (self->code == EXCEPTION_STACK_OVERFLOW)
        _resetstkoflw();
    self->call->RethrowError();
}

} // namespace vsk::detail
