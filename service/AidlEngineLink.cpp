// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>

#include <memory>
#include <string>

#include "base/Log.h"
#include "callbacks/ZulAidlCallBack.h"
#include "service/EngineLink.h"
#include "service/EngineWatch.h"
#include "service/ZulService.h"

namespace zul {

namespace {

using Engine = ::aidl::vendor::morvantic::hardware::zul::zulengine::IZul;

class AidlEngineLink : public EngineLink {
  public:
    Outcome registerCallbacks() override {
        const std::string name = std::string(Engine::descriptor) + "/default";
        mEngine = findEngine([&name] {
            return Engine::fromBinder(
                    ndk::SpAIBinder(AServiceManager_waitForService(name.c_str())));
        });
        if (mEngine == nullptr) return Outcome::NOT_FOUND;

        int32_t count = 0;
        mEngine->getThreadNumber(&count);
        LOG_DUMP("aidlbinder thread number=%d", count);
        ABinderProcess_setThreadPoolMaxThreadCount(poolSizeFor(count));
        ABinderProcess_startThreadPool();

        for (int32_t i = 0; i < count; i++) {
            mEngine->registerClientCallback(
                    ndk::SharedRefBase::make<ZulAidlCallBack>(new ZulService()));
        }
        return Outcome::REGISTERED;
    }

    bool linkToDeath() override {
        const binder_status_t status =
                AIBinder_linkToDeath(mEngine->asBinder().get(), mRecipient.get(), nullptr);
        // An engine in this very process cannot be watched, and has no need to.
        if (status != STATUS_OK && status != STATUS_DEAD_OBJECT &&
            status != STATUS_INVALID_OPERATION) {
            LOGE("engine is not watched: status %d", status);
        }
        return status != STATUS_DEAD_OBJECT;
    }

    // The look-up itself waits for as long as it takes, or it is denied and pauses between attempts.
    void waitForEngine() override {}

  private:
    /** Kept, because its last reference would end the watch in silence. */
    std::shared_ptr<Engine> mEngine;
    const ndk::ScopedAIBinder_DeathRecipient mRecipient{
            AIBinder_DeathRecipient_new([](void*) { EngineWatch::get().engineDied(); })};
};

}  // namespace

EngineLink& aidlEngineLink() {
    static EngineLink& link = *new AidlEngineLink();
    return link;
}

}  // namespace zul
