/* Loaded (LD_PRELOAD) into 32-bit Wine processes that run under qemu's
 * user-mode emulator on kernels without 32-bit support. It works around three
 * ways in which qemu-i386 7.x differs from a real kernel:
 *
 * 1. Thread-local segments. The emulated GDT is one table for the whole
 *    process, so a TLS entry set by set_thread_area (glibc's %gs, Wine's %fs)
 *    holds the base of the thread that set it last; every later reload of the
 *    selector in another thread (Wine reloads both on each signal and system
 *    call) switches that thread onto someone else's TLS and TEB. Here every
 *    thread moves its %gs onto an LDT entry of its own, and Wine is told that
 *    set_thread_area is missing, so it gives each thread's %fs an LDT entry
 *    too. LDT entries are not shared between threads, so reloads are exact.
 * 2. Fault codes. The trap number in a signal's context is -1, so Wine takes
 *    every access violation for an illegal instruction (and never handles
 *    guard pages or stack growth) and a division by zero for a floating-point
 *    fault. The handler below fills in the trap number the signal implies.
 * 3. Address-space reservation. qemu ignores MAP_FIXED_NOREPLACE and looks
 *    for room elsewhere page by page, which makes Wine's reservation of the
 *    upper half of the address space cost about a minute per process. That
 *    reservation only keeps Unix libraries away from it, so it is refused.
 *
 * Built by tools/setup.sh; cmake/wine-run.sh preloads it together with
 * QEMU_RESERVED_VA, which gives the guest the whole 4 GiB at once.
 */
#define _GNU_SOURCE
#include <asm/ldt.h>
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <stdlib.h>

#ifndef MAP_FIXED_NOREPLACE
#define MAP_FIXED_NOREPLACE 0x100000
#endif

#define REAL(name) static __typeof__(name)* real_##name; \
    if (!real_##name) real_##name = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

/* ---- 1. one LDT entry per thread for %gs -------------------------------- */

/* Wine allocates its own LDT entries upwards from 32; these come from the
 * top. An entry is free when its owner thread no longer exists. */
enum { ENTRY_TOP = 8191, ENTRY_COUNT = 4096 };
static pid_t entry_owner[ENTRY_COUNT];
static pthread_mutex_t entry_lock = PTHREAD_MUTEX_INITIALIZER;
static __thread int my_entry = -1;

static int thread_is_gone(pid_t tid) {
    return syscall(SYS_tgkill, getpid(), tid, 0) == -1 && errno == ESRCH;
}

static int take_entry(pid_t tid) {
    int found = -1;
    pthread_mutex_lock(&entry_lock);
    for (int i = 0; i < ENTRY_COUNT && found < 0; ++i) {
        if (entry_owner[i] == 0 || thread_is_gone(entry_owner[i])) {
            entry_owner[i] = tid;
            found = i;
        }
    }
    pthread_mutex_unlock(&entry_lock);
    return found;
}

static long raw_set_thread_area(struct user_desc* desc);

/* The calling thread's TLS block: its first word points to itself. */
static uint32_t own_tls_block(void) {
    uint32_t base;
    __asm__ volatile("movl %%gs:0, %0" : "=r"(base));
    return base;
}

/* A flat 4 GiB data segment starting at `base`, for entry `entry`. */
static struct user_desc tls_segment(unsigned int entry, uint32_t base) {
    struct user_desc desc = {0};
    desc.entry_number = entry;
    desc.base_addr = base;
    desc.limit = 0xfffff;
    desc.seg_32bit = 1;
    desc.limit_in_pages = 1;
    desc.useable = 1;
    return desc;
}

static void load_gs(uint16_t selector) { __asm__ volatile("movw %0, %%gs" : : "r"(selector)); }

static void use_private_gs(void) {
    const uint32_t base = own_tls_block();
    int index = take_entry((pid_t)syscall(SYS_gettid));
    if (index < 0) return;
    struct user_desc desc = tls_segment(ENTRY_TOP - index, base);
    if (syscall(SYS_modify_ldt, 1, &desc, sizeof desc) != 0) return;
    load_gs((uint16_t)((desc.entry_number << 3) | 7));
    my_entry = index;
}

/* After fork the child's only thread keeps its entry under its new id. */
static void child_after_fork(void) {
    if (my_entry >= 0) entry_owner[my_entry] = (pid_t)syscall(SYS_gettid);
}

static uint16_t glibc_gs;  /* the shared GDT selector that clone() sets */

__attribute__((constructor)) static void start_main_thread(void) {
    __asm__ volatile("movw %%gs, %0" : "=r"(glibc_gs));
    use_private_gs();
    pthread_atfork(NULL, NULL, child_after_fork);
}

struct start_args {
    void* (*start)(void*);
    void* arg;
    sem_t switched;
};

static void* start_thread(void* raw) {
    struct start_args* args = raw;
    void* (*start)(void*) = args->start;
    void* arg = args->arg;
    use_private_gs();
    sem_post(&args->switched);
    return start(arg);
}

/* clone() gives the new thread the parent's %gs selector and sets the shared
 * GDT entry to the new thread's block. So the parent creates threads through
 * that GDT entry, set to its own block for the moment, and the new thread
 * moves to an LDT entry of its own before anyone else creates a thread. */
static pthread_mutex_t create_lock = PTHREAD_MUTEX_INITIALIZER;

int pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*start)(void*), void* arg) {
    REAL(pthread_create);
    if (my_entry < 0) return real_pthread_create(thread, attr, start, arg);
    struct start_args args;
    args.start = start;
    args.arg = arg;
    sem_init(&args.switched, 0, 0);
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    pthread_mutex_lock(&create_lock);
    struct user_desc desc = tls_segment(glibc_gs >> 3, own_tls_block());
    uint16_t mine = (uint16_t)(((ENTRY_TOP - my_entry) << 3) | 7);
    int rc = EAGAIN;
    if (raw_set_thread_area(&desc) == 0) {
        load_gs(glibc_gs);
        rc = real_pthread_create(thread, attr, start_thread, &args);
        load_gs(mine);
    }
    pthread_sigmask(SIG_SETMASK, &old, NULL);
    if (rc == 0)
        while (sem_wait(&args.switched) != 0) {}
    pthread_mutex_unlock(&create_lock);
    sem_destroy(&args.switched);
    return rc;
}

