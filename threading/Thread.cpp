// Thread.cpp - the thread class and its pool of finished threads.
#include "threading/Thread.h"

#include "diagnostics/Filelogger.h"

#include <process.h>
#include <set>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Thread, StartUp, ExitRoutine)

namespace {

// The object pool: self-deleting objects whose hooks are done, waiting for
// their threads to end. Both exist between the unit's start-up and exit.
std::set<CThread*>* g_pool = nullptr;
CRITICAL_SECTION g_poolLock;

void StartUp() {
    InitializeCriticalSection(&g_poolLock);
    g_pool = new std::set<CThread*>;
}

// Objects still pooled are not deleted here: their threads may still run.
void ExitRoutine() {
    if (!g_pool)
        return;
    delete g_pool;
    g_pool = nullptr;
    DeleteCriticalSection(&g_poolLock);
}

} // namespace

CThread::CThread()
    : m_hThread(nullptr), m_threadId(0), m_stackSize(0), m_hCreatorThread(nullptr), m_autoDelete(false) {
    InitializeCriticalSection(&m_lock);
}

CThread::~CThread() {
    Cleanup();
    DeleteCriticalSection(&m_lock);
}

bool CThread::Create(bool startNow, bool autoDelete, unsigned long stackSize) {
    if (IsAlive())
        return false;
    if (!Cleanup())
        return false;
    CSLock lock(&m_lock, true);
    m_stackSize = stackSize;
    m_autoDelete = autoDelete;
    m_hCreatorThread = GetCurrentThread();
    // Suspended, so that the handle and id are stored before any hook can
    // run (and before a self-deleting object could be pooled and deleted).
    unsigned int id = 0;
    const uintptr_t handle = _beginthreadex(nullptr, stackSize, &CThread::ThreadEntryFunc, this, CREATE_SUSPENDED, &id);
    if (handle == 0 || handle == ~uintptr_t(0)) {
        Cleanup(); // the lock is re-entrant for this thread
        return false;
    }
    m_hThread = reinterpret_cast<HANDLE>(handle);
    m_threadId = id;
    if (startNow)
        ResumeThread();
    return true;
}

bool CThread::Cleanup() {
    if (IsAlive())
        return false;
    CSLock lock(&m_lock, true);
    if (m_hThread)
        CloseHandle(m_hThread);
    m_hThread = nullptr;
    m_threadId = 0;
    m_stackSize = 0;
    m_hCreatorThread = nullptr;
    m_autoDelete = false;
    return true;
}

bool CThread::Destroy() {
    if (m_autoDelete || IsAlive())
        return false;
    delete this;
    return true;
}

bool CThread::IsAlive() const {
    DWORD code = 0;
    return m_hThread && ::GetExitCodeThread(m_hThread, &code) && code == STILL_ACTIVE;
}

bool CThread::GetExitCodeThread(unsigned long* code) const {
    return ::GetExitCodeThread(m_hThread, code) != FALSE;
}

DWORD CThread::SuspendThread() {
    return ::SuspendThread(m_hThread);
}

DWORD CThread::ResumeThread() {
    return ::ResumeThread(m_hThread);
}

BOOL CThread::SetThreadPriority(int priority) {
    return ::SetThreadPriority(m_hThread, priority);
}

int CThread::GetThreadPriority() const {
    return ::GetThreadPriority(m_hThread);
}

int CThread::OnThreadStarted() {
    return 0;
}

int CThread::OnThreadProccessing() {
    return 0;
}

int CThread::OnThreadTerminated() {
    return 0;
}

// No exception may leave the thread procedure: the system's frames below it
// cannot be unwound. Every hook's exception is discarded here.
void CThread::RunHooks() {
    try {
        if (OnThreadStarted() == 0) {
            try {
                OnThreadProccessing();
            } catch (...) {
            }
        }
    } catch (...) {
    }
    try {
        OnThreadTerminated();
    } catch (...) {
    }
}

unsigned __stdcall CThread::ThreadEntryFunc(void* self) {
    try {
        ReleaseObjectPool();
        auto* thread = static_cast<CThread*>(self);
        thread->RunHooks();
        if (thread->m_autoDelete && g_pool) {
            // Not deleted here: this thread still runs. From now on the
            // object belongs to the pool and is not touched again.
            CSLock lock(&g_poolLock, true);
            g_pool->insert(thread);
        }
        return 0;
    } catch (...) {
        return 0xFFFFFFFFu;
    }
}

unsigned CThread::ReleaseObjectPool() {
    if (!g_pool)
        return 0;
    CSLock lock(&g_poolLock, true);
    for (auto it = g_pool->begin(); it != g_pool->end();) {
        CThread* thread = *it;
        auto current = it++;
        if (thread->IsAlive())
            continue;
        g_pool->erase(current);
        delete thread;
    }
    return static_cast<unsigned>(g_pool->size());
}
