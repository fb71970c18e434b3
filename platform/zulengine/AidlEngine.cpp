// SPDX-License-Identifier: Apache-2.0
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZulClientCallback.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BpZul.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BpZulClientCallback.h>

#include "NdkMarshalling.h"
#include "TransactionCodes.h"

using namespace aidl_codes;
using ::ndk::ICInterface;
using ::ndk::ScopedAStatus;
using ::ndk::SpAIBinder;
using ::ndk::details::call;
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

binder_status_t serveEngine(AIBinder* binder, transaction_code_t code, const AParcel* in,
                            AParcel* out) {
    const auto self = std::static_pointer_cast<IZul>(ICInterface::asInterface(binder));
    switch (code) {
        case IZul_getThreadNumber:
            return serve(*self, &IZul::getThreadNumber, in, out);
        case IZul_registerClientCallback:
            return serve(*self, &IZul::registerClientCallback, in, out);
        case IZul_getInterfaceVersion:
            return serve(*self, &IZul::getInterfaceVersion, in, out);
        case IZul_getInterfaceHash:
            return serve(*self, &IZul::getInterfaceHash, in, out);
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

binder_status_t serveCallback(AIBinder* binder, transaction_code_t code, const AParcel* in,
                              AParcel* out) {
    using I = IZulClientCallback;
    const auto self = std::static_pointer_cast<I>(ICInterface::asInterface(binder));
    switch (code) {
        case IZulClientCallback_onRunMultiPidZULCallback:
            return serve(*self, &I::onRunMultiPidZULCallback, in, out);
        case IZulClientCallback_onRunSimpMultiPidZULCallback:
            return serve(*self, &I::onRunSimpMultiPidZULCallback, in, out);
        case IZulClientCallback_onRunSimpZULCallback:
            return serve(*self, &I::onRunSimpZULCallback, in, out);
        case IZulClientCallback_onRunZULCallback:
            return serve(*self, &I::onRunZULCallback, in, out);
        case IZulClientCallback_getInterfaceVersion:
            return serve(*self, &I::getInterfaceVersion, in, out);
        case IZulClientCallback_getInterfaceHash:
            return serve(*self, &I::getInterfaceHash, in, out);
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

AIBinder_Class* const gEngineClass = ICInterface::defineClass(IZul::descriptor, serveEngine);
AIBinder_Class* const gCallbackClass =
        ICInterface::defineClass(IZulClientCallback::descriptor, serveCallback);

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

template <typename Interface>
ScopedAStatus answerVersion(int32_t* version) {
    *version = Interface::version;
    return ScopedAStatus::ok();
}

template <typename Interface>
ScopedAStatus answerHash(std::string* hash) {
    *hash = Interface::hash;
    return ScopedAStatus::ok();
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

ScopedAStatus BnZul::getInterfaceVersion(int32_t* version) {
    return answerVersion<IZul>(version);
}

ScopedAStatus BnZul::getInterfaceHash(std::string* hash) {
    return answerHash<IZul>(hash);
}

SpAIBinder BnZulClientCallback::createBinder() {
    return newBinder(gCallbackClass, this);
}

ScopedAStatus BnZulClientCallback::getInterfaceVersion(int32_t* version) {
    return answerVersion<IZulClientCallback>(version);
}

ScopedAStatus BnZulClientCallback::getInterfaceHash(std::string* hash) {
    return answerHash<IZulClientCallback>(hash);
}

ScopedAStatus BpZul::getThreadNumber(int32_t* number) {
    return call(asBinder(), IZul_getThreadNumber, number);
}

ScopedAStatus BpZul::registerClientCallback(const std::shared_ptr<IZulClientCallback>& callback) {
    return call(asBinder(), IZul_registerClientCallback, nullptr, callback);
}

ScopedAStatus BpZul::getInterfaceVersion(int32_t* version) {
    return call(asBinder(), IZul_getInterfaceVersion, version);
}

ScopedAStatus BpZul::getInterfaceHash(std::string* hash) {
    return call(asBinder(), IZul_getInterfaceHash, hash);
}

ScopedAStatus BpZulClientCallback::onRunMultiPidZULCallback(const std::string& sceneType,
                                                            int64_t flag,
                                                            const std::string& multiPid,
                                                            const std::string& extraInfo) {
    return call(asBinder(), IZulClientCallback_onRunMultiPidZULCallback, nullptr, sceneType, flag,
                multiPid, extraInfo);
}

ScopedAStatus BpZulClientCallback::onRunSimpMultiPidZULCallback(const std::string& sceneType,
                                                                const std::string& multiPid) {
    return call(asBinder(), IZulClientCallback_onRunSimpMultiPidZULCallback, nullptr, sceneType,
                multiPid);
}

ScopedAStatus BpZulClientCallback::onRunSimpZULCallback(const std::string& sceneType, int32_t pid) {
    return call(asBinder(), IZulClientCallback_onRunSimpZULCallback, nullptr, sceneType, pid);
}

ScopedAStatus BpZulClientCallback::onRunZULCallback(const std::string& sceneType, int64_t flag,
                                                    int32_t pid, const std::string& extraInfo) {
    return call(asBinder(), IZulClientCallback_onRunZULCallback, nullptr, sceneType, flag, pid,
                extraInfo);
}

ScopedAStatus BpZulClientCallback::getInterfaceVersion(int32_t* version) {
    return call(asBinder(), IZulClientCallback_getInterfaceVersion, version);
}

ScopedAStatus BpZulClientCallback::getInterfaceHash(std::string* hash) {
    return call(asBinder(), IZulClientCallback_getInterfaceHash, hash);
}

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
