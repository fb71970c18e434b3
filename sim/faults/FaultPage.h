// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/**
 * Every call into the system that the daemon makes and that can fail, but for those that follow another
 * failure. epoll_wait() is only looked at.
 */
// clang-format off
#define SIM_FAULT_CALLS(X)                                                          \
    X(close) X(dlopen) X(epoll_wait) X(execl) X(execv) X(fchmod) X(fcntl) \
    X(fdopen) X(fdopendir) X(fgets) X(fork) X(fstat) X(fsync) \
    X(mkdirat) X(open) X(openat) X(opendir) X(pread) X(pthread_create) X(readdir)   \
    X(renameat) X(unlinkat) X(vfork) X(waitpid) X(write)
// clang-format on

namespace sim {

#define SIM_FAULT_ENUMERATOR(name) name,
enum class Call : int32_t { SIM_FAULT_CALLS(SIM_FAULT_ENUMERATOR) none };
#undef SIM_FAULT_ENUMERATOR

#define SIM_FAULT_NAME(name) #name,
inline constexpr const char* kCallNames[] = {SIM_FAULT_CALLS(SIM_FAULT_NAME)};
#undef SIM_FAULT_NAME
inline constexpr size_t kCallCount = static_cast<size_t>(Call::none);

/** In the place of an error number: the call succeeds, but for a part of its bytes only. */
inline constexpr int32_t kShort = -1;

/** The environment variable that names the file of the page. */
inline constexpr char kPageVariable[] = "ZUL_FAULT_PAGE";

/** What the library and the one who controls it share; zero where not said otherwise. */
struct FaultPage {
    /** The fault: call number `number` of this sort, counted from 1, fails by `error`. */
    std::atomic<Call> call;
    std::atomic<uint32_t> number;
    std::atomic<int32_t> error;
    std::atomic<uint32_t> fired;
    /** Calls of each sort, those of forked children included. */
    std::atomic<uint32_t> seen[kCallCount];

    /** Threads that wait for events. */
    std::atomic<uint32_t> waiting;
    /** What time() says; 0: the truth. */
    std::atomic<int64_t> now;
    /** How long a second of sleep() lasts. */
    std::atomic<uint32_t> secondMs;

    /** The daemon's tables are looked at when `asked` moves on, and `told` follows it. */
    std::atomic<uint32_t> asked;
    std::atomic<uint32_t> told;
    std::atomic<int64_t> count;
    std::atomic<int64_t> listed;
};
static_assert(std::atomic<int64_t>::is_always_lock_free);

}  // namespace sim
