// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>

#include "zulctl/WallTime.h"
#include "zulctl/log/Events.h"

namespace zulctl {

struct Device;
class Session;

/** Who gets what of a log. */
struct LogTaker {
    /** Each event, in the order in which they end. */
    std::function<void(Event&)> event;
    /** Each line of the daemon's. */
    std::function<void(const LogLine&)> line = nullptr;
    /** With their lines. */
    bool keepLines = false;
    /** Called where a log that is still written to has no more for now; false ends it. Null: it ends. */
    LineReader::Idle idle = nullptr;
};

/**
 * Reads a device's log; that of this one from logcat, where none is named. What cannot be read is told as a
 * problem. False when there is no log at all.
 */
bool readEvents(Session& session, const Device& device, const LogTaker& taker);

/** Has a log that comes from the standard input read as often as is wanted. */
void keepLog(Session& session, Device& device);

/** What a log tells of a store's captures. */
struct LogStory {
    struct Capture {
        Outcome outcome = Outcome::UNKNOWN;
        int64_t took = -1;
        int32_t daemon = 0;
    };
    /** By archive; of several the last one, which has overwritten the others. */
    std::unordered_map<std::string, Capture> captures;
    /** When the last daemon started, and which one that is; nothing where no line tells. */
    std::optional<WallTime> daemonStart;
    int32_t daemon = 0;

    const Capture* find(std::string_view archive) const;
};

/** Empty without a log that the call names. */
LogStory readStory(Session& session, const Device& device);

}  // namespace zulctl
