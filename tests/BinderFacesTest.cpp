// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZulClientCallback.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>
#include <utils/String8.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include "tests/support/Peer.h"

namespace {

std::function<void()> gOnSleep;
std::atomic<int> gSleeps{0};

}  // namespace

/** Pauses of the libraries take no time and are counted. */
extern "C" unsigned int sleep(unsigned int) {
    gSleeps++;
    if (gOnSleep) gOnSleep();
    return 0;
}

namespace zul::test {
namespace {

namespace aidl_zul = ::aidl::vendor::morvantic::hardware::zul::zulengine;
namespace hidl_zul = ::vendor::morvantic::hardware::zul::zulengine::V1_0;

using android::BBinder;
using android::defaultServiceManager;
using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using android::String16;
using android::String8;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using ndk::ScopedAStatus;
using testing::ElementsAre;
using testing::HasSubstr;

/** Waits for something that another thread or process brings about. */
bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 10000 && !condition(); i++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return condition();
}

/** A name that is new each time: what this process serves it serves to its end. */
std::string newName() {
    static int count = 0;
    return "mine." + std::to_string(count++);
}

// --- libbinder ----------------------------------------------------------------------------------

const String16 kDescriptor("test.IEcho");

/** Reads one value of each kind and writes them back in reverse. */
class Echo : public BBinder {
  public:
    const String16& getInterfaceDescriptor() const override { return kDescriptor; }

    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t) override {
        if (code != FIRST_CALL_TRANSACTION) return android::UNKNOWN_TRANSACTION;
        if (!data.checkInterface(this)) return android::BAD_TYPE;
        const int32_t number = data.readInt32();
        const int64_t large = data.readInt64();
        const bool truth = data.readBool();
        const String16 text = data.readString16();
        const uint32_t positive = data.readUint32();
        const sp<IBinder> object = data.readStrongBinder();
        reply->writeStrongBinder(object);
        reply->writeUint32(positive);
        reply->writeString16(text);
        reply->writeBool(truth);
        reply->writeInt64(large);
        return reply->writeInt32(number);
    }
};

const Peer::Register kEcho("echo", [](const std::string& name) {
    const bool good =
            defaultServiceManager()->addService(String16(name.c_str()), new Echo) == android::OK;
    Peer::report(good ? 'r' : 'x');
    android::ProcessState::self()->setThreadPoolMaxThreadCount(1);
    android::ProcessState::self()->startThreadPool();
    android::IPCThreadState::self()->joinThreadPool();
});

class LibbinderTest : public testing::Test {
  protected:
    void TearDown() override { gOnSleep = nullptr; }
};

TEST_F(LibbinderTest, EveryTypeSurvivesTheWayThereAndBack) {
    Peer peer("echo", "echo.types");
    ASSERT_EQ(peer.nextReport(), 'r');
    const sp<IBinder> service = defaultServiceManager()->getService(String16("echo.types"));
    ASSERT_NE(service.get(), nullptr);
    EXPECT_TRUE(service->getInterfaceDescriptor() == kDescriptor);
    EXPECT_EQ(service->pingBinder(), android::OK);

    const sp<IBinder> mine = new Echo;
    const char* const texts[] = {"", "a", "com.example.app",
                                 "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"};
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        for (const sp<IBinder>& object : {mine, sp<IBinder>(nullptr), service}) {
            Parcel data;
            Parcel reply;
            data.writeInterfaceToken(kDescriptor);
            data.writeInt32(INT32_MIN);
            data.writeInt64(INT64_MIN);
            data.writeBool(true);
            data.writeString16(String16(text));
            data.writeUint32(UINT32_MAX);
            data.writeStrongBinder(object);
            ASSERT_EQ(service->transact(IBinder::FIRST_CALL_TRANSACTION, data, &reply),
                      android::OK);
            const sp<IBinder> returned = reply.readStrongBinder();
            EXPECT_EQ(returned != nullptr, object != nullptr);
            if (object == mine) {
                EXPECT_EQ(returned.get(), mine.get()) << "home again";
            }
            EXPECT_EQ(reply.readUint32(), UINT32_MAX);
            EXPECT_STREQ(String8(reply.readString16()).c_str(), text);
            EXPECT_TRUE(reply.readBool());
            EXPECT_EQ(reply.readInt64(), INT64_MIN);
            EXPECT_EQ(reply.readInt32(), INT32_MIN);
            EXPECT_EQ(reply.dataAvail(), 0u);
        }
    }

    Parcel wrong;
    wrong.writeInterfaceToken(String16("test.IOther"));
    Parcel reply;
    EXPECT_EQ(service->transact(IBinder::FIRST_CALL_TRANSACTION, wrong, &reply), android::BAD_TYPE);
    EXPECT_THAT(peer.errors(), HasSubstr("call for 'test.IOther' came to 'test.IEcho'"));
    EXPECT_EQ(service->transact(99, wrong, nullptr), android::UNKNOWN_TRANSACTION);
    EXPECT_EQ(service->transact(99, wrong, nullptr, 1), android::INVALID_OPERATION);

    peer.kill();
    EXPECT_EQ(service->pingBinder(), android::DEAD_OBJECT);
    EXPECT_TRUE(eventually([&] { return !service->isBinderAlive(); }));
}

