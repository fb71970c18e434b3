// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <utility>

#include "tests/support/Files.h"
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

constexpr char kDeclared[] = "/vendor/etc/vintf/declared";

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

const Peer::Register kHidlEngine("hidl_engine", [](const std::string& instance) {
    const sp<hidl_zul::IZul> engine = new HidlEngine;
    configureRpcThreadpool(1, true);
    Peer::report(engine->registerAsService(instance) == android::OK ? 'r' : 'x');
    joinRpcThreadpool();
});

// Reads what the program's other static objects may read while it starts.
const std::string kHashAtStart = aidl_zul::IZul::hash + aidl_zul::IZulClientCallback::hash;

const std::string kAidlName = std::string(aidl_zul::IZul::descriptor) + "/default";

TEST(EngineTest, HashesAreThereBeforeAnyOtherStaticObject) {
    EXPECT_EQ(kHashAtStart, aidl_zul::IZul::hash + aidl_zul::IZul::hash);
}

// --- Notices ------------------------------------------------------------------------------------

/** What was told, in order. */
class Notices {
  public:
    void add(const std::string& text) {
        std::unique_lock lock(mLock);
        mTexts.push_back(text);
        EXPECT_NE(std::this_thread::get_id(), mUs) << "told by a thread of the caller's";
        mRead.wait(lock, [this] { return !mHeld; });
    }
    /** No notice comes to its end until then. */
    void hold(bool held) {
        std::lock_guard lock(mLock);
        mHeld = held;
        mRead.notify_all();
    }
    /** The notices once there are so many, and none that comes a little later. */
    std::vector<std::string> take(size_t count) {
        EXPECT_TRUE(eventually([&] {
            std::lock_guard lock(mLock);
            return mTexts.size() >= count;
        }));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::lock_guard lock(mLock);
        return std::exchange(mTexts, {});
    }

  private:
    const std::thread::id mUs = std::this_thread::get_id();
    std::mutex mLock;
    std::condition_variable mRead;
    std::vector<std::string> mTexts;
    bool mHeld = false;
};

using testing::ElementsAre;
using testing::IsEmpty;

struct Mourner : android::hardware::hidl_death_recipient {
    explicit Mourner(Notices& noticesOfTest) : notices(noticesOfTest) {}
    void serviceDied(uint64_t cookie,
                     const android::wp<android::hidl::base::V1_0::IBase>& who) override {
        notices.add(std::to_string(cookie) + (who.promote() != nullptr ? " held" : " gone"));
    }
    Notices& notices;
};

TEST(NoticeTest, ANoticeWaitsForAFreeThread) {
    // The pool of this process has one thread.
    Notices notices;
    const std::string name = hidl_zul::IZul::descriptor;
    writeFile(kDeclared, name + "/first\n" + name + "/second\n");
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
    EXPECT_FALSE(bool{engines[1]->linkToDeath(mourner, 3)}) << "dead already";
    EXPECT_THAT(notices.take(0), IsEmpty());
}

// --- Waiting for a service ----------------------------------------------------------------------

TEST(LookUpTest, OnlyADeclaredServiceIsWaitedForOverHidlOrPublished) {
    const std::string name = std::string(hidl_zul::IZul::descriptor) + "/default";
    for (const std::string& declared :
         {std::string(), name + "s", "#" + name, kAidlName, name.substr(0, name.find('/'))}) {
        SCOPED_TRACE(declared);
        writeFile(kDeclared, declared + "\n");
        EXPECT_EQ(hidl_zul::IZul::getService(), nullptr);
        EXPECT_NE(sp<HidlEngine>(new HidlEngine)->registerAsService(), android::OK);
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
            {"assigned over", [] { failed() = Return<int32_t>(1); }, unchecked},
            {"converted", [] { EXPECT_EQ(int32_t{failed()}, 0); }, " Value of a failed HIDL call"},
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
