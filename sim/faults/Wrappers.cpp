// SPDX-License-Identifier: Apache-2.0
//
// The functions that are called instead of the C library's. Each has its own name here and the C
// library's name for the linker, so that it need not agree with a header's declaration.
#include <errno.h>
#include <pthread.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include "sim/faults/FaultPoints.h"

namespace sim {

/** The head of a function that takes the place of `symbol`. */
#define REPLACE(result, name, symbol, ...)                          \
    extern "C" result replaced_##name(__VA_ARGS__) __asm__(symbol); \
    result replaced_##name(__VA_ARGS__)

#define REAL(name) reinterpret_cast<decltype(&replaced_##name)>(realFunction(Call::name))

/**
 * A function that only fails, or does what it always does. Whatever its arguments are, they travel in
 * registers, of which it passes on all that integers and pointers can be in.
 */
#define FAULT_POINT_AS(symbol, name, failure)                                                \
    REPLACE(long, name, symbol, long a, long b, long c, long d, long e, long f) {            \
        return decide(Call::name) != Verdict::PASS ? failure : REAL(name)(a, b, c, d, e, f); \
    }
#define FAULT_POINT(name) FAULT_POINT_AS(#name, name, -1)
#define FAULT_POINT_OF_POINTER(name) FAULT_POINT_AS(#name, name, 0)

FAULT_POINT(execl)
FAULT_POINT(execv)
FAULT_POINT(fchmod)
FAULT_POINT(fcntl)
FAULT_POINT(fork)
FAULT_POINT(fstat)
FAULT_POINT(fsync)
FAULT_POINT(mkdirat)
FAULT_POINT(open)
FAULT_POINT(openat)
FAULT_POINT(pread)
FAULT_POINT(renameat)
FAULT_POINT(unlinkat)
// What an optimised getline() calls.
FAULT_POINT_OF_POINTER(dlopen)
FAULT_POINT_OF_POINTER(fdopen)
FAULT_POINT_OF_POINTER(fdopendir)
FAULT_POINT_OF_POINTER(fgets)
FAULT_POINT_OF_POINTER(opendir)
FAULT_POINT_OF_POINTER(readdir)

// --- Those that do their work all the same ------------------------------------------------------

REPLACE(int, close, "close", int fd) {
    const int result = REAL(close)(fd);
    return decide(Call::close) == Verdict::PASS ? result : -1;
}

REPLACE(pid_t, waitpid, "waitpid", pid_t pid, int* status, int options) {
    if (decide(Call::waitpid) == Verdict::PASS) return REAL(waitpid)(pid, status, options);
    const int error = errno;
    // There is no child any more only when somebody has waited for it.
    if (error != EINTR) REAL(waitpid)(pid, nullptr, options);
    errno = error;
    return -1;
}

// --- Others -------------------------------------------------------------------------------------

REPLACE(ssize_t, write, "write", int fd, const void* data, size_t size) {
    const Verdict verdict = decide(Call::write);
    if (verdict == Verdict::SHORT) size = (size + 1) / 2;
    return verdict == Verdict::FAIL ? -1 : REAL(write)(fd, data, size);
}

REPLACE(int, pthread_create, "pthread_create", pthread_t* thread, const pthread_attr_t* attributes,
        void* (*body)(void*), void* value) {
    if (decide(Call::pthread_create) != Verdict::PASS) return errno;
    return REAL(pthread_create)(thread, attributes, body, value);
}

REPLACE(int, epoll_wait, "epoll_wait", int set, void* events, int count, int limitMs) {
    if (page() != nullptr) page()->waiting++;
    const int result = REAL(epoll_wait)(set, events, count, limitMs);
    if (page() != nullptr) page()->waiting--;
    return result;
}

REPLACE(time_t, time, "time", time_t*) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return page() != nullptr && page()->now != 0 ? page()->now.load() : now.tv_sec;
}

REPLACE(unsigned, sleep, "sleep", unsigned seconds) {
    const uint64_t ms = uint64_t{seconds} * (page() != nullptr ? page()->secondMs.load() : 1000);
    const timespec pause{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000};
    nanosleep(&pause, nullptr);
    return 0;
}

/** Where vfork() goes on to; null: it fails. */
extern "C" void* sim_fault_vfork() {
    return decide(Call::vfork) == Verdict::PASS ? realFunction(Call::vfork) : nullptr;
}

}  // namespace sim

// A function that called vfork() would have its frame overwritten by the child: this one jumps.
#if defined(__x86_64__)
__asm__(R"(
    .globl vfork
    .type vfork, @function
vfork:
    subq $8, %rsp
    call sim_fault_vfork@PLT
    addq $8, %rsp
    testq %rax, %rax
    je 1f
    jmp *%rax
1:  movl $-1, %eax
    ret
    .size vfork, . - vfork
)");
#elif defined(__aarch64__)
__asm__(R"(
    .globl vfork
    .type vfork, %function
vfork:
    stp x29, x30, [sp, #-16]!
    bl sim_fault_vfork
    ldp x29, x30, [sp], #16
    cbz x0, 1f
    mov x16, x0
    br x16
1:  mov w0, #-1
    ret
    .size vfork, . - vfork
)");
#endif
