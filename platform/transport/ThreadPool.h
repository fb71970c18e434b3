// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "FileDescriptor.h"

namespace transport {

/** Something that a pool thread waits for and deals with. */
class Endpoint {
  public:
    virtual ~Endpoint() = default;
    /**
     * Called when there is something to read, end of file included, or room for what waits to be
     * written. By one thread at a time, unless `rearm()` was called meanwhile. False: forget me.
     */
    virtual bool handleReady() = 0;
    /** Whether room is waited for as well. Asked under the pool's lock, so it takes none. */
    virtual bool wantsToWrite() const { return false; }
};

/** The threads of a domain. They share one epoll set; there is no thread that only distributes. */
class ThreadPool {
  public:
    explicit ThreadPool(size_t maxThreads);

    /** See `Domain`. */
    void configure(size_t maxThreads, bool callerWillJoin);
    void start();
    void join();

    bool hasThreads() const { return mThreads.load(std::memory_order_relaxed) > 0; }

    /**
     * Waits on `descriptor` for `endpoint`, which the pool keeps until it is removed. Returns the
     * key for `remove()`, or 0 when the system refused.
     */
    uint64_t add(std::shared_ptr<Endpoint> endpoint, int descriptor);

    /** Call when an endpoint begins to want to write. */
    void rearm(uint64_t key);

    /** Call before the descriptor is closed. A thread may still be dealing with the endpoint. */
    void remove(uint64_t key);

    /** Has a thread of the pool do `task`, in its turn; never the caller, and not before `start()`. */
    void run(std::function<void()> task);

  private:
    class Tasks;
    struct Watched {
        std::shared_ptr<Endpoint> endpoint;
        int descriptor;
    };

    int control(int operation, uint64_t key, const Watched& watched) const;

    static void* threadMain(void* pool);
    void serve();
    std::shared_ptr<Endpoint> take(uint64_t key);
    bool hasReadyForFreeThread(uint64_t key);
    void putBack(uint64_t key, bool keep);
    void spawnIfAllBusy();

    const FileDescriptor mEpoll;
    const std::shared_ptr<Tasks> mTasks;
    std::atomic<size_t> mThreads{0};

    std::mutex mLock;  // guards everything below
    std::unordered_map<uint64_t, Watched> mWatched;
    uint64_t mNextKey = 1;
    size_t mSpawnLimit;
    size_t mSpawned = 0;
    size_t mIdle = 0;
    bool mStarted = false;
};

}  // namespace transport
