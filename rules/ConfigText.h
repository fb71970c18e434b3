// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

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

/** What decides the field that an item sets. */
struct ConfigKeyword {
    /** Looked for anywhere in the item, its value included. */
    const char* text;
    const char* fieldName;
    /** The daemon's log line, for the field's new value. */
    const char* logFormat;
    std::variant<std::string ConfigEntry::*, int64_t ConfigEntry::*> field;
};

/** The first that occurs in an item wins. */
inline constexpr ConfigKeyword kConfigKeywords[] = {
        {"tag", "tag", "remoteConfig.tag = %s \n", &ConfigEntry::tag},
        {"enable", "enable", "remoteConfig.enable = %s \n", &ConfigEntry::enable},
        {"pkgname", "pkgname", "remoteConfig.pkgname = %s \n", &ConfigEntry::pkgname},
        {"flag", "flag", "remoteConfig.flag = %lld \n", &ConfigEntry::flag},
        {"cmd", "cmds", "remoteConfig.cmds = %s \n", &ConfigEntry::cmds},
        {"path", "paths", "remoteConfig.paths = %s \n", &ConfigEntry::paths},
};

/** The records of a configuration text, and the items of a record. */
std::vector<std::string> configRecords(const std::string& text);
std::vector<std::string> configItems(const std::string& record);

/** What follows the last ":" that is not the item's end, or all of the item. */
std::string configItemValue(const std::string& item);

/** Sets the field of `entry` that `item` is about; the keyword that decided, or null for none. */
const ConfigKeyword* applyConfigItem(const std::string& item, ConfigEntry& entry);

/** A number as a configuration has it. */
struct ConfigNumber {
    /** 0 when there is none or it does not fit. */
    int64_t value = 0;
    /** How much of the text was read; 0 when there is no number at its start. */
    size_t length = 0;
    bool fits = true;
    int base = 10;
};

/** The number at the start of `text`, in the base that its prefix tells. */
ConfigNumber parseConfigNumber(const char* text);

/** Makes tags legal and illegal as the entries say, one after the other. */
void admitTags(const std::vector<ConfigEntry>& entries,
               std::map<std::string, std::vector<std::string>>& legalTags);

/** The entry that counts for a scene type: the first whose tag occurs in it; null for none. */
const ConfigEntry* findConfigEntry(const std::vector<ConfigEntry>& entries,
                                   const std::string& sceneType);

/** True when an entry lets events about this package through; a name that cannot be had is empty. */
bool admitsPackage(const ConfigEntry& entry, std::string_view package);

/** What an entry does to an event that it lets through. */
void applyConfigEntry(const ConfigEntry& entry, int64_t& flag, std::string& extraInfo);

}  // namespace zul
