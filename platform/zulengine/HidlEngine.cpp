// SPDX-License-Identifier: Apache-2.0
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZulClientCallback.h>

#include "Dispatch.h"
#include "HidlMarshalling.h"
#include "TransactionCodes.h"

using namespace hidl_codes;
using ::android::sp;
using ::android::status_t;
using ::android::hardware::hidl_string;
using ::android::hardware::Return;
using ::android::hardware::details::serve;
using ::android::hidl::manager::V1_0::IServiceNotification;
using ::transport::Message;

namespace V1_0 = ::vendor::morvantic::hardware::zul::zulengine::V1_0;

namespace android::hardware::details {

template <>
class BpHw<V1_0::IZulClientCallback> final : public BpHwBase<V1_0::IZulClientCallback> {
  public:
    using BpHwBase::BpHwBase;

    Return<void> onRunSimpZULCallback(const hidl_string& sceneType, int32_t pid) override {
        return call<void>(IZulClientCallback_onRunSimpZULCallback, sceneType, pid);
    }
    Return<void> onRunZULCallback(const hidl_string& sceneType, int64_t flag, int32_t pid,
                                  const hidl_string& extraInfo) override {
        return call<void>(IZulClientCallback_onRunZULCallback, sceneType, flag, pid, extraInfo);
    }
    Return<void> onRunSimpMultiPidZULCallback(const hidl_string& sceneType,
                                              const hidl_string& multiPid) override {
        return call<void>(IZulClientCallback_onRunSimpMultiPidZULCallback, sceneType, multiPid);
    }
    Return<void> onRunMultiPidZULCallback(const hidl_string& sceneType, int64_t flag,
                                          const hidl_string& multiPid,
                                          const hidl_string& extraInfo) override {
        return call<void>(IZulClientCallback_onRunMultiPidZULCallback, sceneType, flag, multiPid,
                          extraInfo);
    }
};

template <>
class BpHw<V1_0::IZul> final : public BpHwBase<V1_0::IZul> {
  public:
    using BpHwBase::BpHwBase;

    Return<void> reserved1() override { return call<void>(IZul_reserved1); }
    Return<void> reserved2() override { return call<void>(IZul_reserved2); }
    Return<void> reserved3() override { return call<void>(IZul_reserved3); }
    Return<void> reserved4() override { return call<void>(IZul_reserved4); }
    Return<int32_t> getThreadNumber() override { return call<int32_t>(IZul_getThreadNumber); }
    Return<void> registerClientCallback(const sp<V1_0::IZulClientCallback>& callback) override {
        return call<void>(IZul_registerClientCallback, callback);
    }
};

}  // namespace android::hardware::details

namespace vendor::morvantic::hardware::zul::zulengine::V1_0 {

const char* IZul::descriptor = "vendor.morvantic.hardware.zul.zulengine@1.0::IZul";
const char* IZulClientCallback::descriptor =
        "vendor.morvantic.hardware.zul.zulengine@1.0::IZulClientCallback";

sp<IZul> IZul::getService(const std::string& serviceName, bool getStub) {
    if (getStub) return nullptr;
    return ::android::hardware::details::interfaceOf<IZul>(
            ::android::hardware::details::findService(descriptor, serviceName));
}

bool IZul::registerForNotifications(const std::string& serviceName,
                                    const sp<IServiceNotification>& notification) {
    return ::android::hardware::details::registerForNotifications(descriptor, serviceName,
                                                                  notification);
}

status_t IZul::registerAsService(const std::string& serviceName) {
    return ::android::hardware::details::registerService(sp<IBase>(this), serviceName);
}

status_t IZul::_hidl_serve(uint32_t code, const Message& request, Message& reply) {
    constexpr std::tuple kMethods(
            std::pair(IZul_reserved1, &IZul::reserved1),
            std::pair(IZul_reserved2, &IZul::reserved2),
            std::pair(IZul_reserved3, &IZul::reserved3),
            std::pair(IZul_reserved4, &IZul::reserved4),
            std::pair(IZul_getThreadNumber, &IZul::getThreadNumber),
            std::pair(IZul_registerClientCallback, &IZul::registerClientCallback));
    return dispatch(code, kMethods, ::android::UNKNOWN_TRANSACTION,
                    [&](auto method) { return serve(this, method, request, reply); });
}

status_t IZulClientCallback::_hidl_serve(uint32_t code, const Message& request, Message& reply) {
    using Self = IZulClientCallback;
    constexpr std::tuple kMethods(
            std::pair(IZulClientCallback_onRunSimpZULCallback, &Self::onRunSimpZULCallback),
            std::pair(IZulClientCallback_onRunZULCallback, &Self::onRunZULCallback),
            std::pair(IZulClientCallback_onRunSimpMultiPidZULCallback,
                      &Self::onRunSimpMultiPidZULCallback),
            std::pair(IZulClientCallback_onRunMultiPidZULCallback,
                      &Self::onRunMultiPidZULCallback));
    return dispatch(code, kMethods, ::android::UNKNOWN_TRANSACTION,
                    [&](auto method) { return serve(this, method, request, reply); });
}

}  // namespace vendor::morvantic::hardware::zul::zulengine::V1_0
