// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

namespace android {

/** The process's side of binder: its thread pool, which `libbinder_ndk` shares. */
class ProcessState : public virtual RefBase {
  public:
    /** The one object of this process. */
    static sp<ProcessState> self();

    /**
     * Begins to serve calls, with one thread at first and a further one whenever all are busy, up
     * to the maximum. Does no harm when called again.
     */
    void startThreadPool();

    /** Sets the maximum (15 by default); threads that join come on top, those that run stay. */
    status_t setThreadPoolMaxThreadCount(size_t maxThreads);

  private:
    ProcessState() = default;
};

}  // namespace android
