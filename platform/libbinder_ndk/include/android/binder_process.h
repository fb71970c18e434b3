// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

/**
 * Sets how many threads serve calls, 15 by default; a thread that joins comes on top. May be called
 * again; threads that run already stay. True when it was set.
 */
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads);

/**
 * Begins to serve calls, with one thread at first and a further one whenever all are busy, up to
 * the maximum. Does no harm when called again.
 */
void ABinderProcess_startThreadPool();

/** Serves calls on the calling thread; does not come back in normal operation. */
void ABinderProcess_joinThreadPool();
