// Thread_bench.cpp - CThread: create, run an empty OnThreadProccessing and
// wait for the end, against _beginthreadex of an empty procedure +
// WaitForSingleObject + CloseHandle.
// Usage: Thread_bench [threads per round]
#include "threading/Thread.h"

#include "bench/BenchSupport.h"
#include "platform/Win32.h"

#include <process.h>

#include <cstdio>
#include <cstdlib>

namespace {

class CEmptyThread : public CThread {
public:
    HANDLE Handle() const { return m_hThread; }

protected:
    int OnThreadProccessing() override { return 0; }
};

unsigned __stdcall EmptyProcedure(void*) {
    return 0;
}

double CThreadSeconds(int threads) {
    return vskbench::BestSeconds(5, [&] {
        for (int i = 0; i < threads; ++i) {
            CEmptyThread thread;
            if (!thread.Create(true, false, 0)) {
                std::printf("CThread::Create failed\n");
                std::exit(1);
            }
            WaitForSingleObject(thread.Handle(), INFINITE);
        }
    });
}

double RawSeconds(int threads) {
    return vskbench::BestSeconds(5, [&] {
        for (int i = 0; i < threads; ++i) {
            unsigned int id = 0;
            const uintptr_t handle = _beginthreadex(nullptr, 0, &EmptyProcedure, nullptr, 0, &id);
            if (handle == 0) {
                std::printf("_beginthreadex failed\n");
                std::exit(1);
            }
            WaitForSingleObject(reinterpret_cast<HANDLE>(handle), INFINITE);
            CloseHandle(reinterpret_cast<HANDLE>(handle));
        }
    });
}

} // namespace

int main(int argc, char** argv) {
    const int threads = argc > 1 ? std::atoi(argv[1]) : vskbench::Count(200);
    // Both warm up once (first thread start-up costs of the runtime).
    RawSeconds(vskbench::Count(10));
    CThreadSeconds(vskbench::Count(10));
    const double raw = RawSeconds(threads);
    const double library = CThreadSeconds(threads);
    std::printf("%d threads per round, best of %d\n", threads, vskbench::Rounds(5));
    vskbench::Report("CThread create+run+wait vs _beginthreadex+wait", library / threads, raw / threads, 1 / 1.3,
                     "within 1.3x");
    return vskbench::Finish(0);
}
