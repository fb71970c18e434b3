// SPDX-License-Identifier: Apache-2.0

#include "zulctl/commands/ConfigCheck.h"

#include <stdint.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>

#include "base/Text.h"
#include "rules/ArchiveName.h"
#include "rules/SceneTypes.h"
#include "rules/TagFile.h"
#include "zulctl/commands/Masks.h"

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

constexpr bool kError = true;
constexpr bool kWarning = false;

std::string quoted(std::string_view text) {
    return "'" + std::string(text) + "'";
}

std::string ofRecord(size_t number) {
    return " of record " + std::to_string(number);
}

/** The keyword that the item's author had in mind; null for a key that is none. */
const ConfigKeyword* keywordOfKey(std::string_view key) {
    for (const ConfigKeyword& keyword : zul::kConfigKeywords) {
        if (key == keyword.text || key == keyword.fieldName) return &keyword;
    }
    return nullptr;
}

/** Goes through a configuration from its first record to its last. */
class Checker {
  public:
    explicit Checker(ConfigReport& report) : mReport(report), mMerge(report.entries) {}

    void checkText(const std::string& text);

  private:
    void add(bool isError, const char* code, std::string message) {
        mReport.findings.push_back({isError, code, mRecord, mItem, std::move(message)});
    }
    void checkRecord(const std::string& text);
    void checkKey(const ConfigItem& item);
    void checkColons(const ConfigItem& item);
    void checkValue(const ConfigItem& item);
    void checkNumber(const std::string& value);
    void checkEntry(const ConfigEntry& entry);
    void checkPackage(const ConfigEntry& entry);
    void merge(const ConfigEntry& entry);
    void checkUpdates();
    void checkOrder();
    void checkSize(const std::string& text);

    ConfigReport& mReport;
    zul::ConfigMerge mMerge;
    size_t mRecord = 0;
    size_t mItem = 0;
    /** The record that each entry comes from, and its tag. */
    std::vector<size_t> mOrigins;
    std::vector<std::string> mTags;
};

void Checker::checkText(const std::string& text) {
    const std::string joined = zul::joinLines(zul::split(text, "\n"));
    for (const std::string& record : zul::configRecords(joined)) {
        mRecord++;
        checkRecord(record);
    }
    checkOrder();
    mRecord = 0;
    checkUpdates();
    checkSize(text);
}

void Checker::checkRecord(const std::string& text) {
    ConfigRecord record;
    std::set<const ConfigKeyword*> known;
    for (const std::string& itemText : zul::configItems(text)) {
        mItem++;
        const ConfigEntry before = record.entry;
        ConfigItem item{itemText, zul::applyConfigItem(itemText, record.entry), ""};
        checkKey(item);
        if (item.keyword != nullptr) {
            item.value = configValue(record.entry, *item.keyword);
            checkColons(item);
            checkValue(item);
            const std::string earlier = configValue(before, *item.keyword);
            if (!known.insert(item.keyword).second && earlier != item.value) {
                add(kWarning, "set-twice",
                    std::string("replaces the ") + item.keyword->fieldName + " " + quoted(earlier));
            }
        }
        record.items.push_back(std::move(item));
    }
    mItem = 0;
    checkEntry(record.entry);
    merge(record.entry);
    mReport.records.push_back(std::move(record));
}

void Checker::checkKey(const ConfigItem& item) {
    const std::string key = item.text.substr(0, item.text.find(':'));
    const ConfigKeyword* const meant = keywordOfKey(key);
    if (item.keyword == nullptr) {
        add(kWarning, "ignored", "has none of the keys, and is ignored");
    } else if (meant == nullptr) {
        add(kWarning, "unknown-key",
            quoted(key) + " is no key; sets " + item.keyword->fieldName + ", for " +
                    quoted(item.keyword->text) + " stands in it");
    } else if (meant != item.keyword) {
        add(kError, "keyword-in-value",
            std::string("sets ") + item.keyword->fieldName + " and not " + meant->fieldName +
                    ", for " + quoted(item.keyword->text) + " stands in it");
    }
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
    const std::string_view field = item.keyword->fieldName;
    if (field == "flag") {
        checkNumber(zul::configItemValue(item.text));
    } else if (field == "enable" && value != "0" && value != "1") {
        add(kError, "enable-value", "neither 0 nor 1: makes the tag neither legal nor illegal");
    } else if (field == "tag" && (value.starts_with(' ') || value.ends_with(' '))) {
        add(kWarning, "blank-in-tag", "blanks belong to the tag");
    } else if (field == "paths" && !value.starts_with(';')) {
        add(kWarning, "no-separator", "is put right behind the event's text: begin it with ';'");
    }
}

void Checker::checkNumber(const std::string& value) {
    const zul::ConfigNumber number = zul::parseConfigNumber(value.c_str());
    const std::string decimal = std::to_string(number.value);
    if (number.length == 0) {
        add(kError, "no-number", "no number: counts as 0");
    } else if (!number.fits) {
        add(kError, "number-too-large", "does not fit 64 bits with a sign: counts as 0");
    } else if (number.length < value.size()) {
        add(kError, "text-behind-number",
            "counts as " + decimal + ", without " + quoted(value.substr(number.length)));
    } else if (number.base == 8 && (number.value > 7 || number.value < -7)) {
        add(kWarning, "octal", "begins with 0, so that it is octal: " + decimal);
    }
}

