// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

#include "rules/ConfigText.h"

namespace zulctl {

/** What the daemon makes of one item of a configuration text. */
struct ConfigItem {
    std::string text;
    /** What decided the field; null where the daemon ignores the item. */
    const zul::ConfigKeyword* keyword = nullptr;
    /** What the field becomes; the flag as a decimal number. */
    std::string value;
};

struct ConfigRecord {
    std::vector<ConfigItem> items;
    zul::ConfigEntry entry;
};

/** Something in a configuration that does other than it seems to. */
struct ConfigFinding {
    /** Surely other than was meant; else a warning. */
    bool isError = false;
    /** One word for each kind of finding. */
    const char* code = "";
    /** Counted from 1; 0 where it is about the whole text, or the whole record. */
    size_t record = 0;
    size_t item = 0;
    /** May hold bytes of the configuration, whatever they are. */
    std::string message;
};

struct ConfigReport {
    std::vector<ConfigRecord> records;
    /** What a daemon has that knew no configuration before. */
    std::vector<zul::ConfigEntry> entries;
    /** In the order of records and items, and then those about all of them. */
    std::vector<ConfigFinding> findings;

    bool hasErrors() const;
};

/** Reads a configuration text as the daemon does, and says what is odd about it. */
ConfigReport checkConfig(const std::string& text);

/** The field's value as a text. */
std::string configValue(const zul::ConfigEntry& entry, const zul::ConfigKeyword& keyword);

}  // namespace zulctl
