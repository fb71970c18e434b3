// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zulctl {

/** The report's style sheet. */
extern const char kReportStyle[];

/** The shapes of the report's marks, around 0,0, as definitions of an SVG. */
extern const char kReportShapes[];

}  // namespace zulctl
