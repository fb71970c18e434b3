// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>

#include "base/Log.h"
#include "base/Text.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/**
 * Counts one more archive; the count before is the capture's index. In one atomic step, so that captures
 * at once get different indexes without a lock, which createZulPath takes only for parts of its work.
 */
int32_t takeIndex() {
    return ZulService::mCompressFileCount.fetch_add(1, std::memory_order_acq_rel);
}

/** What both preparations do once the object holds the request. */
void makeCapture(ZulService& service, const std::string& sceneType, int32_t index)
        ZUL_EXCLUDES(ZulService::mServiceLock) {
    char folder[ZulService::kPathSize] = {};
    if (!service.createZulPath(sceneType.c_str(), index, folder)) {
        LOGE("createZulPath failure...");
        ZulService::mCompressFileCount.fetch_sub(1, std::memory_order_acq_rel);
        return;
    }
    // Before the collector runs: a capture that never ends is in the history, too.
    if (!contains(sceneType, "0x003effff")) ZulService::recordZulHistory(sceneType.c_str(), folder);
    service.mSceneType = sceneType;
    service.mDumpPath = folder;

    // Last, so that a failure to prune costs this capture nothing.
    if (ZulService::mUserMode) return;
    const int64_t specialCount = property_get_int32("debug.zul.special.count", 0);
    if (specialCount + index > ZulService::mCompressFileLimit) ZulService::cleanOldFile();
}

}  // namespace

void ZulService::prepare(std::string sceneType, long flag, int pid, std::string extraInfo) {
    // Until there is a folder: the collector gets the scene type if none can be made.
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
