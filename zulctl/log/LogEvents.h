// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "zulctl/log/Events.h"
#include "zulctl/log/Took.h"

namespace zulctl {

class Session;

/**
 * Gives each event of the log that --log names to `take`, in the order in which they end; with their
 * lines where asked for. `see` gets each line of the daemon's, where it is given. What cannot be read is told
 * as a problem. False when there is no log at all.
 */
bool readEvents(Session& session, bool keepLines, const std::function<void(Event&)>& take,
                const std::function<void(const LogLine&)>& see = nullptr);

/**
 * True when the event's archive is named after another year. Most lines of a log tell none, and its file's
 * time, by which they get one, is lost in some copies.
 */
bool isInWrongYear(const Event& event);

/** From its first line to its last one; not known unless both were there. */
Took tookOf(const Event& event);

}  // namespace zulctl
