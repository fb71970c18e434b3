// SPDX-License-Identifier: Apache-2.0

#include "callbacks/ZulCallBack.h"

namespace zul {

using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Void;

// As over AIDL: the whole capture on the call's thread, copies of the texts, and always success.

ZulCallBack::ZulCallBack(ZulService* service) : mService(service) {}
ZulCallBack::~ZulCallBack() = default;

Return<void> ZulCallBack::onRunSimpZULCallback(const hidl_string& sceneType, int32_t pid) {
    mService->startSimpZul(sceneType, pid);
    return Void();
}

Return<void> ZulCallBack::onRunZULCallback(const hidl_string& sceneType, int64_t flag, int32_t pid,
                                           const hidl_string& extraInfo) {
    mService->startZul(sceneType, flag, pid, extraInfo);
    return Void();
}

Return<void> ZulCallBack::onRunSimpMultiPidZULCallback(const hidl_string& sceneType,
                                                       const hidl_string& multiPid) {
    mService->startSimpMultiPidZul(sceneType, multiPid);
    return Void();
}

Return<void> ZulCallBack::onRunMultiPidZULCallback(const hidl_string& sceneType, int64_t flag,
                                                   const hidl_string& multiPid,
                                                   const hidl_string& extraInfo) {
    mService->startMultiPidZul(sceneType, flag, multiPid, extraInfo);
    return Void();
}

}  // namespace zul
