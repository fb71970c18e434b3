// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/faults/FaultPage.h"

namespace sim {

/** What becomes of a call; for `FAIL` errno is set. */
enum class Verdict { PASS, FAIL, SHORT };

/**
 * Counts a call and decides it. Like all that is called from a fault point it neither locks nor
 * allocates: it also runs between a fork and an exec.
 */
Verdict decide(Call call);

/** The function that a fault point stands before. */
void* realFunction(Call call);

/** The page; null until there is one. */
FaultPage* page();

/** From now on the calling thread's own calls are not fault points. */
void exemptThisThread();

/** Body of the thread that looks at the daemon's tables. */
void* inspect(void*);

}  // namespace sim
