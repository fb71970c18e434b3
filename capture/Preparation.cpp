// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>

#include "service/Log.h"
#include "service/Text.h"
#include "service/ZulService.h"

namespace zul {

void ZulService::prepare(std::string sceneType, long flag, int pid, std::string extraInfo) {
    mPid = pid;
    prepareCapture(sceneType, flag, extraInfo, false);
}

void ZulService::multiPidPrepare(std::string sceneType, long flag, std::string multiPid,
                                 std::string extraInfo) {
    mMultiPid = multiPid;
    prepareCapture(sceneType, flag, extraInfo, true);
}

void ZulService::prepareCapture(const std::string& sceneType, int64_t flag,
                                const std::string& extraInfo, bool severalProcesses) {
    mDumpPath = sceneType;
    mFlag = flag;
    mExtraInfo = extraInfo;

    char folder[kPathSize] = {};
    const int32_t index = mCompressFileCount.fetch_add(1, std::memory_order_acq_rel);
    if (mDebugLog) {
        const auto mask = static_cast<unsigned long long>(flag);
        const int32_t count = mCompressFileCount.load();
        if (severalProcesses) {
            LOGD("multiPidPrepare.....sceneType=%s,flag=0x%llx,mMultiPid=%s, "
                 "mCompressFileCount=%d, extraInfo=%s",
                 sceneType.c_str(), mask, mMultiPid.c_str(), count, extraInfo.c_str());
        } else {
            LOGD("prepare.....sceneType=%s,flag=0x%llx,pid=%d, mCompressFileCount=%d, extraInfo=%s",
                 sceneType.c_str(), mask, mPid, count, extraInfo.c_str());
        }
    }
    if (!createZulPath(sceneType.c_str(), index, folder)) {
        LOGE("createZulPath failure...");
        mCompressFileCount.fetch_sub(1, std::memory_order_acq_rel);
        return;
    }
    if (!contains(sceneType, "0x003effff")) recordZulHistory(sceneType.c_str(), folder);
    mSceneType = sceneType;
    mDumpPath = folder;

    if (mUserMode) return;
    const int64_t specialCount = property_get_int32("debug.zul.special.count", 0);
    if (specialCount + index > mCompressFileLimit) cleanOldFile();
}

}  // namespace zul
