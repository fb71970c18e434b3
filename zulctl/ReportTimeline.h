// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>

#include "zulctl/Markup.h"
#include "zulctl/Story.h"

namespace zulctl {

/** The name of the row of a capture, of a reason, in the report's tables: what a mark leads to. */
std::string captureAnchor(size_t number);
std::string reasonAnchor(const Story& story, const char* reason);

/**
 * Draws the story: a row for each tag, a mark for each capture and each dropped event, and lines where daemon
 * or engine went and came. Where a row is dense, a mark stands for several. Marks of captures lead to
 * the rows of the first `listed` in the report's list.
 */
void drawTimeline(const Story& story, size_t listed, Markup& page);

}  // namespace zulctl
