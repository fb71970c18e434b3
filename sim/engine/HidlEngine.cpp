// SPDX-License-Identifier: Apache-2.0
#include <hidl/HidlTransportSupport.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZulClientCallback.h>

#include "sim/engine/CallWith.h"
#include "sim/engine/EngineCore.h"

namespace sim {
namespace {

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
using ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul;
using ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZulClientCallback;

constexpr size_t kPoolThreads = 4;

class HidlSink final : public EventSink {
  public:
    explicit HidlSink(const sp<IZulClientCallback>& callback) : mCallback(callback) {}

    Delivery deliver(const Event& event) override {
        const Return<void> result = callWith(*mCallback, event);
        return {result.isOk(), result.isOk() ? "" : result.description()};
    }

  private:
    const sp<IZulClientCallback> mCallback;
};

/** Forgets the callbacks of clients that end; the cookie is a callback's key. */
class ClientDeath final : public hidl_death_recipient {
  public:
    explicit ClientDeath(CallbackList& callbacks) : mCallbacks(callbacks) {}

    void serviceDied(uint64_t cookie, const wp<IBase>&) override { mCallbacks.remove(cookie); }

  private:
    CallbackList& mCallbacks;
};

class HidlEngine final : public IZul {
  public:
    explicit HidlEngine(EngineCore& core)
          : mCore(core), mDeath(new ClientDeath(core.callbacks())) {}

    Return<void> reserved1() override { return Void(); }
    Return<void> reserved2() override { return Void(); }
    Return<void> reserved3() override { return Void(); }
    Return<void> reserved4() override { return Void(); }
    Return<int32_t> getThreadNumber() override { return mCore.getThreadNumber(); }
    Return<void> registerClientCallback(const sp<IZulClientCallback>& callback) override {
        if (callback == nullptr) {
            return Void();
        }
        const uint64_t key = mCore.registerCallback(std::make_shared<HidlSink>(callback));
        if (!callback->linkToDeath(mDeath, key).withDefault(false)) {
            mCore.callbacks().remove(key);
        }
        return Void();
    }

  private:
    EngineCore& mCore;
    const sp<ClientDeath> mDeath;
};

}  // namespace

std::string publishHidl(EngineCore& core) {
    android::hardware::configureRpcThreadpool(kPoolThreads, false);
    // The service manager holds no reference, so the engine's object must stay.
    static const sp<IZul> engine = new HidlEngine(core);
    const android::status_t error = engine->registerAsService("default");
    return describePublishing(std::string(IZul::descriptor) + "/default", error,
                              android::ALREADY_EXISTS);
}

}  // namespace sim
