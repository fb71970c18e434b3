// SPDX-License-Identifier: Apache-2.0

#include "rules/ConfigText.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "base/Text.h"
#include "rules/TagIndex.h"

namespace zul {

namespace {

/** 0 when there is none or it does not fit. */
int64_t numberAt(const char* text) {
    errno = 0;
    const long long value = strtoll(text, nullptr, baseOfNumber(text));
    return errno != ERANGE ? value : 0;
}

const ConfigKeyword* applyItem(const std::string& item, ConfigEntry& entry) {
    for (const ConfigKeyword& keyword : kConfigKeywords) {
        if (!contains(item, keyword.text)) continue;
        std::string value = configItemValue(item);
        if (const auto* text = std::get_if<std::string ConfigEntry::*>(&keyword.field)) {
            entry.** text = std::move(value);
        } else {
            entry.flag = numberAt(value.c_str());
        }
        return &keyword;
    }
    return nullptr;
}

std::vector<size_t> addEntry(const ConfigEntry& entry, std::vector<ConfigEntry>& entries,
                             TagIndex& index) {
    std::vector<size_t> became = index.take(entry.tag);
    if (became.empty()) {
        became.push_back(entries.size());
        entries.emplace_back();
    }
    for (const size_t i : became)
        entries[i] = entry;
    index.add(entry.tag, became);
    return became;
}

void admitTags(const std::vector<ConfigEntry>& entries, LegalTags& legalTags) {
    for (const ConfigEntry& entry : entries) {
        if (entry.enable == "0") {
            legalTags.erase(entry.tag);
        } else if (entry.enable == "1") {
            legalTags.try_emplace(entry.tag);
        }
    }
}

}  // namespace

std::string configItemValue(const std::string& item) {
    const std::vector<std::string> pieces = split(item, ":");
    return pieces.empty() ? "" : pieces.back();
}

int baseOfNumber(const char* text) {
    // Not left to strtoll's own base 0: newer C libraries read "0b" as binary there.
    const char* digits = text + strspn(text, " \t\n\v\f\r");
    if (*digits == '+' || *digits == '-') digits++;
    if (digits[0] != '0') return 10;
    return digits[1] == 'x' || digits[1] == 'X' ? 16 : 8;
}

std::vector<ConfigEntry> parseConfig(const std::string& text, const SeeConfigItem& see) {
    std::vector<ConfigEntry> records;
    for (const std::string& record : split(text, "|")) {
        ConfigEntry& entry = records.emplace_back();
        for (const std::string& item : split(record, ",")) {
            const ConfigKeyword* const keyword = applyItem(item, entry);
            see(records.size() - 1, item, keyword, entry);
        }
    }
    return records;
}

std::vector<std::vector<size_t>> mergeConfig(const std::vector<ConfigEntry>& records,
                                             std::vector<ConfigEntry>& entries,
                                             LegalTags& legalTags) {
    std::vector<std::vector<size_t>> became;
    if (records.empty()) return became;
    TagIndex index;
    for (size_t i = 0; i < entries.size(); i++)
        index.add(entries[i].tag, {i});
    for (const ConfigEntry& record : records)
        became.push_back(addEntry(record, entries, index));
    admitTags(entries, legalTags);
    return became;
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
