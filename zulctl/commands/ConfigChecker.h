// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

#include "zulctl/store/StartFiles.h"

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
    /** Counted from 1; 0 where it is about the whole text, or the whole record. */
    size_t record = 0;
    size_t item = 0;
    /** May hold bytes of the configuration, whatever they are. */
    std::string message;
};

/** An entry, or whether a tag is legal, before and after; empty for nothing. */
struct ConfigChange {
    std::string tag;
    std::string before;
    std::string after;
};

struct ConfigReport {
    /** The items of each record. */
    std::vector<std::vector<ConfigItem>> records;
    /** In the order of records and items, and then those about all of them. */
    std::vector<ConfigFinding> findings;
    std::vector<ConfigChange> entries;
    std::vector<ConfigChange> tags;

    bool hasErrors() const;
};

/** Lets the daemon's rules take a configuration text, and says what comes of it and what is odd about it. */
ConfigReport checkConfig(const std::string& text, Rules& rules);

/** How the field is called, and its value as a text. */
std::string fieldName(const zul::ConfigKeyword& keyword);
std::string configValue(const zul::ConfigEntry& entry, const zul::ConfigKeyword& keyword);
/** An entry as a configuration text has it, without what is not set. */
std::string entryText(const zul::ConfigEntry& entry);

}  // namespace zulctl
