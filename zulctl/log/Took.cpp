// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/Took.h"

#include <stdio.h>

#include "zulctl/WallTime.h"

namespace zulctl {

std::string Took::text() const {
    if (!isKnown()) return "-";
    if (!fromLog) return "~" + formatDuration(milliseconds / 1000);
    char text[32];
    snprintf(text, sizeof(text), "%.3fs", static_cast<double>(milliseconds) / 1000);
    return text;
}

}  // namespace zulctl
