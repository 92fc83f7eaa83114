// Thread.h - the thread class and its pool of finished threads.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <windows.h>

VSK_DECLARE_UNIT(Thread)

/// Runs an application's work on a Win32 thread of its own. Derive, override
/// the hooks, then call Create. On the new thread OnThreadStarted runs first;
/// when it returns 0, OnThreadProccessing does the work; OnThreadTerminated
/// runs last whatever happened before. Exceptions of any type thrown by a hook
/// are caught and discarded on the thread; the hooks' results never become
/// the thread's exit code (0).
///
/// A self-deleting object (Create with autoDelete) joins the process-wide
/// object pool when its hooks are done; the next thread of any CThread that
/// starts, or ReleaseObjectPool(), deletes it once its thread has really
/// ended.
///
/// Example:
///   class CWorker : public CThread {
///       int OnThreadProccessing() override { DoWork(); return 0; }
///   };
///   (new CWorker)->Create(true, true, 0);   // runs, then the pool deletes it
///
/// Thread safety: the object's lock serialises Create and Cleanup on one
/// object; the hooks run on the new thread, everything else on the caller's.
/// Lifetime: an owner waits for the end of the thread before deleting a
/// non-self-deleting object (its destructor leaves a running thread's handle
/// open, and the thread would go on with a deleted object). A self-deleting
/// object belongs to the pool once created: its owner never deletes it.
/// Pooled objects are deleted while the pool's lock is held, so a derived
/// destructor must not start a thread or wait for one that is starting.
class VSK_API CThread {
public:
    /// No thread yet; the object's lock is initialised.
    CThread();
    /// Cleanup(), then deletes the lock. While the thread is alive the
    /// handle stays open (see Lifetime).
    virtual ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// Makes a new thread, always suspended first, then resumes it when
    /// `startNow` is true (otherwise ResumeThread starts it later).
    /// `stackSize` 0 takes the default stack. Returns false, without a
    /// message and without throwing, when the current thread is still alive
    /// (it is left alone), when its clean-up fails, or when no thread can be
    /// made.
    bool Create(bool startNow, bool autoDelete, unsigned long stackSize);

    /// Closes the handle of an ended thread and clears handle, id, stack
    /// size, creator thread and auto delete. False while the thread is alive.
    bool Cleanup();

    /// Deletes the object (through the virtual destructor) and returns true.
    /// False, and nothing happens, for a self-deleting object (the pool owns
    /// it) and while the thread is alive.
    bool Destroy();

    /// True while a thread exists and has not ended.
    bool IsAlive() const;

    /// The system's GetExitCodeThread on the handle; true when that call succeeds.
    bool GetExitCodeThread(unsigned long* code) const;
    /// The system's SuspendThread on the handle, result passed through (the handle is
    /// not checked: without a thread Win32 fails the call).
    DWORD SuspendThread();
    /// The system's ResumeThread on the handle, result passed through.
    DWORD ResumeThread();
    /// The system's SetThreadPriority on the handle, result passed through.
    BOOL SetThreadPriority(int priority);
    /// The system's GetThreadPriority on the handle, result passed through.
    int GetThreadPriority() const;

    /// The thread procedure given to _beginthreadex: deletes the pool's
    /// finished objects, runs the hooks, pools a self-deleting object.
    /// Returns 0, or 0xFFFFFFFF when deleting pooled objects or pooling this
    /// one threw (the hooks are then not run, or have run; an object that
    /// could not be pooled is never deleted).
    static unsigned __stdcall ThreadEntryFunc(void* self);

    /// Deletes every pooled object whose thread has ended; returns the number
    /// of objects left in the pool (their threads still run). Returns 0 and
    /// does nothing outside the unit's start-up and exit.
    static unsigned ReleaseObjectPool();

protected:
    /// Runs first on the new thread; 0 lets OnThreadProccessing run, any
    /// other result skips it. The default returns 0.
    virtual int OnThreadStarted();
    /// The work; the result is ignored. The default returns 0.
    virtual int OnThreadProccessing();
    /// Runs last on the new thread, whatever happened before; the result is
    /// ignored. The default returns 0.
    virtual int OnThreadTerminated();

    HANDLE m_hThread;            ///< The thread; null while no thread exists.
    unsigned int m_threadId;     ///< The thread's id; 0 while no thread exists.
    unsigned long m_stackSize;   ///< Asked for at Create (0 = the default).
    CRITICAL_SECTION m_lock;     ///< Serialises Create and Cleanup.
    HANDLE m_hCreatorThread;     ///< Pseudo-handle of the creating thread; only kept.
    bool m_autoDelete;           ///< The pool deletes the object after its thread.

private:
    void RunHooks();
};