TEST_F(LibbinderTest, TruncatedParcelsReadAsNothing) {
    Parcel empty;
    EXPECT_EQ(empty.readInt32(), 0);
    EXPECT_EQ(empty.readInt64(), 0);
    EXPECT_FALSE(empty.readBool());
    EXPECT_EQ(empty.readString16().size(), 0u);
    EXPECT_EQ(empty.readStrongBinder().get(), nullptr);
    int32_t number = 7;
    EXPECT_EQ(empty.readInt32(&number), android::NOT_ENOUGH_DATA);
    EXPECT_EQ(number, 7);

    struct Case {
        const char* name;
        int32_t length;
        status_t status;
    };
    const Case cases[] = {
            {"null", -1, android::UNEXPECTED_NULL},
            {"negative", -2, android::BAD_VALUE},
            {"longer than the parcel", 2, android::NOT_ENOUGH_DATA},
            {"longest", INT32_MAX, android::NOT_ENOUGH_DATA},
    };
    for (const Case& c : cases) {
        Parcel parcel;
        String16 text;
        parcel.writeInt32(c.length);
        parcel.writeInt32(0);
        EXPECT_EQ(parcel.readString16(&text), c.status) << c.name;
        EXPECT_EQ(text.size(), 0u) << c.name;
    }
}

TEST_F(LibbinderTest, GetServiceWaitsFiveSecondsAndCheckServiceNotAtAll) {
    const String16 name(newName().c_str());
    gSleeps = 0;
    EXPECT_EQ(defaultServiceManager()->checkService(name).get(), nullptr);
    EXPECT_EQ(gSleeps, 0);
    EXPECT_EQ(defaultServiceManager()->getService(name).get(), nullptr);
    EXPECT_EQ(gSleeps, 5);

    const sp<IBinder> late = new Echo;
    gSleeps = 0;
    gOnSleep = [&] {
        if (gSleeps == 3) defaultServiceManager()->addService(name, late);
    };
    EXPECT_EQ(defaultServiceManager()->getService(name).get(), late.get());
    EXPECT_EQ(gSleeps, 3);
    EXPECT_EQ(defaultServiceManager()->addService(name, late), android::ALREADY_EXISTS);
}

// --- The engine's interfaces, in both modes -----------------------------------------------------

/** The calls that reached a client, as text, and how many of its objects live. */
struct Received {
    void add(const std::string& call) {
        std::lock_guard lock(mutex);
        calls.push_back(call);
    }
    std::vector<std::string> take() {
        std::lock_guard lock(mutex);
        return std::exchange(calls, {});
    }

    std::mutex mutex;
    std::vector<std::string> calls;
    std::atomic<int> live{0};
};

std::string join(const std::vector<std::string>& words) {
    std::string all;
    for (const std::string& word : words)
        all += (all.empty() ? "" : ",") + word;
    return all;
}

const std::string kUnusual = "a|b c\n\xc3\xa4";
const std::vector<std::string> kExpected = {
        "simp,0xffffff0a,-7",
        "run," + kUnusual + ",-9223372036854775808,2147483647,",
        "simpMulti,,12 34",
        "multi,t,4611686018427387904,1,x",
};

class HidlClient : public hidl_zul::IZulClientCallback {
  public:
    explicit HidlClient(Received& received) : mReceived(received) { mReceived.live++; }
    ~HidlClient() override { mReceived.live--; }

