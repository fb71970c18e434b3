// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <functional>
#include <string>

namespace zul::test {

/** The platform's activity manager, in this process; offered from the first call of get() on. */
class FakeActivity : public android::BBinder {
  public:
    static FakeActivity& get();

    /** The answer to every query. */
    std::string mPackage;
    android::status_t mStatus = android::OK;
    /** The process of the last query. */
    int mAskedPid = 0;
    /** Called by every query. */
    std::function<void()> mOnQuery;

  protected:
    android::status_t onTransact(uint32_t code, const android::Parcel& data, android::Parcel* reply,
                                 uint32_t flags) override;
};

}  // namespace zul::test
