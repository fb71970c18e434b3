// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>

#include <memory>
#include <string>

#include "base/Log.h"
#include "callbacks/ZulAidlCallBack.h"
#include "service/EngineLink.h"
#include "service/ZulService.h"

namespace zul {

namespace {

using Engine = ::aidl::vendor::morvantic::hardware::zul::zulengine::IZul;

class AidlEngineLink : public EngineLink {
  public:
    // Waits for as long as it takes, unless the look-up is denied.
    bool find() override {
        const std::string name = std::string(Engine::descriptor) + "/default";
        mEngine = Engine::fromBinder(ndk::SpAIBinder(AServiceManager_waitForService(name.c_str())));
        return mEngine != nullptr;
    }

    Answer registerCallbacks() override {
        int32_t count = 0;
        const bool answered = mEngine->getThreadNumber(&count).isOk();
        LOG_DUMP("aidlbinder thread number=%d", count);
        takeThreadNumber(count);
        ABinderProcess_setThreadPoolMaxThreadCount(poolSize());
        ABinderProcess_startThreadPool();

        bool gone = false;
        for (int32_t i = 0; i < count; i++) {
            const ndk::ScopedAStatus status = mEngine->registerClientCallback(
                    ndk::SharedRefBase::make<ZulAidlCallBack>(new ZulService()));
            gone = status.getStatus() == STATUS_DEAD_OBJECT;
        }
        if (!answered) return Answer::NO_NUMBER;
        return gone ? Answer::GONE : Answer::REGISTERED;
    }

    bool linkToDeath() override {
        // The notice may come, and another thread find the next engine, before the call returns.
        const std::shared_ptr<Engine> engine = mEngine;
        const binder_status_t status =
                AIBinder_linkToDeath(engine->asBinder().get(), mRecipient.get(), nullptr);
        // An engine in this very process cannot be watched, and has no need to.
        if (status != STATUS_OK && status != STATUS_DEAD_OBJECT &&
            status != STATUS_INVALID_OPERATION) {
            LOGE("engine is not watched: status %d", status);
        }
        return status != STATUS_DEAD_OBJECT;
    }

  private:
    /** Kept, because its last reference would end the watch in silence. */
    std::shared_ptr<Engine> mEngine;
    const ndk::ScopedAIBinder_DeathRecipient mRecipient{
            AIBinder_DeathRecipient_new([](void*) { engineDied(aidlEngineLink()); })};
};

}  // namespace

EngineLink& aidlEngineLink() {
    static EngineLink& link = *new AidlEngineLink();
    return link;
}

}  // namespace zul
