// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Commands.h"

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

}  // namespace

std::span<const Command* const> commands() {
    return kCommands;
}

std::span<const Option> globalOptions() {
    return kGlobalOptions;
}

}  // namespace zulctl
