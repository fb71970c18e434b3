// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "zulctl/Command.h"
#include "zulctl/WallTime.h"

namespace zulctl {

// Each is defined in a file of its name or its subject.
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

/** Which captures or events a call asks for, by their tags, times and texts. */
class Choice {
  public:
    /** Ages count back from `now`. */
    Choice(const Options& options, WallTime now);

    /** What is wrong with the options; empty for nothing. */
    static std::string complaintOn(const Options& options);

    /** One of `texts` is to hold the text, if any is asked for. */
    bool takes(std::string_view tag, WallTime time,
               std::initializer_list<std::string_view> texts) const;
    /** All tags and texts. */
    bool takesAll() const { return mOptions.operands.empty() && !mOptions.grep; }

  private:
    const Options& mOptions;
    std::optional<WallTime> mSince;
    std::optional<WallTime> mUntil;
};

}  // namespace zulctl
