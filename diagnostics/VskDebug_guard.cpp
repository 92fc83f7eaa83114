// VskDebug_guard.cpp - part of unit VskDebug: the structured-exception guard
// whose filter writes the crash report (into the log or to a given output),
// and the filter and handler of a structured-exception block.
#include "diagnostics/VskDebug.h"

#include "diagnostics/Filelogger.h"
#include "platform/Seh.h"

#include <stdexcept>

namespace {

// The crash report written into the rotating log file.
class CLogReportOutput : public vsk::detail::CReportOutput {
public:
    void PutTimestamp() override { FileLogger_PutTimestamp(); }
    void PutPrefix(const char* file, int line, const char* func) override {
        FileLogger_Put("%s(%d): %s: ", file, line, func);
    }
    void Put(const char* text) override { FileLogger_Put("%s", text); }
    void PutLine(const char* text) override { FileLogger_PutLine("%s", text); }
};

struct CReportGuard {
    vsk::detail::CReportOutput* out;
    const char* file;
    int line;
    const char* func;
};

void ReportFilter(unsigned long code, EXCEPTION_POINTERS* pointers, void* context) {
    auto* guard = static_cast<CReportGuard*>(context);
    vsk::detail::ReportAndThrow(*guard->out, code, pointers, guard->file, guard->line, guard->func);
}

} // namespace

namespace vsk::detail {

void RunReportGuarded(void (*body)(void*), void* context, CReportOutput& out, const char* file, int line,
                      const char* func) {
    CReportGuard guard{&out, file, line, func};
    const CLogHold hold = CurrentLogHold();
    try {
        RunSehGuarded(body, context, ReportFilter, &guard);
    } catch (...) {
        // After a structured exception that took the guard's jump, the
        // frames between the fault and the guard were left without their
        // destructors; a log call among them would keep the log held. (After
        // an unwound fault or a C++ exception this finds nothing to return.)
        ReturnLogTo(hold);
        throw;
    }
}

void RunExceptionFilterGuarded(void (*body)(void*), void* context, const char* file, int line, const char* func) {
    CLogReportOutput out;
    RunReportGuarded(body, context, out, file, line, func);
}

} // namespace vsk::detail

void Exception_Filter(unsigned long code, _EXCEPTION_POINTERS* pointers, const char* file, int line,
                      const char* func) {
    CLogReportOutput out;
    vsk::detail::ReportAndThrow(out, code, pointers, file, line, func);
}

void Exception_Handler(const char* /*file*/, int /*line*/, const char* /*func*/) {}
