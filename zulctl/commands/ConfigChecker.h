// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zulctl/store/Rules.h"

namespace zulctl {

/** What the daemon makes of one item of a configuration text. */
struct ConfigItem {
    std::string text;
    /** What decided the field; null where the daemon ignores the item. */
    const zul::ConfigKeyword* keyword = nullptr;
    /** What the field becomes; the flag as a decimal number. */
    std::string value;
};

/** Something in a configuration that does other than it seems to. */
struct ConfigFinding {
    /** Surely other than was meant; else a warning. */
    bool isError = false;
    /** One word for each kind of finding. */
    const char* code = "";
    /** May hold bytes of the configuration, whatever they are. */
    std::string message;
};

/** A place of a configuration. */
struct ConfigPlace {
    std::optional<ConfigItem> item;
    std::vector<ConfigFinding> findings;
};

/** An entry, or whether a tag is legal, before and after; empty for nothing. */
struct ConfigChange {
    /** "entry" or "legal". */
    const char* of = "";
    std::string tag;
    std::string before;
    std::string after;
};

struct ConfigReport {
    /** What is about all items of a record, or all records, comes behind them. */
    static constexpr size_t kAll = SIZE_MAX;

    /** By the numbers of record and item, which count from 1. */
    std::map<std::pair<size_t, size_t>, ConfigPlace> places;
    std::vector<ConfigChange> changes;
    size_t records = 0;
    size_t errors = 0;
    size_t warnings = 0;
};

/** Lets the daemon's rules take a configuration text, and says what comes of it and what is odd about it. */
ConfigReport checkConfig(const std::string& text, Rules& rules);

/** How the field is called, and its value as a text. */
std::string fieldName(const zul::ConfigKeyword& keyword);
std::string configValue(const zul::ConfigEntry& entry, const zul::ConfigKeyword& keyword);
/** An entry as a configuration text has it, without what is not set. */
std::string entryText(const zul::ConfigEntry& entry);

}  // namespace zulctl
