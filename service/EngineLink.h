// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <unistd.h>

#include <algorithm>

namespace zul {

/**
 * The way to the engine over one kind of binder. Used by one thread at a time: the main thread at
 * start, and the watch's from then on.
 */
class EngineLink {
  public:
    enum class Outcome {
        REGISTERED,
        /** The engine could not be had in all attempts. */
        NOT_FOUND,
        /** It was there, but did not answer. */
        NO_ANSWER,
    };

    virtual ~EngineLink() = default;

    /**
     * Finds the engine, sizes the binder thread pool and registers one adapter with a new service
     * object for each callback that the engine wants; says in the log what fails.
     */
    virtual Outcome registerCallbacks() = 0;
    /**
     * Has EngineWatch::engineDied called, once, when the engine of the last registration is gone.
     * False when it is gone already.
     */
    virtual bool linkToDeath() = 0;
    /** After NOT_FOUND: returns when it is worthwhile to look again. */
    virtual void waitForEngine() = 0;

    /** The number that the engine of the last registration gave. */
    int32_t threadNumber() const { return mThreadNumber; }

  protected:
    /**
     * Calls `lookup` until it finds the engine, a second apart; null when the last attempt failed
     * too.
     */
    template <class Lookup>
    static auto findEngine(Lookup lookup) {
        constexpr int kAttempts = 11;
        auto engine = lookup();
        for (int attempt = 1; engine == nullptr && attempt < kAttempts; attempt++) {
            sleep(1);
            engine = lookup();
        }
        return engine;
    }

    /**
     * Takes the engine's number, and gives the size of the pool: one thread more than callbacks, and
     * never fewer than there are, nor none, as the platform ends a process that asks for that.
     */
    uint32_t poolSizeFor(int32_t threadNumber) {
        mThreadNumber = threadNumber;
        mPoolSize = std::max(mPoolSize, static_cast<uint32_t>(std::max(threadNumber, 0)) + 1);
        return mPoolSize;
    }

  private:
    int32_t mThreadNumber = 0;
    uint32_t mPoolSize = 1;
};

/** The one link of this process over AIDL, and the one over HIDL. Never destroyed. */
EngineLink& aidlEngineLink();
EngineLink& hidlEngineLink();

}  // namespace zul
