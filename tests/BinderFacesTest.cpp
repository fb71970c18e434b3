// SPDX-License-Identifier: Apache-2.0

#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZul.h>
#include <aidl/vendor/morvantic/hardware/zul/zulengine/BnZulClientCallback.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <android/hidl/manager/1.0/IServiceNotification.h>
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
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <utility>

#include "tests/support/Peer.h"

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
using android::hardware::configureRpcThreadpool;
using android::hardware::hidl_string;
using android::hardware::joinRpcThreadpool;
using android::hardware::Return;
using android::hardware::Status;
using android::hardware::Void;
using ndk::ScopedAStatus;

// --- libbinder ----------------------------------------------------------------------------------

const String16 kDescriptor("test.IEcho");

/** Answers a number and a text with the text and the number. */
class Echo : public BBinder {
  public:
    const String16& getInterfaceDescriptor() const override { return kDescriptor; }

    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t) override {
        if (code != FIRST_CALL_TRANSACTION) return android::UNKNOWN_TRANSACTION;
        if (!data.enforceInterface(kDescriptor)) return android::BAD_TYPE;
        const int32_t number = data.readInt32();
        reply->writeString16(data.readString16());
        return reply->writeInt32(number);
    }
};

const Peer::Register kEcho("echo", [](const std::string& name) {
    const auto status = defaultServiceManager()->addService(String16(name.c_str()), new Echo);
    Peer::report(status == android::OK ? 'r' : 'x');
    android::ProcessState::self()->setThreadPoolMaxThreadCount(1);
    android::ProcessState::self()->startThreadPool();
    android::IPCThreadState::self()->joinThreadPool();
});

