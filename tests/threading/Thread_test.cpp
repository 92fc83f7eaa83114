// Thread_test.cpp - CThread on real Win32 threads: the hooks and their
// exceptions, suspended starts, the thin wrappers, clean-up and reuse, the
// object pool of finished self-deleting threads, the unit's start-up and
// exit, and a stress run of 10,000 self-deleting threads.
#include "threading/Thread.h"

#include "tests/support/TestSupport.h"
#include "tests/threading/ImportSlots.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// Probes
// ---------------------------------------------------------------------------

enum class Throw { Nothing, StdException, Int, NonStdObject };

struct CNotAStdException {
    int value;
};

void ThrowAs(Throw kind) {
    switch (kind) {
    case Throw::Nothing:
        return;
    case Throw::StdException:
        throw std::runtime_error("hook");
    case Throw::Int:
        throw 42;
    case Throw::NonStdObject:
        throw CNotAStdException{7};
    }
}

// Counts of a probe that outlive it (a self-deleting probe is deleted by the
// pool, so its results live here).
struct ProbeRecord {
    std::string hooks;                       // 'S', 'P', 'T' in the order run
    std::atomic<int> deletions{0};
    std::atomic<bool> hooksOnOwnThread{true};
};

// A CThread whose hooks record themselves, may wait on a gate, return given
// results or throw, and whose protected fields the tests can read.
class CProbe : public CThread {
public:
    explicit CProbe(ProbeRecord* record) : m_record(record) {}
    ~CProbe() override { ++m_record->deletions; }

    HANDLE Handle() const { return m_hThread; }
    unsigned int Id() const { return m_threadId; }
    unsigned long StackSize() const { return m_stackSize; }
    HANDLE CreatorThread() const { return m_hCreatorThread; }
    bool AutoDelete() const { return m_autoDelete; }

    int startedResult = 0;
    int processingResult = 0;
    int terminatedResult = 0;
    Throw startedThrows = Throw::Nothing;
    Throw processingThrows = Throw::Nothing;
    Throw terminatedThrows = Throw::Nothing;
    HANDLE processingGate = nullptr; // OnThreadProccessing waits for it when set
    HANDLE processingEntered = nullptr; // set when OnThreadProccessing begins

protected:
    int OnThreadStarted() override {
        Note('S');
        ThrowAs(startedThrows);
        return startedResult;
    }
    int OnThreadProccessing() override {
        Note('P');
        if (processingEntered)
            SetEvent(processingEntered);
        if (processingGate)
            WaitForSingleObject(processingGate, INFINITE);
        ThrowAs(processingThrows);
        return processingResult;
    }
    int OnThreadTerminated() override {
        Note('T');
        ThrowAs(terminatedThrows);
        return terminatedResult;
    }

private:
    void Note(char hook) {
        m_record->hooks += hook;
        if (GetCurrentThreadId() != m_threadId)
            m_record->hooksOnOwnThread = false;
    }

    ProbeRecord* m_record;
};

// A kernel handle closed at scope end.
class CHandle {
public:
    explicit CHandle(HANDLE handle = nullptr) : m_handle(handle) {}
    ~CHandle() {
        if (m_handle)
            CloseHandle(m_handle);
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;
    HANDLE Get() const { return m_handle; }

private:
    HANDLE m_handle;
};

HANDLE NewEvent() {
    return CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

// A handle of our own to the probe's thread, still usable after the pool has
// deleted the probe and closed its handle.
HANDLE DuplicateThreadHandle(const CProbe& probe) {
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), probe.Handle(), GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return copy;
}

bool Ended(HANDLE thread, DWORD ms = 60000) {
    return WaitForSingleObject(thread, ms) == WAIT_OBJECT_0;
}

DWORD ExitCodeOf(HANDLE thread) {
    DWORD code = 12345;
    GetExitCodeThread(thread, &code);
    return code;
}

// Runs one plain thread to its end: its start deletes the pool's finished
// objects.
void StartAndFinishAPlainThread() {
    ProbeRecord record;
    CProbe probe(&record);
    ASSERT_TRUE(probe.Create(true, false, 0));
    ASSERT_TRUE(Ended(probe.Handle()));
}

// Deletes every pooled object; fails when one still runs after a minute.
void DrainPool() {
    for (int i = 0; i < 6000; ++i) {
        if (CThread::ReleaseObjectPool() == 0)
            return;
        Sleep(10);
    }
    FAIL() << "the object pool still holds running threads";
}

// A self-deleting probe that has ended and sits in the pool. `thread` gets a
// handle of our own to its (ended) thread.
CProbe* PooledProbe(ProbeRecord* record, HANDLE* thread) {
    auto* probe = new CProbe(record);
    if (!probe->Create(false, true, 0)) {
        delete probe;
        return nullptr;
    }
    *thread = DuplicateThreadHandle(*probe);
    probe->ResumeThread();
    if (!Ended(*thread))
        return nullptr;
    return probe;
}

// The handle count that the tests below rely on follows handles opened and
// closed; it agrees with the system's own count where that has one.
TEST(HandleCount, FollowsOpenedAndClosedHandles) {
    const unsigned long before = vsktest::OpenHandleCount();
    EXPECT_GT(before, 0u);
    std::vector<HANDLE> events;
    for (int i = 0; i < 10; ++i)
        events.push_back(NewEvent());
    EXPECT_EQ(vsktest::OpenHandleCount(), before + 10);
    for (HANDLE event : events)
        CloseHandle(event);
    EXPECT_EQ(vsktest::OpenHandleCount(), before);
}

TEST(HandleCount, AgreesWithTheSystemsOwnCount) {
    const unsigned long probed = vsktest::OpenHandleCount();
    DWORD systemCount = 0;
    ASSERT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &systemCount));
    if (systemCount == 0)
        GTEST_SKIP() << "GetProcessHandleCount reports 0 handles on this system (Wine), nothing to compare the "
                        "probed count of "
                     << probed << " with";
    EXPECT_EQ(systemCount, probed);
}

