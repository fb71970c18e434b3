// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <android/binder_manager.h>
#include <cutils/properties.h>
#include <signal.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <optional>

#include "base/Log.h"
#include "service/BinderMode.h"
#include "tests/support/ServiceTest.h"

/** The daemon's entry point. */
int daemonMain(int argc, char** argv);

namespace zul::test {

// What the start asks of the platform becomes a line among those of the log.
extern "C" {

// ABinderProcess_setThreadPoolMaxThreadCount(uint32_t)
bool __wrap__Z42ABinderProcess_setThreadPoolMaxThreadCountj(uint32_t threads) {
    LOGI("aidl pool %u", threads);
    return true;
}
void __wrap__Z30ABinderProcess_startThreadPoolv() {
    LOGI("start");
}
void __wrap__Z29ABinderProcess_joinThreadPoolv() {
    LOGI("aidl join");
}
// AServiceManager_waitForService(const char*): as where the look-up is denied, or it would wait.
AIBinder* __wrap__Z30AServiceManager_waitForServicePKc(const char* instance) {
    return AServiceManager_checkService(instance);
}
// android::hardware::configureRpcThreadpool(size_t, bool)
void __wrap__ZN7android8hardware22configureRpcThreadpoolEmb(size_t threads, bool callerWillJoin) {
    LOGI("hidl pool %zu%s", threads, callerWillJoin ? " and this thread" : "");
}
// android::hardware::joinRpcThreadpool()
void __wrap__ZN7android8hardware17joinRpcThreadpoolEv() {
    LOGI("hidl join");
}
// ZulService::zulRegisterCallback()
int __real__ZN3zul10ZulService19zulRegisterCallbackEv();
int __wrap__ZN3zul10ZulService19zulRegisterCallbackEv() {
    const int result = __real__ZN3zul10ZulService19zulRegisterCallbackEv();
    LOGI("result %d after %u seconds", result, FakeTime::slept.load());
    return result;
}

}  // extern "C"

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
    /** The thread number; without one the query fails. */
    std::optional<int32_t> threads;
    /** Whether the queries succeed; over AIDL the number is there in either case. */
    bool succeeds;
    bool debugLog;
    int result;
    int registered;
    /** What the log tells of the engine. */
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
        if (mAnswers.threads) return *mAnswers.threads;
        return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED, "gone");
    }
    Return<void> registerClientCallback(const android::sp<HidlCallback>& callback) override {
        LOGI("callback %zu", mCallbacks.size());
        mCallbacks.push_back(callback);
        if (mAnswers.succeeds) return Void();
        return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED, "gone");
    }

    const EngineCase& mAnswers;
    std::vector<android::sp<HidlCallback>> mCallbacks;
};

class AidlEngine : public ::aidl::vendor::morvantic::hardware::zul::zulengine::BnZul {
  public:
    explicit AidlEngine(const EngineCase& answers) : mAnswers(answers) {}

    ndk::ScopedAStatus getThreadNumber(int32_t* number) override {
        if (mAnswers.threads) *number = *mAnswers.threads;
        return status();
    }
    ndk::ScopedAStatus registerClientCallback(
            const std::shared_ptr<AidlCallback>& callback) override {
        LOGI("callback %zu", mCallbacks.size());
        mCallbacks.push_back(callback);
        return status();
    }
    ndk::ScopedAStatus status() const {
        return mAnswers.succeeds ? ndk::ScopedAStatus::ok()
                                 : ndk::ScopedAStatus::fromExceptionCode(EX_ILLEGAL_STATE);
    }

    const EngineCase& mAnswers;
    std::vector<std::shared_ptr<AidlCallback>> mCallbacks;
};

/** What the device's manifests declare, and a look-up over HIDL waits for. */
constexpr char kDeclared[] = "/vendor/etc/vintf/declared";

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

