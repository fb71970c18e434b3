// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stdint.h>
#include <transport/Message.h>
#include <utils/RefBase.h>

#include <memory>
#include <mutex>
#include <string>

namespace transport {
class Object;
}

namespace android::hidl::base::V1_0 {

/**
 * Base of all HIDL interfaces. Implementations are called from several threads at once. The names
 * that begin with `_hidl_` are for the interface stubs only.
 */
struct IBase : virtual public ::android::RefBase {
    /** True for a proxy. */
    virtual bool isRemote() const { return false; }
    virtual ::android::hardware::Return<void> ping() { return ::android::hardware::Void(); }

    /** Full name of the most derived interface. */
    virtual const char* _hidl_descriptor() const = 0;
    /** Serves one call whose interface token has been read. */
    virtual status_t _hidl_serve(uint32_t code, const ::transport::Message& request,
                                 ::transport::Message& reply) = 0;
    /** What travels for this object. */
    virtual std::shared_ptr<::transport::Object> _hidl_object();

  private:
    // While other processes hold this object, the node does, and they see one and the same.
    std::mutex mNodeLock;
    std::weak_ptr<::transport::Object> mNode;
};

}  // namespace android::hidl::base::V1_0

namespace android::hardware::details {

/** Code of `IBase::ping()`, the same for every interface. */
inline constexpr uint32_t kPingTransaction = 256921159;

/** Offers `service` to all processes; see `Domain::publish()` for the failures. */
status_t registerService(const sp<hidl::base::V1_0::IBase>& service, const std::string& instance);

/** Null when no process offers the instance; starts nothing and waits for nothing. */
std::shared_ptr<::transport::Object> findService(const char* descriptor,
                                                 const std::string& instance);

/** The object of this process behind `object` if it implements `descriptor`, else null. */
hidl::base::V1_0::IBase* localInterface(::transport::Object& object, const char* descriptor);

}  // namespace android::hardware::details
