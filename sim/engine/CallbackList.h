// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "sim/control/Event.h"

namespace sim {

/**
 * The registered callbacks in order of registration. Every operation takes the list's own lock;
 * none holds it while a client is called.
 */
class CallbackList {
  public:
    using Sinks = std::vector<std::shared_ptr<EventSink>>;

    CallbackList() = default;
    CallbackList(const CallbackList&) = delete;
    CallbackList& operator=(const CallbackList&) = delete;

    /** Appends a callback and prints a line about it. Returns the key for `remove()`. */
    uint64_t add(std::shared_ptr<EventSink> sink);

    /** Forgets a callback, whose client has ended, and prints a line about it. */
    void remove(uint64_t key);

    Sinks all() const;
    size_t size() const;

    /** Waits until the list holds `wanted` callbacks or the time is up; returns their number. */
    size_t waitFor(size_t wanted, std::chrono::milliseconds limit);

  private:
    mutable std::mutex mLock;  // guards what follows
    std::condition_variable mAdded;
    uint64_t mNextKey = 0;
    std::map<uint64_t, std::shared_ptr<EventSink>> mSinks;
};

}  // namespace sim
