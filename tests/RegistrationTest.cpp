// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <android/binder_manager.h>
#include <cutils/properties.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <set>

#include "service/BinderMode.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;

using AidlCallback = ::aidl::vendor::morvantic::hardware::zul::zulengine::IZulClientCallback;
using HidlCallback = ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZulClientCallback;

/** How the engine of a test answers. */
struct EngineCase {
    const char* name;
    bool aidl;
    /** The failed look-ups before it is there; -1 for an engine that never comes. */
    int late;
    int32_t threads;
    bool answersThreads;
    bool takesCallbacks;
    bool debugLog;
    int result;
    int registered;
    const char* log;
};

class HidlEngine : public ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul {
  public:
    explicit HidlEngine(const EngineCase& answers) : mAnswers(answers) {}

    Return<void> reserved1() override { return Void(); }
    Return<void> reserved2() override { return Void(); }
    Return<void> reserved3() override { return Void(); }
    Return<void> reserved4() override { return Void(); }
    Return<int32_t> getThreadNumber() override {
        if (mAnswers.answersThreads) return mAnswers.threads;
        return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED, "gone");
    }
    Return<void> registerClientCallback(const android::sp<HidlCallback>& callback) override {
        mCallbacks.push_back(callback);
        if (mAnswers.takesCallbacks) return Void();
        return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED, "gone");
    }

    const EngineCase& mAnswers;
    std::vector<android::sp<HidlCallback>> mCallbacks;
};

class AidlEngine : public ::aidl::vendor::morvantic::hardware::zul::zulengine::BnZul {
  public:
    explicit AidlEngine(const EngineCase& answers) : mAnswers(answers) {}

    ndk::ScopedAStatus getThreadNumber(int32_t* number) override {
        if (!mAnswers.answersThreads) return ndk::ScopedAStatus::fromExceptionCode(EX_NULL_POINTER);
        *number = mAnswers.threads;
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus registerClientCallback(
            const std::shared_ptr<AidlCallback>& callback) override {
        mCallbacks.push_back(callback);
        if (mAnswers.takesCallbacks) return ndk::ScopedAStatus::ok();
        return ndk::ScopedAStatus::fromExceptionCode(EX_ILLEGAL_STATE);
    }

    const EngineCase& mAnswers;
    std::vector<std::shared_ptr<AidlCallback>> mCallbacks;
};

class BinderModeTest : public ServiceTest {};

TEST_F(BinderModeTest, OnlyTheExactWordMeansAidl) {
    EXPECT_FALSE(readAidlMode());
    for (const char* value : {"false", "TRUE", "true ", " true", "1", "yes"}) {
        property_set("hwservicemanager.disabled", value);
        EXPECT_FALSE(readAidlMode()) << value;
    }
    property_set("hwservicemanager.disabled", "true");
    EXPECT_TRUE(readAidlMode());
}

/** A name is offered for the life of a process, so each case registers in a process of its own. */
class RegistrationTest : public ServiceTest, public testing::WithParamInterface<EngineCase> {
  protected:
    /** Registers and prints what is to be seen: result, sleeps, distinct adapters. */
    void registerAndTell(const EngineCase& c) {
        mLog.release();
        property_set("hwservicemanager.disabled", c.aidl ? "true" : "True");
        ZulService::mDebugLog = c.debugLog;
        const android::sp<HidlEngine> hidl = new HidlEngine(c);
        const auto aidl = ndk::SharedRefBase::make<AidlEngine>(c);
        const auto offer = [&c, hidl, aidl] {
            if (FakeTime::sleeps != c.late) return;
            const std::string name = std::string(AidlEngine::descriptor) + "/default";
            const bool offered = c.aidl ? AServiceManager_addService(aidl->asBinder().get(),
                                                                     name.c_str()) == EX_NONE
                                        : hidl->registerAsService() == android::OK;
            if (!offered) abort();
        };
        FakeTime::onSleep = offer;
        offer();

        const int result = ZulService::zulRegisterCallback();
        const std::set<const void*> distinct = [&] {
            std::set<const void*> all;
            for (const auto& callback : hidl->mCallbacks)
                all.insert(callback.get());
            for (const auto& callback : aidl->mCallbacks)
                all.insert(callback.get());
            return all;
        }();
        fprintf(stderr, "result %d after %d sleeps, %zu registered\n", result,
                FakeTime::sleeps.load(), distinct.size());
        _exit(0);
    }
};

TEST_P(RegistrationTest, FindsTheEngineAndRegistersAsItAsks) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const EngineCase& c = GetParam();
    const std::string line = c.log[0] == '\0' ? "" : "[^\n]*" + std::string(c.log) + "\n";
    const std::string told = "result " + std::to_string(c.result) + " after " +
                             std::to_string(c.late < 0 ? 10 : c.late) + " sleeps, " +
                             std::to_string(c.registered) + " registered\n";
    EXPECT_EXIT(registerAndTell(c), testing::ExitedWithCode(0), "^" + line + told + "$");
}

INSTANTIATE_TEST_SUITE_P(
        Engines, RegistrationTest,
        testing::Values(
                EngineCase{"HidlThere", false, 0, 3, true, true, true, 0, 3,
                           " D ZUL_DEBUG: hwbinder thread number=3"},
                EngineCase{"HidlLate", false, 4, 1, true, true, false, 0, 1, ""},
                EngineCase{"HidlAtTheLastLookUp", false, 10, 1, true, true, false, 0, 1, ""},
                EngineCase{"HidlNever", false, -1, 1, true, true, false, -1, 0,
                           " E ZUL_DEBUG: service is still nullptr after 10 attempts, return -1"},
                EngineCase{"HidlNone", false, 0, 0, true, true, true, 0, 0,
                           " D ZUL_DEBUG: hwbinder thread number=0"},
                EngineCase{"HidlNegative", false, 0, -1, true, true, true, 0, 0,
                           " D ZUL_DEBUG: hwbinder thread number=-1"},
                EngineCase{"HidlGivesNoNumber", false, 0, 3, false, true, true, -1, 0,
                           " E ZUL_DEBUG: engine gave no thread number: [^\n]*"},
                EngineCase{"HidlTakesNone", false, 0, 2, true, false, false, 0, 2, ""},
                EngineCase{"AidlThere", true, 0, 3, true, true, true, 0, 3,
                           " D ZUL_DEBUG: aidlbinder thread number=3"},
                EngineCase{"AidlLate", true, 9, 2, true, true, false, 0, 2, ""},
                EngineCase{"AidlNever", true, -1, 1, true, true, true, -1, 0, ""},
                EngineCase{"AidlNegative", true, 0, -1, true, true, true, 0, 0,
                           " D ZUL_DEBUG: aidlbinder thread number=-1"},
                EngineCase{"AidlGivesNoNumber", true, 0, 3, false, true, true, 0, 0,
                           " D ZUL_DEBUG: aidlbinder thread number=0"},
                EngineCase{"AidlTakesNone", true, 0, 2, true, false, false, 0, 2, ""}),
        caseName<EngineCase>);

}  // namespace
}  // namespace zul::test
