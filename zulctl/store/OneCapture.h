// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "zulctl/store/Captures.h"

namespace zulctl {

/** A Capture with texts of its own. */
struct OneCapture {
    explicit OneCapture(const Capture& other);
    OneCapture(const OneCapture&) = delete;
    OneCapture& operator=(const OneCapture&) = delete;

    const std::string tag;
    const std::string archive;
    const std::string build;
    /** Of the texts above. */
    Capture capture;
};

/**
 * The capture that `wanted` names: the name or the path of its folder or archive, or a tag, of which it is
 * the newest; or what only its name begins with, in which blanks, "-" and ":" stand for "_". Nothing when there
 * is none or are several, which is told.
 */
std::unique_ptr<OneCapture> findCapture(Session& session, const std::string& wanted,
                                        Captures& captures);

/** The event of the log that made a capture; nothing without a log. */
std::optional<Event> findEvent(Session& session, const Device& device, Captures& captures,
                               const std::string& archive, bool keepLines);

}  // namespace zulctl
