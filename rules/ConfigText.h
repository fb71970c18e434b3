// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zul {

/** One entry of the remote configuration. */
struct ConfigEntry {
    /** Applies to every scene type in which this text occurs. */
    std::string tag;
    /** "1" makes the tag legal, "0" illegal, anything else does neither. */
    std::string enable;
    /** Package names that a capture may be about; empty for all. */
    std::string pkgname;
    /** Bits that are added to a capture's mask. */
    int64_t flag = 0;
    std::string cmds;
    std::string paths;
};

/** A word that decides which field an item sets. */
struct ConfigKeyword {
    /** Looked for anywhere in the item, its value included. */
    const char* text;
    /** The daemon's log line, for the field's new value. */
    const char* logFormat;
    std::variant<std::string ConfigEntry::*, int64_t ConfigEntry::*> field;
};

/** The first that occurs in an item wins. */
inline constexpr ConfigKeyword kConfigKeywords[] = {
        {"tag", "remoteConfig.tag = %s \n", &ConfigEntry::tag},
        {"enable", "remoteConfig.enable = %s \n", &ConfigEntry::enable},
        {"pkgname", "remoteConfig.pkgname = %s \n", &ConfigEntry::pkgname},
        {"flag", "remoteConfig.flag = %lld \n", &ConfigEntry::flag},
        {"cmd", "remoteConfig.cmds = %s \n", &ConfigEntry::cmds},
        {"path", "remoteConfig.paths = %s \n", &ConfigEntry::paths},
};

/** What follows the last ":" that is not the item's end, or all of the item. */
std::string configItemValue(const std::string& item);

/** The base of the number at the start of `text`, by its prefix. */
int baseOfNumber(const char* text);

/** Called for each item: the record's number, from 0; the item; what decided, or null; the record so far. */
using SeeConfigItem = std::function<void(size_t record, const std::string& item,
                                         const ConfigKeyword* keyword, const ConfigEntry& entry)>;

/** The records of a configuration text. */
std::vector<ConfigEntry> parseConfig(const std::string& text, const SeeConfigItem& see);

/** Tags with the archives that are listed for them. */
using LegalTags = std::map<std::string, std::vector<std::string>>;

/**
 * Applies the records of one text: each overwrites all entries whose tag contains its own, or else is added at
 * the end; then tags become legal and illegal as the entries say, one after the other. Returns, for each record,
 * the numbers of the entries that it became.
 */
std::vector<std::vector<size_t>> mergeConfig(const std::vector<ConfigEntry>& records,
                                             std::vector<ConfigEntry>& entries,
                                             LegalTags& legalTags);

/** The entry that counts for a scene type: the first whose tag occurs in it; null for none. */
const ConfigEntry* findConfigEntry(const std::vector<ConfigEntry>& entries,
                                   const std::string& sceneType);

/** True when an entry lets events about this package through; an unknown name is empty, and passes. */
bool admitsPackage(const ConfigEntry& entry, std::string_view package);

/** What an entry does to an event that it lets through. */
void applyConfigEntry(const ConfigEntry& entry, int64_t& flag, std::string& extraInfo);

}  // namespace zul
