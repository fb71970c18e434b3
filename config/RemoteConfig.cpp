// SPDX-License-Identifier: Apache-2.0

#include "base/Files.h"
#include "base/Log.h"
#include "base/Text.h"
#include "rules/ConfigText.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** Each item is logged as it is read, before any record is applied. */
void logItem(size_t /*record*/, const std::string& /*item*/, const ConfigKeyword* keyword,
             const ConfigEntry& entry) {
    if (keyword == nullptr) return;
    if (const auto* text = std::get_if<std::string ConfigEntry::*>(&keyword->field)) {
        LOGD(keyword->logFormat, (entry.**text).c_str());
    } else {
        LOGD(keyword->logFormat, static_cast<long long>(entry.flag));
    }
}

}  // namespace

std::vector<std::string> ZulService::supersplit(const std::string& s,
                                                const std::string& separator) {
    return split(s, separator);
}

void ZulService::parseRemoteConfig(std::string& text) {
    mergeConfig(parseConfig(text, logItem), mRemoteConfigs, mTagTable);
}

void ZulService::writeConfig(std::string path, std::string content) {
    // Only for its owner: the configuration decides what later captures run as root. Where the disk is full,
    // the old file stays, and nothing is logged.
    if (replaceFile(path, content, 0600) == Replacement::CANNOT_OPEN)
        LOGE("writeConfig: open file(%s) fail", path.c_str());
}

}  // namespace zul
