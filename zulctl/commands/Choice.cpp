// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Choice.h"

#include <algorithm>

#include "base/Text.h"

namespace zulctl {

namespace {

std::optional<WallTime> timeOf(const std::optional<std::string>& text, WallTime now) {
    return text ? parseWhen(*text, now) : std::nullopt;
}

}  // namespace

Choice::Choice(const Options& options, WallTime now)
      : mOptions(options), mSince(timeOf(options.since, now)), mUntil(timeOf(options.until, now)) {}

std::string Choice::complaintOn(const Options& options) {
    for (const auto& [name, text] :
         {std::pair("--since: ", &options.since), {"--until: ", &options.until}}) {
        if (*text && !parseWhen(**text, 0)) return std::string("no time for ") + name + **text;
    }
    return "";
}

bool Choice::takes(std::string_view tag, WallTime time) const {
    const std::vector<std::string>& tags = mOptions.operands;
    return (tags.empty() || std::find(tags.begin(), tags.end(), tag) != tags.end()) &&
           (!mSince || time >= *mSince) && (!mUntil || time <= *mUntil);
}

bool Choice::takesText(std::initializer_list<std::string_view> texts) const {
    return !mOptions.grep || std::any_of(texts.begin(), texts.end(), [this](std::string_view text) {
        return zul::contains(text, *mOptions.grep);
    });
}

}  // namespace zulctl
