// SPDX-License-Identifier: Apache-2.0

#include "base/Files.h"
#include "base/Log.h"
#include "base/Text.h"
#include "rules/ConfigText.h"
#include "service/ZulService.h"

namespace zul {

namespace {

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
    // It decides what later captures run: nobody else may write into it.
    if (replaceFile(path, content, 0600) == Replacement::CANNOT_OPEN)
        LOGE("writeConfig: open file(%s) fail", path.c_str());
}

}  // namespace zul
