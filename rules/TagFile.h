// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <optional>
#include <string>
#include <vector>

namespace zul {

/** Larger files are not read at start. No real one comes near: a binder call cannot carry such a configuration. */
inline constexpr size_t kStartFileLimit = 4 << 20;

/** The tag that a line of the tag file makes legal; nothing when the line has no "|". */
std::optional<std::string> tagOfLine(const std::string& line);

/** The legal tags of a user build, which reads no tag file. */
std::vector<std::string> userTags();

/** The text that the lines of the stored configuration make: line ends do not count. */
std::string joinLines(const std::vector<std::string>& lines);

}  // namespace zul