// ---------------------------------------------------------------------------
// Construction and the thin wrappers without a thread
// ---------------------------------------------------------------------------

TEST(CThread, NewObjectHasNoThreadAndZeroFields) {
    ProbeRecord record;
    CProbe probe(&record);
    EXPECT_EQ(probe.Handle(), nullptr);
    EXPECT_EQ(probe.Id(), 0u);
    EXPECT_EQ(probe.StackSize(), 0u);
    EXPECT_EQ(probe.CreatorThread(), nullptr);
    EXPECT_FALSE(probe.AutoDelete());
    EXPECT_FALSE(probe.IsAlive());
    EXPECT_TRUE(probe.Cleanup());
}

TEST(CThread, ThinWrappersPassANullHandleToWin32WhichFails) {
    ProbeRecord record;
    CProbe probe(&record);
    unsigned long code = 77;
    SetLastError(0);
    EXPECT_FALSE(probe.GetExitCodeThread(&code));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_EQ(probe.SuspendThread(), static_cast<DWORD>(-1));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_EQ(probe.ResumeThread(), static_cast<DWORD>(-1));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_EQ(probe.SetThreadPriority(THREAD_PRIORITY_LOWEST), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    SetLastError(0);
    EXPECT_EQ(probe.GetThreadPriority(), THREAD_PRIORITY_ERROR_RETURN);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

// ---------------------------------------------------------------------------
// Create and the hooks
// ---------------------------------------------------------------------------

TEST(CThread, CreateRunsTheHooksInOrderOnTheNewThreadAndEndsWithZero) {
    ProbeRecord record;
    CProbe probe(&record);
    probe.startedResult = 0;
    probe.processingResult = 5;
    probe.terminatedResult = 9;
    const DWORD creator = GetCurrentThreadId();
    ASSERT_TRUE(probe.Create(true, false, 0));
    EXPECT_NE(probe.Handle(), nullptr);
    EXPECT_NE(probe.Id(), 0u);
    EXPECT_NE(probe.Id(), creator);
    EXPECT_EQ(probe.CreatorThread(), GetCurrentThread());
    EXPECT_FALSE(probe.AutoDelete());
    ASSERT_TRUE(Ended(probe.Handle()));
    EXPECT_EQ(record.hooks, "SPT");
    EXPECT_TRUE(record.hooksOnOwnThread);
    EXPECT_FALSE(probe.IsAlive());
    unsigned long code = 77;
    EXPECT_TRUE(probe.GetExitCodeThread(&code));
    EXPECT_EQ(code, 0u) << "the hooks' results never become the exit code";
}

TEST(CThread, CreateOnARunningThreadReturnsFalseAndLeavesItAlone) {
    ProbeRecord record;
    CProbe probe(&record);
    CHandle gate(NewEvent());
    CHandle entered(NewEvent());
    probe.processingGate = gate.Get();
    probe.processingEntered = entered.Get();
    ASSERT_TRUE(probe.Create(true, false, 0));
    ASSERT_EQ(WaitForSingleObject(entered.Get(), 60000), WAIT_OBJECT_0);
    const HANDLE handle = probe.Handle();
    const unsigned int id = probe.Id();
    EXPECT_FALSE(probe.Create(true, false, 0));
    EXPECT_FALSE(probe.Create(false, true, 4096));
    EXPECT_EQ(probe.Handle(), handle);
    EXPECT_EQ(probe.Id(), id);
    EXPECT_FALSE(probe.AutoDelete());
    EXPECT_TRUE(probe.IsAlive());
    EXPECT_FALSE(probe.Cleanup()) << "no clean-up while the thread is alive";
    EXPECT_EQ(probe.Handle(), handle);
    SetEvent(gate.Get());
    ASSERT_TRUE(Ended(probe.Handle()));
    EXPECT_EQ(record.hooks, "SPT");
    EXPECT_EQ(ExitCodeOf(probe.Handle()), 0u);
}

TEST(CThread, SuspendedCreateRunsNoHookUntilResumed) {
    ProbeRecord record;
    CProbe probe(&record);
    ASSERT_TRUE(probe.Create(false, false, 0));
    EXPECT_TRUE(probe.IsAlive());
    Sleep(300);
    EXPECT_EQ(record.hooks, "");
    EXPECT_TRUE(probe.IsAlive());
    EXPECT_EQ(probe.ResumeThread(), 1u) << "created suspended once";
    ASSERT_TRUE(Ended(probe.Handle()));
    EXPECT_EQ(record.hooks, "SPT");
}

TEST(CThread, ThinWrappersActOnTheThread) {
    ProbeRecord record;
    CProbe probe(&record);
    ASSERT_TRUE(probe.Create(false, false, 0));
    EXPECT_EQ(probe.GetThreadPriority(), THREAD_PRIORITY_NORMAL);
    EXPECT_NE(probe.SetThreadPriority(THREAD_PRIORITY_BELOW_NORMAL), FALSE);
    EXPECT_EQ(probe.GetThreadPriority(), THREAD_PRIORITY_BELOW_NORMAL);
    EXPECT_EQ(probe.SuspendThread(), 1u);
    EXPECT_EQ(probe.ResumeThread(), 2u);
    unsigned long code = 0;
    EXPECT_TRUE(probe.GetExitCodeThread(&code));
    EXPECT_EQ(code, static_cast<unsigned long>(STILL_ACTIVE));
    EXPECT_EQ(probe.ResumeThread(), 1u);
    ASSERT_TRUE(Ended(probe.Handle()));
    EXPECT_EQ(record.hooks, "SPT");
}

TEST(CThread, StartedReturningOneSkipsProcessingButNotTerminated) {
    for (int result : {1, -1, 259}) {
        SCOPED_TRACE(result);
        ProbeRecord record;
        CProbe probe(&record);
        probe.startedResult = result;
        ASSERT_TRUE(probe.Create(true, false, 0));
        ASSERT_TRUE(Ended(probe.Handle()));
        EXPECT_EQ(record.hooks, "ST");
        EXPECT_EQ(ExitCodeOf(probe.Handle()), 0u);
    }
}

TEST(CThread, DefaultHooksReturnZeroAndTheThreadEnds) {
    CThread thread;
    ASSERT_TRUE(thread.Create(true, false, 0));
    unsigned long code = STILL_ACTIVE;
    for (int i = 0; i < 6000 && thread.IsAlive(); ++i)
        Sleep(10);
    EXPECT_FALSE(thread.IsAlive());
    EXPECT_TRUE(thread.GetExitCodeThread(&code));
    EXPECT_EQ(code, 0u);
}

// Every hook, every kind of exception: the process goes on, the exception
// is dropped on the thread, OnThreadTerminated runs, the exit code is 0.
TEST(CThread, ExceptionsOfEveryHookAreSwallowedAndTerminatedStillRuns) {
    struct Case {
        Throw started, processing, terminated;
        const char* hooks;
    };
    const Case cases[] = {
        {Throw::Nothing, Throw::StdException, Throw::Nothing, "SPT"},
        {Throw::Nothing, Throw::Int, Throw::Nothing, "SPT"},
        {Throw::Nothing, Throw::NonStdObject, Throw::Nothing, "SPT"},
        {Throw::StdException, Throw::Nothing, Throw::Nothing, "ST"},
        {Throw::Int, Throw::Nothing, Throw::Nothing, "ST"},
        {Throw::NonStdObject, Throw::Nothing, Throw::Nothing, "ST"},
        {Throw::Nothing, Throw::Nothing, Throw::StdException, "SPT"},
        {Throw::Nothing, Throw::Nothing, Throw::Int, "SPT"},
        {Throw::Nothing, Throw::Nothing, Throw::NonStdObject, "SPT"},
        {Throw::Nothing, Throw::Int, Throw::NonStdObject, "SPT"},
    };
    int index = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(index++);
        ProbeRecord record;
        CProbe probe(&record);
        probe.startedThrows = c.started;
        probe.processingThrows = c.processing;
        probe.terminatedThrows = c.terminated;
        ASSERT_TRUE(probe.Create(true, false, 0));
        ASSERT_TRUE(Ended(probe.Handle()));
        EXPECT_EQ(record.hooks, c.hooks);
        EXPECT_EQ(ExitCodeOf(probe.Handle()), 0u);
    }
}

TEST(CThread, SelfDeletingThreadWhoseHooksThrowIsStillPooledAndDeleted) {
    DrainPool();
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    probe->processingThrows = Throw::NonStdObject;
    probe->terminatedThrows = Throw::StdException;
    ASSERT_TRUE(probe->Create(false, true, 0));
    CHandle thread(DuplicateThreadHandle(*probe));
    probe->ResumeThread();
    ASSERT_TRUE(Ended(thread.Get()));
    EXPECT_EQ(ExitCodeOf(thread.Get()), 0u);
    EXPECT_EQ(record.deletions, 0);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 1);
    EXPECT_EQ(record.hooks, "SPT");
}

