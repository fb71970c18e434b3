// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stdint.h>
#include <transport/Message.h>
#include <utils/RefBase.h>

#include <memory>
#include <string>

namespace transport {
class Object;
class Remote;
}  // namespace transport

namespace android::hidl::manager::V1_0 {
struct IServiceNotification;
}

namespace android::hidl::base::V1_0 {

/**
 * Base of all HIDL interfaces. Implementations are called from several threads at once. The names
 * that begin with `_hidl_` are for the interface stubs only.
 */
struct IBase : virtual public ::android::RefBase {
    /**
     * Notifies `recipient` once when the process of this object is gone, and starts the pool for
     * that. The proxy holds the recipient weakly; its own end unlinks in silence. False when such a
     * notice has been given already. An object of this process accepts and never calls.
     */
    virtual ::android::hardware::Return<bool> linkToDeath(
            const sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t cookie);

    /** Full name of the most derived interface. */
    virtual const char* _hidl_descriptor() const = 0;
    /** Serves one call whose interface token has been read. */
    virtual status_t _hidl_serve(uint32_t code, const ::transport::Message& request,
                                 ::transport::Message& reply) = 0;
    /** What travels for this object. */
    virtual std::shared_ptr<::transport::Object> _hidl_object();
};

}  // namespace android::hidl::base::V1_0

namespace android::hardware::details {

/** See `IBase`; `who` is the proxy of `remote`. */
bool linkToDeath(hidl::base::V1_0::IBase* who, transport::Remote& remote,
                 const wp<hidl_death_recipient>& recipient, uint64_t cookie);

/** Offers `service` to all processes, where the instance is declared; see `Domain::publish()`. */
status_t registerService(const sp<hidl::base::V1_0::IBase>& service, const std::string& instance);

/** Waits for a declared instance; any other gives null when no process offers it. */
std::shared_ptr<::transport::Object> findService(const char* descriptor,
                                                 const std::string& instance);

/** See `IServiceManager::registerForNotifications()` of the platform; starts the pool. */
bool registerForNotifications(const char* descriptor, const std::string& instance,
                              const sp<hidl::manager::V1_0::IServiceNotification>& notification);

/** The object of this process behind `object` if it implements `descriptor`, else null. */
hidl::base::V1_0::IBase* localInterface(::transport::Object& object, const char* descriptor);

}  // namespace android::hardware::details