    Return<void> onRunSimpZULCallback(const hidl_string& tag, int32_t pid) override {
        mReceived.add(join({"simp", tag, std::to_string(pid)}));
        return Void();
    }
    Return<void> onRunZULCallback(const hidl_string& tag, int64_t flag, int32_t pid,
                                  const hidl_string& extra) override {
        mReceived.add(join({"run", tag, std::to_string(flag), std::to_string(pid), extra}));
        return Void();
    }
    Return<void> onRunSimpMultiPidZULCallback(const hidl_string& tag,
                                              const hidl_string& pids) override {
        mReceived.add(join({"simpMulti", tag, pids}));
        return Void();
    }
    Return<void> onRunMultiPidZULCallback(const hidl_string& tag, int64_t flag,
                                          const hidl_string& pids,
                                          const hidl_string& extra) override {
        mReceived.add(join({"multi", tag, std::to_string(flag), pids, extra}));
        return Void();
    }

  private:
    Received& mReceived;
};

class AidlClient : public aidl_zul::BnZulClientCallback {
  public:
    explicit AidlClient(Received& received) : mReceived(received) { mReceived.live++; }
    ~AidlClient() override { mReceived.live--; }

    ScopedAStatus onRunSimpZULCallback(const std::string& tag, int32_t pid) override {
        mReceived.add(join({"simp", tag, std::to_string(pid)}));
        return ScopedAStatus::ok();
    }
    ScopedAStatus onRunZULCallback(const std::string& tag, int64_t flag, int32_t pid,
                                   const std::string& extra) override {
        mReceived.add(join({"run", tag, std::to_string(flag), std::to_string(pid), extra}));
        return ScopedAStatus::ok();
    }
    ScopedAStatus onRunSimpMultiPidZULCallback(const std::string& tag,
                                               const std::string& pids) override {
        mReceived.add(join({"simpMulti", tag, pids}));
        return ScopedAStatus::ok();
    }
    ScopedAStatus onRunMultiPidZULCallback(const std::string& tag, int64_t flag,
                                           const std::string& pids,
                                           const std::string& extra) override {
        mReceived.add(join({"multi", tag, std::to_string(flag), pids, extra}));
        return ScopedAStatus::ok();
    }

  private:
    Received& mReceived;
};

/** Fires the expected events at each client while it registers, and keeps it. */
struct HidlEngine : hidl_zul::IZul {
    Return<void> reserved1() override { return Void(); }
    Return<void> reserved2() override { return Void(); }
    Return<void> reserved3() override { return Void(); }
    Return<void> reserved4() override { return Void(); }
    Return<int32_t> getThreadNumber() override { return 3; }
    Return<void> registerClientCallback(const sp<hidl_zul::IZulClientCallback>& client) override {
        if (client == nullptr) return Void();
        clients.push_back(client);
        bool good = client->ping().isOk();
        good &= client->onRunSimpZULCallback("0xffffff0a", -7).isOk();
        good &= client->onRunZULCallback(kUnusual, INT64_MIN, INT32_MAX, "").isOk();
        good &= client->onRunSimpMultiPidZULCallback("", "12 34").isOk();
        good &= client->onRunMultiPidZULCallback("t", int64_t{1} << 62, "1", "x").isOk();
        if (!good) Peer::report('!');
        return Void();
    }

    std::vector<sp<hidl_zul::IZulClientCallback>> clients;
};

struct AidlEngine : aidl_zul::BnZul {
    ScopedAStatus getThreadNumber(int32_t* number) override {
        *number = 3;
        return ScopedAStatus::ok();
    }
    ScopedAStatus registerClientCallback(
            const std::shared_ptr<aidl_zul::IZulClientCallback>& client) override {
        if (client == nullptr) {
            return ScopedAStatus::fromExceptionCodeWithMessage(EX_ILLEGAL_ARGUMENT, "no client");
        }
        clients.push_back(client);
        int32_t version = 0;
        std::string hash;
        bool good = client->getInterfaceVersion(&version).isOk() && version == 1;
        good &= client->getInterfaceHash(&hash).isOk() && hash == aidl_zul::IZul::hash;
        good &= client->onRunSimpZULCallback("0xffffff0a", -7).isOk();
        good &= client->onRunZULCallback(kUnusual, INT64_MIN, INT32_MAX, "").isOk();
        good &= client->onRunSimpMultiPidZULCallback("", "12 34").isOk();
        good &= client->onRunMultiPidZULCallback("t", int64_t{1} << 62, "1", "x").isOk();
        if (!good) Peer::report('!');
        return ScopedAStatus::ok();
    }

