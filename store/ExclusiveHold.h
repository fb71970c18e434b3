// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Location.h"

namespace zul {

/**
 * Keeps what stands at a location from everybody else while a program removes it that may follow
 * links: the rm of devices looks at a name, then opens it, and follows what was put there in between.
 * For as long as one lives,
 *
 * - the folder that holds the name is sticky, so that nobody can exchange what is ours in it;
 * - what stands there is ours: what others made was removed, name by name and without following;
 * - nobody but us can write in the folders below it.
 *
 * Several may live in one folder, on several threads.
 */
class ExclusiveHold {
  public:
    /** `place` must outlive the hold; its folder must be ok(). */
    explicit ExclusiveHold(const Location& place);
    ~ExclusiveHold();
    ExclusiveHold(const ExclusiveHold&) = delete;
    ExclusiveHold& operator=(const ExclusiveHold&) = delete;

    /** False when others can still reach it, or have put something in the way all the time. */
    bool ok() const { return mOk; }

  private:
    /** The location's folder, while it is sticky on our behalf; else -1 inside. */
    ScopedFd mSticky;
    bool mOk = false;
};

}  // namespace zul