// ---------------------------------------------------------------------------
// Stack size, failure, clean-up and reuse
// ---------------------------------------------------------------------------

class CStackProbe : public CThread {
public:
    unsigned long seenStackSize = 0;
    std::size_t reserved = 0;

protected:
    int OnThreadProccessing() override {
        seenStackSize = m_stackSize;
        MEMORY_BASIC_INFORMATION info{};
        VirtualQuery(&info, &info, sizeof info);
        // The top of the stack from the thread's information block (FS:[4]).
        std::size_t stackBase = 0;
        __asm__("movl %%fs:4, %0" : "=r"(stackBase));
        reserved = stackBase - reinterpret_cast<std::size_t>(info.AllocationBase);
        return 0;
    }
};

TEST(CThread, StackSizeIsKeptForTheThreadAndClearedByCleanup) {
    const unsigned long size = 8u << 20;
    CStackProbe probe;
    ASSERT_TRUE(probe.Create(true, false, size));
    for (int i = 0; i < 6000 && probe.IsAlive(); ++i)
        Sleep(10);
    ASSERT_FALSE(probe.IsAlive());
    EXPECT_EQ(probe.seenStackSize, size);
    EXPECT_GE(probe.reserved, static_cast<std::size_t>(size));
    EXPECT_TRUE(probe.Cleanup());
}

