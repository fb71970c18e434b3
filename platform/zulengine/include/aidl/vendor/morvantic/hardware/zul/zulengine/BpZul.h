// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_interface_utils.h>

namespace aidl::vendor::morvantic::hardware::zul::zulengine {

/** Proxy of an engine. */
class BpZul : public ::ndk::BpCInterface<IZul> {
  public:
    using BpCInterface::BpCInterface;

    ::ndk::ScopedAStatus getThreadNumber(int32_t* number) override;
    ::ndk::ScopedAStatus registerClientCallback(
            const std::shared_ptr<IZulClientCallback>& callback) override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* version) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* hash) override;
};

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
