// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <atomic>
#include <functional>

namespace zul::test {

/** Watches what the daemon asks of the C library, and lets it fail. Everything passes after reset(). */
struct FakeSystem {
    /** Whether somebody holds mServiceLock. */
    static std::atomic<bool> locked;
    /** Called before each fork() and vfork(); false: no process can be started. */
    static std::function<bool()> onFork;
    /** Called before each fsync(). */
    static std::function<void(int fd)> onSync;
    /** Called before each write() but of the log; the bytes to write, 0 to interrupt the call. */
    static std::function<size_t(size_t size)> onWrite;
    /** Called before each read(). */
    static std::function<void(int fd)> onRead;
    /** What geteuid() tells; 0 is the truth. */
    static std::atomic<unsigned> ownUser;
    /** fcntl() neither gives nor takes back a record lock. */
    static std::atomic<bool> refusesRecordLocks;
    /** readdir() tells names alone, as some file systems do. */
    static std::atomic<bool> hidesFileTypes;

    /** The service objects that there are. */
    static size_t services();
    static void reset();
};

}  // namespace zul::test
