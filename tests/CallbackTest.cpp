// SPDX-License-Identifier: Apache-2.0

#include "callbacks/ZulAidlCallBack.h"
#include "callbacks/ZulCallBack.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int64_t kNegativeMask = std::numeric_limits<int64_t>::min() + 1;

/** Calls each operation of an adapter once, with texts that must arrive unchanged; true when all succeed. */
template <class Adapter>
bool callAll(Adapter& adapter) {
    // What succeeded is asked of every answer: a failed one that nobody looks at is fatal.
    const bool simp = adapter.onRunSimpZULCallback("simp | tag", 1).isOk();
    const bool zul = adapter.onRunZULCallback("0xffff0101", kNegativeMask, 2, "a | b").isOk();
    const bool simpMulti = adapter.onRunSimpMultiPidZULCallback("", "3|4").isOk();
    const bool multi = adapter.onRunMultiPidZULCallback("0xffff0101", 5, "6|7", "").isOk();
    return simp && zul && simpMulti && multi;
}

class CallbackTest : public ServiceTest {
  protected:
    void SetUp() override {
        admit("0xffff0101");
        orderCollector("exit 9\n");
    }

    /** What the calls of callAll leave behind. */
    void expectAllArrived() {
        const auto runs = collectorRuns();
        ASSERT_THAT(runs, SizeIs(2));
        EXPECT_EQ(runs[0].arguments[1], std::to_string(kNegativeMask));
        EXPECT_EQ(runs[0].arguments[2], "2");
        EXPECT_EQ(runs[0].arguments[3], "a | b");
        EXPECT_EQ(runs[0].arguments[9], "");
        EXPECT_EQ(runs[1].arguments[1], "5");
        EXPECT_EQ(runs[1].arguments[3], "");
        EXPECT_EQ(runs[1].arguments[9], "6|7");
        EXPECT_THAT(mLog.take(),
                    testing::IsSupersetOf({"D getZulInfoByTag tagId===simp | tag",
                                           "D startSimpZul Illegal ZUL TAG simp | tag,break",
                                           "D startSimpMultiPidZul Illegal ZUL TAG ,break"}));
    }
};

TEST_F(CallbackTest, HidlCallsBecomeRequestsAndAlwaysSucceed) {
    const android::sp<ZulCallBack> adapter = new ZulCallBack(mService.get());
    EXPECT_TRUE(callAll(*adapter));
    expectAllArrived();
}

TEST_F(CallbackTest, AidlCallsBecomeRequestsAndAlwaysSucceed) {
    const auto adapter = ndk::SharedRefBase::make<ZulAidlCallBack>(mService.get());
    EXPECT_TRUE(callAll(*adapter));
    expectAllArrived();
}

TEST_F(CallbackTest, AdapterOwnsItsService) {
    android::wp<ZulService> hidlService;
    android::wp<ZulService> aidlService;
    {
        ZulService* service = new ZulService();
        hidlService = service;
        const android::sp<ZulCallBack> adapter = new ZulCallBack(service);
        EXPECT_NE(hidlService.promote(), nullptr);
        service = new ZulService();
        aidlService = service;
        const auto aidlAdapter = ndk::SharedRefBase::make<ZulAidlCallBack>(service);
        EXPECT_NE(aidlService.promote(), nullptr);
    }
    EXPECT_EQ(hidlService.promote(), nullptr);
    EXPECT_EQ(aidlService.promote(), nullptr);
}

}  // namespace
}  // namespace zul::test
