// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

/**
 * Sets how many threads serve calls, 15 by default; the first thread of the pool and one that joins
 * come on top. True when it was set. Ends the process when the pool runs and had a larger number.
 */
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads);

/**
 * Begins to serve calls, with one thread at first and a further one whenever all are busy, up to
 * the maximum. Does no harm when called again.
 */
void ABinderProcess_startThreadPool();

/** Serves calls on the calling thread; does not come back in normal operation. */
void ABinderProcess_joinThreadPool();