    std::vector<std::shared_ptr<aidl_zul::IZulClientCallback>> clients;
};

const Peer::Register kHidlEngine("hidl_engine", [](const std::string&) {
    const sp<hidl_zul::IZul> engine = new HidlEngine;
    android::hardware::configureRpcThreadpool(1, true);
    Peer::report(engine->registerAsService("default") == android::OK ? 'r' : 'x');
    android::hardware::joinRpcThreadpool();
});

const std::string kAidlName = std::string(aidl_zul::IZul::descriptor) + "/default";

const Peer::Register kAidlEngine("aidl_engine", [](const std::string&) {
    const auto engine = ndk::SharedRefBase::make<AidlEngine>();
    ABinderProcess_setThreadPoolMaxThreadCount(0);
    const auto result = AServiceManager_addService(engine->asBinder().get(), kAidlName.c_str());
    Peer::report(result == EX_NONE ? 'r' : 'x');
    ABinderProcess_joinThreadPool();
});

TEST(HidlFaceTest, EngineAndClientCallEachOther) {
    EXPECT_EQ(hidl_zul::IZul::getService().get(), nullptr) << "nobody there: no waiting";
    Peer peer("hidl_engine", "");
    ASSERT_EQ(peer.nextReport(), 'r');
    Received received;
    const sp<hidl_zul::IZul> engine = hidl_zul::IZul::getService("default", false);
    ASSERT_NE(engine.get(), nullptr);
    EXPECT_TRUE(engine->isRemote());
    EXPECT_EQ(hidl_zul::IZul::getService("default", true).get(), nullptr);
    EXPECT_EQ(hidl_zul::IZul::getService("other").get(), nullptr);
    EXPECT_EQ(engine->getThreadNumber().withDefault(-1), 3);
    EXPECT_TRUE(engine->reserved1().isOk());
    EXPECT_TRUE(engine->reserved4().isOk());

    EXPECT_TRUE(engine->registerClientCallback(new HidlClient(received)).isOk());
    EXPECT_EQ(received.take(), kExpected);
    EXPECT_TRUE(engine->registerClientCallback(nullptr).isOk());
    EXPECT_EQ(received.live, 1) << "the engine holds it";
    EXPECT_EQ(peer.nextReport(0), '?') << "every call was good";

    peer.kill();
    EXPECT_TRUE(eventually([&] { return received.live == 0; }));
    const Return<int32_t> dead = engine->getThreadNumber();
    EXPECT_FALSE(dead.isOk());
    EXPECT_TRUE(dead.isDeadObject());
    EXPECT_EQ(engine->getThreadNumber().withDefault(-1), -1);
}

TEST(HidlFaceTest, OwnServiceIsNoProxy) {
    const sp<hidl_zul::IZul> engine = new HidlEngine;
    const std::string name = newName();
    ASSERT_EQ(engine->registerAsService(name), android::OK);
    EXPECT_EQ(hidl_zul::IZul::getService(name).get(), engine.get());
    EXPECT_EQ(engine->registerAsService(name), android::ALREADY_EXISTS);
}

TEST(NdkFaceTest, EngineAndClientCallEachOther) {
    EXPECT_EQ(AServiceManager_waitForService(kAidlName.c_str()), nullptr) << "no waiting";
    Peer peer("aidl_engine", "");
    ASSERT_EQ(peer.nextReport(), 'r');
    ABinderProcess_startThreadPool();
    Received received;
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kAidlName.c_str()));
    const std::shared_ptr<aidl_zul::IZul> engine = aidl_zul::IZul::fromBinder(binder);
    ASSERT_NE(engine, nullptr);
    EXPECT_TRUE(engine->isRemote());
    EXPECT_EQ(aidl_zul::IZulClientCallback::fromBinder(binder), nullptr) << "another interface";
    EXPECT_EQ(aidl_zul::IZul::fromBinder(nullptr), nullptr);

    int32_t number = 0;
    std::string hash;
    EXPECT_TRUE(engine->getThreadNumber(&number).isOk());
    EXPECT_EQ(number, 3);
    EXPECT_TRUE(engine->getInterfaceVersion(&number).isOk());
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(engine->getInterfaceHash(&hash).isOk());
    EXPECT_THAT(hash, testing::MatchesRegex("[0-9a-f]{40}"));

    auto client = ndk::SharedRefBase::make<AidlClient>(received);
    EXPECT_EQ(client->asBinder().get(), client->asBinder().get()) << "one binder while it lives";
    EXPECT_TRUE(engine->registerClientCallback(client).isOk());
    EXPECT_EQ(received.take(), kExpected);
    client.reset();
    EXPECT_EQ(received.live, 1) << "the engine holds it";
    EXPECT_EQ(peer.nextReport(0), '?') << "every call was good";

    const ScopedAStatus refused = engine->registerClientCallback(nullptr);
    EXPECT_EQ(refused.getExceptionCode(), EX_ILLEGAL_ARGUMENT);
    EXPECT_STREQ(refused.getMessage(), "no client");

    peer.kill();
    EXPECT_TRUE(eventually([&] { return received.live == 0; }));
    number = 0;
    EXPECT_EQ(engine->getThreadNumber(&number).getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(number, 0);
}

