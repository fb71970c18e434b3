// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Commands.h"

#include <algorithm>

#include "base/Text.h"

namespace zulctl {

namespace {

constexpr Option kGlobalOptions[] = {
        {0, "root", "DIR",
         "a copy of /data or of /data/ZUL instead of this device; several may be given",
         &Options::roots},
        {0, "log", "FILE|-", "the daemon's log, as logcat prints it; one for each --root",
         &Options::logs},
        {0, "json", nullptr, "one JSON object a line", &Options::json},
        {0, "no-legend", nullptr, "no headings and no totals", &Options::noLegend},
        {0, "version", nullptr, "show which version this is", &Options::version},
        {'h', "help", nullptr, "show this", &Options::help},
};

constexpr const Command* kCommands[] = {
        &kListCommand,       &kInfoCommand,        &kExportCommand,
        &kCleanCommand,      &kEventsCommand,      &kMaskCommand,
        &kConfigShowCommand, &kConfigCheckCommand, &kConfigMatchCommand,
};

std::optional<WallTime> timeOf(const std::optional<std::string>& text, WallTime now) {
    return text ? parseWhen(*text, now) : std::nullopt;
}

}  // namespace

std::span<const Command* const> commands() {
    return kCommands;
}

std::span<const Option> globalOptions() {
    return kGlobalOptions;
}

Choice::Choice(const Options& options, WallTime now)
      : mOptions(options), mSince(timeOf(options.since, now)), mUntil(timeOf(options.until, now)) {}

std::string Choice::complaintOn(const Options& options) {
    for (const auto& [name, text] :
         {std::pair("--since: ", &options.since), {"--until: ", &options.until}}) {
        if (*text && !parseWhen(**text, 0)) return std::string("no time for ") + name + **text;
    }
    return "";
}

bool Choice::takes(std::string_view tag, WallTime time,
                   std::initializer_list<std::string_view> texts) const {
    const std::vector<std::string>& tags = mOptions.operands;
    const auto& part = mOptions.grep;
    const auto hasPart = [&](std::string_view text) { return zul::contains(text, *part); };
    return (tags.empty() || std::find(tags.begin(), tags.end(), tag) != tags.end()) &&
           (!mSince || time >= *mSince) && (!mUntil || time <= *mUntil) &&
           (!part || std::any_of(texts.begin(), texts.end(), hasPart));
}

}  // namespace zulctl
