// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include "zulctl/Markup.h"
#include "zulctl/StartFiles.h"
#include "zulctl/Story.h"

namespace zulctl {

void addTags(const Story& story, Markup& page);
void addDrops(const Story& story, Markup& page);
void addTurns(const Story& story, Markup& page);
void addSurplus(const Story& story, Markup& page);
/** The configuration's entries, and the tags that each of them counts for. */
void addConfiguration(const Story& story, const Rules& rules, Markup& page);

/** Captures, newest first, as far as `bytes` reach; how many there are room for. */
size_t addCaptures(const Story& story, size_t bytes, Markup& page);

}  // namespace zulctl
