// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/Masks.h"

#include <stdio.h>
#include <strings.h>

#include <charconv>

namespace zulctl {

Vocabulary vocabularyOf(std::string_view tag) {
    return zul::hasUserFlags(tag) ? kUserVocabulary : kFullVocabulary;
}

MaskNames namesOf(uint64_t mask, Vocabulary vocabulary) {
    MaskNames found;
    found.unnamed = mask;
    for (const zul::FlagEntry& entry : vocabulary) {
        const auto bits = static_cast<uint64_t>(entry.value);
        if ((found.unnamed & bits) != 0) {
            found.names.emplace_back(entry.name);
        } else if (bits == mask) {
            found.aliases.emplace_back(entry.name);
        }
        found.unnamed &= ~bits;
    }
    return found;
}

std::optional<uint64_t> valueOf(std::string_view name, Vocabulary vocabulary) {
    const auto isShortOf = [name](std::string_view known) {
        for (const std::string_view start : {"FLAG_ZUL_USER_", "FLAG_ZUL_", "EXCEPTION_TYPE_"}) {
            if (!known.starts_with(start)) continue;
            known.remove_prefix(start.size());
            break;
        }
        return known.size() == name.size() &&
               strncasecmp(known.data(), name.data(), name.size()) == 0;
    };
    for (const zul::FlagEntry& entry : vocabulary) {
        if (name == entry.name || isShortOf(entry.name)) return static_cast<uint64_t>(entry.value);
    }
    return std::nullopt;
}

std::string bitsText(uint64_t mask, std::string_view tag) {
    MaskNames found = namesOf(mask, vocabularyOf(tag));
    if (found.unnamed != 0) found.names.push_back(hexMask(found.unnamed));
    return join(found.names, "|");
}

std::string maskText(uint64_t mask, std::string_view tag) {
    return mask != 0 ? hexMask(mask) + " " + bitsText(mask, tag) : "";
}

std::string hexMask(uint64_t mask) {
    char text[32];
    snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(mask));
    return text;
}

std::optional<uint64_t> parseMask(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isHex ? 2 : isNegative ? 1 : 0);
    uint64_t mask = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, mask, isHex ? 16 : 10);
    const bool fits = !isNegative || mask <= uint64_t{1} << 63;
    if (error != std::errc() || stopped != end || !fits) return std::nullopt;
    return isNegative ? -mask : mask;
}

std::string join(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

}  // namespace zulctl
