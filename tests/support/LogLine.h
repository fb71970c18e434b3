// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zul::test {

/** The log tag of the daemon's own lines. */
inline constexpr std::string_view kDaemonTag = "ZUL_DEBUG";

/** A line of the log: "MM-DD HH:MM:SS.mmm PID TID P TAG: TEXT". */
struct LogLine {
    std::string pid;
    std::string tid;
    char priority;
    std::string tag;
    std::string text;

    bool isOfDaemon() const { return tag == kDaemonTag; }
};

/** Nothing for a line that does not begin as one of the log does, as the rest of a longer message. */
std::optional<LogLine> parseLogLine(std::string_view line);

}  // namespace zul::test
