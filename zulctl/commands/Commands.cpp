// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Commands.h"

namespace zulctl {

namespace {

constexpr Option kGlobalOptions[] = {
        {0, "root", "DIR", "a copy of /data or of /data/ZUL instead of this device"},
        {0, "log", "FILE|-", "the daemon's log, as logcat prints it"},
        {0, "json", nullptr, "one JSON object a line"},
        {0, "no-legend", nullptr, "no headings and no totals"},
        {'h', "help", nullptr, "show this"},
};

constexpr const Command* kCommands[] = {
        &kListCommand,        &kInfoCommand,        &kExportCommand,     &kCleanCommand,
        &kEventsCommand,      &kMaskCommand,        &kTagsCommand,       &kConfigShowCommand,
        &kConfigCheckCommand, &kConfigMatchCommand, &kCompletionCommand,
};

}  // namespace

std::span<const Command* const> commands() {
    return kCommands;
}

const Command* defaultCommand() {
    return &kListCommand;
}

std::span<const Option> globalOptions() {
    return kGlobalOptions;
}

}  // namespace zulctl
