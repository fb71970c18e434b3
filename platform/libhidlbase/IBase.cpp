// SPDX-License-Identifier: Apache-2.0
#include <android/hidl/base/1.0/IBase.h>
#include <android/log.h>
#include <string.h>
#include <transport/Domain.h>
#include <transport/Object.h>

#include <string_view>

using ::android::hidl::base::V1_0::IBase;
using ::transport::Domain;
using ::transport::Message;
using ::transport::Object;

namespace android::hardware::details {

namespace {

/** Holds a local implementation for the processes that have it. */
class LocalNode final : public Object {
  public:
    explicit LocalNode(IBase* interface) : mInterface(interface) {}

    status_t deliver(uint32_t code, Message&& request, Message& reply) override {
        if (code == kPingTransaction) return OK;
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
    return Domain::hwbinder().publish(serviceName(service->_hidl_descriptor(), instance),
                                      service->_hidl_object());
}

std::shared_ptr<Object> findService(const char* descriptor, const std::string& instance) {
    return Domain::hwbinder().lookup(serviceName(descriptor, instance));
}

IBase* localInterface(Object& object, const char* descriptor) {
    auto* interface = static_cast<IBase*>(object.local());
    if (interface == nullptr || strcmp(interface->_hidl_descriptor(), descriptor) != 0) {
        return nullptr;
    }
    return interface;
}

}  // namespace android::hardware::details

namespace android::hidl::base::V1_0 {

std::shared_ptr<Object> IBase::_hidl_object() {
    // Whoever gets the object may call it.
    Domain::hwbinder().startThreads();
    std::lock_guard lock(mNodeLock);
    std::shared_ptr<Object> node = mNode.lock();
    if (node == nullptr) {
        node = std::make_shared<hardware::details::LocalNode>(this);
        mNode = node;
    }
    return node;
}

}  // namespace android::hidl::base::V1_0
