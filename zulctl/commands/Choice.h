// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zulctl/Session.h"
#include "zulctl/WallTime.h"

namespace zulctl {

/** Which captures or events a call asks for, by their tags, times and texts. */
class Choice {
  public:
    /** Ages count back from `now`. */
    Choice(const Options& options, WallTime now);

    /** What is wrong with the options; empty for nothing. */
    static std::string complaintOn(const Options& options);

    bool takes(std::string_view tag, WallTime time) const;
    /** True where no text is asked for. */
    bool takesText(std::initializer_list<std::string_view> texts) const;
    /** All tags and texts. */
    bool takesAll() const { return mOptions.operands.empty() && !mOptions.grep; }

  private:
    const Options& mOptions;
    std::optional<WallTime> mSince;
    std::optional<WallTime> mUntil;
};

}  // namespace zulctl
