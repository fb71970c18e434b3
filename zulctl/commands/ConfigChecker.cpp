// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/ConfigChecker.h"

#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <unordered_map>

#include "base/Text.h"
#include "rules/ArchiveName.h"
#include "rules/SceneTypes.h"
#include "rules/TagFile.h"
#include "zulctl/commands/Mask.h"

namespace zulctl {

namespace {

using zul::ConfigEntry;
using zul::ConfigKeyword;

/** A call's buffer holds 1 MiB for all calls together, and each byte of a text takes two. */
constexpr size_t kMostPushedBytes = 500 * 1024;
/** The kernel's limit for one argument of a program, its terminator included. */
constexpr size_t kMostArgumentBytes = 128 * 1024;
/** No path can be made of a longer tag. */
constexpr size_t kLongestTag = 255;
/** Tags that are named of all that one record replaces. */
constexpr size_t kMostNamed = 5;

std::string nameOf(size_t record) {
    return record != 0 ? "record " + std::to_string(record) : "what is stored";
}

constexpr bool kError = true;
constexpr bool kWarning = false;

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

/** The keyword that the item's author had in mind; null for a key that is none. */
const ConfigKeyword* keywordOfKey(std::string_view key) {
    for (const ConfigKeyword& keyword : zul::kConfigKeywords) {
        if (key == keyword.text || key == fieldName(keyword)) return &keyword;
    }
    return nullptr;
}

/** Goes through a configuration from its first record to its last. */
class Checker {
  public:
    explicit Checker(Rules& rules) : mRules(rules) {}

    ConfigReport check(const std::string& text);

  private:
    void add(bool isError, const char* code, const std::string& message) {
        mReport.places[{mRecord, mItem}].findings.push_back({isError, code, message});
        (isError ? mReport.errors : mReport.warnings)++;
    }
    void checkItem(const ConfigItem& item);
    void checkColons(const ConfigItem& item);
    void checkValue(const ConfigItem& item);
    void checkNumber(const std::string& value);
    void checkEntry(const ConfigEntry& entry);
    void merge(const ConfigEntry& entry, const std::vector<size_t>& became);
    void checkOrder();
    void compare(const Rules& before);
    void checkSize(const std::string& text);

