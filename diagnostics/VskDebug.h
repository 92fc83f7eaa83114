// VskDebug.h - debug print, failure reports and tracing.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskdebug)

// ---------------------------------------------------------------------------
// Failure reports, debug print and function tracing
// ---------------------------------------------------------------------------

namespace vsk::detail {

/// Writes one failure report into the log: FileLogger_PutTimestamp(), then
/// FileLogger_Put("%s(%d): %s: ", file, line, func), then the formatted message
/// as FileLogger_PutLine (so the record ends with "\n", a flush and the log's
/// size check). A null `file` or `func` prints as an empty field; `line` is
/// printed as given, so a site may report a fixed line number.
///
/// Example: ReportFailure("f.cpp", 3, "g", "node==NULL") appends
///   "2026-11-22 14:23:32.045 f.cpp(3): g: node==NULL\n"
///
/// Thread safety: any thread; the three writes are not atomic with respect to
/// other threads' log output.
VSK_API void ReportFailure(const char* file, int line, const char* func, const char* format, ...)
    __attribute__((format(ms_printf, 4, 5)));

} // namespace vsk::detail

/// Writes the formatted text to the debugger (OutputDebugStringA) unchanged: no
/// prefix, no time stamp, no newline; nothing goes to the log file. The text is
/// formatted as CVskStr::Format formats it.
/// Errors: std::runtime_error "CVskStr::Format() : 処理可能な最大サイズを超えました"
/// when the text would pass the formatting limit.
///
/// Example: VskDebugPrint("%d", 5) sends exactly "5".
VSK_API void VskDebugPrint(const char* format, ...) __attribute__((format(ms_printf, 1, 2)));

/// Does nothing at all; neither the format nor the arguments are read.
VSK_API void VskDebugPrintBCB(const char* format, ...);

/// Call inside a catch handler: reports the exception being handled to the log
/// ("例外発生(<what() or Message>)", or "例外発生" for any other type) with the
/// caller's position, then throws the same exception on. A null `file` or
/// `func` prints as an empty field. Never returns; outside a handler the
/// program terminates.
[[noreturn]] VSK_API void VskPrintAndReThrow(const char* file, int line, const char* func);

/// Call inside a catch handler: reports the exception being handled to the log
/// and shows it with Dialogs::ShowMessage as
/// "処理中に次のエラーが発生しました。\n\n<what() or Message>" (or
/// "処理中に未知のエラーが発生しました。" for any other type), then returns
/// normally, which ends the exception's propagation. A null `file` or `func`
/// prints as an empty field.
VSK_API void VskPrintAndShowMsg(const char* file, int line, const char* func);

/// Traces a function's entry and exit into the log while
/// _FileLogger_IsAutoFuncNameLogger is true: the constructor writes the report
/// "<%08x> : >> START" and the destructor "<%08x> : << END", both with this
/// object's address and the position given to the constructor (the exit line
/// repeats the declaration's line). The flag is read at each construction and
/// destruction. Null pointers are printed as the C runtime prints them.
///
/// Lifetime: `file` and `func` are kept, not copied; they must outlive the
/// guard (string literals normally).
class VSK_API AutoFuncNameLogger {
public:
    /// Writes the START line when tracing is on; keeps the `file` and `func` pointers (pass literals).
    AutoFuncNameLogger(const char* file, int line, const char* func);
    ~AutoFuncNameLogger();
    AutoFuncNameLogger(const AutoFuncNameLogger&) = delete;
    AutoFuncNameLogger& operator=(const AutoFuncNameLogger&) = delete;

private:
    const char* m_file;
    int m_line;
    const char* m_func;
};

// ---------------------------------------------------------------------------
// Structured exceptions: the crash report and the guard
// ---------------------------------------------------------------------------

#include <windows.h>

#include <type_traits>

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
/// std::runtime_error "予期せぬ例外が発生しました". A C++ exception of the
/// body passes through unchanged.
///
/// What runs between the fault and the guard: where the faulting code has
/// unwind information and lets exceptions pass at the fault (code built with
/// -fnon-call-exceptions -fasynchronous-unwind-tables, as the library is; a
/// program wanting the same for its own code builds it so), the exception is
/// thrown at the fault and every destructor on the way runs, once, innermost
/// first; a fault inside a short C runtime leaf (strlen) starts it at the
/// leaf's caller. Otherwise (a stack overflow, a fault deep in a system DLL
/// or the C runtime, code built without those options, a noexcept function)
/// it is thrown from the guard's own frame, and the objects of the frames in
/// between are left as they were: their locks stay held, their handles
/// open. The log's own lock and line count are given back in both cases, so
/// a fault inside a log call leaves the log usable.
VSK_API void RunReportGuarded(void (*body)(void*), void* context, CReportOutput& out, const char* file, int line,
                              const char* func);

/// Runs `body(context)` inside the structured-exception guard whose filter is
/// Exception_Filter: a structured exception there writes the crash report
/// into the log file and reaches the caller as the std::runtime_error
/// "予期せぬ例外が発生しました", unwinding as RunReportGuarded says. As in a
/// block whose filter is Exception_Filter, the filter's throw means that no
/// handler part runs.
/// A C++ exception of the body passes through unchanged.
/// Thread safety: any thread; the guard belongs to the calling thread.
VSK_API void RunExceptionFilterGuarded(void (*body)(void*), void* context, const char* file, int line,
                                       const char* func);

/// The same for any callable, e.g.
///   ExceptionFilterGuarded([&] { result = OnMessage(msg); }, __FILE__, __LINE__,
///                          "CVskWndImeFull::OnMessage");
template <typename Body>
void ExceptionFilterGuarded(Body&& body, const char* file, int line, const char* func) {
    using Callable = std::remove_reference_t<Body>;
    RunExceptionFilterGuarded([](void* p) { (*static_cast<Callable*>(p))(); },
                              const_cast<void*>(static_cast<const void*>(&body)), file, line, func);
}

} // namespace vsk::detail

/// The filter of a structured-exception block: writes the crash report of
/// the exception `code` with `pointers` (registers and call stack from its
/// context record) into the log file, with the caller's position, then throws
/// std::runtime_error "予期せぬ例外が発生しました". It never returns a filter
/// verdict. Null `pointers` (or a null context record) give empty register
/// and call-stack sections. Call it on the faulting thread, inside the
/// system's dispatch (see RunExceptionFilterGuarded), or with a record of
/// your own.
///
/// Example (a hand-made record):
///   CONTEXT context{}; EXCEPTION_RECORD record{}; record.ExceptionCode = 0xC0000094;
///   EXCEPTION_POINTERS pointers{&record, &context};
///   Exception_Filter(record.ExceptionCode, &pointers, "f.cpp", 7, "g");  // throws
[[noreturn]] VSK_API void Exception_Filter(unsigned long code, _EXCEPTION_POINTERS* pointers, const char* file,
                                           int line, const char* func);

/// The handler part of such a block: does nothing, on purpose, so that the
/// block has a function to call.
VSK_API void Exception_Handler(const char* file, int line, const char* func);