TEST(LibbinderTest, CallsCarryTextThereAndBack) {
    Peer peer("echo", "echo.types");
    ASSERT_EQ(peer.nextReport(), 'r');
    const sp<IBinder> service = defaultServiceManager()->getService(String16("echo.types"));
    ASSERT_NE(service.get(), nullptr);
    EXPECT_TRUE(service->getInterfaceDescriptor() == kDescriptor);
    EXPECT_EQ(service->pingBinder(), android::OK);

    for (const char* text : {"", "a", "com.example.app", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"}) {
        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(kDescriptor);
        data.writeInt32(-7);
        data.writeString16(String16(text));
        EXPECT_EQ(service->transact(IBinder::FIRST_CALL_TRANSACTION, data, &reply), android::OK);
        EXPECT_STREQ(String8(reply.readString16()).c_str(), text);
        EXPECT_EQ(reply.readInt32(), -7);
    }
    Parcel wrong;
    Parcel reply;
    wrong.writeInterfaceToken(String16("test.IOther"));
    EXPECT_EQ(service->transact(IBinder::FIRST_CALL_TRANSACTION, wrong, &reply), android::BAD_TYPE);
    EXPECT_THAT(peer.errors(), testing::HasSubstr("call for 'test.IOther' came to 'test.IEcho'"));
    EXPECT_EQ(service->transact(99, wrong, nullptr), android::UNKNOWN_TRANSACTION);

    peer.kill();
    EXPECT_EQ(service->pingBinder(), android::DEAD_OBJECT);
    EXPECT_TRUE(eventually([&] { return !service->isBinderAlive(); }));
}

TEST(LibbinderTest, TruncatedParcelsReadAsNothing) {
    Parcel empty;
    EXPECT_EQ(empty.readInt32(), 0);
    EXPECT_EQ(empty.readString16().size(), 0u);
    Parcel forged;
    forged.writeInt32(5);
    sp<IBinder> object;
    EXPECT_EQ(forged.readNullableStrongBinder(&object), android::BAD_TYPE) << "it has none";
    const struct {
        const char* name;
        int32_t length;
        status_t status;
    } cases[] = {
            {"null", -1, android::UNEXPECTED_NULL},
            {"negative", -2, android::BAD_VALUE},
            {"longer than the parcel", 2, android::NOT_ENOUGH_DATA},
            {"longest", INT32_MAX, android::NOT_ENOUGH_DATA},
    };
    for (const auto& c : cases) {
        Parcel parcel;
        String16 text;
        parcel.writeInt32(c.length);
        parcel.writeInt32(0);
        EXPECT_EQ(parcel.readString16(&text), c.status) << c.name;
        EXPECT_EQ(text.size(), 0u) << c.name;
    }
}

// --- The engine's interfaces, in both modes -----------------------------------------------------

// The calls that reached a client, one line each, and how many clients live. The engine orders
// writing and reading, which a sanitizer cannot see in another process.
std::mutex gCallsLock;
std::ostringstream gCalls;
std::atomic<int> gClients{0};

const char* const kExpected =
        "simp,0xffffff0a,-7,\n"
        "run,a|b c\t\xc3\xa4,-9223372036854775808,2147483647,,\n"
        "simpMulti,,12 34,\n"
        "multi,t,4611686018427387904,1,x,\n";

template <class Client>
bool fireEvents(Client& client) {
    return client.onRunSimpZULCallback("0xffffff0a", -7).isOk() &&
           client.onRunZULCallback("a|b c\t\xc3\xa4", INT64_MIN, INT32_MAX, "").isOk() &&
           client.onRunSimpMultiPidZULCallback("", "12 34").isOk() &&
           client.onRunMultiPidZULCallback("t", int64_t{1} << 62, "1", "x").isOk();
}

/** Notes what it is called with. */
template <class Interface, class Text, class Result>
class Client : public Interface {
  public:
    Client() { gClients++; }
    ~Client() override { gClients--; }
    Result onRunSimpZULCallback(const Text& tag, int32_t pid) override {
        return note("simp", tag.c_str(), pid);
    }
    Result onRunZULCallback(const Text& tag, int64_t flag, int32_t pid,
                            const Text& extra) override {
        return note("run", tag.c_str(), flag, pid, extra.c_str());
    }
    Result onRunSimpMultiPidZULCallback(const Text& tag, const Text& pids) override {
        return note("simpMulti", tag.c_str(), pids.c_str());
    }
    Result onRunMultiPidZULCallback(const Text& tag, int64_t flag, const Text& pids,
                                    const Text& extra) override {
        return note("multi", tag.c_str(), flag, pids.c_str(), extra.c_str());
    }

  private:
    template <class... Words>
    static Result note(const Words&... words) {
        {
            std::lock_guard lock(gCallsLock);
            ((gCalls << words << ','), ...) << '\n';
        }
        if constexpr (std::is_same_v<Result, ScopedAStatus>) {
            return ScopedAStatus::ok();
        } else {
            return Void();
        }
    }
};

using HidlClient = Client<hidl_zul::IZulClientCallback, hidl_string, Return<void>>;
using AidlClient = Client<aidl_zul::BnZulClientCallback, std::string, ScopedAStatus>;

// The engines fire the events at each client while it registers, and keep it.

struct HidlEngine : hidl_zul::IZul {
    Return<void> reserved1() override { return Void(); }
    Return<void> reserved2() override { return Void(); }
    Return<void> reserved3() override { return Void(); }
    Return<void> reserved4() override { return Void(); }
    Return<int32_t> getThreadNumber() override { return 3; }
    Return<void> registerClientCallback(const sp<hidl_zul::IZulClientCallback>& client) override {
        if (client == nullptr) return Void();
        clients.push_back(client);
        if (!client->ping().isOk() || !fireEvents(*client)) Peer::report('!');
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
        if (!client->getInterfaceVersion(&version).isOk() || version != 1 ||
            !client->getInterfaceHash(&hash).isOk() || hash != aidl_zul::IZul::hash ||
            !fireEvents(*client)) {
            Peer::report('!');
        }
        return ScopedAStatus::ok();
    }

    std::vector<std::shared_ptr<aidl_zul::IZulClientCallback>> clients;
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

/** To be called when a client has registered and only the engine holds it. */
void expectEventsThenDeath(Peer& peer) {
    {
        std::lock_guard lock(gCallsLock);
        EXPECT_EQ(gCalls.str(), kExpected);
        gCalls.str("");
    }
    EXPECT_EQ(gClients, 1) << "the engine holds it";
    EXPECT_EQ(peer.nextReport(0), '?') << "every call was good";
    peer.kill();
    EXPECT_TRUE(eventually([] { return gClients == 0; }));
}

TEST(EngineTest, HidlEngineAndClientCallEachOther) {
    EXPECT_EQ(hidl_zul::IZul::getService().get(), nullptr) << "nobody there: no waiting";
    Peer peer("hidl_engine", "default");
    ASSERT_EQ(peer.nextReport(), 'r');
    const sp<hidl_zul::IZul> engine = hidl_zul::IZul::getService("default", false);
    ASSERT_NE(engine.get(), nullptr);
    EXPECT_TRUE(engine->isRemote());
    EXPECT_EQ(hidl_zul::IZul::getService("other").get(), nullptr);
    EXPECT_EQ(engine->getThreadNumber().withDefault(-1), 3);
    EXPECT_TRUE(engine->reserved4().isOk());
    EXPECT_TRUE(engine->registerClientCallback(new HidlClient).isOk());
    EXPECT_TRUE(engine->registerClientCallback(nullptr).isOk());

    expectEventsThenDeath(peer);
    EXPECT_TRUE(engine->getThreadNumber().isDeadObject());
    EXPECT_EQ(engine->getThreadNumber().withDefault(-1), -1);
}

TEST(EngineTest, AidlEngineAndClientCallEachOther) {
    EXPECT_EQ(AServiceManager_waitForService(kAidlName.c_str()), nullptr) << "no waiting";
    Peer peer("aidl_engine", "");
    ASSERT_EQ(peer.nextReport(), 'r');
    ABinderProcess_startThreadPool();
    const ndk::SpAIBinder binder(AServiceManager_waitForService(kAidlName.c_str()));
    const std::shared_ptr<aidl_zul::IZul> engine = aidl_zul::IZul::fromBinder(binder);
    ASSERT_NE(engine, nullptr);
    EXPECT_TRUE(engine->isRemote());
    EXPECT_EQ(aidl_zul::IZulClientCallback::fromBinder(binder), nullptr) << "another interface";
    EXPECT_EQ(aidl_zul::IZul::fromBinder(nullptr), nullptr);
    EXPECT_EQ(kHashAtStart, aidl_zul::IZul::hash + aidl_zul::IZul::hash);

    int32_t number = 0;
    EXPECT_TRUE(engine->getThreadNumber(&number).isOk());
    EXPECT_EQ(number, 3);
    EXPECT_TRUE(engine->getInterfaceVersion(&number).isOk());
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(engine->registerClientCallback(ndk::SharedRefBase::make<AidlClient>()).isOk());
    const ScopedAStatus refused = engine->registerClientCallback(nullptr);
    EXPECT_EQ(refused.getExceptionCode(), EX_ILLEGAL_ARGUMENT);
    EXPECT_STREQ(refused.getMessage(), "no client");

    expectEventsThenDeath(peer);
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
    const sp<Mourner> withdrawn = new Mourner(notices);
    sp<Mourner> dropped = new Mourner(notices);
    EXPECT_TRUE(bool{engine->linkToDeath(kept, 1)});
    EXPECT_TRUE(bool{engine->linkToDeath(kept, 2)});
    EXPECT_TRUE(bool{engine->linkToDeath(kept, 3)});
    EXPECT_TRUE(bool{engine->unlinkToDeath(kept)}) << "takes the latest back";
    EXPECT_TRUE(bool{engine->linkToDeath(withdrawn, 4)});
    EXPECT_TRUE(bool{engine->unlinkToDeath(withdrawn)});
    EXPECT_FALSE(bool{engine->unlinkToDeath(withdrawn)});
    EXPECT_TRUE(bool{engine->linkToDeath(dropped, 5)});
    dropped.clear();
    EXPECT_TRUE(bool{hidl_zul::IZul::getService("mourned")->linkToDeath(kept, 6)})
            << "this proxy ends at once, and its link with it";

    peer.kill();
    EXPECT_TRUE(engine->getThreadNumber().isDeadObject());
    EXPECT_THAT(notices.take(2), UnorderedElementsAre("1 held", "2 held"));
    EXPECT_FALSE(bool{engine->unlinkToDeath(kept)}) << "told already";
    EXPECT_FALSE(bool{engine->linkToDeath(kept, 7)}) << "dead already";
    const sp<hidl_zul::IZul> own = new HidlEngine;
    EXPECT_TRUE(bool{own->linkToDeath(kept, 8)}) << "accepted, and never told";
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

struct Newsreader : android::hidl::manager::V1_0::IServiceNotification {
    explicit Newsreader(Notices& noticesOfTest) : notices(noticesOfTest) {}
    Return<void> onRegistration(const hidl_string& fqName, const hidl_string& name,
                                bool preexisting) override {
        EXPECT_EQ(fqName, hidl_zul::IZul::descriptor);
        notices.add(std::string(name) + (preexisting ? " was there" : " came"));
        return Void();
    }
    Notices& notices;
};

TEST(NoticeTest, EachRegistrationOfAServiceIsTold) {
    // Listeners stay for ever.
    static Notices& early = *new Notices;
    static Notices& late = *new Notices;
    EXPECT_TRUE(hidl_zul::IZul::registerForNotifications("news", new Newsreader(early)));
    EXPECT_FALSE(hidl_zul::IZul::registerForNotifications("news", nullptr));
    for (int life = 0; life < 3; life++) {
        Peer peer("hidl_engine", "news");
        Peer other("hidl_engine", "other");
        ASSERT_EQ(peer.nextReport(), 'r');
        ASSERT_EQ(other.nextReport(), 'r');
        EXPECT_THAT(early.take(1), ElementsAre("news came"));
        EXPECT_NE(hidl_zul::IZul::getService("news").get(), nullptr);
        if (life == 1) {
            EXPECT_TRUE(hidl_zul::IZul::registerForNotifications("news", new Newsreader(late)));
            EXPECT_THAT(late.take(1), ElementsAre("news was there"));
        }
    }
    EXPECT_THAT(late.take(1), ElementsAre("news came"));
}

/** Notices of one link: the cookie. */
struct LinkNotices {
    Notices* notices;
    std::string name;
    static void died(void* cookie) { tell(cookie, " died"); }
    static void unlinked(void* cookie) { tell(cookie, " unlinked"); }
    static void tell(void* cookie, const char* what) {
        const auto* link = static_cast<LinkNotices*>(cookie);
        link->notices->add(link->name + what);
    }
};

TEST(NoticeTest, AidlDeathIsToldOnceAndEveryLinkIsUnlinkedOnce) {
    Notices pool;
    Notices ours;
    LinkNotices dies{&pool, "linked"}, dropped{&ours, "dropped"}, taken{&ours, "taken back"},
            deleted{&ours, "deleted"}, late{&ours, "late"}, local{&ours, "local"};
    ABinderProcess_startThreadPool();
    Peer peer("aidl_engine", "");
    ASSERT_EQ(peer.nextReport(), 'r');
    const auto find = [] {
        return ndk::SpAIBinder(AServiceManager_checkService(kAidlName.c_str()));
    };
    const auto newRecipient = [] {
        AIBinder_DeathRecipient* recipient = AIBinder_DeathRecipient_new(LinkNotices::died);
        AIBinder_DeathRecipient_setOnUnlinked(recipient, LinkNotices::unlinked);
        return ndk::ScopedAIBinder_DeathRecipient(recipient);
    };
    const ndk::SpAIBinder binder = find();
    const auto recipient = newRecipient();
    const auto link = [&](const ndk::SpAIBinder& to, LinkNotices& cookie) {
        return AIBinder_linkToDeath(to.get(), recipient.get(), &cookie);
    };
    EXPECT_EQ(link(binder, dies), STATUS_OK);
    EXPECT_EQ(link(binder, taken), STATUS_OK);
    EXPECT_EQ(AIBinder_unlinkToDeath(binder.get(), recipient.get(), &taken), STATUS_OK);
    EXPECT_THAT(ours.take(), ElementsAre("taken back unlinked"));
    EXPECT_EQ(AIBinder_unlinkToDeath(binder.get(), recipient.get(), &taken), STATUS_NAME_NOT_FOUND);

    auto other = newRecipient();
    EXPECT_EQ(AIBinder_linkToDeath(binder.get(), other.get(), &deleted), STATUS_OK);
    EXPECT_EQ(AIBinder_linkToDeath(find().get(), other.get(), &dropped), STATUS_OK);
    EXPECT_THAT(ours.take(), IsEmpty());
    other.set(nullptr);
    EXPECT_THAT(ours.take(), UnorderedElementsAre("deleted unlinked", "dropped unlinked"));
    EXPECT_EQ(link(find(), dropped), STATUS_OK) << "nobody holds this object afterwards";

    const ndk::SpAIBinder own = ndk::SharedRefBase::make<AidlEngine>()->asBinder();
    EXPECT_EQ(link(own, local), STATUS_INVALID_OPERATION);
    EXPECT_THAT(ours.take(), ElementsAre("local unlinked"));
    EXPECT_EQ(link(nullptr, local), STATUS_UNEXPECTED_NULL);

    EXPECT_TRUE(AIBinder_isAlive(binder.get()));
    peer.kill();
    EXPECT_THAT(pool.take(2), ElementsAre("linked died", "linked unlinked"));
    EXPECT_FALSE(AIBinder_isAlive(binder.get()));
    EXPECT_EQ(link(binder, late), STATUS_DEAD_OBJECT);
    EXPECT_THAT(ours.take(), UnorderedElementsAre("dropped unlinked", "late unlinked"));
    EXPECT_EQ(AIBinder_unlinkToDeath(binder.get(), recipient.get(), &dies), STATUS_NAME_NOT_FOUND);
    EXPECT_EQ(AIBinder_DeathRecipient_new(nullptr), nullptr);
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

TEST(LookUpTest, OnlyADeclaredServiceIsWaitedFor) {
    const std::string hidlName = std::string(hidl_zul::IZul::descriptor) + "/default";
    const struct {
        const char* mode;
        std::string name;
        std::function<bool()> find;
    } faces[] = {
            {"hidl", hidlName, [] { return hidl_zul::IZul::getService() != nullptr; }},
            {"aidl", kAidlName,
             [] {
                 return ndk::SpAIBinder(AServiceManager_waitForService(kAidlName.c_str())).get() !=
                        nullptr;
             }},
    };
    for (const auto& face : faces) {
        SCOPED_TRACE(face.mode);
        const std::string declared = Manifest::ofDevice(face.mode);
        EXPECT_FALSE(face.find()) << "not declared";
        for (const auto& [what, by] : {std::pair{"zulengine<", "zulmotor<"},
                                       {"IZul<", "IZulClientCallback<"},
                                       {"default<", "other<"},
                                       {"format=\"", "format=\"x"},
                                       {"<hal ", "<!-- <hal "}}) {
            std::string other = declared;
            other.replace(other.find(what), strlen(what), by);
            const Manifest manifest(other);
            EXPECT_FALSE(face.find()) << by;
        }
        const Manifest manifest(declared);
        std::unique_ptr<Peer> peer;
        std::thread engine([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(2300));
            peer = std::make_unique<Peer>(std::string(face.mode) + "_engine", "default");
        });
        testing::internal::CaptureStderr();
        EXPECT_TRUE(face.find());
        const std::string log = testing::internal::GetCapturedStderr();
        engine.join();
        const std::string warning = "[^\n]* W [^\n]*Waited one second for " + face.name + "\n";
        EXPECT_THAT(log, testing::MatchesRegex(warning + warning));
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