    Rules& mRules;
    ConfigReport mReport;
    /** What is looked at. */
    size_t mRecord = 0;
    size_t mItem = 0;
    /** The record that each entry comes from, 0 for what was there before, and its tag. */
    std::vector<std::pair<size_t, std::string>> mOrigins;
};

ConfigReport Checker::check(const std::string& text) {
    const Rules before = mRules;
    for (const ConfigEntry& entry : before.entries)
        mOrigins.emplace_back(0, entry.tag);
    const auto see = [&](size_t record, const std::string& item, const ConfigKeyword* keyword,
                         const ConfigEntry& entry) {
        mItem = record + 1 == mRecord ? mItem + 1 : 1;
        mRecord = record + 1;
        const ConfigItem seen = {item, keyword,
                                 keyword != nullptr ? configValue(entry, *keyword) : ""};
        mReport.places[{mRecord, mItem}].item = seen;
        checkItem(seen);
    };
    const auto records = zul::parseConfig(zul::joinLines(zul::split(text, "\n")), see);
    mReport.records = records.size();
    const auto became = mRules.update(records);
    mItem = ConfigReport::kAll;
    for (mRecord = 1; mRecord <= records.size(); mRecord++) {
        checkEntry(records[mRecord - 1]);
        merge(records[mRecord - 1], became[mRecord - 1]);
    }
    checkOrder();
    mRecord = ConfigReport::kAll;
    compare(before);
    checkSize(text);
    return std::move(mReport);
}

void Checker::checkItem(const ConfigItem& item) {
    if (item.keyword == nullptr) {
        return add(kWarning, "ignored", "has none of the keys, and is ignored");
    }
    const std::string key = item.text.substr(0, item.text.find(':'));
    const ConfigKeyword* const meant = keywordOfKey(key);
    if (meant == nullptr) {
        add(kWarning, "unknown-key",
            quoted(key) + " is no key; sets " + fieldName(*item.keyword) + ", for " +
                    quoted(item.keyword->text) + " stands in it");
    } else if (meant != item.keyword) {
        add(kError, "keyword-in-value",
            "sets " + fieldName(*item.keyword) + " and not " + fieldName(*meant) + ", for " +
                    quoted(item.keyword->text) + " stands in it");
    }
    checkColons(item);
    checkValue(item);
}

void Checker::checkColons(const ConfigItem& item) {
    const auto colons = std::count(item.text.begin(), item.text.end(), ':');
    if (colons == 0) {
        add(kError, "no-value", "has no ':', so that all of it is the value");
    } else if (colons > 1) {
        add(kError, "colon-in-value", "of the value only " + quoted(item.value) + " counts");
    } else if (item.text.ends_with(':')) {
        add(kError, "no-value", "has nothing behind the ':', so that the value is the key");
    }
}

void Checker::checkValue(const ConfigItem& item) {
    const std::string& value = item.value;
    const std::string_view field = item.keyword->text;
    if (field == "flag") {
        checkNumber(zul::configItemValue(item.text));
    } else if (field == "enable" && value != "0" && value != "1") {
        add(kError, "enable-value", "neither 0 nor 1: makes the tag neither legal nor illegal");
    } else if (field == "tag" && (value.starts_with(' ') || value.ends_with(' '))) {
        add(kWarning, "blank-in-tag", "blanks belong to the tag");
    } else if (field == "path" && !value.starts_with(';')) {
        add(kWarning, "no-separator", "is put right behind the event's text: begin it with ';'");
    }
}

void Checker::checkNumber(const std::string& value) {
    errno = 0;
    char* end = nullptr;
    const long long number = strtoll(value.c_str(), &end, zul::baseOfNumber(value.c_str()));
    if (end == value.c_str()) {
        add(kError, "no-number", "no number: counts as 0");
    } else if (errno == ERANGE) {
        add(kError, "number-too-large", "does not fit 64 bits with a sign: counts as 0");
    } else if (*end != '\0') {
        add(kError, "text-behind-number",
            "counts as " + std::to_string(number) + ", without " + quoted(end));
    }
}

void Checker::checkEntry(const ConfigEntry& entry) {
    if (entry.tag.empty()) {
        add(kError, "empty-tag",
            "has no tag: counts for every event, and replaces all entries before it");
    } else if (entry.enable == "1" && zul::typeFolder(entry.tag, false).empty()) {
        add(kWarning, "no-folder-name", "no capture folder can be named after its tag");
    }
    const auto mask = static_cast<uint64_t>(entry.flag);
    const uint64_t unnamed = namesOf(mask, vocabularyOf(entry.tag)).unnamed;
    if (unnamed != 0) {
        add(kWarning, "unnamed-bits", "its flag has bits without a name: " + hexMask(unnamed));
    }
    if (entry.paths.size() + entry.cmds.size() >= kMostArgumentBytes) {
        add(kError, "too-long",
            "its paths and cmds fit no argument of a program: no collector runs");
    }
}

/** Entries of its own tag are meant to be replaced; others hardly ever are. */
void Checker::merge(const ConfigEntry& entry, const std::vector<size_t>& became) {
    std::set<std::string> others;
    for (const size_t number : became) {
        if (number >= mOrigins.size()) mOrigins.resize(number + 1, {mRecord, entry.tag});
        if (mOrigins[number].second != entry.tag) others.insert(mOrigins[number].second);
        mOrigins[number] = {mRecord, entry.tag};
    }
    if (others.empty()) return;
    std::vector<std::string> named;
    for (const std::string& tag : others) {
        if (named.size() < kMostNamed) named.push_back(quoted(tag));
    }
    const size_t more = others.size() - named.size();
    add(kError, "replaces-other",
        "its tag stands in others, whose entries it replaces: " + join(named, ", ") +
                (more > 0 ? " and " + std::to_string(more) + " more" : ""));
}

void Checker::checkOrder() {
    std::unordered_map<std::string_view, size_t> earlier;
    std::set<size_t> lengths;
    for (size_t i = 0; i < mRules.entries.size(); i++) {
        const ConfigEntry& entry = mRules.entries[i];
        const std::string_view tag = entry.tag;
        if (tag.size() > kLongestTag) continue;
        const bool acts = mOrigins[i].first != 0 && (entry.flag != 0 || !entry.pkgname.empty() ||
                                                     !entry.cmds.empty() || !entry.paths.empty());
        for (const size_t length : lengths) {
            // The same tag again is an entry that was replaced with this one.
            if (length >= tag.size()) break;
            bool hidden = false;
            for (size_t at = 0; acts && !hidden && at + length <= tag.size(); at++) {
                const auto found = earlier.find(tag.substr(at, length));
                if (found == earlier.end()) continue;
                hidden = true;
                mRecord = mOrigins[i].first;
                add(kError, "never-used",
                    "never counts: " + quoted(found->first) + " of " + nameOf(found->second) +
                            " stands in its tag and comes first");
            }
            if (hidden) break;
        }
        earlier.try_emplace(tag, mOrigins[i].first);
        lengths.insert(tag.size());
    }
}

void Checker::compare(const Rules& before) {
    for (size_t i = 0; i < mRules.entries.size(); i++) {
        const bool isNew = i >= before.entries.size();
        const std::string was = isNew ? "" : entryText(before.entries[i]);
        const std::string is = entryText(mRules.entries[i]);
        const ConfigEntry& named = isNew ? mRules.entries[i] : before.entries[i];
        if (was != is) mReport.changes.push_back({"entry", named.tag, was, is});
    }
    const std::string update(zul::kConfigUpdate);
    for (const auto& [tag, known] : mRules.knownTags) {
        const bool was = before.legalTags.count(tag) > 0;
        if (was == (mRules.legalTags.count(tag) > 0)) continue;
        mReport.changes.push_back({"legal", tag, was ? "legal" : "", was ? "" : "legal"});
        if (was && tag != update) {
            add(kWarning, "becomes-illegal", "the tag " + quoted(tag) + " becomes illegal");
        }
    }
    // The last entry of a tag decides; which tags were legal before may be unknown.
    const auto last = std::find_if(
            mRules.entries.rbegin(), mRules.entries.rend(), [&](const ConfigEntry& entry) {
                return entry.tag == update && (entry.enable == "0" || entry.enable == "1");
            });
    if (last == mRules.entries.rend() || last->enable == "1") return;
    add(kError, "locks-updates-out",
        "makes " + update + " illegal: no later update is taken, restarts included");
}

void Checker::checkSize(const std::string& text) {
    if (text.size() > zul::kStartFileLimit) {
        add(kError, "too-large",
            "larger than 4 MiB: no call brings it, and no start reads it but from the daemon's own "
            "file");
    } else if (text.size() > kMostPushedBytes) {
        add(kError, "too-large", "larger than 500 KiB: no call of the engine's brings it");
    }
    if (text.find('\n') != std::string::npos) {
        add(kWarning, "line-break",
            "line breaks are dropped at a start, but belong to the values when they are pushed");
    }
}

}  // namespace

ConfigReport checkConfig(const std::string& text, Rules& rules) {
    return Checker(rules).check(text);
}

std::string fieldName(const ConfigKeyword& keyword) {
    const std::string_view text = keyword.text;
    return std::string(text) + (text == "cmd" || text == "path" ? "s" : "");
}

std::string configValue(const ConfigEntry& entry, const ConfigKeyword& keyword) {
    if (const auto* text = std::get_if<std::string ConfigEntry::*>(&keyword.field)) {
        return entry.**text;
    }
    return std::to_string(entry.flag);
}

std::string entryText(const ConfigEntry& entry) {
    std::string text;
    for (const ConfigKeyword& keyword : zul::kConfigKeywords) {
        const std::string value = configValue(entry, keyword);
        if (value == configValue({}, keyword)) continue;
        text.append(text.empty() ? "" : ",").append(fieldName(keyword)).append(":").append(value);
    }
    return text;
}

}  // namespace zulctl
