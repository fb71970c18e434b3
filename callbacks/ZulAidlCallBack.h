// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZulClientCallback.h>

#include "service/ZulService.h"

namespace zul {

/** The same as ZulCallBack, for AIDL. */
class ZulAidlCallBack
      : public ::aidl::vendor::morvantic::hardware::zul::zulengine::BnZulClientCallback {
  public:
    explicit ZulAidlCallBack(ZulService* service);
    ~ZulAidlCallBack() override;

    ndk::ScopedAStatus onRunMultiPidZULCallback(const std::string& sceneType, int64_t flag,
                                                const std::string& multiPid,
                                                const std::string& extraInfo) override;
    ndk::ScopedAStatus onRunSimpMultiPidZULCallback(const std::string& sceneType,
                                                    const std::string& multiPid) override;
    ndk::ScopedAStatus onRunSimpZULCallback(const std::string& sceneType, int32_t pid) override;
    ndk::ScopedAStatus onRunZULCallback(const std::string& sceneType, int64_t flag, int32_t pid,
                                        const std::string& extraInfo) override;

  private:
    android::sp<ZulService> mService;
};

}  // namespace zul
