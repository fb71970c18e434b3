// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <span>
#include <string_view>

namespace zulctl {

/** What became of an event. */
enum class Outcome {
    /** Lines of it are missing. */
    UNKNOWN,
    /** Its archive is there, or was. */
    CAPTURED,
    /** The collector ended by itself; whether it made an archive no log tells. */
    COLLECTED,
    /** The collector made no archive. */
    FAILED,
    /** The log tells no more than that nothing refused it: debug.zul.dump was off. */
    PASSED,
    /** The configuration was updated. */
    UPDATED,
    /** A mark in a kernel trace instance. */
    MARKED,
    /** The log ends before the event does. */
    UNDER_WAY,
    REFUSED,
    /** The collector ran without a folder. */
    NO_FOLDER,
    NO_COLLECTOR,
    /** The collector was killed. */
    KILLED,
    /** The daemon started anew in its midst. */
    INTERRUPTED,
};

/** What a log line means for the event of its thread, besides what its pattern says. */
enum class LineRole {
    OTHER,
    DAEMON_START,
    ENGINE_GONE,
    ENGINE_BACK,
    LOOK_UP,
    DESCRIBED,
    DESCRIPTION,
    BEGIN,
    VENDOR_DATABASE,
    ILLEGAL_TAG,
    CONFIG_ITEM,
    WITHOUT_FOLDER,
    NOT_EXECUTED,
    // Written only while debug.zul.dump was true at start: this one, and all that follow.
    DUMP,
    PREPARE,
    FOLDER,
    RECORD,
    ERASED,
    COLLECTOR,
    CHILD,
    END,
};

/** One of the daemon's log lines. */
struct LogPattern {
    /** 'D', 'I', 'W' or 'E'. */
    char priority;
    /** As printf takes it; "\n" at its end is in no line of a log file. */
    std::string_view format;
    LineRole role = LineRole::OTHER;
    /**
     * What its conversions tell of the event, a letter for each: t tag, m mask, p processes, x text, f folder,
     * d what the reason is about.
     */
    std::string_view fields = "";
    /** What has gone wrong with the event; empty for nothing. */
    const char* reason = "";
    /** What becomes of it then; UNKNOWN: another line decides it. */
    Outcome outcome = Outcome::UNKNOWN;

    bool isDump() const { return role >= LineRole::DUMP; }
};

/** What stands for each conversion of a pattern's format, in its order. */
using LineFields = std::array<std::string_view, 8>;

/** All that the daemon says, and where; docs/REFERENCE.md has the same list for its readers. */
std::span<const LogPattern> logPatterns();

/**
 * The pattern that a message was made from, and its fields, which point into the message; null, and no
 * fields, when the daemon says no such thing. A text inside of the message can look like anything: what stands
 * before it decides.
 */
const LogPattern* matchLogLine(char priority, std::string_view message, LineFields& fields);

}  // namespace zulctl
