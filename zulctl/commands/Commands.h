// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "zulctl/Command.h"

namespace zulctl {

// Each is defined in a file of its name.
extern const Command kCleanCommand;
extern const Command kConfigCheckCommand;
extern const Command kConfigMatchCommand;
extern const Command kConfigShowCommand;
extern const Command kEventsCommand;
extern const Command kExportCommand;
extern const Command kInfoCommand;
extern const Command kListCommand;
extern const Command kMaskCommand;

// Options that several of them have.
inline constexpr Option kSinceOption = {
        'S', "since", "WHEN", "not before: an age (5m30s 12h 2w), today, 18:54, 2025-03-04[T05:06]",
        &Options::since};
inline constexpr Option kUntilOption = {'U', "until", "WHEN", "not after", &Options::until};
inline constexpr Option kNumberOption = {'n', "number", "N", "the newest N", &Options::number};
inline constexpr Option kGrepOption = {
        'g', "grep", "TEXT", "with this anywhere in it: a package, a process, a word of its text",
        &Options::grep};

}  // namespace zulctl
