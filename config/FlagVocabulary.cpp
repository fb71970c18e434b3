// SPDX-License-Identifier: Apache-2.0

#include "base/Log.h"
#include "rules/FlagNames.h"
#include "service/ZulService.h"

namespace zul {

int64_t ZulService::getZulFlag(std::string flagNames, const std::string& sceneType) {
    // The caller gets its own value: mFlagValue may be another event's as soon as the lock is free.
    int64_t value = 0;
    {
        const ScopedServiceLock lock(mServiceLock);
        LOGI("log flagstr = %s", flagNames.c_str());
        value = maskOfNames(flagNames, hasUserFlags(sceneType) ? mUserFlagTable : mFlagTable);
        mFlagValue = value;
    }
    LOGI("getZulInfo flagvalue = 0x%llx", static_cast<unsigned long long>(value));
    return value;
}

}  // namespace zul
