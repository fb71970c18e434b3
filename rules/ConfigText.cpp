// SPDX-License-Identifier: Apache-2.0

#include "rules/ConfigText.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "base/Text.h"

namespace zul {

std::vector<std::string> configRecords(const std::string& text) {
    return split(text, "|");
}

std::vector<std::string> configItems(const std::string& record) {
    return split(record, ",");
}

std::string configItemValue(const std::string& item) {
    const std::vector<std::string> pieces = split(item, ":");
    return pieces.empty() ? "" : pieces.back();
}

const ConfigKeyword* applyConfigItem(const std::string& item, ConfigEntry& entry) {
    for (const ConfigKeyword& keyword : kConfigKeywords) {
        if (!contains(item, keyword.text)) continue;
        std::string value = configItemValue(item);
        if (const auto* text = std::get_if<std::string ConfigEntry::*>(&keyword.field)) {
            entry.** text = std::move(value);
        } else {
            entry.flag = parseConfigNumber(value.c_str()).value;
        }
        return &keyword;
    }
    return nullptr;
}

ConfigNumber parseConfigNumber(const char* text) {
    // Not left to strtoll's own base 0: newer C libraries read "0b" as binary there.
    const char* digits = text + strspn(text, " \t\n\v\f\r");
    if (*digits == '+' || *digits == '-') digits++;
    int base = 10;
    if (digits[0] == '0') base = digits[1] == 'x' || digits[1] == 'X' ? 16 : 8;

    errno = 0;
    char* end = nullptr;
    const long long value = strtoll(text, &end, base);
    const bool fits = errno != ERANGE;
    return {fits ? value : 0, static_cast<size_t>(end - text), fits, base};
}

void admitTags(const std::vector<ConfigEntry>& entries,
               std::map<std::string, std::vector<std::string>>& legalTags) {
    for (const ConfigEntry& entry : entries) {
        if (entry.enable == "0") {
            legalTags.erase(entry.tag);
        } else if (entry.enable == "1") {
            legalTags.try_emplace(entry.tag);
        }
    }
}

const ConfigEntry* findConfigEntry(const std::vector<ConfigEntry>& entries,
                                   const std::string& sceneType) {
    for (const ConfigEntry& entry : entries) {
        if (contains(sceneType, entry.tag)) return &entry;
    }
    return nullptr;
}

bool admitsPackage(const ConfigEntry& entry, std::string_view package) {
    return entry.pkgname.empty() || contains(entry.pkgname, package);
}

void applyConfigEntry(const ConfigEntry& entry, int64_t& flag, std::string& extraInfo) {
    extraInfo += entry.paths;
    flag |= entry.flag;
    if (!entry.cmds.empty()) extraInfo += "#" + entry.cmds;
}

}  // namespace zul
