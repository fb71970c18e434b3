// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace transport {

inline constexpr const char* kLogTag = "transport";

}  // namespace transport
