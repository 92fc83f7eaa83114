// CallbackBoundary.cpp - one rule for C++ exceptions raised where the system
// calls the library back.
#include "platform/CallbackBoundary.h"

#include <atomic>
#include <new>
#include <utility>

namespace vsk::detail {
namespace {

// An exception that waits on its thread for its collecting call.
struct CCollectedError {
    const CErrorCollector* collector;
    std::exception_ptr error;
    CCollectedError* next;
};

// Only plain pointers per thread (see CSystemCallScope).
thread_local CSystemCallScope* t_innermost = nullptr;
thread_local CCollectedError* t_collected = nullptr;

std::atomic<ErrorReporter> g_reporter{nullptr};

void Report(const std::exception_ptr& error, const CBoundarySite& site) noexcept {
    const ErrorReporter reporter = g_reporter.load();
    if (!reporter)
        return;
    try {
        reporter(error, site);
    } catch (...) {
        // A reporter must not throw; if it does, the report is lost, not the
        // boundary's answer to the system.
    }
}

// No call is running: the exception is reported and waits for its
// collecting call (the first one per collector; later ones are reported
// only).
void Collect(std::exception_ptr error, const CBoundarySite& site, const CErrorCollector* collector) noexcept {
    Report(error, site);
    if (!collector)
        return;
    for (const CCollectedError* entry = t_collected; entry; entry = entry->next) {
        if (entry->collector == collector)
            return;
    }
    // Without memory for the entry, the report above is all that remains.
    if (auto* entry = new (std::nothrow) CCollectedError{collector, std::move(error), t_collected})
        t_collected = entry;
}

void KeepForInnermost(std::exception_ptr error, const CBoundarySite& site, const CErrorCollector* collector) noexcept {
    if (t_innermost)
        t_innermost->Keep(std::move(error), site, collector);
    else
        Collect(std::move(error), site, collector);
}

} // namespace

ErrorReporter SetErrorReporter(ErrorReporter reporter) { return g_reporter.exchange(reporter); }

CSystemCallScope::CSystemCallScope(const void* kind) noexcept
    : m_outer(t_innermost), m_kind(kind), m_site{nullptr, 0, nullptr}, m_collector(nullptr), m_stop(nullptr),
      m_stopContext(nullptr) {
    t_innermost = this;
}

CSystemCallScope::~CSystemCallScope() {
    AbandonInnerCalls(); // none, unless one was left behind
    Pop();
}

void CSystemCallScope::Keep(std::exception_ptr error, const CBoundarySite& site,
                            const CErrorCollector* collector) noexcept {
    if (m_error) {
        Report(error, site); // the call throws its first exception; this one goes to the report
        return;
    }
    m_error = std::move(error);
    m_site = site;
    m_collector = collector;
    if (m_stop)
        m_stop(m_stopContext);
}

// Unlinks this call (the innermost); what it still holds goes to the next
// call out, or with none to the report and its collector.
void CSystemCallScope::Pop() noexcept {
    t_innermost = m_outer;
    if (m_error)
        KeepForInnermost(std::move(m_error), m_site, m_collector);
    m_error = nullptr;
}

bool CSystemCallScope::Failed() const { return static_cast<bool>(m_error); }

void CSystemCallScope::RethrowError() {
    std::exception_ptr error = TakeError();
    if (error)
        std::rethrow_exception(error);
}

std::exception_ptr CSystemCallScope::TakeError() {
    std::exception_ptr error = std::move(m_error);
    m_error = nullptr;
    return error;
}

void CSystemCallScope::SetStopAction(StopAction action, void* context) {
    m_stop = action;
    m_stopContext = context;
    if (action && m_error)
        action(context);
}

void CSystemCallScope::AbandonInnerCalls() noexcept {
    while (t_innermost && t_innermost != this)
        t_innermost->Pop();
}

void KeepCaughtException(const CBoundarySite& site, const CErrorCollector* collector) noexcept {
    KeepForInnermost(std::current_exception(), site, collector);
}

bool InnermostCallFailed() { return t_innermost && t_innermost->m_error; }

bool InnermostCallIs(const void* kind) { return t_innermost && t_innermost->m_kind == kind; }

void SetInnermostStopAction(const void* kind, StopAction action, void* context) {
    if (InnermostCallIs(kind))
        t_innermost->SetStopAction(action, context);
}

void RethrowCollectedError(const CErrorCollector& collector) {
    for (CCollectedError** link = &t_collected; *link; link = &(*link)->next) {
        CCollectedError* entry = *link;
        if (entry->collector == &collector) {
            *link = entry->next;
            std::exception_ptr error = std::move(entry->error);
            delete entry;
            std::rethrow_exception(error);
        }
    }
}

std::size_t RunningCallCount() {
    std::size_t count = 0;
    for (const CSystemCallScope* call = t_innermost; call; call = call->m_outer)
        ++count;
    return count;
}

} // namespace vsk::detail
