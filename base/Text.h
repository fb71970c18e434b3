// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zul {

/**
 * True when `part` occurs anywhere in `text`, byte for byte; an empty part occurs in every text.
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

/** `text` for one line of a log: control bytes, line breaks among them, as \xNN. */
inline std::string withoutControlBytes(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            escaped += c;
        } else {
            escaped.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 15]);
        }
    }
    return escaped;
}

}  // namespace zul
