// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>

#include "service/EngineLink.h"

namespace zul {

/**
 * Registers again each time the engine has died, on a thread of its own: a look-up may block, and the
 * threads of the pool are for callbacks. Shared state and captures under way are left alone.
 */
class EngineWatch {
  public:
    /** The one watch of this process, never destroyed. */
    static EngineWatch& get();

    /**
     * After a registration over `link`, which is kept: watches its engine. The first call starts the
     * thread; without it, which is logged, the engine's death goes unnoticed.
     */
    void watch(EngineLink& link);
    /** From any thread, and without blocking: the engine of the last registration is gone. */
    void engineDied();

  private:
    static void* run(void* watch);
    void waitForDeath();
    void registerAgain();

    EngineLink* mLink = nullptr;
    bool mRuns = false;
    std::mutex mLock;  // guards mDied
    std::condition_variable mChanged;
    bool mDied = false;
};

}  // namespace zul
