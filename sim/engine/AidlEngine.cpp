// SPDX-License-Identifier: Apache-2.0
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZulClientCallback.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>

#include "sim/engine/CallWith.h"
#include "sim/engine/EngineCore.h"

namespace sim {
namespace {

using ::aidl::vendor::morvantic::hardware::zul::zulengine::BnZul;
using ::aidl::vendor::morvantic::hardware::zul::zulengine::IZulClientCallback;
using ::ndk::ScopedAStatus;

constexpr uint32_t kPoolThreads = 4;

class AidlSink final : public EventSink {
  public:
    explicit AidlSink(std::shared_ptr<IZulClientCallback> callback)
          : mCallback(std::move(callback)) {}

    Delivery deliver(const Event& event) override {
        const ScopedAStatus result = callWith(*mCallback, event);
        return {result.isOk(), result.isOk() ? "" : result.getDescription()};
    }

  private:
    const std::shared_ptr<IZulClientCallback> mCallback;
};

/** Cookie of a death link: which callback goes with the client. */
struct Registration {
    CallbackList& callbacks;
    const uint64_t key;
};

class AidlEngine final : public BnZul {
  public:
    explicit AidlEngine(EngineCore& core) : mCore(core) {
        AIBinder_DeathRecipient_setOnUnlinked(
                mDeath.get(), [](void* cookie) { delete static_cast<Registration*>(cookie); });
    }

    ScopedAStatus getThreadNumber(int32_t* number) override {
        *number = mCore.getThreadNumber();
        return ScopedAStatus::ok();
    }
    ScopedAStatus registerClientCallback(
            const std::shared_ptr<IZulClientCallback>& callback) override {
        if (callback == nullptr) {
            return ScopedAStatus::ok();
        }
        const uint64_t key = mCore.registerCallback(std::make_shared<AidlSink>(callback));
        if (AIBinder_linkToDeath(callback->asBinder().get(), mDeath.get(),
                                 new Registration{mCore.callbacks(), key}) != STATUS_OK) {
            mCore.callbacks().remove(key);
        }
        return ScopedAStatus::ok();
    }

  private:
    EngineCore& mCore;
    const ndk::ScopedAIBinder_DeathRecipient mDeath{AIBinder_DeathRecipient_new([](void* cookie) {
        const auto* gone = static_cast<const Registration*>(cookie);
        gone->callbacks.remove(gone->key);
    })};
};

}  // namespace

std::string publishAidl(EngineCore& core) {
    ABinderProcess_setThreadPoolMaxThreadCount(kPoolThreads);
    ABinderProcess_startThreadPool();
    static const auto engine = ndk::SharedRefBase::make<AidlEngine>(core);
    const std::string name = std::string(AidlEngine::descriptor) + "/default";
    const binder_exception_t error =
            AServiceManager_addService(engine->asBinder().get(), name.c_str());
    return describePublishing(name, error, EX_ILLEGAL_STATE);
}

}  // namespace sim