/** A name is offered for the life of a process, so each case starts in a process of its own. */
class StartTest : public ServiceTest, public testing::WithParamInterface<EngineCase> {
  protected:
    /** Starts the daemon in this process, and prints what it asked of the platform and logged. */
    [[noreturn]] void startAndTell(const EngineCase& c) {
        property_set("hwservicemanager.disabled", c.aidl ? "true" : "True");
        property_set("debug.zul.dump", c.debugLog ? "1" : "0");
        const android::sp<HidlEngine> hidl = new HidlEngine(c);
        const auto aidl = ndk::SharedRefBase::make<AidlEngine>(c);
        const auto offer = [&c, hidl, aidl] {
            if (static_cast<int>(FakeTime::slept) != c.late) return;
            const std::string name = std::string(AidlEngine::descriptor) + "/default";
            writeFile(kDeclared, name + "\n" + HidlEngine::descriptor + "/default\n");
            const bool offered = c.aidl ? AServiceManager_addService(aidl->asBinder().get(),
                                                                     name.c_str()) == EX_NONE
                                        : hidl->registerAsService() == android::OK;
            if (!offered) abort();
        };
        FakeTime::onSleep = offer;
        writeFile(kDeclared, "");
        offer();
        const size_t own = FakeSystem::services();

        const int status = daemonMain(0, nullptr);
        const size_t made = FakeSystem::services() - own;
        hidl->mCallbacks.clear();
        aidl->mCallbacks.clear();
        LOGI("%zu services, %zu without the engine", made, FakeSystem::services() - own);
        if (signal(SIGPIPE, SIG_DFL) != SIG_IGN) LOGI("a broken pipe ends the daemon");
        const std::vector<std::string> lines = mLog.take();
        mLog.release();
        for (const std::string& line : lines)
            fprintf(stderr, "%s\n", line.c_str());
        _exit(status);
    }
};

TEST_P(StartTest, FindsTheEngineAndRegistersAsItAsks) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const EngineCase& c = GetParam();
    const std::string mode = c.aidl ? "aidl" : "hidl";
    const auto pool = [&](int threads, const char* join) {
        const std::string line = "I " + mode + " pool " + std::to_string(threads);
        return line + (c.aidl ? "\nI start\n" : std::string(join) + "\n");
    };
    std::string expected = "D ZUL  main start.\nD ZUL main start thread from " + mode + ".\n";
    expected += pool(1, "");
    if (c.debugLog) expected += "D mCompressFileCount=0\n";
    expected += c.log;
    // A pool is never asked for less than one thread: on a device that ends the process.
    const int threads = std::max(c.threads.value_or(0) + 1, 1);
    if (c.result == 0) expected += pool(threads, " and this thread");
    for (int i = 0; i < c.registered; i++)
        expected += "I callback " + std::to_string(i) + "\n";
    expected += "I result " + std::to_string(c.result) + " after " +
                std::to_string(c.late < 0 ? 10 : c.late) + " seconds\nI " + mode +
                " join\nE thread pool join returned, no more events are served\nI " +
                std::to_string(c.registered) + " services, 0 without the engine\n";
    EXPECT_EXIT(startAndTell(c), testing::ExitedWithCode(0), testing::Eq(expected));
}

constexpr char kNoNumber[] =
        "E engine gave no thread number: Status(EX_TRANSACTION_FAILED): 'OK: gone'\n";

const EngineCase kEngineCases[] = {
        {"HidlThere", false, 0, 3, true, true, 0, 3, "D hwbinder thread number=3\n"},
        {"HidlLate", false, 4, 1, true, false, 0, 1, ""},
        {"HidlAtTheLastLookUp", false, 10, 1, true, false, 0, 1, ""},
        {"HidlNever", false, -1, 1, true, true, -1, 0,
         "E service is still nullptr after 10 attempts, return -1\n"},
        {"HidlNone", false, 0, 0, true, true, 0, 0, "D hwbinder thread number=0\n"},
        {"HidlNegative", false, 0, -7, true, true, 0, 0, "D hwbinder thread number=-7\n"},
        {"HidlGivesNoNumber", false, 0, {}, true, true, -1, 0, kNoNumber},
        {"HidlTakesNone", false, 0, 2, false, false, 0, 2, ""},
        {"AidlThere", true, 0, 3, true, true, 0, 3, "D aidlbinder thread number=3\n"},
        {"AidlLate", true, 9, 2, true, false, 0, 2, ""},
        {"AidlNever", true, -1, 1, true, true, -1, 0, ""},
        {"AidlNegative", true, 0, -7, true, true, 0, 0, "D aidlbinder thread number=-7\n"},
        {"AidlGivesNoNumber", true, 0, {}, false, true, 0, 0, "D aidlbinder thread number=0\n"},
        {"AidlFailsButCounts", true, 0, 2, false, false, 0, 2, ""},
};
INSTANTIATE_TEST_SUITE_P(Engines, StartTest, testing::ValuesIn(kEngineCases), caseName);

}  // namespace
}  // namespace zul::test
