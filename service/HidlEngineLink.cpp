// SPDX-License-Identifier: Apache-2.0

#include <android/hidl/manager/1.0/IServiceNotification.h>
#include <hidl/HidlSupport.h>
#include <hidl/HidlTransportSupport.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <condition_variable>
#include <mutex>

#include "base/Log.h"
#include "callbacks/ZulCallBack.h"
#include "service/EngineLink.h"
#include "service/EngineWatch.h"
#include "service/ZulService.h"

namespace zul {

namespace {

using android::sp;
using android::wp;
using android::hardware::hidl_death_recipient;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;
using android::hidl::manager::V1_0::IServiceNotification;
using Engine = ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul;

class DeathRecipient : public hidl_death_recipient {
  public:
    void serviceDied(uint64_t /* cookie */, const wp<IBase>& /* who */) override {
        EngineWatch::get().engineDied();
    }
};

/** Counts how often the engine was offered. */
class Arrivals : public IServiceNotification {
  public:
    Return<void> onRegistration(const hidl_string& /* fqName */, const hidl_string& /* name */,
                                bool /* preexisting */) override {
        {
            const std::lock_guard<std::mutex> lock(mLock);
            mCount++;
        }
        mChanged.notify_all();
        return Void();
    }

    uint64_t count() {
        const std::lock_guard<std::mutex> lock(mLock);
        return mCount;
    }

    void waitForMoreThan(uint64_t seen) {
        std::unique_lock<std::mutex> lock(mLock);
        mChanged.wait(lock, [this, seen] { return mCount > seen; });
    }

  private:
    std::mutex mLock;  // guards mCount
    std::condition_variable mChanged;
    uint64_t mCount = 0;
};

class HidlEngineLink : public EngineLink {
  public:
    Outcome registerCallbacks() override {
        mSeen = mArrivals->count();
        mEngine = findEngine([] { return Engine::getService("default", false); });
        if (mEngine == nullptr) {
            LOGE("service is still nullptr after 10 attempts, return -1");
            return Outcome::NOT_FOUND;
        }

        // A failed Return that nobody checks ends the process.
        const Return<int32_t> threadNumber = mEngine->getThreadNumber();
        if (!threadNumber.isOk()) {
            LOGE("engine gave no thread number: %s", threadNumber.description().c_str());
            return Outcome::NO_ANSWER;
        }
        const int32_t count = threadNumber;
        LOG_DUMP("hwbinder thread number=%d", count);
        android::hardware::configureRpcThreadpool(poolSizeFor(count), true /* callerWillJoin */);

        for (int32_t i = 0; i < count; i++) {
            const sp<ZulCallBack> adapter = new ZulCallBack(new ZulService());
            (void)mEngine->registerClientCallback(adapter).isOk();
        }
        return Outcome::REGISTERED;
    }

    bool linkToDeath() override {
        // The watch may be told, and look for the next engine, before this one's call returns.
        const sp<Engine> engine = mEngine;
        return engine->linkToDeath(mRecipient, 0).withDefault(false);
    }

    void waitForEngine() override {
        // Told at once when the engine has come since the last attempt.
        if (!mToldOfArrivals)
            mToldOfArrivals = Engine::registerForNotifications("default", mArrivals);
        if (mToldOfArrivals) mArrivals->waitForMoreThan(mSeen);
    }

  private:
    sp<Engine> mEngine;
    /** Kept here, because the engine's proxy does not. */
    const sp<DeathRecipient> mRecipient = new DeathRecipient();
    const sp<Arrivals> mArrivals = new Arrivals();
    bool mToldOfArrivals = false;
    /** Arrivals before the last look-up. */
    uint64_t mSeen = 0;
};

}  // namespace

EngineLink& hidlEngineLink() {
    static EngineLink& link = *new HidlEngineLink();
    return link;
}

}  // namespace zul
