// SPDX-License-Identifier: Apache-2.0

// Input: configuration texts, as events bring them one after the other; "\n--\n" stands between two.

#include <algorithm>

#include "base/Text.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/Store.h"
#include "service/ZulService.h"
#include "zulctl/commands/ConfigChecker.h"

namespace zul::fuzz {

namespace {

using Entry = ZulService::zul_struct;
constexpr auto kFields = {&Entry::tag, &Entry::enable, &Entry::pkgname, &Entry::cmds,
                          &Entry::paths};

bool isSame(const Entry& one, const Entry& other) {
    return one.flag == other.flag && std::all_of(kFields.begin(), kFields.end(), [&](auto field) {
               return one.*field == other.*field;
           });
}

/** The entry that captures of a scene type use; one with an empty flag and texts for none. */
Entry entryFor(const std::string& sceneType) {
    for (const Entry& entry : ZulService::mRemoteConfigs) {
        if (contains(sceneType, entry.tag)) return entry;
    }
    return {};
}

void checkEntries() {
    for (const Entry& entry : ZulService::mRemoteConfigs) {
        for (const auto field : kFields) {
            require((entry.*field).find_first_of("|,:") == std::string::npos,
                    "no value holds a separator");
        }
        for (const Entry& other : ZulService::mRemoteConfigs)
            require(other.tag != entry.tag || isSame(other, entry), "one tag has one meaning");
        if (entry.enable != "0" && entry.enable != "1") continue;
        require(ZulService::mTagTable.contains(entry.tag) == (entry.enable == "1"),
                "an entry admits or withdraws its tag");
    }
}

/** A text may add entries when it comes again, but none that any capture would use. */
void checkAgain(std::string text) {
    const std::vector<Entry> before = ZulService::mRemoteConfigs;
    const auto tags = ZulService::mTagTable;
    std::vector<Entry> used;
    const auto sceneType = [&before](size_t i) {
        return before[i].tag + before[(i * 7 + 1) % before.size()].tag;
    };
    for (size_t i = 0; i < before.size(); i++)
        used.push_back(entryFor(sceneType(i)));
    ZulService::parseRemoteConfig(text);
    require(ZulService::mRemoteConfigs.size() == before.size() ||
                    ZulService::supersplit(text, "|").size() > 1,
            "the same record again adds no entry");
    require(ZulService::mTagTable == tags, "the same text again leaves the tags as they are");
    for (size_t i = 0; i < before.size(); i++)
        require(isSame(entryFor(sceneType(i)), used[i]), "the same text again changes no capture");
}

/** What zulctl tells of a text, on a daemon that knew no configuration before. */
void checkToldBefore(const std::string& text) {
    zulctl::Rules rules;
    const zulctl::ConfigReport report = zulctl::checkConfig(text, rules);
    const auto& entries = ZulService::mRemoteConfigs;
    require(std::equal(entries.begin(), entries.end(), rules.entries.begin(), rules.entries.end(),
                       isSame),
            "zulctl tells of the entries that the daemon has");
    require(report.errors > 0 || text.empty() || !rules.entries.empty(), "a text has entries");
    for (const auto& [place, told] : report.places) {
        const auto& [record, item] = place;
        const bool isItem = item != zulctl::ConfigReport::kAll;
        require(isItem == told.item.has_value() &&
                        (record <= report.records || record == zulctl::ConfigReport::kAll),
                "a finding is about something");
    }
}

}  // namespace

void run(std::string_view input) {
    const Store store;
    ZulService::mTagTable["0xffff0101"].push_back("/data/ZUL/a.zul");
    while (!input.empty()) {
        const std::string text = take(input, "\n--\n");
        const size_t entries = ZulService::mRemoteConfigs.size();
        std::string parsed = text;
        ZulService::parseRemoteConfig(parsed);
        require(parsed == text, "the text is left alone");
        if (entries == 0 && !contains(text, "\n")) checkToldBefore(text);
        require(ZulService::mRemoteConfigs.size() >= entries, "no entry is removed");
        checkEntries();
        checkAgain(text);
    }
}

}  // namespace zul::fuzz