TEST(NdkFaceTest, OwnServiceIsTheImplementation) {
    const auto engine = ndk::SharedRefBase::make<AidlEngine>();
    const std::string name = newName() + "/default";
    ASSERT_EQ(AServiceManager_addService(engine->asBinder().get(), name.c_str()), EX_NONE);
    const ndk::SpAIBinder found(AServiceManager_checkService(name.c_str()));
    EXPECT_EQ(aidl_zul::IZul::fromBinder(found), engine);
    EXPECT_EQ(AServiceManager_addService(found.get(), name.c_str()), EX_ILLEGAL_STATE);
    EXPECT_EQ(AServiceManager_addService(found.get(), ""), EX_ILLEGAL_ARGUMENT);
}

// --- The rule about failed HIDL results ---------------------------------------------------------

Return<int32_t> failedNumber() {
    return Status::fromStatusT(android::DEAD_OBJECT);
}

Return<void> failedVoid() {
    return Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "no");
}

struct ReturnCase {
    const char* name;
    void (*use)();
    /** What the one fatal line says; null when the process goes on. */
    const char* fatal;
};

const char* const kUnchecked = " F HidlSupport: Failed HIDL return status not checked: Status";

const ReturnCase kReturnCases[] = {
        {"ignored", [] { failedNumber(); }, kUnchecked},
        {"ignored with a cast", [] { (void)failedVoid(); }, kUnchecked},
        {"only described", [] { EXPECT_NE(failedVoid().description(), ""); }, kUnchecked},
        {"assigned over",
         [] {
             Return<int32_t> result = failedNumber();
             result = Return<int32_t>(1);
         },
         kUnchecked},
        {"converted", [] { EXPECT_EQ(int32_t{failedNumber()}, 0); },
         " F HidlSupport: Value of a failed HIDL call taken: Status"},
        {"moved on and ignored",
         [] {
             Return<void> first = failedVoid();
             Return<void> second = std::move(first);
         },
         kUnchecked},
        {"asked", [] { EXPECT_FALSE(failedVoid().isOk()); }, nullptr},
        {"asked after a move",
         [] {
             Return<int32_t> first = failedNumber();
             Return<int32_t> second = std::move(first);
             EXPECT_FALSE(second.isOk());
         },
         nullptr},
        {"asked for death", [] { EXPECT_FALSE(failedVoid().isDeadObject()); }, nullptr},
        {"default taken", [] { EXPECT_EQ(failedNumber().withDefault(5), 5); }, nullptr},
        {"good and ignored", [] { Void(); }, nullptr},
        {"good and converted", [] { EXPECT_EQ(int32_t{Return<int32_t>(4)}, 4); }, nullptr},
};

TEST(ReturnDeathTest, UncheckedFailureEndsTheProcess) {
    for (const ReturnCase& c : kReturnCases) {
        SCOPED_TRACE(c.name);
        if (c.fatal != nullptr) {
            EXPECT_EXIT(c.use(), testing::KilledBySignal(SIGABRT), c.fatal);
        } else {
            c.use();
        }
    }
}

TEST(ReturnDeathTest, JoinNeedsAConfiguredPool) {
    // Only peers configure it, so it is not configured in this process.
    EXPECT_EXIT(android::hardware::joinRpcThreadpool(), testing::KilledBySignal(SIGABRT),
                " F HidlSupport: joinRpcThreadpool without configureRpcThreadpool");
}

}  // namespace
}  // namespace zul::test
