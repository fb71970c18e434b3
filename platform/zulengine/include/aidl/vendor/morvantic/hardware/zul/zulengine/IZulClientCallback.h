// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_interface_utils.h>
#include <stdint.h>

#include <memory>
#include <string>

namespace aidl::vendor::morvantic::hardware::zul::zulengine {

/** What a client of the engine offers: one call per event, which returns when it is dealt with. */
class IZulClientCallback : public ::ndk::ICInterface {
  public:
    static const char* descriptor;
    static const int32_t version = 1;
    /** Hash of the frozen interface files of this version. */
    static const std::string hash;

    /** The implementation or a new proxy; null when the object's interface is another one. */
    static std::shared_ptr<IZulClientCallback> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus onRunMultiPidZULCallback(const std::string& sceneType,
                                                          int64_t flag, const std::string& multiPid,
                                                          const std::string& extraInfo) = 0;
    virtual ::ndk::ScopedAStatus onRunSimpMultiPidZULCallback(const std::string& sceneType,
                                                              const std::string& multiPid) = 0;
    virtual ::ndk::ScopedAStatus onRunSimpZULCallback(const std::string& sceneType,
                                                      int32_t pid) = 0;
    virtual ::ndk::ScopedAStatus onRunZULCallback(const std::string& sceneType, int64_t flag,
                                                  int32_t pid, const std::string& extraInfo) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* version) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* hash) = 0;
};

}  // namespace aidl::vendor::morvantic::hardware::zul::zulengine