TEST(CThread, CreateThatCannotMakeAThreadReturnsFalseWithoutThrowingAndClearsTheFields) {
    ProbeRecord record;
    CProbe probe(&record);
    bool created = true;
    EXPECT_NO_THROW(created = probe.Create(true, true, 0xFFF00000ul));
    EXPECT_FALSE(created);
    EXPECT_EQ(probe.Handle(), nullptr);
    EXPECT_EQ(probe.Id(), 0u);
    EXPECT_EQ(probe.StackSize(), 0u);
    EXPECT_EQ(probe.CreatorThread(), nullptr);
    EXPECT_FALSE(probe.AutoDelete());
    EXPECT_EQ(record.hooks, "");
    // The object is still usable.
    ASSERT_TRUE(probe.Create(true, false, 0));
    ASSERT_TRUE(Ended(probe.Handle()));
    EXPECT_EQ(record.hooks, "SPT");
}

TEST(CThread, CleanupClosesTheHandleOfAnEndedThreadAndClearsTheFields) {
    ProbeRecord record;
    CProbe probe(&record);
    ASSERT_TRUE(probe.Create(false, false, 65536));
    const HANDLE handle = probe.Handle();
    DWORD flags = 0;
    EXPECT_NE(GetHandleInformation(handle, &flags), FALSE);
    probe.ResumeThread();
    ASSERT_TRUE(Ended(handle));
    EXPECT_TRUE(probe.Cleanup());
    SetLastError(0);
    EXPECT_EQ(GetHandleInformation(handle, &flags), FALSE) << "the handle is closed";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(probe.Handle(), nullptr);
    EXPECT_EQ(probe.Id(), 0u);
    EXPECT_EQ(probe.StackSize(), 0u);
    EXPECT_EQ(probe.CreatorThread(), nullptr);
    EXPECT_TRUE(probe.Cleanup()) << "a second clean-up has nothing to do";
}

TEST(CThread, CreateReusesAnEndedObjectAndClosesTheOldHandle) {
    ProbeRecord record;
    const unsigned long before = vsktest::OpenHandleCount();
    {
        CProbe probe(&record);
        for (int round = 0; round < 5; ++round) {
            ASSERT_TRUE(probe.Create(true, false, 0)) << round;
            ASSERT_TRUE(Ended(probe.Handle()));
        }
        EXPECT_EQ(record.hooks, "SPTSPTSPTSPTSPT");
        EXPECT_TRUE(probe.Cleanup());
    }
    EXPECT_EQ(vsktest::OpenHandleCount(), before);
}

TEST(CThread, DestructorOfAnEndedThreadClosesItsHandle) {
    ProbeRecord record;
    const unsigned long before = vsktest::OpenHandleCount();
    {
        CProbe probe(&record);
        ASSERT_TRUE(probe.Create(true, false, 0));
        ASSERT_TRUE(Ended(probe.Handle()));
    }
    EXPECT_EQ(record.deletions, 1);
    EXPECT_EQ(vsktest::OpenHandleCount(), before);
}

