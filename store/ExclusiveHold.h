// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "base/Location.h"

namespace zul {

/**
 * Keeps a path from everybody else while a program works on it that may follow links: the rm of devices
 * looks at a name, then opens it, and follows what was put there in between. For as long as one lives,
 *
 * - the folders on the way in which others can write are sticky, so that nobody can exchange what is
 *   ours in them;
 * - what stands there is ours, and a folder is empty and for us alone: what was in it has been removed,
 *   name by name and without following. Where nothing or somebody else's stood, there is such a folder.
 *
 * A top-level folder of somebody else is the platform's, as /data is the system's, and is left alone.
 * Several may live on one path, on several threads. A folder of the store that a killed daemon left sticky
 * is no longer so after the next hold.
 */
class ExclusiveHold {
  public:
    explicit ExclusiveHold(const std::string& path);
    ~ExclusiveHold();
    ExclusiveHold(const ExclusiveHold&) = delete;
    ExclusiveHold& operator=(const ExclusiveHold&) = delete;

    /** False when others can still reach what stands there. */
    bool ok() const { return mOk; }
    /** What was held, or what could not be; its folder is not ok() as for locate(). */
    const Location& place() const { return mPlace; }

  private:
    bool enter(int folder, size_t depth);
    bool clearName() const;

    /** Those that are sticky on our behalf. */
    std::vector<ScopedFd> mFolders;
    /** A folder on the way is somebody else's: there is no way to keep its owner out. */
    bool mOthersOwn = false;
    Location mPlace;
    bool mOk = false;
};

}  // namespace zul
