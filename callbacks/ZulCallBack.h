// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZulClientCallback.h>

#include "service/ZulService.h"

namespace zul {

/**
 * Turns the engine's HIDL calls into capture requests of one service object, which it owns. A call
 * returns when the capture has ended, and always successfully: only the log says what became of it.
 * Calls may come on several binder threads at once; the service object runs them one by one. The engine
 * holds the adapter, which goes when the engine releases it or dies.
 */
class ZulCallBack : public ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZulClientCallback {
  public:
    explicit ZulCallBack(ZulService* service);
    ~ZulCallBack() override;

    android::hardware::Return<void> onRunSimpZULCallback(
            const android::hardware::hidl_string& sceneType, int32_t pid) override;
    android::hardware::Return<void> onRunZULCallback(
            const android::hardware::hidl_string& sceneType, int64_t flag, int32_t pid,
            const android::hardware::hidl_string& extraInfo) override;
    android::hardware::Return<void> onRunSimpMultiPidZULCallback(
            const android::hardware::hidl_string& sceneType,
            const android::hardware::hidl_string& multiPid) override;
    android::hardware::Return<void> onRunMultiPidZULCallback(
            const android::hardware::hidl_string& sceneType, int64_t flag,
            const android::hardware::hidl_string& multiPid,
            const android::hardware::hidl_string& extraInfo) override;

  private:
    android::sp<ZulService> mService;
};

}  // namespace zul
