// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include "tests/support/Peer.h"

namespace zul::test {
namespace {

namespace aidl_zul = ::aidl::vendor::morvantic::hardware::zul::zulengine;
namespace hidl_zul = ::vendor::morvantic::hardware::zul::zulengine::V1_0;

using android::sp;
using android::hardware::configureRpcThreadpool;
using android::hardware::joinRpcThreadpool;
using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using ndk::ScopedAStatus;

// --- Engines ------------------------------------------------------------------------------------

struct HidlEngine : hidl_zul::IZul {
    Return<void> reserved1() override { return Void(); }
    Return<void> reserved2() override { return Void(); }
    Return<void> reserved3() override { return Void(); }
    Return<void> reserved4() override { return Void(); }
    Return<int32_t> getThreadNumber() override { return 3; }
    Return<void> registerClientCallback(const sp<hidl_zul::IZulClientCallback>&) override {
        return Void();
    }
};

struct AidlEngine : aidl_zul::BnZul {
    ScopedAStatus getThreadNumber(int32_t* number) override {
        *number = 3;
        return ScopedAStatus::ok();
    }
    ScopedAStatus registerClientCallback(
            const std::shared_ptr<aidl_zul::IZulClientCallback>& client) override {
        if (client != nullptr) return ScopedAStatus::ok();
        return ScopedAStatus::fromExceptionCodeWithMessage(EX_ILLEGAL_ARGUMENT, "no client");
    }
};

const Peer::Register kHidlEngine("hidl_engine", [](const std::string& instance) {
    const sp<hidl_zul::IZul> engine = new HidlEngine;
    configureRpcThreadpool(1, true);
    Peer::report(engine->registerAsService(instance) == android::OK ? 'r' : 'x');
    joinRpcThreadpool();
});

// Reads what the program's other static objects may read while it starts.
const std::string kHashAtStart = aidl_zul::IZul::hash + aidl_zul::IZulClientCallback::hash;

const std::string kAidlName = std::string(aidl_zul::IZul::descriptor) + "/default";

const Peer::Register kAidlEngine("aidl_engine", [](const std::string&) {
    const auto engine = ndk::SharedRefBase::make<AidlEngine>();
    ABinderProcess_setThreadPoolMaxThreadCount(0);
    const auto result = AServiceManager_addService(engine->asBinder().get(), kAidlName.c_str());
    Peer::report(result == EX_NONE ? 'r' : 'x');
    ABinderProcess_joinThreadPool();
});

TEST(EngineTest, AidlProxiesAreOfOneInterfaceAndTellFailures) {
    Peer peer("aidl_engine", "");
    ASSERT_EQ(peer.nextReport(), 'r');
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kAidlName.c_str()));
    const std::shared_ptr<aidl_zul::IZul> engine = aidl_zul::IZul::fromBinder(binder);
    ASSERT_NE(engine, nullptr);
    EXPECT_EQ(aidl_zul::IZulClientCallback::fromBinder(binder), nullptr) << "another interface";
    EXPECT_EQ(kHashAtStart, aidl_zul::IZul::hash + aidl_zul::IZul::hash);
    const ScopedAStatus refused = engine->registerClientCallback(nullptr);
    EXPECT_EQ(refused.getExceptionCode(), EX_ILLEGAL_ARGUMENT);
    EXPECT_STREQ(refused.getMessage(), "no client");
    peer.kill();
    int32_t number = 1;
    EXPECT_EQ(engine->getThreadNumber(&number).getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(number, 1) << "a failed call leaves it alone";
}

// --- Notices ------------------------------------------------------------------------------------

/** What was told, in order, and by which threads. */
class Notices {
  public:
    void add(const std::string& text) {
        std::unique_lock lock(mLock);
        mTexts.push_back(text);
        mByUs |= std::this_thread::get_id() == mUs;
        mRead.wait(lock, [this] { return !mHeld; });
    }
    /** No notice comes to its end until then. */
    void hold(bool held) {
        std::lock_guard lock(mLock);
        mHeld = held;
        mRead.notify_all();
    }
    std::vector<std::string> take() {
        std::lock_guard lock(mLock);
        return std::exchange(mTexts, {});
    }
    /** The notices once there are so many, and none that comes a little later. */
    std::vector<std::string> take(size_t count) {
        EXPECT_TRUE(eventually([&] {
            std::lock_guard lock(mLock);
            return mTexts.size() >= count;
        }));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(mByUs) << "told by a thread of the caller's";
        return take();
    }

