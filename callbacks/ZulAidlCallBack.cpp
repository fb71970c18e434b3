// SPDX-License-Identifier: Apache-2.0

#include "callbacks/ZulAidlCallBack.h"

namespace zul {

using ndk::ScopedAStatus;

// The whole capture runs on the binder thread of the call, and the engine waits for its end. Nothing is
// decided here, and success only means that the event was received. The request copies the texts, which
// end with the call.

ZulAidlCallBack::ZulAidlCallBack(ZulService* service) : mService(service) {}
ZulAidlCallBack::~ZulAidlCallBack() = default;

ScopedAStatus ZulAidlCallBack::onRunMultiPidZULCallback(const std::string& sceneType, int64_t flag,
                                                        const std::string& multiPid,
                                                        const std::string& extraInfo) {
    mService->startMultiPidZul(sceneType, flag, multiPid, extraInfo);
    return ScopedAStatus::ok();
}

ScopedAStatus ZulAidlCallBack::onRunSimpMultiPidZULCallback(const std::string& sceneType,
                                                            const std::string& multiPid) {
    mService->startSimpMultiPidZul(sceneType, multiPid);
    return ScopedAStatus::ok();
}

ScopedAStatus ZulAidlCallBack::onRunSimpZULCallback(const std::string& sceneType, int32_t pid) {
    mService->startSimpZul(sceneType, pid);
    return ScopedAStatus::ok();
}

ScopedAStatus ZulAidlCallBack::onRunZULCallback(const std::string& sceneType, int64_t flag,
                                                int32_t pid, const std::string& extraInfo) {
    mService->startZul(sceneType, flag, pid, extraInfo);
    return ScopedAStatus::ok();
}

}  // namespace zul
