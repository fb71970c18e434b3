// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stddef.h>

namespace android::hardware {

/**
 * Sets how many threads serve HIDL calls. With `callerWillJoin` the thread that then calls
 * `joinRpcThreadpool()` is one of them. May be called again; threads that run already stay. The
 * pool starts when this process first hands out one of its objects, or when a thread joins.
 *
 * Ends the process when there is to be no thread and the caller would join.
 */
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

/**
 * Serves on the calling thread and does not come back in normal operation. Ends the process with
 * one fatal log line when the pool was never configured.
 */
void joinRpcThreadpool();

}  // namespace android::hardware