long syscall(long number, ...) {
    REAL(syscall);
    if (number == SYS_set_thread_area) { errno = ENOSYS; return -1; }
    va_list ap;
    va_start(ap, number);
    long a = va_arg(ap, long), b = va_arg(ap, long), c = va_arg(ap, long);
    long d = va_arg(ap, long), e = va_arg(ap, long), f = va_arg(ap, long);
    va_end(ap);
    return real_syscall(number, a, b, c, d, e, f);
}

static long raw_set_thread_area(struct user_desc* desc) {
    REAL(syscall);
    return real_syscall(SYS_set_thread_area, desc);
}

/* ---- 2. trap numbers for fault signals ---------------------------------- */

static int trap_for(int sig, int code) {
    switch (sig) {
    case SIGSEGV: return code == SI_KERNEL ? 13 : 14;
    case SIGFPE:  return code == FPE_INTDIV ? 0 : code == FPE_INTOVF ? 4 : 16;
    case SIGTRAP: return code == SI_KERNEL ? 3 : 1;
    case SIGILL:  return 6;
    case SIGBUS:  return 17;
    default:      return -1;
    }
}

typedef void (*action_fn)(int, siginfo_t*, void*);
static action_fn wine_action[65];

static void fill_in_trap(int sig, siginfo_t* info, void* context) {
    ucontext_t* uc = context;
    if (uc->uc_mcontext.gregs[REG_TRAPNO] == -1)
        uc->uc_mcontext.gregs[REG_TRAPNO] = trap_for(sig, info->si_code);
    wine_action[sig](sig, info, context);
}

/* Callers see their own handler, never fill_in_trap: one that saves the old
 * action and puts it back later must not make fill_in_trap call itself. */
static void show_callers_handler(int sig, struct sigaction* old, action_fn previous) {
    if (old && (old->sa_flags & SA_SIGINFO) && old->sa_sigaction == fill_in_trap)
        old->sa_sigaction = previous;
}

int sigaction(int sig, const struct sigaction* act, struct sigaction* old) {
    REAL(sigaction);
    if (sig <= 0 || sig >= 65 || trap_for(sig, 0) == -1) return real_sigaction(sig, act, old);
    action_fn previous = wine_action[sig];
    int rc;
    if (act && (act->sa_flags & SA_SIGINFO) && (uintptr_t)act->sa_sigaction > 1
        && act->sa_sigaction != fill_in_trap) {
        struct sigaction copy = *act;
        wine_action[sig] = act->sa_sigaction;
        copy.sa_sigaction = fill_in_trap;
        rc = real_sigaction(sig, &copy, old);
    } else {
        rc = real_sigaction(sig, act, old);
    }
    if (rc == 0) show_callers_handler(sig, old, previous);
    return rc;
}

/* ---- 3. no reservation of the upper half -------------------------------- */

static int is_upper_reservation(void* addr, int prot, int flags) {
    return (flags & MAP_FIXED_NOREPLACE) && prot == PROT_NONE && (uintptr_t)addr >= 0x80010000u;
}

void* mmap64(void* addr, size_t len, int prot, int flags, int fd, off64_t off) {
    REAL(mmap64);
    if (is_upper_reservation(addr, prot, flags)) { errno = EEXIST; return MAP_FAILED; }
    return real_mmap64(addr, len, prot, flags, fd, off);
}

void* mmap(void* addr, size_t len, int prot, int flags, int fd, off_t off) {
    REAL(mmap);
    if (is_upper_reservation(addr, prot, flags)) { errno = EEXIST; return MAP_FAILED; }
    return real_mmap(addr, len, prot, flags, fd, off);
}
