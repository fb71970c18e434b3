// SPDX-License-Identifier: Apache-2.0

#include "rules/TagFile.h"

#include <stdio.h>

namespace zul {

std::optional<std::string> tagOfLine(const std::string& line) {
    const size_t end = line.find('|');
    if (end == std::string::npos) return std::nullopt;
    return line.substr(0, end);
}

std::vector<std::string> userTags() {
    std::vector<std::string> tags;
    for (int i = 0; i <= 0xff; i++) {
        char tag[sizeof("0xffffffff")];
        snprintf(tag, sizeof(tag), "0xffffff%02x", i);
        tags.emplace_back(tag);
    }
    tags.emplace_back("0x003effff");
    return tags;
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line;
    return text;
}

}  // namespace zul
