// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <string>

namespace zulctl {

/** How long a capture took. */
struct Took {
    /** Negative when nothing tells it. */
    int64_t milliseconds = -1;
    /** Its event in the log tells it; otherwise the times of files do, which is no more than a guess. */
    bool fromLog = false;

    bool isKnown() const { return milliseconds >= 0; }
    /** "1.234s" of the log, "~1s" of files, "-" of nothing. */
    std::string text() const;
};

}  // namespace zulctl
