// SPDX-License-Identifier: Apache-2.0

#include "service/Log.h"
#include "service/Text.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** Flag names are written with blanks and line breaks around the separators. */
std::string withoutBlanks(std::string name) {
    std::erase_if(name, [](char c) { return c == ' ' || c == '\n'; });
    return name;
}

}  // namespace

int64_t ZulService::getZulFlag(std::string flagNames, const std::string& sceneType) {
    int64_t value = 0;
    {
        const ScopedServiceLock lock(mServiceLock);
        mFlagValue = 0;
        LOGI("log flagstr = %s", flagNames.c_str());
        const FlagTable& vocabulary = contains(sceneType, "0xffffff") ? mUserFlagTable : mFlagTable;
        for (const std::string& piece : supersplit(flagNames, "|")) {
            const auto entry = vocabulary.find(withoutBlanks(piece));
            if (entry != vocabulary.end()) mFlagValue |= entry->second;
        }
        value = mFlagValue;
    }
    LOGI("getZulInfo flagvalue = 0x%llx", static_cast<unsigned long long>(value));
    return value;
}

}  // namespace zul
