// SPDX-License-Identifier: Apache-2.0
#include <android/hidl/base/1.0/IBase.h>
#include <android/hidl/manager/1.0/IServiceNotification.h>
#include <android/log.h>
#include <string.h>
#include <transport/Domain.h>
#include <transport/Object.h>

#include <string_view>

using ::android::hidl::base::V1_0::IBase;
using ::android::hidl::manager::V1_0::IServiceNotification;
using ::transport::Domain;
using ::transport::Message;
using ::transport::Object;

namespace android::hardware::details {

namespace {

constexpr char kManagementTag[] = "HidlServiceManagement";

/** Holds a local implementation for the processes that have it. */
class LocalNode final : public Object {
  public:
    explicit LocalNode(IBase* interface) : mInterface(interface) {}

    status_t deliver(uint32_t code, Message&& request, Message& reply) override {
        const std::string_view expected = mInterface->_hidl_descriptor();
        const auto* token = static_cast<const char*>(request.readInPlace(expected.size() + 1));
        if (token == nullptr || memcmp(token, expected.data(), expected.size() + 1) != 0) {
            __android_log_print(ANDROID_LOG_ERROR, "HidlSupport",
                                "call for another interface came to %s", expected.data());
            return BAD_TYPE;
        }
        return mInterface->_hidl_serve(code, request, reply);
    }
    void* local() override { return mInterface.get(); }

  private:
    const sp<IBase> mInterface;
};

std::string serviceName(const char* descriptor, const std::string& instance) {
    return std::string(descriptor) + "/" + instance;
}

}  // namespace

status_t registerService(const sp<IBase>& service, const std::string& instance) {
    const std::string name = serviceName(service->_hidl_descriptor(), instance);
    if (!Domain::isDeclared(name)) {
        __android_log_print(ANDROID_LOG_ERROR, kManagementTag,
                            "Service %s must be in VINTF manifest in order to register/get.",
                            name.c_str());
        return UNKNOWN_ERROR;
    }
    return Domain::hwbinder().publish(name, service->_hidl_object());
}

std::shared_ptr<Object> findService(const char* descriptor, const std::string& instance) {
    const std::string name = serviceName(descriptor, instance);
    if (!Domain::isDeclared(name)) return Domain::hwbinder().lookup(name);
    return Domain::hwbinder().waitFor(name, [&name] {
        __android_log_print(ANDROID_LOG_WARN, kManagementTag, "Waited one second for %s",
                            name.c_str());
    });
}

IBase* localInterface(Object& object, const char* descriptor) {
    auto* interface = static_cast<IBase*>(object.local());
    if (interface == nullptr || strcmp(interface->_hidl_descriptor(), descriptor) != 0) {
        return nullptr;
    }
    return interface;
}

bool registerForNotifications(const char* descriptor, const std::string& instance,
                              const sp<IServiceNotification>& notification) {
    if (notification == nullptr) return false;
    Domain::hwbinder().startThreads();
    return Domain::hwbinder().notify(serviceName(descriptor, instance), [=](bool preexisting) {
        notification->onRegistration(descriptor, instance, preexisting).assertOk();
    });
}

bool linkToDeath(IBase* who, transport::Remote& remote, const wp<hidl_death_recipient>& recipient,
                 uint64_t cookie) {
    if (recipient.promote() == nullptr) return false;
    Domain::hwbinder().startThreads();
    const auto onDeath = [who = wp<IBase>(who), recipient, cookie] {
        const sp<hidl_death_recipient> told = recipient.promote();
        if (told != nullptr) told->serviceDied(cookie, who);
    };
    return remote.linkToDeath(onDeath) == OK;
}

}  // namespace android::hardware::details

namespace android::hidl::manager::V1_0 {

const char* IServiceNotification::descriptor = "android.hidl.manager@1.0::IServiceNotification";

status_t IServiceNotification::_hidl_serve(uint32_t, const Message&, Message&) {
    // The notices come from this process.
    return UNKNOWN_TRANSACTION;
}

}  // namespace android::hidl::manager::V1_0

namespace android::hidl::base::V1_0 {

hardware::Return<bool> IBase::linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                          uint64_t) {
    return recipient != nullptr;
}

std::shared_ptr<Object> IBase::_hidl_object() {
    // Whoever gets the object may call it.
    Domain::hwbinder().startThreads();
    return std::make_shared<hardware::details::LocalNode>(this);
}

}  // namespace android::hidl::base::V1_0
