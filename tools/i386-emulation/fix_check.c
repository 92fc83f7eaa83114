/* Run by tools/setup.sh after building the fix library: two threads take
 * signals, and each must still see its own thread-local value and its own
 * trap numbers afterwards. Exits 0 when the fix works, 1 with a message
 * when it does not. */
#define _GNU_SOURCE
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <ucontext.h>
#include <unistd.h>

static __thread int mine;
static volatile int last_trap;

static void on_usr1(int sig) { (void)sig; }

static void on_trap(int sig, siginfo_t* info, void* context) {
    (void)sig;
    (void)info;
    last_trap = ((ucontext_t*)context)->uc_mcontext.gregs[REG_TRAPNO];
}

static void* worker(void* unused) {
    (void)unused;
    mine = 2;
    raise(SIGUSR1);
    return mine == 2 ? NULL : (void*)1;
}

int main(void) {
    signal(SIGUSR1, on_usr1);
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_sigaction = on_trap;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGTRAP, &action, NULL);
    mine = 1;
    pthread_t thread;
    void* worker_failed = (void*)1;
    if (pthread_create(&thread, NULL, worker, NULL) != 0 || pthread_join(thread, &worker_failed) != 0) {
        fputs("fix check: cannot run a thread\n", stderr);
        return 1;
    }
    raise(SIGUSR1);
    if (mine != 1 || worker_failed) {
        fputs("fix check: a signal moved a thread onto another thread's TLS\n", stderr);
        return 1;
    }
    __asm__ volatile("int3");
    if (last_trap != 3) {
        fprintf(stderr, "fix check: a breakpoint gave trap number %d, not 3\n", last_trap);
        return 1;
    }
    return 0;
}