  private:
    const std::thread::id mUs = std::this_thread::get_id();
    std::mutex mLock;
    std::condition_variable mRead;
    std::vector<std::string> mTexts;
    bool mByUs = false;
    bool mHeld = false;
};

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct Mourner : android::hardware::hidl_death_recipient {
    explicit Mourner(Notices& noticesOfTest) : notices(noticesOfTest) {}
    void serviceDied(uint64_t cookie,
                     const android::wp<android::hidl::base::V1_0::IBase>& who) override {
        notices.add(std::to_string(cookie) + (who.promote() != nullptr ? " held" : " gone"));
    }
    Notices& notices;
};

TEST(NoticeTest, HidlDeathIsToldOnceToWhoStillWantsToKnow) {
    Notices notices;
    Peer peer("hidl_engine", "mourned");
    ASSERT_EQ(peer.nextReport(), 'r');
    const sp<hidl_zul::IZul> engine = hidl_zul::IZul::getService("mourned");
    ASSERT_NE(engine.get(), nullptr);
    const sp<Mourner> kept = new Mourner(notices);
    sp<Mourner> dropped = new Mourner(notices);
    EXPECT_TRUE(bool{engine->linkToDeath(kept, 1)});
    EXPECT_TRUE(bool{engine->linkToDeath(kept, 2)});
    EXPECT_TRUE(bool{engine->linkToDeath(dropped, 3)});
    dropped.clear();
    EXPECT_TRUE(bool{hidl_zul::IZul::getService("mourned")->linkToDeath(kept, 4)})
            << "this proxy ends at once, and its link with it";

    peer.kill();
    EXPECT_TRUE(engine->getThreadNumber().isDeadObject());
    EXPECT_THAT(notices.take(2), UnorderedElementsAre("1 held", "2 held"));
    EXPECT_FALSE(bool{engine->linkToDeath(kept, 5)}) << "dead already";
    EXPECT_THAT(notices.take(), IsEmpty());
}

TEST(NoticeTest, ANoticeWaitsForAFreeThread) {
    // The pool of this process has one thread.
    Notices notices;
    Peer first("hidl_engine", "first");
    Peer second("hidl_engine", "second");
    ASSERT_EQ(first.nextReport(), 'r');
    ASSERT_EQ(second.nextReport(), 'r');
    const sp<Mourner> mourner = new Mourner(notices);
    const sp<hidl_zul::IZul> engines[] = {hidl_zul::IZul::getService("first"),
                                          hidl_zul::IZul::getService("second")};
    EXPECT_TRUE(bool{engines[0]->linkToDeath(mourner, 1)});
    EXPECT_TRUE(bool{engines[1]->linkToDeath(mourner, 2)});
    notices.hold(true);
    first.kill();
    EXPECT_THAT(notices.take(1), ElementsAre("1 held"));
    second.kill();
    EXPECT_TRUE(engines[1]->getThreadNumber().isDeadObject());
    EXPECT_THAT(notices.take(0), IsEmpty()) << "the only thread is busy";
    notices.hold(false);
    EXPECT_THAT(notices.take(1), ElementsAre("2 held"));
}

// --- Waiting for a service ----------------------------------------------------------------------

/** The file that declares services, for as long as this lives. */
class Manifest {
  public:
    explicit Manifest(const std::string& text) {
        std::ofstream("/vendor/etc/vintf/manifest/engine.xml") << text;
    }
    ~Manifest() { std::filesystem::remove("/vendor/etc/vintf/manifest/engine.xml"); }
    Manifest(const Manifest&) = delete;
    Manifest& operator=(const Manifest&) = delete;