void Checker::checkEntry(const ConfigEntry& entry) {
    if (entry.tag.empty()) {
        add(kError, "empty-tag",
            "has no tag: counts for every event, and replaces all entries before it");
    } else if (entry.enable == "1" && zul::typeFolder(entry.tag, false).empty()) {
        add(kWarning, "no-folder-name", "no capture folder can be named after its tag");
    }
    const uint64_t unnamed =
            unnamedBits(static_cast<uint64_t>(entry.flag), vocabularyOf(entry.tag));
    if (unnamed != 0) {
        add(kWarning, "unnamed-bits", "its flag has bits without a name: " + hexMask(unnamed));
    }
    if (entry.paths.size() + entry.cmds.size() >= kMostArgumentBytes) {
        add(kError, "too-long",
            "its paths and cmds fit no argument of a program: no collector runs");
    }
    checkPackage(entry);
}

void Checker::checkPackage(const ConfigEntry& entry) {
    const size_t dot = entry.pkgname.rfind('.');
    if (dot == std::string::npos) return;
    add(kWarning, "package-by-part",
        "lets every package pass whose name is a part of its pkgname, " +
                quoted(entry.pkgname.substr(0, dot)) + " for instance");
}

void Checker::merge(const ConfigEntry& entry) {
    std::set<std::string> others;
    size_t same = 0;
    for (const size_t number : mMerge.add(entry)) {
        if (number == mTags.size()) {
            mTags.emplace_back();
            mOrigins.push_back(0);
        } else if (mTags[number] == entry.tag) {
            same = mOrigins[number];
        } else {
            others.insert(mTags[number]);
        }
        mTags[number] = entry.tag;
        mOrigins[number] = mRecord;
    }
    if (same != 0) {
        add(kWarning, "replaces-same",
            "replaces record " + std::to_string(same) + ", of the same tag");
    }
    if (others.empty()) return;
    std::string named;
    size_t count = 0;
    for (auto tag = others.begin(); tag != others.end() && count < kMostNamed; ++tag, count++)
        named += (named.empty() ? "" : ", ") + quoted(*tag);
    if (others.size() > count) named += " and " + std::to_string(others.size() - count) + " more";
    add(kError, "replaces-other", "its tag stands in others, whose entries it replaces: " + named);
}

void Checker::checkOrder() {
    std::unordered_map<std::string_view, size_t> earlier;
    std::set<size_t> lengths;
    for (size_t i = 0; i < mReport.entries.size(); i++) {
        const ConfigEntry& entry = mReport.entries[i];
        const std::string_view tag = entry.tag;
        if (tag.size() > kLongestTag) continue;
        const bool acts = entry.flag != 0 || !entry.pkgname.empty() || !entry.cmds.empty() ||
                          !entry.paths.empty();
        for (const size_t length : lengths) {
            bool hidden = false;
            for (size_t at = 0; acts && !hidden && at + length < tag.size(); at++) {
                const auto found = earlier.find(tag.substr(at, length));
                if (found == earlier.end()) continue;
                hidden = true;
                mRecord = mOrigins[i];
                add(kError, "never-used",
                    "never counts: " + quoted(found->first) + ofRecord(found->second) +
                            " stands in its tag and comes first");
            }
            if (hidden) break;
        }
        earlier.try_emplace(tag, mOrigins[i]);
        lengths.insert(tag.size());
    }
}

void Checker::checkUpdates() {
    const std::string update(zul::kConfigUpdate);
    std::map<std::string, std::vector<std::string>> legal = {{update, {}}};
    zul::admitTags(mReport.entries, legal);
    if (legal.contains(update)) return;
    add(kError, "locks-updates-out",
        "makes " + update + " illegal: no later update is taken, restarts included");
}

void Checker::checkSize(const std::string& text) {
    if (text.size() > zul::kMostStartFileBytes) {
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

bool ConfigReport::hasErrors() const {
    return std::any_of(findings.begin(), findings.end(),
                       [](const ConfigFinding& finding) { return finding.isError; });
}

std::string configValue(const ConfigEntry& entry, const ConfigKeyword& keyword) {
    if (const auto* text = std::get_if<std::string ConfigEntry::*>(&keyword.field)) {
        return entry.**text;
    }
    return std::to_string(entry.flag);
}

ConfigReport checkConfig(const std::string& text) {
    ConfigReport report;
    Checker(report).checkText(text);
    const auto place = [](const ConfigFinding& finding) {
        return finding.record != 0 ? finding.record : SIZE_MAX;
    };
    std::stable_sort(report.findings.begin(), report.findings.end(),
                     [place](const ConfigFinding& a, const ConfigFinding& b) {
                         return place(a) < place(b);
                     });
    return report;
}

}  // namespace zulctl
