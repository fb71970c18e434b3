// SPDX-License-Identifier: Apache-2.0

#include "callbacks/ZulAidlCallBack.h"
#include "callbacks/ZulCallBack.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

const std::string kTag = "0xffff0101";
const std::string kOther("0xffff0101\0x", 12);
/** Must arrive unchanged. */
const std::string kText("a | b\0c", 7);
constexpr int64_t kMask = std::numeric_limits<int64_t>::min() + 1;

class CallbackTest : public ServiceTest {
  protected:
    CallbackTest() {
        admit(kTag);
        writeTagTable("0xffff0101\tFLAG_ZUL_LOG\t\trow\t\t\n");
        orderCollector("exit 9\n");
    }

    /** Whether the call succeeded, and what became of its arguments. */
    std::string told(bool succeeded) const {
        return (succeeded ? "" : "failed ") + mService->mSceneType + ";" +
               std::to_string(mService->mFlag) + ";" + std::to_string(mService->mPid) + ";" +
               mService->mMultiPid + ";" + mService->mExtraInfo;
    }

    template <class Adapter>
    void callAll(Adapter& adapter) {
        const std::string mask = std::to_string(kMask);
        EXPECT_EQ(told(adapter.onRunSimpZULCallback(kTag, -70001).isOk()),
                  kTag + ";512;-70001;;row");
        EXPECT_EQ(told(adapter.onRunZULCallback(kTag, kMask, 70002, kText).isOk()),
                  kTag + ";" + mask + ";70002;;" + kText);
        EXPECT_EQ(told(adapter.onRunSimpMultiPidZULCallback(kTag, kText).isOk()),
                  kTag + ";512;0;" + kText + ";row");
        EXPECT_EQ(told(adapter.onRunMultiPidZULCallback(kTag, kMask, kText, "x").isOk()),
                  kTag + ";" + mask + ";0;" + kText + ";x");
        // Refused, as this tag is another one, and a success all the same.
        EXPECT_TRUE(adapter.onRunSimpZULCallback(kOther, 1).isOk());
        EXPECT_TRUE(adapter.onRunZULCallback(kOther, 1, 1, "").isOk());
        EXPECT_TRUE(adapter.onRunSimpMultiPidZULCallback(kOther, "").isOk());
        EXPECT_TRUE(adapter.onRunMultiPidZULCallback(kOther, 1, "", "").isOk());
        EXPECT_THAT(collectorRuns(), SizeIs(4));
    }
};

TEST_F(CallbackTest, CallsBecomeRequestsAndAlwaysSucceed) {
    const android::sp<ZulCallBack> hidl = new ZulCallBack(mService.get());
    callAll(*hidl);
    std::remove("/data/ZUL/collector_record");
    const auto aidl = ndk::SharedRefBase::make<ZulAidlCallBack>(mService.get());
    callAll(*aidl);
}

}  // namespace
}  // namespace zul::test
