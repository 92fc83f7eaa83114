// VskDebug.cpp - debug print, failure reports and tracing. The crash report
// is written by VskDebug_crashreport.cpp and the guard lives in
// VskDebug_guard.cpp, both parts of this unit.
#include "diagnostics/VskDebug.h"

#include "diagnostics/Filelogger.h"
#include "foundation/Vskstr.h"
#include "hostfw/HostFramework.h"
#include "platform/CallbackBoundary.h"

#include <cstdarg>
#include <cstdint>
#include <exception>
#include <string>

namespace {

const char* OrEmpty(const char* s) { return s ? s : ""; }

// Reports the exception being handled: "例外発生(<what() or Message>)", or
// "例外発生" for any other type.
void ReportHandledException(const char* file, int line, const char* func) {
    try {
        throw;
    } catch (std::exception& e) {
        vsk::detail::ReportFailure(file, line, func, "例外発生(%s)", e.what());
    } catch (Sysutils::Exception& e) {
        vsk::detail::ReportFailure(file, line, func, "例外発生(%s)", e.Message.c_str());
    } catch (...) {
        vsk::detail::ReportFailure(file, line, func, "例外発生");
    }
}

// An exception that a callback of the system caught while no library call
// could take it (or a later one of a call that holds one) goes to the log as
// a failure report with the boundary's position.
void ReportUntakenException(const std::exception_ptr& error, const vsk::detail::CBoundarySite& site) {
    try {
        std::rethrow_exception(error);
    } catch (...) {
        ReportHandledException(OrEmpty(site.file), site.line, OrEmpty(site.function));
    }
}

void StartUp() { vsk::detail::SetErrorReporter(&ReportUntakenException); }

void ExitRoutine() { vsk::detail::SetErrorReporter(nullptr); }

} // namespace

VSK_DEFINE_UNIT(Vskdebug, StartUp, ExitRoutine)

namespace vsk::detail {

void ReportFailure(const char* file, int line, const char* func, const char* format, ...) {
    vsk::detail::PutReportHead(OrEmpty(file), line, OrEmpty(func));
    std::va_list args;
    va_start(args, format);
    FileLoggerVPutLine(format, args);
    va_end(args);
}

} // namespace vsk::detail

void VskDebugPrint(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    vskstr::CVskStr text;
    try {
        text.FormatV(format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    OutputDebugStringA(text.c_str());
}

void VskDebugPrintBCB(const char* /*format*/, ...) {}

void VskPrintAndReThrow(const char* file, int line, const char* func) {
    ReportHandledException(OrEmpty(file), line, OrEmpty(func));
    throw;
}

void VskPrintAndShowMsg(const char* file, int line, const char* func) {
    file = OrEmpty(file);
    func = OrEmpty(func);
    vskstr::CVskStr text;
    try {
        throw;
    } catch (std::exception& e) {
        text.Format("処理中に次のエラーが発生しました。\n\n%s", e.what());
    } catch (Sysutils::Exception& e) {
        text.Format("処理中に次のエラーが発生しました。\n\n%s", e.Message.c_str());
    } catch (...) {
        text = "処理中に未知のエラーが発生しました。";
    }
    vsk::detail::ReportFailure(file, line, func, "%s", text.c_str());
    Dialogs::ShowMessage(static_cast<System::AnsiString>(text));
}

AutoFuncNameLogger::AutoFuncNameLogger(const char* file, int line, const char* func)
    : m_file(file), m_line(line), m_func(func) {
    if (_FileLogger_IsAutoFuncNameLogger) {
        vsk::detail::PutReportHead(m_file, m_line, m_func);
        FileLogger_PutLine("<%08x> : >> START", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this)));
    }
}

AutoFuncNameLogger::~AutoFuncNameLogger() {
    if (_FileLogger_IsAutoFuncNameLogger) {
        vsk::detail::PutReportHead(m_file, m_line, m_func);
        FileLogger_PutLine("<%08x> : << END", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this)));
    }
}
