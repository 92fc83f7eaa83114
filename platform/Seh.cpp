// Seh.cpp - the scoped structured-exception guard.
//
// How a fault inside the guard travels:
//   1. the system's dispatcher calls GuardHandler with the exception record and
//      the faulting context, the faulting frames still on the stack;
//   2. GuardHandler calls the filter; a C++ exception from it is caught right
//      there (thrown and caught inside our own frames only) and kept;
//   3. RtlUnwind removes the registrations inside the guard (calling their
//      handlers for the unwind), leaving the guard's own on top;
//   4. __builtin_longjmp resumes in RunSehGuarded, which removes its
//      registration and throws the kept exception from its own frame.
#include "platform/Seh.h"

#include <exception>

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
    std::exception_ptr error;
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

extern "C" EXCEPTION_DISPOSITION __cdecl GuardHandler(EXCEPTION_RECORD* record, void* establisher,
                                                      CONTEXT* context, void* /*dispatcher*/) {
    if (record->ExceptionFlags & (EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND))
        return ExceptionContinueSearch;
    auto* frame = static_cast<CGuardFrame*>(establisher);
    EXCEPTION_POINTERS pointers{record, context};
    try {
        frame->filter(record->ExceptionCode, &pointers, frame->filterContext);
        return ExceptionContinueSearch;
    } catch (...) {
        frame->error = std::current_exception();
    }
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
        return;
    }
    // Resumed by the handler after a structured exception: the chain's head
    // is this guard's registration again.
    SetChainHead(self->record.next);
    std::exception_ptr error = self->error;
    self->error = nullptr;
    std::rethrow_exception(error);
}

} // namespace vsk::detail
