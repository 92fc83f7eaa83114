/* The 64-bit twin of qemu_i386_fix.c. LD_PRELOAD names both through $LIB, so
 * the native 64-bit programs that emulated ones start (wineserver, Xvfb) load
 * this one.
 *
 * qemu's user-mode emulator keeps an emulated process's memory at host
 * address = guest address + guest base, and the guest base is never 0: qemu
 * keeps it at or above the host's lowest mappable address (0x1000).
 * wineserver reads and writes another process's memory at the guest addresses
 * the process reported (its PEB, the buffers of ReadProcessMemory and
 * WriteProcessMemory): word by word with ptrace(PTRACE_PEEKDATA /
 * PTRACE_POKEDATA), larger blocks with pread / pwrite on /proc/<pid>/mem.
 * Without the shift it sets the "being debugged" flag and copies debug
 * strings away from where they are. Here both ways are moved by the guest
 * base when the target runs under qemu. The guest base is the one
 * cmake/wine-run.sh gives qemu (QEMU_GUEST_BASE); the emulated processes pass
 * their environment on to the programs they start. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/types.h>
#include <unistd.h>

typedef long (*ptrace_fn)(enum __ptrace_request request, ...);
typedef ssize_t (*pread_fn)(int fd, void *buffer, size_t size, off_t offset);
typedef ssize_t (*pwrite_fn)(int fd, const void *buffer, size_t size, off_t offset);

static unsigned long guest_base(void) {
    const char *text = getenv("QEMU_GUEST_BASE");
    return text ? strtoul(text, NULL, 0) : 0;
}

/* Whether `pid` (a process or thread) is a program that qemu emulates. */
static int runs_under_qemu(pid_t pid) {
    char link[64];
    char target[PATH_MAX];
    snprintf(link, sizeof link, "/proc/%d/exe", (int)pid);
    const ssize_t n = readlink(link, target, sizeof target - 1);
    if (n <= 0)
        return 0;
    target[n] = '\0';
    return strstr(target, "/qemu-") != NULL;
}

static int moves_memory(enum __ptrace_request request) {
    return request == PTRACE_PEEKTEXT || request == PTRACE_PEEKDATA || request == PTRACE_POKETEXT ||
           request == PTRACE_POKEDATA;
}

long ptrace(enum __ptrace_request request, ...) {
    static ptrace_fn real;
    if (!real)
        real = (ptrace_fn)dlsym(RTLD_NEXT, "ptrace");
    va_list args;
    va_start(args, request);
    const pid_t pid = va_arg(args, pid_t);
    char *address = va_arg(args, char *);
    void *data = va_arg(args, void *);
    va_end(args);
    if (moves_memory(request) && runs_under_qemu(pid))
        address += guest_base();
    return real(request, pid, address, data);
}

/* The guest base to add to an offset into `fd`, when `fd` is the memory file
 * (/proc/<pid>/mem) of a process that qemu emulates; 0 otherwise. */
static off_t memory_file_shift(int fd) {
    char link[64];
    char target[64];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, target, sizeof target - 1);
    if (n <= 0)
        return 0;
    target[n] = '\0';
    int pid = 0;
    char tail[8] = "";
    if (sscanf(target, "/proc/%d/%7s", &pid, tail) != 2 || strcmp(tail, "mem") != 0)
        return 0;
    return runs_under_qemu(pid) ? (off_t)guest_base() : 0;
}

ssize_t pread64(int fd, void *buffer, size_t size, off_t offset) {
    static pread_fn real;
    if (!real)
        real = (pread_fn)dlsym(RTLD_NEXT, "pread64");
    return real(fd, buffer, size, offset + memory_file_shift(fd));
}

ssize_t pread(int fd, void *buffer, size_t size, off_t offset) { return pread64(fd, buffer, size, offset); }

ssize_t pwrite64(int fd, const void *buffer, size_t size, off_t offset) {
    static pwrite_fn real;
    if (!real)
        real = (pwrite_fn)dlsym(RTLD_NEXT, "pwrite64");
    return real(fd, buffer, size, offset + memory_file_shift(fd));
}

ssize_t pwrite(int fd, const void *buffer, size_t size, off_t offset) { return pwrite64(fd, buffer, size, offset); }
