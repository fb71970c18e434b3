// SPDX-License-Identifier: Apache-2.0

// Input: in the first line the number of archives, the store's limit and the special count; in the
// second one a tag, "|" and the build's name; then the history file. The store holds the archive
// 0xffff/a.zul, the link "link" to a folder outside, and, under the other root, b.zul.

#include <cutils/properties.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>

#include "base/Paths.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/Store.h"
#include "service/ZulService.h"

namespace zul::fuzz {

namespace {

constexpr char kSpecialCount[] = "debug.zul.special.count";
constexpr const char* kArchives[] = {"/data/ZUL/0xffff/a.zul", "/morvfs/stuck_logo/b.zul",
                                     "/data/ZUL/link", kHistoryFile};

int countArchives() {
    return static_cast<int>(std::count_if(std::begin(kArchives), std::end(kArchives),
                                          [](const char* path) { return Store::exists(path); }));
}

void checkClean() {
    const int32_t count = ZulService::mCompressFileCount;
    const int32_t specials = property_get_int32(kSpecialCount, 0);
    const int before = countArchives();
    const std::string history = Store::read(kHistoryFile);

    ZulService::cleanOldFile();
    const int removed = before - countArchives();
    const int32_t fewer = count - ZulService::mCompressFileCount;
    const int32_t fewerSpecials = specials - property_get_int32(kSpecialCount, 0);
    require(removed <= 1, "one archive goes at most");
    require(fewer == 0 || fewer == 1, "the count falls by one at most");
    require(specials <= 0 || fewerSpecials == 0 || fewerSpecials == 1,
            "the special count falls by one at most");
    require(fewer == 0 || fewerSpecials == 0, "one of the two counts falls");
    require(removed == 0 || fewer + fewerSpecials > 0 || specials <= 0,
            "a removed archive is counted off");
    require(!Store::exists(kHistoryFile) || Store::read(kHistoryFile) == history,
            "the history is left alone");
}

void checkRecord(const std::string& tag) {
    std::string folder = "/data/ZUL/0xffff/" + tag;
    const std::string before = Store::read(kHistoryFile);
    ZulService::recordZulHistory(tag.c_str(), folder.data());
    const std::string after = Store::read(kHistoryFile);
    require(after.starts_with(before), "the history only grows");
    if (after == before) {
        require(2 * tag.size() + sizeof("/data/ZUL/0xffff/") + 20 > 200, "short records are kept");
        return;
    }
    // What was torn is ended first.
    const bool torn = !before.empty() && !before.ends_with('\n');
    require(!torn || after[before.size()] == '\n', "a torn line stands alone");
    const std::string line = after.substr(before.size() + (torn ? 1 : 0));
    require(line.find('\n') == line.size() - 1 && line.size() <= 256, "a record is one line");
    require(ZulService::supersplit(line, "|")[2] == std::string(folder.c_str()) + ".zul",
            "the third field is the archive");
}

void checkNextStart() {
    const std::string before = Store::read(kHistoryFile);
    ZulService::getCompressFileCount();
    require(Store::read(kHistoryFile) == before, "a start only reads");
}

}  // namespace

void run(std::string_view input) {
    const Store store;
    int count = 0, limit = 0, specials = 0;
    sscanf(take(input).c_str(), "%d %d %d", &count, &limit, &specials);
    std::string_view line = input;
    const std::string record = take(line);
    std::string_view build = record;
    const std::string tag = take(build, "|");
    input = line;

    Store::write("/data/ZUL/0xffff/a.zul", "");
    Store::write("/morvfs/stuck_logo/b.zul", "");
    (void)!symlink("/data/canary", "/data/ZUL/link");
    Store::write(kHistoryFile, input);
    property_set(kSpecialCount, std::to_string(specials).c_str());
    property_set("ro.build.display.id", std::string(build).c_str());
    ZulService::mCompressFileCount = count;
    ZulService::mCompressFileLimit = limit;

    checkClean();
    // Both the tag and the rest of the line come from files that are split at a line's end.
    if (!tag.empty() && tag.find('\0') == std::string::npos) checkRecord(tag);
    checkNextStart();
}

}  // namespace zul::fuzz
