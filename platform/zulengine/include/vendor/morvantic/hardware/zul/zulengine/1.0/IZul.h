// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <android/hidl/manager/1.0/IServiceNotification.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stdint.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZulClientCallback.h>

#include <string>

namespace vendor::morvantic::hardware::zul::zulengine::V1_0 {

/** The engine: it decides when something is worth capturing and tells its clients. */
struct IZul : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> reserved1() = 0;
    virtual ::android::hardware::Return<void> reserved2() = 0;
    virtual ::android::hardware::Return<void> reserved3() = 0;
    virtual ::android::hardware::Return<void> reserved4() = 0;
    virtual ::android::hardware::Return<int32_t> getThreadNumber() = 0;
    virtual ::android::hardware::Return<void> registerClientCallback(
            const ::android::sp<IZulClientCallback>& callback) = 0;

    /**
     * Waits for an instance that the device's manifest declares, however long that takes; any other
     * gives null at once when nobody offers it. There is no implementation to load into the caller's
     * process, so `getStub` gives null.
     */
    static ::android::sp<IZul> getService(const std::string& serviceName = "default",
                                          bool getStub = false);

    /**
     * Has `notification`, which is kept, told of each process that offers the instance, and at once
     * when one does already.
     */
    static bool registerForNotifications(
            const std::string& serviceName,
            const ::android::sp<::android::hidl::manager::V1_0::IServiceNotification>&
                    notification);

    /** Offers this object for the life of the process; fails where no manifest declares the instance. */
    __attribute__((warn_unused_result)) ::android::status_t registerAsService(
            const std::string& serviceName = "default");

    const char* _hidl_descriptor() const override { return descriptor; }
    ::android::status_t _hidl_serve(uint32_t code, const ::transport::Message& request,
                                    ::transport::Message& reply) override;
};

}  // namespace vendor::morvantic::hardware::zul::zulengine::V1_0
