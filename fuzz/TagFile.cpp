// SPDX-License-Identifier: Apache-2.0

// Input: the build type in the first line, then ZUL_TAG.txt, "\n--\n" and the stored configuration.

#include <cutils/properties.h>

#include <algorithm>

#include "base/Paths.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/Store.h"
#include "service/ZulService.h"

namespace zul::fuzz {

namespace {

/** The tags that the file admits, as a reader of its format would list them. */
std::vector<std::string> tagsOf(std::string_view file) {
    std::vector<std::string> tags;
    while (!file.empty()) {
        std::string line = take(file);
        const size_t end = line.find('|');
        if (end != std::string::npos) tags.push_back(line.substr(0, end));
    }
    return tags;
}

void checkTags(const std::vector<std::string>& admitted) {
    for (const std::string& tag : admitted) {
        const bool isWithdrawn = std::any_of(
                ZulService::mRemoteConfigs.begin(), ZulService::mRemoteConfigs.end(),
                [&](const auto& entry) { return entry.enable == "0" && entry.tag == tag; });
        require(ZulService::mTagTable.contains(tag) != isWithdrawn, "a tag is admitted");
    }
    for (const auto& [tag, archives] : ZulService::mTagTable)
        require(tag.find_first_of("|\n") == std::string::npos, "a tag is part of one line");
}

/** Counts the store with one more file in it, named as an archive of the first tag would be. */
void checkCount() {
    const auto first = ZulService::mTagTable.begin();
    if (first != ZulService::mTagTable.end())
        Store::write(kOutputRoot + first->first.substr(0, first->first.find('/')) + "_1.zul", "");
    const int count = ZulService::getCompressFileCount();
    size_t listed = 0;
    for (const auto& [tag, archives] : ZulService::mTagTable)
        listed += archives.size();
    require(static_cast<size_t>(count) == listed, "what is counted is listed");
}

}  // namespace

void run(std::string_view input) {
    const Store store;
    const std::string buildType = take(input).substr(0, PROPERTY_VALUE_MAX - 1);
    property_set("ro.build.type", buildType.c_str());
    const std::string tagFile = take(input, "\n--\n");
    Store::write(kTagFile, tagFile);
    Store::write(kConfigFile, input);

    ZulService::Initialize();
    const bool isUser = buildType.c_str() == std::string_view("user") || *buildType.c_str() == 0;
    require(ZulService::mUserMode == isUser, "the build type decides the mode");
    checkTags(isUser ? std::vector<std::string>{"0xffffff00", "0x003effff"} : tagsOf(tagFile));
    const auto tags = ZulService::mTagTable;
    ZulService::Initialize();
    require(ZulService::mTagTable == tags, "another start from the same files gives the same tags");
    checkCount();
}

}  // namespace zul::fuzz