// ---------------------------------------------------------------------------
// Destroy and the object pool
// ---------------------------------------------------------------------------

TEST(CThread, DestroyOnAnEndedNotSelfDeletingThreadDeletesTheObject) {
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    ASSERT_TRUE(probe->Create(true, false, 0));
    ASSERT_TRUE(Ended(probe->Handle()));
    EXPECT_TRUE(probe->Destroy());
    EXPECT_EQ(record.deletions, 1);
}

TEST(CThread, DestroyOnAnObjectWithoutThreadDeletesIt) {
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    EXPECT_TRUE(probe->Destroy());
    EXPECT_EQ(record.deletions, 1);
}

TEST(CThread, DestroyWhileTheThreadIsAliveRefuses) {
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    ASSERT_TRUE(probe->Create(false, false, 0));
    EXPECT_FALSE(probe->Destroy());
    EXPECT_EQ(record.deletions, 0);
    probe->ResumeThread();
    ASSERT_TRUE(Ended(probe->Handle()));
    EXPECT_TRUE(probe->Destroy());
    EXPECT_EQ(record.deletions, 1);
}

TEST(CThread, EndedSelfDeletingThreadStaysInThePoolUntilTheNextThreadStarts) {
    DrainPool();
    ProbeRecord record;
    HANDLE threadHandle = nullptr;
    CProbe* probe = PooledProbe(&record, &threadHandle);
    CHandle thread(threadHandle);
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(record.hooks, "SPT");
    EXPECT_EQ(ExitCodeOf(thread.Get()), 0u);
    Sleep(300);
    EXPECT_EQ(record.deletions, 0) << "nothing deletes it while no thread starts";
    EXPECT_TRUE(probe->AutoDelete());
    EXPECT_FALSE(probe->IsAlive());
    EXPECT_FALSE(probe->Destroy()) << "the pool owns it";
    EXPECT_EQ(record.deletions, 0);
    // The next start of any CThread deletes it, before its own hooks run.
    StartAndFinishAPlainThread();
    EXPECT_EQ(record.deletions, 1);
}

TEST(CThread, ASuspendedThreadDoesNotReleaseThePoolUntilResumed) {
    DrainPool();
    ProbeRecord pooledRecord;
    HANDLE threadHandle = nullptr;
    CProbe* pooled = PooledProbe(&pooledRecord, &threadHandle);
    CHandle thread(threadHandle);
    ASSERT_NE(pooled, nullptr);
    ProbeRecord record;
    CProbe probe(&record);
    ASSERT_TRUE(probe.Create(false, false, 0));
    Sleep(200);
    EXPECT_EQ(pooledRecord.deletions, 0);
    probe.ResumeThread();
    ASSERT_TRUE(Ended(probe.Handle()));
    EXPECT_EQ(pooledRecord.deletions, 1);
}

void* __cdecl FailingAllocation(std::size_t) { throw std::bad_alloc(); }

// An exception that escapes the thread procedure's own steps (here: putting
// a self-deleting object into the pool) makes the exit code all ones. The
// hooks' exceptions never get that far, and the pool's clean-up at the start
// only deletes objects, whose destructors cannot throw, so the platform
// offers no such failure: the library's allocation is made to fail.
TEST(CThread, EntryReturnsAllOnesWhenItsOwnStepThrowsDrivenByAFailingAllocationBecauseThePlatformHasMemory) {
    DrainPool();
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    ASSERT_TRUE(probe->Create(false, true, 0));
    CHandle thread(DuplicateThreadHandle(*probe));
    unsigned code = 0;
    {
        void* original = nullptr;
        vsktest::CImportSlotPatch patch("_Znwj", reinterpret_cast<void*>(&FailingAllocation), &original);
        ASSERT_TRUE(patch.Patched()) << "voskellib.dll imports no operator new";
        code = CThread::ThreadEntryFunc(probe);
    }
    EXPECT_EQ(code, 0xFFFFFFFFu);
    EXPECT_EQ(record.hooks, "SPT");
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u) << "the object was pooled although the insertion failed";
    // Its own thread runs the procedure normally, pools it and ends; then the
    // pool lets it go.
    probe->ResumeThread();
    ASSERT_TRUE(Ended(thread.Get()));
    EXPECT_EQ(ExitCodeOf(thread.Get()), 0u);
    DrainPool();
    EXPECT_EQ(record.deletions, 1);
}

// The pool keeps an object whose thread still runs: here the probe's own
// thread waits suspended while the test runs the thread procedure for it on
// the test's thread, which pools the object.
TEST(CThread, ReleaseObjectPoolKeepsObjectsWhoseThreadStillRunsAndCountsThem) {
    DrainPool();
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    ASSERT_TRUE(probe->Create(false, true, 0));
    CHandle thread(DuplicateThreadHandle(*probe));
    EXPECT_EQ(CThread::ThreadEntryFunc(probe), 0u);
    EXPECT_EQ(record.hooks, "SPT");
    EXPECT_EQ(CThread::ReleaseObjectPool(), 1u);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 1u);
    EXPECT_EQ(record.deletions, 0);
    // Its own thread runs the procedure again (the object is pooled once)
    // and ends; then the pool lets it go.
    probe->ResumeThread();
    ASSERT_TRUE(Ended(thread.Get()));
    EXPECT_EQ(ExitCodeOf(thread.Get()), 0u);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 1);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 1);
}

