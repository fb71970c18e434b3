// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

namespace zul {

/**
 * The way to the engine over one kind of binder. Used by one thread at a time: the main thread at start,
 * and after an engine's death the thread that registers again.
 */
class EngineLink {
  public:
    enum class Answer {
        /** It did not say how many callbacks it wants. */
        NO_NUMBER,
        /** It was gone before all callbacks were registered. */
        GONE,
        REGISTERED,
    };

    virtual ~EngineLink() = default;

    /** One look-up, which may block. False when the engine is not there. */
    virtual bool find() = 0;
    /**
     * Asks the engine that was found for its thread number, sizes the binder thread pool and registers one
     * adapter with a new service object for each callback that it wants.
     */
    virtual Answer registerCallbacks() = 0;
    /**
     * Arranges one call of engineDied for when the engine of the last registration is gone, perhaps at once.
     * False when it is known to be gone already; nothing will be called then.
     */
    virtual bool linkToDeath() = 0;

    /** The number that the engine of the last registration gave. */
    int32_t threadNumber() const { return mThreadNumber; }

  protected:
    /**
     * Keeps the engine's number. The pool has one thread more than there are callbacks, but never fewer
     * than it had, nor none: the platform ends a process that asks for that.
     */
    void takeThreadNumber(int32_t threadNumber);
    uint32_t poolSize() const { return mPoolSize; }

  private:
    int32_t mThreadNumber = 0;
    uint32_t mPoolSize = 1;
};

/** The one link of this process over AIDL, and the one over HIDL. Never destroyed. */
EngineLink& aidlEngineLink();
EngineLink& hidlEngineLink();

/**
 * From any thread: the engine of `link` is gone. A new thread registers with the next engine, and ends; if no
 * thread can be created, the calling one does. Shared state and captures in progress are left alone.
 */
void engineDied(EngineLink& link);

}  // namespace zul
