// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zulctl {

class Session;

/**
 * Writes `text` to the file `name`, which is made or replaced; "-" is the standard output. False when that
 * failed, which is told as a problem.
 */
bool writeWhole(Session& session, const std::string& name, std::string_view text);

}  // namespace zulctl
