// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "zulctl/log/Events.h"
#include "zulctl/store/Captures.h"

namespace zulctl {

/** A Capture with texts of its own. */
struct OneCapture {
    explicit OneCapture(const Capture& capture);

    std::string name;
    std::string tag;
    WallTime time;
    State state;
    std::string archive;
    std::string build;
    bool recorded;
    /** Of the Captures that it was found in. */
    const DiskEntry* entry;
};

/** The option of commands that work on one capture. */
inline constexpr Option kNewestOption = {'1', "newest", nullptr, "the newest capture of all"};

/** True when the call names one capture; otherwise that was told as a wrong call. */
bool namesCapture(Session& session, const Arguments& arguments);

/**
 * The capture that the operand names: by the name or the path of its folder or archive, or by a tag, of
 * which it is the newest. Nothing when there is none, which is told.
 */
std::optional<OneCapture> findCapture(Session& session, const Arguments& arguments,
                                      Captures& captures);

/** The event of the log that made a capture; nothing without a log. */
std::optional<Event> findEvent(Session& session, const std::string& archive, bool keepLines);

}  // namespace zulctl
