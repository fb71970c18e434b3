// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>

#include "base/Log.h"
#include "base/Text.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** Counts one archive more; what the count was before is the capture's index. */
int32_t takeIndex() {
    return ZulService::mCompressFileCount.fetch_add(1, std::memory_order_acq_rel);
}

/** What both preparations do once the request is in the capture state. */
void makeCapture(ZulService& service, const std::string& sceneType, int32_t index)
        ZUL_EXCLUDES(ZulService::mServiceLock) {
    char folder[ZulService::kPathSize] = {};
    if (!service.createZulPath(sceneType.c_str(), index, folder)) {
        LOGE("createZulPath failure...");
        ZulService::mCompressFileCount.fetch_sub(1, std::memory_order_acq_rel);
        return;
    }
    if (!contains(sceneType, "0x003effff")) ZulService::recordZulHistory(sceneType.c_str(), folder);
    service.mSceneType = sceneType;
    service.mDumpPath = folder;

    if (ZulService::mUserMode) return;
    const int64_t specialCount = property_get_int32("debug.zul.special.count", 0);
    if (specialCount + index > ZulService::mCompressFileLimit) ZulService::cleanOldFile();
}

}  // namespace

void ZulService::prepare(std::string sceneType, long flag, int pid, std::string extraInfo) {
    mDumpPath = sceneType;
    mFlag = flag;
    mPid = pid;
    mExtraInfo = extraInfo;
    const int32_t index = takeIndex();
    LOG_DUMP("prepare.....sceneType=%s,flag=0x%llx,pid=%d, mCompressFileCount=%d, extraInfo=%s",
             sceneType.c_str(), static_cast<unsigned long long>(flag), pid,
             mCompressFileCount.load(), extraInfo.c_str());
    makeCapture(*this, sceneType, index);
}

void ZulService::multiPidPrepare(std::string sceneType, long flag, std::string multiPid,
                                 std::string extraInfo) {
    mDumpPath = sceneType;
    mFlag = flag;
    mMultiPid = multiPid;
    mExtraInfo = extraInfo;
    const int32_t index = takeIndex();
    LOG_DUMP(
            "multiPidPrepare.....sceneType=%s,flag=0x%llx,mMultiPid=%s, mCompressFileCount=%d, "
            "extraInfo=%s",
            sceneType.c_str(), static_cast<unsigned long long>(flag), multiPid.c_str(),
            mCompressFileCount.load(), extraInfo.c_str());
    makeCapture(*this, sceneType, index);
}

}  // namespace zul
