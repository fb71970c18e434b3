// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "base/Location.h"

namespace zul {

/**
 * Keeps everybody else away from a path while a program that may follow links works on it: the rm of devices
 * looks at a name, then opens it, and follows a link that was put there in between. While an object lives,
 *
 * - the folders on the path in which others can write are sticky, so that nobody can exchange what is
 *   ours in them;
 * - what has the path's last name is ours, and if it is a folder, it is empty and for us alone: its content
 *   has been removed, name by name and without following links. If there was nothing, or something of
 *   somebody else's, there is such a folder now.
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

    /** False when others can still reach what is there. */
    bool ok() const { return mOk; }
    /** What was held, or could not be; its folder is not ok() where locate() fails. */
    const Location& place() const { return mPlace; }

  private:
    bool enter(int folder, size_t depth);
    bool clearName() const;

    /** The folders that are sticky because of us. */
    std::vector<ScopedFd> mFolders;
    /** A folder on the way is somebody else's: there is no way to keep its owner out. */
    bool mOthersOwn = false;
    Location mPlace;
    bool mOk = false;
};

}  // namespace zul