    static std::string ofDevice(const std::string& mode) {
        std::ifstream file("/src/device/manifest_engine_" + mode + ".xml");
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST(LookUpTest, ServiceThatNobodyDeclaresIsNotWaitedFor) {
    const struct {
        const char* mode;
        std::function<bool()> find;
    } faces[] = {
            {"hidl", [] { return hidl_zul::IZul::getService() != nullptr; }},
            {"aidl",
             [] {
                 const ndk::SpAIBinder binder(AServiceManager_waitForService(kAidlName.c_str()));
                 return binder.get() != nullptr;
             }},
    };
    for (const auto& face : faces) {
        SCOPED_TRACE(face.mode);
        EXPECT_FALSE(face.find());
        for (const auto& [what, by] : {std::pair{"zulengine<", "zulmotor<"},
                                       {"IZul<", "IZulClientCallback<"},
                                       {"default<", "other<"},
                                       {"format=\"", "format=\"x"},
                                       {"<hal ", "<!-- <hal "}}) {
            std::string other = Manifest::ofDevice(face.mode);
            other.replace(other.find(what), strlen(what), by);
            const Manifest manifest(other);
            EXPECT_FALSE(face.find()) << by;
        }
    }
}

// --- What ends the process ----------------------------------------------------------------------

Return<int32_t> failed() {
    return Status::fromStatusT(android::DEAD_OBJECT);
}

Return<int32_t> moved(Return<int32_t> result) {
    return result;
}

TEST(FatalDeathTest, UncheckedFailuresAndPoolsWithoutThreadsEndTheProcess) {
    // Each use has a process of its own: none has used a pool yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const char* const unchecked = " F HidlSupport: Failed HIDL return status not checked: Status";
    const struct {
        const char* name;
        void (*use)();
        /** What the one fatal line says; null when the process goes on. */
        const char* fatal;
    } cases[] = {
            {"ignored", [] { failed(); }, unchecked},
            {"ignored with a cast", [] { (void)failed(); }, unchecked},
            {"only described", [] { EXPECT_NE(failed().description(), ""); }, unchecked},
            {"assigned over", [] { failed() = Return<int32_t>(1); }, unchecked},
            {"converted", [] { EXPECT_EQ(int32_t{failed()}, 0); }, " Value of a failed HIDL call"},
            {"moved on and ignored", [] { moved(failed()); }, unchecked},
            {"asked", [] { EXPECT_FALSE(failed().isOk()); }, nullptr},
            {"asked after a move", [] { EXPECT_FALSE(moved(failed()).isOk()); }, nullptr},
            {"asked for death", [] { EXPECT_TRUE(failed().isDeadObject()); }, nullptr},
            {"default taken", [] { EXPECT_EQ(failed().withDefault(5), 5); }, nullptr},
            {"join", [] { joinRpcThreadpool(); }, " joinRpcThreadpool without"},
            {"none and join", [] { configureRpcThreadpool(0, true); }, " minimum of one thread"},
            {"shrunk from the default",
             [] {
                 ABinderProcess_startThreadPool();
                 ABinderProcess_setThreadPoolMaxThreadCount(14);
             },
             " cannot be shrunk after starting"},
            {"shrunk to none",
             [] {
                 ABinderProcess_setThreadPoolMaxThreadCount(1);
                 ABinderProcess_startThreadPool();
                 ABinderProcess_setThreadPoolMaxThreadCount(0);
             },
             " cannot be shrunk after starting"},
            {"good", [] { EXPECT_EQ(int32_t{Return<int32_t>(4)}, 4); }, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.fatal != nullptr) {
            EXPECT_EXIT(c.use(), testing::KilledBySignal(SIGABRT), c.fatal);
        } else {
            c.use();
        }
    }
}

}  // namespace
}  // namespace zul::test
