// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zul::test {

/** Names a row of a table in the test's name. */
inline constexpr auto caseName = [](const auto& info) { return std::string(info.param.name); };

}  // namespace zul::test
