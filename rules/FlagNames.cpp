// SPDX-License-Identifier: Apache-2.0

#include "rules/FlagNames.h"

#include "base/Text.h"

namespace zul {

std::string withoutBlanks(std::string name) {
    std::erase_if(name, [](char c) { return c == ' ' || c == '\n'; });
    return name;
}

bool hasUserFlags(std::string_view sceneType) {
    return contains(sceneType, "0xffffff");
}

int64_t maskOfNames(const std::string& flagNames, const FlagTable& vocabulary) {
    int64_t mask = 0;
    for (const std::string& piece : split(flagNames, "|")) {
        const auto entry = vocabulary.find(withoutBlanks(piece));
        if (entry != vocabulary.end()) mask |= entry->second;
    }
    return mask;
}

}  // namespace zul
