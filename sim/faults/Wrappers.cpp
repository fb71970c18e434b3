// SPDX-License-Identifier: Apache-2.0
//
// The functions that stand before those of the C library. Each has a name of its own here and the C
// library's name for the linker, so that it need not agree with a header's declaration.
#include <dirent.h>
#include <errno.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <iterator>
#include <type_traits>

#include "sim/faults/FaultPoints.h"

namespace sim {
namespace {

/** What a function returns when it fails: null or -1. */
template <class Result>
Result failure() {
    if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        return -1;
    }
}

}  // namespace

#define REAL(name) reinterpret_cast<decltype(&replaced_##name)>(realFunction(Call::name))

/** The head of a function that takes the place of `symbol`. */
#define REPLACE(result, name, symbol, parameters)                 \
    extern "C" result replaced_##name parameters __asm__(symbol); \
    result replaced_##name parameters

/** A function that only fails, or does what it always does. */
#define FAULT_POINT_AS(symbol, result, name, parameters, arguments)        \
    REPLACE(result, name, symbol, parameters) {                            \
        if (decide(Call::name) != Verdict::PASS) return failure<result>(); \
        return REAL(name) arguments;                                       \
    }
#define FAULT_POINT(result, name, parameters, arguments) \
    FAULT_POINT_AS(#name, result, name, parameters, arguments)

FAULT_POINT(int, access, (const char* path, int mode), (path, mode))
FAULT_POINT(void*, dlopen, (const char* path, int flags), (path, flags))
FAULT_POINT(int, execv, (const char* path, char* const* arguments), (path, arguments))
FAULT_POINT(int, fchmod, (int fd, mode_t mode), (fd, mode))
FAULT_POINT(int, fcntl, (int fd, int command, void* argument), (fd, command, argument))
FAULT_POINT(FILE*, fdopen, (int fd, const char* mode), (fd, mode))
FAULT_POINT(DIR*, fdopendir, (int fd), (fd))
FAULT_POINT(char*, fgets, (char* line, int size, FILE* file), (line, size, file))
FAULT_POINT(pid_t, fork, (), ())
FAULT_POINT(int, fstat, (int fd, struct stat* status), (fd, status))
FAULT_POINT(int, fstatat, (int at, const char* path, struct stat* status, int flags),
            (at, path, status, flags))
FAULT_POINT(int, fsync, (int fd), (fd))
FAULT_POINT(int, ftruncate, (int fd, off_t size), (fd, size))
// What an optimised getline() calls.
FAULT_POINT_AS("__getdelim", ssize_t, getdelim, (char** line, size_t* size, int end, FILE* file),
               (line, size, end, file))
FAULT_POINT(off_t, lseek, (int fd, off_t offset, int whence), (fd, offset, whence))
FAULT_POINT(int, mkdirat, (int at, const char* path, mode_t mode), (at, path, mode))
FAULT_POINT(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode))
FAULT_POINT(int, openat, (int at, const char* path, int flags, mode_t mode),
            (at, path, flags, mode))
FAULT_POINT(DIR*, opendir, (const char* path), (path))
FAULT_POINT(ssize_t, pread, (int fd, void* data, size_t size, off_t from), (fd, data, size, from))
FAULT_POINT(dirent*, readdir, (DIR * folder), (folder))
FAULT_POINT(int, renameat, (int at, const char* from, int toAt, const char* to),
            (at, from, toAt, to))
FAULT_POINT(int, unlinkat, (int at, const char* path, int flags), (at, path, flags))

// --- Those that do their work all the same ------------------------------------------------------

REPLACE(int, close, "close", (int fd)) {
    const int result = REAL(close)(fd);
    return decide(Call::close) == Verdict::PASS ? result : -1;
}

REPLACE(pid_t, waitpid, "waitpid", (pid_t pid, int* status, int options)) {
    if (decide(Call::waitpid) == Verdict::PASS) return REAL(waitpid)(pid, status, options);
    const int error = errno;
    // There is no child any more only when somebody has waited for it.
    if (error != EINTR) REAL(waitpid)(pid, nullptr, options);
    errno = error;
    return -1;
}

// --- Others -------------------------------------------------------------------------------------

REPLACE(ssize_t, write, "write", (int fd, const void* data, size_t size)) {
    const Verdict verdict = decide(Call::write);
    if (verdict == Verdict::SHORT) size = (size + 1) / 2;
    return verdict == Verdict::FAIL ? -1 : REAL(write)(fd, data, size);
}

REPLACE(int, pthread_create, "pthread_create",
        (pthread_t * thread, const pthread_attr_t* attributes, void* (*body)(void*), void* value)) {
    if (decide(Call::pthread_create) != Verdict::PASS) return errno;
    return REAL(pthread_create)(thread, attributes, body, value);
}

REPLACE(int, epoll_wait, "epoll_wait", (int set, epoll_event* events, int count, int limitMs)) {
    if (page() != nullptr) page()->waiting++;
    const int result = REAL(epoll_wait)(set, events, count, limitMs);
    if (page() != nullptr) page()->waiting--;
    return result;
}

REPLACE(int, execl, "execl", (const char* path, const char* first, ...)) {
    if (decide(Call::execl) != Verdict::PASS) return -1;
    char* arguments[16] = {const_cast<char*>(first)};
    va_list rest;
    va_start(rest, first);
    for (size_t i = 1; i < std::size(arguments) && arguments[i - 1] != nullptr; i++)
        arguments[i] = va_arg(rest, char*);
    va_end(rest);
    return REAL(execv)(path, arguments);
}

REPLACE(time_t, time, "time", (time_t*)) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return page() != nullptr && page()->now != 0 ? page()->now.load() : now.tv_sec;
}

REPLACE(unsigned, sleep, "sleep", (unsigned seconds)) {
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