TEST(CThread, EverySelfDeletingThreadOfABatchIsDeletedExactlyOnce) {
    DrainPool();
    std::vector<std::unique_ptr<ProbeRecord>> records;
    std::vector<std::unique_ptr<CHandle>> threads;
    for (int i = 0; i < 20; ++i) {
        records.emplace_back(new ProbeRecord);
        HANDLE threadHandle = nullptr;
        CProbe* probe = new CProbe(records.back().get());
        ASSERT_TRUE(probe->Create(false, true, 0));
        threadHandle = DuplicateThreadHandle(*probe);
        threads.emplace_back(new CHandle(threadHandle));
    }
    // Started together: each start deletes the ones that have ended by then,
    // the call below the rest.
    for (auto& thread : threads)
        ResumeThread(thread->Get());
    for (auto& thread : threads)
        ASSERT_TRUE(Ended(thread->Get()));
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    for (auto& record : records)
        EXPECT_EQ(record->deletions, 1);
}

class CLockedProbe : public CProbe {
public:
    using CProbe::CProbe;
    CRITICAL_SECTION* Lock() { return &m_lock; }
};

// The pool deletes an object while holding the pool's lock and then takes
// the object's own lock: a Create that still holds it (here the test holds
// it across Create) keeps the object alive, and the deleting start waits.
TEST(CThread, DeletingAPooledObjectWaitsWhileItsLockIsHeld) {
    DrainPool();
    ProbeRecord record;
    auto* probe = new CLockedProbe(&record);
    CRITICAL_SECTION* lock = probe->Lock();
    EnterCriticalSection(lock);
    ASSERT_TRUE(probe->Create(true, true, 0));
    CHandle thread(DuplicateThreadHandle(*probe));
    ASSERT_TRUE(Ended(thread.Get()));
    ProbeRecord nextRecord;
    CProbe next(&nextRecord);
    ASSERT_TRUE(next.Create(true, false, 0));
    // The next start is deleting the pooled object and waits for its lock.
    EXPECT_EQ(WaitForSingleObject(next.Handle(), 500), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(nextRecord.hooks, "");
    LeaveCriticalSection(lock);
    ASSERT_TRUE(Ended(next.Handle()));
    EXPECT_EQ(nextRecord.hooks, "SPT");
    EXPECT_EQ(ExitCodeOf(next.Handle()), 0u);
    EXPECT_EQ(record.deletions, 1);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
}

// The set's insertion fails only on the ending thread: the library's
// operator new is pointed at a function that throws there, because the
// platform cannot be made to run out of memory for one insertion.
DWORD g_failingThread = 0;
void* (*g_operatorNew)(std::size_t) = nullptr;
void* NewFailingOnOneThread(std::size_t n) {
    if (GetCurrentThreadId() == g_failingThread)
        throw std::bad_alloc();
    return g_operatorNew(n);
}

TEST(CThread, MockedFailingPoolInsertionEndsTheThreadWithMinusOneAfterItsHooks) {
    DrainPool();
    ProbeRecord record;
    auto* probe = new CProbe(&record);
    ASSERT_TRUE(probe->Create(false, true, 0));
    CHandle thread(DuplicateThreadHandle(*probe));
    {
        g_failingThread = probe->Id();
        vsktest::CImportSlotPatch patch("_Znwj", reinterpret_cast<void*>(&NewFailingOnOneThread),
                                        reinterpret_cast<void**>(&g_operatorNew));
        ASSERT_TRUE(patch.Patched());
        probe->ResumeThread();
        ASSERT_TRUE(Ended(thread.Get()));
        g_failingThread = 0;
    }
    EXPECT_EQ(ExitCodeOf(thread.Get()), 0xFFFFFFFFu);
    EXPECT_EQ(record.hooks, "SPT");
    // Not pooled, so never deleted by the pool: the object is the test's.
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 0);
    EXPECT_TRUE(probe->Cleanup());
    EXPECT_TRUE(probe->Destroy());
    EXPECT_EQ(record.deletions, 1);
}

// ---------------------------------------------------------------------------
// The unit's start-up and exit routines
// ---------------------------------------------------------------------------

template <typename Body>
void WithFinalizedUnit(Body body) {
    int finalized = 0;
    while (Thread::Counter() < 0) {
        Thread::Finalize();
        ++finalized;
    }
    body();
    for (int i = 0; i < finalized; ++i)
        Thread::Initialize();
}

