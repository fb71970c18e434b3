// SPDX-License-Identifier: Apache-2.0
#include <hidl/HidlTransportSupport.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZulClientCallback.h>

#include <atomic>

#include "sim/engine/CallWith.h"
#include "sim/engine/EngineCore.h"

namespace sim {
namespace {

using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul;
using ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZulClientCallback;

constexpr size_t kPoolThreads = 4;

class HidlSink final : public EventSink {
  public:
    explicit HidlSink(const sp<IZulClientCallback>& callback) : mCallback(callback) {}

    Delivery deliver(const Event& event) override {
        ++mInFlight;
        const Return<void> result = callWith(*mCallback, event);
        --mInFlight;
        return {result.isOk(), result.isOk() ? "" : result.description()};
    }
    // A client at work may have no thread left for a ping, and its answer tells of its end anyway.
    bool isAlive() override { return mInFlight > 0 || !mCallback->ping().isDeadObject(); }

  private:
    const sp<IZulClientCallback> mCallback;
    std::atomic<int> mInFlight{0};
};

class HidlEngine final : public IZul {
  public:
    explicit HidlEngine(EngineCore& core) : mCore(core) {}

    Return<void> reserved1() override { return Void(); }
    Return<void> reserved2() override { return Void(); }
    Return<void> reserved3() override { return Void(); }
    Return<void> reserved4() override { return Void(); }
    Return<int32_t> getThreadNumber() override { return mCore.getThreadNumber(); }
    Return<void> registerClientCallback(const sp<IZulClientCallback>& callback) override {
        if (callback != nullptr) {
            mCore.registerCallback(std::make_shared<HidlSink>(callback));
        }
        return Void();
    }

  private:
    EngineCore& mCore;
};

}  // namespace

std::string publishHidl(EngineCore& core) {
    android::hardware::configureRpcThreadpool(kPoolThreads, false);
    // The service manager holds no reference of its own, so the engine's object must stay.
    static const sp<IZul> engine = new HidlEngine(core);
    const android::status_t error = engine->registerAsService("default");
    return describePublishing(std::string(IZul::descriptor) + "/default", error,
                              android::ALREADY_EXISTS);
}

}  // namespace sim
