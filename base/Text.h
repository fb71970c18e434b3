// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zul {

/**
 * True when `part` stands anywhere in `text`, byte for byte; an empty part stands in every text.
 */
inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/**
 * The pieces of `text` between occurrences of `separator`, which must not be empty. Empty pieces
 * count, but a separator at the very end adds none.
 */
inline std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t end = text.find(separator); end != std::string::npos;
         end = text.find(separator, start)) {
        pieces.push_back(text.substr(start, end - start));
        start = end + separator.size();
    }
    if (start < text.size()) pieces.push_back(text.substr(start));
    return pieces;
}

}  // namespace zul
