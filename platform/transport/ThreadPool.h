// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
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
    /** What there is to read from; the same and open as long as the pool has it. */
    virtual int descriptor() const = 0;
    /**
     * Called when there is something to read, end of file included; by one thread at a time and with
     * no lock held. False: forget me.
     */
    virtual bool handleReady() = 0;
};

/** The threads of a domain. They share one epoll set; there is no thread that only distributes. */
class ThreadPool {
  public:
    explicit ThreadPool(size_t maxThreads);

    /** See `Domain`. */
    void configure(size_t maxThreads, bool callerWillJoin);
    void start();
    void join();

    /**
     * Waits for the endpoint, which the pool keeps until it is removed. Returns the key for
     * `remove()`, or 0 when the system refused.
     */
    uint64_t add(std::shared_ptr<Endpoint> endpoint);

    /** Call before the descriptor is closed. A thread may still be dealing with the endpoint. */
    void remove(uint64_t key);

    /** Has a thread of the pool do `task`, in its turn and never the caller. False: never. */
    bool run(std::function<void()> task);

  private:
    int control(int operation, uint64_t key, const Endpoint& endpoint) const;

    static void* threadMain(void* pool);
    void serve();
    std::shared_ptr<Endpoint> take(uint64_t key);
    void putBack(uint64_t key);
    void spawnIfAllBusy();

    const FileDescriptor mEpoll;

    std::mutex mLock;  // guards everything below
    std::unordered_map<uint64_t, std::shared_ptr<Endpoint>> mWatched;
    uint64_t mNextKey = 1;
    size_t mSpawnLimit;
    size_t mSpawned = 0;
    size_t mIdle = 0;
    bool mStarted = false;
};

}  // namespace transport
