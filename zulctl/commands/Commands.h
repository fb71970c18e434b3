// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "zulctl/Command.h"

namespace zulctl {

// Each is defined in a file of its name.
extern const Command kCleanCommand;
extern const Command kCompletionCommand;
extern const Command kConfigCheckCommand;
extern const Command kConfigMatchCommand;
extern const Command kConfigShowCommand;
extern const Command kEventsCommand;
extern const Command kExportCommand;
extern const Command kInfoCommand;
extern const Command kListCommand;
extern const Command kMaskCommand;
extern const Command kTagsCommand;

}  // namespace zulctl
