// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <utils/RefBase.h>

#include <string>

namespace android::hidl::base::V1_0 {
struct IBase;
}

namespace android::hardware {

/** Notified of the death of processes; see `IBase::linkToDeath()`. */
struct hidl_death_recipient : public virtual RefBase {
    /**
     * The process of `who`, which may be gone already, has ended. `cookie` is what was linked with.
     * Called on a thread of the pool, with no lock held.
     */
    virtual void serviceDied(uint64_t cookie,
                             const ::android::wp<::android::hidl::base::V1_0::IBase>& who) = 0;
};

/** Text of a HIDL call. Owns its bytes; a null pointer makes it empty. */
class hidl_string {
  public:
    hidl_string() = default;
    hidl_string(const char* text) : mText(text != nullptr ? text : "") {}
    hidl_string(const char* text, size_t length) : mText(text, length) {}
    hidl_string(const std::string& text) : mText(text) {}

    const char* c_str() const { return mText.c_str(); }
    size_t size() const { return mText.size(); }
    operator std::string() const { return mText; }

    bool operator==(const hidl_string& other) const = default;

  private:
    std::string mText;
};

inline bool operator==(const hidl_string& text, const char* other) {
    return text == hidl_string(other);
}

namespace details {

/** Writes one fatal line and ends the process. */
[[noreturn]] void logAlwaysFatal(const char* message);

}  // namespace details

}  // namespace android::hardware
