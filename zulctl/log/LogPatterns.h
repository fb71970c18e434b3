// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <array>
#include <string_view>

namespace zulctl {

/** What a log line means for the event of its thread. */
enum class LineRole {
    /** Nothing that changes what becomes of it. */
    OTHER,
    DAEMON_START,
    ENGINE_GONE,
    ENGINE_BACK,
    // It begins.
    LOOK_UP,
    DESCRIBED,
    DESCRIPTION,
    BEGIN,
    // It is refused, or what the refusal that follows is about.
    LIBRARY_MISSING,
    FUNCTION_MISSING,
    NOT_IN_LIBRARY,
    NOT_DESCRIBED,
    COPY_MISSING,
    VENDOR_REFUSAL,
    ILLEGAL_TAG,
    OTHER_PACKAGE,
    UNKNOWN_SCENE,
    // It is an update of the configuration.
    CONFIG_ITEM,
    CONFIG_NOT_STORED,
    // It is a capture.
    PREPARE,
    NO_FOLDER_NAME,
    NAME_TOO_LONG,
    FOLDER_DENIED,
    FOLDER,
    NO_FOLDER,
    RECORD,
    ERASED,
    NO_RECORD,
    COLLECTOR,
    NO_CHILD,
    CHILD,
    NOT_EXECUTED,
    END,
};

/** One of the daemon's log lines. */
struct LogPattern {
    /** 'D', 'I', 'W' or 'E'. */
    char priority;
    /** As printf takes it; "\n" at its end is in no line of a log file. */
    std::string_view format;
    LineRole role = LineRole::OTHER;
    /** Written only while debug.zul.dump was true at start. */
    bool dump = false;
};

/** What stands for each conversion of a pattern's format, in its order. */
using LineFields = std::array<std::string_view, 8>;

/** All that the daemon says, and where; docs/REFERENCE.md has the same list for its readers. */
struct LogPatternList {
    const LogPattern* first;
    size_t size;
    const LogPattern* begin() const { return first; }
    const LogPattern* end() const { return first + size; }
};
LogPatternList logPatterns();

/**
 * The pattern that a message was made from, and its fields, which point into the message; null, and no
 * fields, when the daemon says no such thing. A text inside of the message can look like anything: what stands
 * before it decides.
 */
const LogPattern* matchLogLine(char priority, std::string_view message, LineFields& fields);

}  // namespace zulctl
