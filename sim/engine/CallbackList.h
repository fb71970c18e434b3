// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "sim/engine/Event.h"

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

    /** Appends a callback and prints a line about it. */
    void add(std::shared_ptr<EventSink> sink);

    /** All callbacks, including any whose client has ended since the last dropDead(). */
    Sinks all() const;

    /** Forgets the callbacks whose client has ended and returns how many are left. */
    size_t dropDead();

    /**
     * Waits until the list holds `wanted` live callbacks or the time is up; returns their number.
     */
    size_t waitFor(size_t wanted, std::chrono::milliseconds limit);

  private:
    mutable std::mutex mLock;
    std::condition_variable mAdded;
    size_t mRegistrations = 0;
    Sinks mSinks;
};

}  // namespace sim
