// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZulClientCallback.h>
#include <android/binder_interface_utils.h>

namespace aidl::vendor::morvantic::hardware::zul::zulengine {

/** Base of an engine's clients. */
class BnZulClientCallback : public ::ndk::BnCInterface<IZulClientCallback> {
  public:
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* result) final {
        *result = version;
        return ::ndk::ScopedAStatus::ok();
    }
    ::ndk::ScopedAStatus getInterfaceHash(std::string* result) final {
        *result = hash;
        return ::ndk::ScopedAStatus::ok();
    }

  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
