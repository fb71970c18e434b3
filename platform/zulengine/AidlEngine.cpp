// SPDX-License-Identifier: Apache-2.0
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZulClientCallback.h>

#include "Dispatch.h"
#include "NdkMarshalling.h"
#include "TransactionCodes.h"

using namespace aidl_codes;
using ::ndk::ICInterface;
using ::ndk::ScopedAStatus;
using ::ndk::SpAIBinder;
using ::ndk::details::call;
using ::ndk::details::query;
using ::ndk::details::serve;

namespace aidl::vendor::morvantic::hardware::zul::zulengine {

const char* IZul::descriptor = "vendor.morvantic.hardware.zul.zulengine.IZul";
const char* IZulClientCallback::descriptor =
        "vendor.morvantic.hardware.zul.zulengine.IZulClientCallback";

// Of the package, so both interfaces have the same. Other static objects may use them already.
[[gnu::init_priority(101)]] const std::string IZul::hash =
        "ce8cabb4c60d35a3ab43972eac4b5599a2a10eed";
[[gnu::init_priority(101)]] const std::string IZulClientCallback::hash = IZul::hash;

namespace {

/** Calls of another process's object. All interfaces have the same codes for their version. */
template <typename Interface>
class Proxy : public ::ndk::BpCInterface<Interface> {
  public:
    using ::ndk::BpCInterface<Interface>::BpCInterface;

    ScopedAStatus getInterfaceVersion(int32_t* version) override {
        return query(this->asBinder(), IZul_getInterfaceVersion, version);
    }
    ScopedAStatus getInterfaceHash(std::string* hash) override {
        return query(this->asBinder(), IZul_getInterfaceHash, hash);
    }
};

class BpZul final : public Proxy<IZul> {
  public:
    using Proxy::Proxy;

    ScopedAStatus getThreadNumber(int32_t* number) override {
        return query(asBinder(), IZul_getThreadNumber, number);
    }
    ScopedAStatus registerClientCallback(
            const std::shared_ptr<IZulClientCallback>& callback) override {
        return call(asBinder(), IZul_registerClientCallback, callback);
    }
};

class BpZulClientCallback final : public Proxy<IZulClientCallback> {
  public:
    using Proxy::Proxy;

    ScopedAStatus onRunMultiPidZULCallback(const std::string& sceneType, int64_t flag,
                                           const std::string& multiPid,
                                           const std::string& extraInfo) override {
        return call(asBinder(), IZulClientCallback_onRunMultiPidZULCallback, sceneType, flag,
                    multiPid, extraInfo);
    }
    ScopedAStatus onRunSimpMultiPidZULCallback(const std::string& sceneType,
                                               const std::string& multiPid) override {
        return call(asBinder(), IZulClientCallback_onRunSimpMultiPidZULCallback, sceneType,
                    multiPid);
    }
    ScopedAStatus onRunSimpZULCallback(const std::string& sceneType, int32_t pid) override {
        return call(asBinder(), IZulClientCallback_onRunSimpZULCallback, sceneType, pid);
    }
    ScopedAStatus onRunZULCallback(const std::string& sceneType, int64_t flag, int32_t pid,
                                   const std::string& extraInfo) override {
        return call(asBinder(), IZulClientCallback_onRunZULCallback, sceneType, flag, pid,
                    extraInfo);
    }
};

constexpr std::tuple kEngineMethods(std::pair(IZul_getThreadNumber, &IZul::getThreadNumber),
                                    std::pair(IZul_registerClientCallback,
                                              &IZul::registerClientCallback),
                                    std::pair(IZul_getInterfaceVersion, &IZul::getInterfaceVersion),
                                    std::pair(IZul_getInterfaceHash, &IZul::getInterfaceHash));

using I = IZulClientCallback;
constexpr std::tuple kCallbackMethods(
        std::pair(IZulClientCallback_onRunMultiPidZULCallback, &I::onRunMultiPidZULCallback),
        std::pair(IZulClientCallback_onRunSimpMultiPidZULCallback,
                  &I::onRunSimpMultiPidZULCallback),
        std::pair(IZulClientCallback_onRunSimpZULCallback, &I::onRunSimpZULCallback),
        std::pair(IZulClientCallback_onRunZULCallback, &I::onRunZULCallback),
        std::pair(IZulClientCallback_getInterfaceVersion, &I::getInterfaceVersion),
        std::pair(IZulClientCallback_getInterfaceHash, &I::getInterfaceHash));

template <typename Interface, const auto& kMethods>
binder_status_t serveInterface(AIBinder* binder, transaction_code_t code, const AParcel* in,
                               AParcel* out) {
    const auto self = std::static_pointer_cast<Interface>(ICInterface::asInterface(binder));
    return dispatch(code, kMethods, STATUS_UNKNOWN_TRANSACTION,
                    [&](auto method) { return serve(*self, method, in, out); });
}

AIBinder_Class* const gEngineClass =
        ICInterface::defineClass(IZul::descriptor, serveInterface<IZul, kEngineMethods>);
AIBinder_Class* const gCallbackClass =
        ICInterface::defineClass(I::descriptor, serveInterface<I, kCallbackMethods>);

template <typename Interface, typename Proxy>
std::shared_ptr<Interface> fromBinderOf(const SpAIBinder& binder, const AIBinder_Class* clazz) {
    if (!AIBinder_associateClass(binder.get(), clazz)) return nullptr;
    if (std::shared_ptr<ICInterface> own = ICInterface::asInterface(binder.get())) {
        return std::static_pointer_cast<Interface>(own);
    }
    return ::ndk::SharedRefBase::make<Proxy>(binder);
}

SpAIBinder newBinder(const AIBinder_Class* clazz, ICInterface* implementation) {
    return SpAIBinder(AIBinder_new(clazz, implementation));
}

}  // namespace

std::shared_ptr<IZul> IZul::fromBinder(const SpAIBinder& binder) {
    return fromBinderOf<IZul, BpZul>(binder, gEngineClass);
}

std::shared_ptr<IZulClientCallback> IZulClientCallback::fromBinder(const SpAIBinder& binder) {
    return fromBinderOf<IZulClientCallback, BpZulClientCallback>(binder, gCallbackClass);
}

SpAIBinder BnZul::createBinder() {
    return newBinder(gEngineClass, this);
}

SpAIBinder BnZulClientCallback::createBinder() {
    return newBinder(gCallbackClass, this);
}

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
