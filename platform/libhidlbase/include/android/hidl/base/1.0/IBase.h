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
#include <vector>

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
    /** True for a proxy. */
    virtual bool isRemote() const { return false; }
    virtual ::android::hardware::Return<void> ping() { return ::android::hardware::Void(); }

    /**
     * Has `recipient` told once that the process of this object is gone, and starts the pool for
     * that. The proxy holds the recipient weakly; its own end unlinks in silence. False when the
     * process is known to be gone. An object of this process accepts and never calls.
     */
    virtual ::android::hardware::Return<bool> linkToDeath(
            const sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t cookie);
    /** Takes the latest link of `recipient` back; false when there is none, or it has been told. */
    virtual ::android::hardware::Return<bool> unlinkToDeath(
            const sp<::android::hardware::hidl_death_recipient>& recipient);

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

/** The death links that were made over one proxy; their end unlinks them. */
class DeathLinks {
  public:
    DeathLinks();
    ~DeathLinks();

    /** See `IBase`; `who` is the proxy of `remote`. */
    bool link(hidl::base::V1_0::IBase* who, transport::Remote& remote,
              const sp<hidl_death_recipient>& recipient, uint64_t cookie);
    bool unlink(transport::Remote& remote, const sp<hidl_death_recipient>& recipient);

  private:
    class Link;

    std::mutex mLock;  // guards what follows
    std::vector<std::shared_ptr<Link>> mLinks;
};

/** Code of `IBase::ping()`, the same for every interface. */
inline constexpr uint32_t kPingTransaction = 256921159;

/** Offers `service` to all processes; see `Domain::publish()` for the failures. */
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
