// VskDebug.h - debug print, failure reports and tracing.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskdebug)

// ---------------------------------------------------------------------------
// Structured exceptions: the crash report and the guard
// ---------------------------------------------------------------------------

#include "platform/Win32.h"

namespace vsk::detail {

/// Where the crash report's pieces go: a time stamp, the report prefix
/// "<file>(<line>): <func>: ", text written as it is, and the closing line
/// (which ends the record: a newline, a flush and the log's size check).
class VSK_API CReportOutput {
public:
    virtual ~CReportOutput() = default;
    virtual void PutTimestamp() = 0;
    virtual void PutPrefix(const char* file, int line, const char* func) = 0;
    virtual void Put(const char* text) = 0;
    virtual void PutLine(const char* text) = 0;
};

/// The table name of a structured-exception code, e.g. "Access Violation"
/// for 0xC0000005; "Unknown Exception" for a code the table lacks.
VSK_API const char* ExceptionName(unsigned long code);

/// Writes the crash report of one structured exception to `out`: the
/// prefixed first line "予期せぬ例外が発生しました", the <Exception> block, the
/// <Registers> of `pointers->ContextRecord`, the <Call Stack> by the frame
/// pointers from its EBP, the <Load Modules> and the empty closing line.
/// Long `file` and `func` texts are written whole; the stack walk ends at a
/// null, misaligned or unreadable frame, a zero return address, or a frame
/// whose successor is not above it on the stack (so a looping chain ends).
VSK_API void WriteExceptionReport(CReportOutput& out, unsigned long code, const EXCEPTION_POINTERS* pointers,
                                  const char* file, int line, const char* func);

} // namespace vsk::detail

namespace vsk::detail {

/// Writes the crash report to `out`, then throws std::runtime_error
/// "予期せぬ例外が発生しました". Its only exit is that throw.
[[noreturn]] VSK_API void ReportAndThrow(CReportOutput& out, unsigned long code, const EXCEPTION_POINTERS* pointers,
                                         const char* file, int line, const char* func);

/// Runs `body(context)` inside a structured-exception guard: a structured
/// exception there writes the crash report to `out` (on the faulting thread,
/// the faulting frames still on the stack) and reaches the caller as the
/// std::runtime_error "予期せぬ例外が発生しました", thrown from the guard's
/// own frame. A C++ exception of the body passes through unchanged.
VSK_API void RunReportGuarded(void (*body)(void*), void* context, CReportOutput& out, const char* file, int line,
                              const char* func);

} // namespace vsk::detail
