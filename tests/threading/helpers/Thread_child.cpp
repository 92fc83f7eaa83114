// Thread_child.cpp - the child program of the thread pool's process-end
// test. It runs one self-deleting thread to its end, so that the object sits
// in the pool, appends "pooled" to the file named by its first argument and
// ends; the object's destructor appends "deleted" whenever it runs.
//   Thread_child <file> keep      ends with the object still pooled
//   Thread_child <file> release   calls ReleaseObjectPool() before ending
#include "threading/Thread.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string g_file;

void Append(const char* text) {
    if (FILE* f = std::fopen(g_file.c_str(), "ab")) {
        std::fputs(text, f);
        std::fclose(f);
    }
}

class CMarked : public CThread {
public:
    ~CMarked() override { Append("deleted"); }
    HANDLE Handle() const { return m_hThread; }
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 3)
        return 3;
    g_file = argv[1];
    auto* thread = new CMarked;
    if (!thread->Create(false, true, 0))
        return 4;
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), thread->Handle(), GetCurrentProcess(), &own, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    thread->ResumeThread();
    if (WaitForSingleObject(own, 60000) != WAIT_OBJECT_0)
        return 5;
    CloseHandle(own);
    Append("pooled");
    if (std::strcmp(argv[2], "release") == 0)
        CThread::ReleaseObjectPool();
    return 0;
}
