// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZulClientCallback.h>
#include <android/binder_interface_utils.h>

namespace aidl::vendor::morvantic::hardware::zul::zulengine {

/** Proxy of an engine's client. */
class BpZulClientCallback : public ::ndk::BpCInterface<IZulClientCallback> {
  public:
    using BpCInterface::BpCInterface;

    ::ndk::ScopedAStatus onRunMultiPidZULCallback(const std::string& sceneType, int64_t flag,
                                                  const std::string& multiPid,
                                                  const std::string& extraInfo) override;
    ::ndk::ScopedAStatus onRunSimpMultiPidZULCallback(const std::string& sceneType,
                                                      const std::string& multiPid) override;
    ::ndk::ScopedAStatus onRunSimpZULCallback(const std::string& sceneType, int32_t pid) override;
    ::ndk::ScopedAStatus onRunZULCallback(const std::string& sceneType, int64_t flag, int32_t pid,
                                          const std::string& extraInfo) override;
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* version) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* hash) override;
};

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
