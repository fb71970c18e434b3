// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace android::hidl::manager::V1_0 {

/** Notified of new services; see the static `registerForNotifications()` of an interface. */
struct IServiceNotification : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    /**
     * The interface `fqName` is offered as the instance `name`. `preexisting`: it was when the
     * notices were asked for. Called on threads of the pool, with no lock held.
     */
    virtual ::android::hardware::Return<void> onRegistration(
            const ::android::hardware::hidl_string& fqName,
            const ::android::hardware::hidl_string& name, bool preexisting) = 0;

    const char* _hidl_descriptor() const override { return descriptor; }
    ::android::status_t _hidl_serve(uint32_t code, const ::transport::Message& request,
                                    ::transport::Message& reply) override;
};

}  // namespace android::hidl::manager::V1_0
