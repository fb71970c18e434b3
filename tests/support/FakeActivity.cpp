// SPDX-License-Identifier: Apache-2.0

#include "tests/support/FakeActivity.h"

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <gtest/gtest.h>

namespace zul::test {

using android::String16;

FakeActivity& FakeActivity::get() {
    static const android::sp<FakeActivity> activity = [] {
        const android::sp<FakeActivity> fresh = new FakeActivity();
        const auto manager = android::defaultServiceManager();
        EXPECT_EQ(manager->addService(String16("activity"), fresh), android::OK);
        return fresh;
    }();
    return *activity;
}

android::status_t FakeActivity::onTransact(uint32_t code, const android::Parcel& data,
                                           android::Parcel* reply, uint32_t flags) {
    EXPECT_EQ(code, 13152u);
    EXPECT_EQ(flags, 0u);
    EXPECT_TRUE(data.enforceInterface(String16("android.app.IActivityManager")));
    mAskedPid = data.readInt32();
    if (mOnQuery) mOnQuery();
    if (mStatus == android::OK) reply->writeString16(String16(mPackage.c_str()));
    return mStatus;
}

}  // namespace zul::test
