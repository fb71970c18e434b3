// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace zul {

/**
 * True when `part` stands anywhere in `text`, byte for byte; an empty part stands in every text.
 */
inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace zul
