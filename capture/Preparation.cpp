// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>

#include "base/Log.h"
#include "base/Text.h"
#include "service/ZulService.h"

namespace zul {

void ZulService::prepare(std::string sceneType, long flag, int pid, std::string extraInfo) {
    takeRequest(sceneType, flag, extraInfo);
    mPid = pid;
    const int32_t index = takeIndex();
    LOG_DUMP("prepare.....sceneType=%s,flag=0x%llx,pid=%d, mCompressFileCount=%d, extraInfo=%s",
             sceneType.c_str(), static_cast<unsigned long long>(flag), pid,
             mCompressFileCount.load(), extraInfo.c_str());
    makeCapture(sceneType, index);
}

void ZulService::multiPidPrepare(std::string sceneType, long flag, std::string multiPid,
                                 std::string extraInfo) {
    takeRequest(sceneType, flag, extraInfo);
    mMultiPid = multiPid;
    const int32_t index = takeIndex();
    LOG_DUMP(
            "multiPidPrepare.....sceneType=%s,flag=0x%llx,mMultiPid=%s, mCompressFileCount=%d, "
            "extraInfo=%s",
            sceneType.c_str(), static_cast<unsigned long long>(flag), multiPid.c_str(),
            mCompressFileCount.load(), extraInfo.c_str());
    makeCapture(sceneType, index);
}

void ZulService::takeRequest(const std::string& sceneType, int64_t flag,
                             const std::string& extraInfo) {
    mDumpPath = sceneType;
    mFlag = flag;
    mExtraInfo = extraInfo;
}

int32_t ZulService::takeIndex() {
    return mCompressFileCount.fetch_add(1, std::memory_order_acq_rel);
}

void ZulService::makeCapture(const std::string& sceneType, int32_t index) {
    char folder[kPathSize] = {};
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