TEST(ThreadUnit, StartUpHasBuiltThePool) {
    EXPECT_LT(Thread::Counter(), 0);
    DrainPool();
    ProbeRecord record;
    HANDLE threadHandle = nullptr;
    CProbe* probe = PooledProbe(&record, &threadHandle);
    CHandle thread(threadHandle);
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 1);
}

// Finalisation destroys the set and its lock only: a pooled object is left
// undeleted, also by the pool that the next start-up builds.
TEST(ThreadUnit, FinalisationDestroysThePoolWithoutDeletingItsObjects) {
    DrainPool();
    ProbeRecord record;
    HANDLE threadHandle = nullptr;
    CProbe* probe = PooledProbe(&record, &threadHandle);
    CHandle thread(threadHandle);
    ASSERT_NE(probe, nullptr);
    unsigned int withoutUnit = 99;
    unsigned int freshPool = 99;
    int deletionsWithoutUnit = -1;
    std::string plainHooks;
    WithFinalizedUnit([&] {
        withoutUnit = CThread::ReleaseObjectPool();
        // A plain thread still runs its hooks without the pool.
        ProbeRecord plain;
        CProbe other(&plain);
        if (other.Create(true, false, 0) && Ended(other.Handle()))
            plainHooks = plain.hooks;
        deletionsWithoutUnit = record.deletions;
        Thread::Initialize();
        freshPool = CThread::ReleaseObjectPool();
        Thread::Finalize();
    });
    EXPECT_EQ(withoutUnit, 0u);
    EXPECT_EQ(plainHooks, "SPT");
    EXPECT_EQ(deletionsWithoutUnit, 0);
    EXPECT_EQ(freshPool, 0u);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 0) << "left undeleted by the finalisation";
    // The test lets it go itself: it is no longer in any pool.
    delete probe;
    EXPECT_EQ(record.deletions, 1);
}

// Outside the unit's start-up and exit there is no pool: ReleaseObjectPool
// does nothing and returns 0, and a self-deleting thread that ends then is
// not pooled (nor deleted).
TEST(ThreadUnit, ChoiceWithoutTheUnitReleaseObjectPoolReturnsZeroAndNothingIsPooled) {
    DrainPool();
    ProbeRecord record;
    unsigned int released = 99;
    std::string hooks;
    CProbe* probe = nullptr;
    WithFinalizedUnit([&] {
        released = CThread::ReleaseObjectPool();
        HANDLE threadHandle = nullptr;
        probe = PooledProbe(&record, &threadHandle);
        CHandle thread(threadHandle);
        hooks = record.hooks;
    });
    EXPECT_EQ(released, 0u);
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(hooks, "SPT");
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    StartAndFinishAPlainThread();
    EXPECT_EQ(record.deletions, 0) << "never pooled";
    EXPECT_FALSE(probe->Destroy()) << "still marked self-deleting";
    EXPECT_TRUE(probe->Cleanup());
    EXPECT_TRUE(probe->Destroy());
    EXPECT_EQ(record.deletions, 1);
}

TEST(ThreadUnit, ASecondInitialiseKeepsTheSamePool) {
    DrainPool();
    ProbeRecord record;
    HANDLE threadHandle = nullptr;
    CProbe* probe = PooledProbe(&record, &threadHandle);
    CHandle thread(threadHandle);
    ASSERT_NE(probe, nullptr);
    Thread::Initialize();
    Thread::Finalize();
    EXPECT_EQ(record.deletions, 0);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    EXPECT_EQ(record.deletions, 1) << "the object was still in the same pool";
}

// Runs the thread child program on `file` with `mode`; its exit code.
DWORD RunThreadChild(const std::string& file, const char* mode) {
    const std::string program = vsktest::ProgramFolder() + "\\vsk_thread_child.exe";
    std::string commandLine = "\"" + program + "\" \"" + file + "\" " + mode;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    if (!CreateProcessA(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &info)) {
        ADD_FAILURE() << "cannot start the child: " << vsktest::Win32ErrorText(GetLastError());
        return 0xFFFFu;
    }
    DWORD code = 0xFFFEu;
    if (WaitForSingleObject(info.hProcess, 120000) == WAIT_OBJECT_0)
        GetExitCodeProcess(info.hProcess, &code);
    else
        TerminateProcess(info.hProcess, 99);
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return code;
}

// Pooled objects are not deleted when the process ends: the unit's exit
// routine destroys the set only, and nothing else drains it.
TEST(ThreadUnit, ChoicePoolIsNotDrainedAtProcessEnd) {
    vsktest::CTempDir dir;
    const std::string kept = dir.File("kept.txt");
    const std::string released = dir.File("released.txt");
    EXPECT_EQ(RunThreadChild(kept, "keep"), 0u);
    EXPECT_EQ(vsktest::ReadFileBytes(kept), "pooled");
    // Control: the same child draining the pool itself deletes the object.
    EXPECT_EQ(RunThreadChild(released, "release"), 0u);
    EXPECT_EQ(vsktest::ReadFileBytes(released), "pooleddeleted");
}

