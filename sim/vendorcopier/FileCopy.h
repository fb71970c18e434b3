// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace sim {

/**
 * Copies a regular file into a folder under its own name, with mode 0644. The copy appears whole
 * or not at all, and replaces an earlier one. Returns an empty text, or what went wrong.
 */
std::string copyIntoFolder(const std::string& source, const std::string& folder);

}  // namespace sim
