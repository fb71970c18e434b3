// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <stdint.h>

namespace vendor::morvantic::hardware::zul::zulengine::V1_0 {

/** What a client of the engine offers: one call per event, which returns when it is dealt with. */
struct IZulClientCallback : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> onRunSimpZULCallback(
            const ::android::hardware::hidl_string& sceneType, int32_t pid) = 0;
    virtual ::android::hardware::Return<void> onRunZULCallback(
            const ::android::hardware::hidl_string& sceneType, int64_t flag, int32_t pid,
            const ::android::hardware::hidl_string& extraInfo) = 0;
    virtual ::android::hardware::Return<void> onRunSimpMultiPidZULCallback(
            const ::android::hardware::hidl_string& sceneType,
            const ::android::hardware::hidl_string& multiPid) = 0;
    virtual ::android::hardware::Return<void> onRunMultiPidZULCallback(
            const ::android::hardware::hidl_string& sceneType, int64_t flag,
            const ::android::hardware::hidl_string& multiPid,
            const ::android::hardware::hidl_string& extraInfo) = 0;

    const char* _hidl_descriptor() const override { return descriptor; }
    ::android::status_t _hidl_serve(uint32_t code, const ::transport::Message& request,
                                    ::transport::Message& reply) override;
};

}  // namespace vendor::morvantic::hardware::zul::zulengine::V1_0