// ---------------------------------------------------------------------------
// Stress: 4 creators x 2,500 self-deleting threads
// ---------------------------------------------------------------------------

const int kCreators = 4;
const int kPerCreator = 2500;
const int kStressThreads = kCreators * kPerCreator;

std::atomic<int> g_stressDeletions[kStressThreads];
std::atomic<int> g_stressRuns[kStressThreads];
std::atomic<unsigned long> g_stressExitCodes[kStressThreads];
std::atomic<int> g_stressCreateFailures{0};
// Threads created whose work has not run yet. Where the creators run much
// faster than the new threads get a core (native 32-bit code on two cores),
// thousands of them would otherwise wait at once, and their 2 MiB stack
// reservations exhaust the 2 GiB address space (creation then fails with
// ERROR_NOT_ENOUGH_MEMORY); the creators wait while too many are pending.
std::atomic<int> g_stressPending{0};
const int kMaxStressPending = 256;

class CStressThread : public CThread {
public:
    explicit CStressThread(int index) : m_index(index) {}
    // The pool deletes it only after its thread ended: the exit code is there.
    ~CStressThread() override {
        unsigned long code = 0xDEADu;
        if (!GetExitCodeThread(&code))
            code = 0xBADu;
        g_stressExitCodes[m_index] = code;
        ++g_stressDeletions[m_index];
    }

protected:
    int OnThreadProccessing() override {
        ++g_stressRuns[m_index];
        --g_stressPending;
        return 0;
    }

private:
    int m_index;
};

class CStressCreator : public CThread {
public:
    explicit CStressCreator(int first) : m_first(first) {}

protected:
    int OnThreadProccessing() override {
        for (int i = 0; i < kPerCreator; ++i) {
            while (g_stressPending >= kMaxStressPending)
                Sleep(1);
            auto* thread = new CStressThread(m_first + i);
            ++g_stressPending;
            // The object belongs to the pool once created: not touched again.
            if (!thread->Create(true, true, 0)) {
                ++g_stressCreateFailures;
                --g_stressPending;
                delete thread;
            }
        }
        return 0;
    }

private:
    int m_first;
};

TEST(CThreadStress, TenThousandSelfDeletingThreadsAreEachDeletedOnceAndTheirHandlesClosed) {
    DrainPool();
    for (int i = 0; i < kStressThreads; ++i) {
        g_stressDeletions[i] = 0;
        g_stressRuns[i] = 0;
        g_stressExitCodes[i] = 0xFFFFu;
    }
    const unsigned long handlesBefore = vsktest::OpenHandleCount();
    const DWORD started = GetTickCount();
    {
        std::vector<std::unique_ptr<CStressCreator>> creators;
        for (int c = 0; c < kCreators; ++c)
            creators.emplace_back(new CStressCreator(c * kPerCreator));
        for (auto& creator : creators)
            ASSERT_TRUE(creator->Create(true, false, 0));
        for (auto& creator : creators)
            while (creator->IsAlive())
                Sleep(20);
    }
    const DWORD created = GetTickCount();
    // Every object reaches the pool when its hooks are done; wait for the
    // last ones and let the pool go.
    int deleted = 0;
    for (int tries = 0; tries < 12000; ++tries) {
        CThread::ReleaseObjectPool();
        deleted = 0;
        for (int i = 0; i < kStressThreads; ++i)
            deleted += g_stressDeletions[i] != 0;
        if (deleted == kStressThreads)
            break;
        Sleep(10);
    }
    EXPECT_EQ(g_stressCreateFailures, 0);
    EXPECT_EQ(CThread::ReleaseObjectPool(), 0u);
    int wrongDeletions = 0, wrongRuns = 0, wrongCodes = 0;
    for (int i = 0; i < kStressThreads; ++i) {
        wrongDeletions += g_stressDeletions[i] != 1;
        wrongRuns += g_stressRuns[i] != 1;
        wrongCodes += g_stressExitCodes[i] != 0;
    }
    EXPECT_EQ(wrongDeletions, 0) << "objects not deleted exactly once";
    EXPECT_EQ(wrongRuns, 0) << "objects whose work did not run exactly once";
    EXPECT_EQ(wrongCodes, 0) << "threads that did not end with exit code 0";
    EXPECT_EQ(vsktest::OpenHandleCount(), handlesBefore);
    std::printf("stress: %lu handles; %d threads created in %lu ms, all deleted after %lu ms\n",
                static_cast<unsigned long>(handlesBefore), kStressThreads,
                static_cast<unsigned long>(created - started), static_cast<unsigned long>(GetTickCount() - started));
}

} // namespace
