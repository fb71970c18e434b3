// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <mutex>

namespace android {

/** The process's side of binder: its thread pool, which `libbinder_ndk` shares. */
class ProcessState : public virtual RefBase {
  public:
    /** The one object of this process. */
    static sp<ProcessState> self();

    /**
     * Begins to serve calls, with one thread at first and a further one whenever all are busy, up
     * to the maximum. Does no harm when called again. The first call names the calling thread
     * `binder:PID_1`, as on a device.
     */
    void startThreadPool();

    /** The maximum, as warnings about waiting for a service state it. */
    size_t getThreadPoolMaxTotalThreadCount() const;

    /**
     * Sets the maximum (15 by default). The first thread of the pool and those that join come on
     * top. Ends the process when the pool runs and had a larger maximum.
     */
    status_t setThreadPoolMaxThreadCount(size_t maxThreads);

  private:
    ProcessState() = default;

    mutable std::mutex mLock;  // guards what follows
    size_t mMaxThreads = 15;
    bool mStarted = false;
};

}  // namespace android
