// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZulClientCallback.h>
#include <android/binder_interface_utils.h>
#include <stdint.h>

#include <memory>
#include <string>

namespace aidl::vendor::morvantic::hardware::zul::zulengine {

/** The engine: it decides when something is worth capturing and tells its clients. */
class IZul : public ::ndk::ICInterface {
  public:
    static const char* descriptor;
    static const int32_t version = 1;
    /** Hash of the frozen interface files of this version. */
    static const std::string hash;

    /** The implementation or a new proxy; null when the object's interface is another one. */
    static std::shared_ptr<IZul> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus getThreadNumber(int32_t* number) = 0;
    virtual ::ndk::ScopedAStatus registerClientCallback(
            const std::shared_ptr<IZulClientCallback>& callback) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* version) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* hash) = 0;
};

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
