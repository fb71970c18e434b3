// SPDX-License-Identifier: Apache-2.0

#include <hidl/HidlSupport.h>
#include <hidl/HidlTransportSupport.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include "base/Log.h"
#include "callbacks/ZulCallBack.h"
#include "service/EngineLink.h"
#include "service/ZulService.h"

namespace zul {

namespace {

using android::sp;
using android::wp;
using android::hardware::hidl_death_recipient;
using android::hardware::Return;
using android::hidl::base::V1_0::IBase;
using Engine = ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul;

class DeathRecipient : public hidl_death_recipient {
  public:
    void serviceDied(uint64_t /* cookie */, const wp<IBase>& /* who */) override {
        engineDied(hidlEngineLink());
    }
};

class HidlEngineLink : public EngineLink {
  public:
    bool find() override {
        mEngine = Engine::getService("default", false);
        return mEngine != nullptr;
    }

    // The platform ends the process when a failed Return goes away unchecked.
    Answer registerCallbacks() override {
        const Return<int32_t> threadNumber = mEngine->getThreadNumber();
        if (!threadNumber.isOk()) {
            LOGE("engine gave no thread number: %s", threadNumber.description().c_str());
            return Answer::NO_NUMBER;
        }
        const int32_t count = threadNumber;
        LOG_DUMP("hwbinder thread number=%d", count);
        takeThreadNumber(count);
        android::hardware::configureRpcThreadpool(poolSize(), true /* callerWillJoin */);

        bool gone = false;
        for (int32_t i = 0; i < count; i++) {
            const sp<ZulCallBack> adapter = new ZulCallBack(new ZulService());
            gone = mEngine->registerClientCallback(adapter).isDeadObject();
        }
        return gone ? Answer::GONE : Answer::REGISTERED;
    }

    bool linkToDeath() override {
        // The notice may come, and another thread find the next engine, before the call returns.
        const sp<Engine> engine = mEngine;
        return engine->linkToDeath(mRecipient, 0).withDefault(false);
    }

  private:
    sp<Engine> mEngine;
    /** Kept here, because the engine's proxy does not. */
    const sp<DeathRecipient> mRecipient = new DeathRecipient();
};

}  // namespace

EngineLink& hidlEngineLink() {
    static EngineLink& link = *new HidlEngineLink();
    return link;
}

}  // namespace zul
