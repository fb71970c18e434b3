// SPDX-License-Identifier: Apache-2.0

#include <android/log.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <transport/Domain.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <random>
#include <thread>

#include "platform/transport/Frame.h"
#include "tests/support/Peer.h"

namespace zul::test {
namespace {

using android::status_t;
using std::chrono::steady_clock;
using transport::Domain;
using transport::FileDescriptor;
using transport::FrameHeader;
using transport::FrameKind;
using transport::Message;
using transport::Object;
using transport::ObjectEntry;

// What the service of the peers does.
enum Code : uint32_t {
    kEcho = 1,
    kKeep,
    kDropAll,
    kHold,
    kCallBack,
    kGive,
    kLiveGiven,
    kCountFds,
    kFill
};

int countDescriptors() {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<int>(std::distance(Iterator("/proc/self/fd"), Iterator())) - 1;
}

/** Waits for something that another thread or process brings about. */
bool eventually(const std::function<bool()>& condition) {
    const auto deadline = steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void writeInt(Message& message, int32_t value) {
    message.write(&value, sizeof(value));
}

int32_t readInt(const Message& message) {
    int32_t value = -1;
    EXPECT_EQ(message.read(&value, sizeof(value)), android::OK);
    return value;
}

/** Counts how many of its kind live; answers each call with its code. */
class Counted : public Object {
  public:
    explicit Counted(std::atomic<int>& live) : mLive(live) { mLive++; }
    ~Counted() override { mLive--; }
    status_t deliver(uint32_t code, Message&&, Message& reply) override {
        writeInt(reply, static_cast<int32_t>(code));
        return android::OK;
    }
    void* local() override { return this; }

  private:
    std::atomic<int>& mLive;
};

class Service : public Object {
  public:
    status_t deliver(uint32_t code, Message&& request, Message& reply) override {
        std::shared_ptr<Object> object;
        switch (code) {
            case kEcho:
                for (const auto& sent : request.objects())
                    reply.writeObject(sent);
                request.setPosition(request.objects().size() * 4);
                if (const size_t rest = request.size() - request.position()) {
                    reply.write(request.readInPlace(rest), rest);
                }
                return android::OK;
            case kKeep: {
                std::lock_guard lock(mLock);
                for (const auto& sent : request.objects())
                    mKept.push_back(sent);
                return android::OK;
            }
            case kDropAll: {
                std::lock_guard lock(mLock);
                mKept.clear();
                return android::OK;
            }
            case kHold:
                Peer::report('h');
                Peer::waitAtGate();
                return android::OK;
            case kCallBack:
                if (request.readObject(&object) != android::OK) return android::BAD_VALUE;
                return object->deliver(77, Message(), reply);
            case kGive:
                reply.writeObject(std::make_shared<Counted>(mGiven));
                return android::OK;
            case kLiveGiven:
                writeInt(reply, mGiven);
                return android::OK;
            case kCountFds:
                writeInt(reply, countDescriptors());
                return android::OK;
            case kFill: {
                const std::vector<char> bytes(static_cast<size_t>(readInt(request)), 'f');
                reply.write(bytes.data(), bytes.size());
                return android::OK;
            }
            default:
                return android::UNKNOWN_TRANSACTION;
        }
    }
    void* local() override { return this; }

  private:
    std::mutex mLock;
    std::vector<std::shared_ptr<Object>> mKept;
    std::atomic<int> mGiven{0};
};

/** Serves the name; reports 'r', or 'x' when the name was refused. */
void publish(const std::string& name) {
    const status_t status = Domain::binder().publish(name, std::make_shared<Service>());
    Peer::report(status == android::OK ? 'r' : status == android::ALREADY_EXISTS ? 'x' : '!');
}

const Peer::Register kServer("server", [](const std::string& name) {
    publish(name);
    Domain::binder().startThreads();
});

/** Keeps an object of the service and waits. */
const Peer::Register kHolder("holder", [](const std::string& name) {
    const std::shared_ptr<Object> service = Domain::binder().lookup(name);
    Message reply;
    EXPECT_EQ(service->deliver(kGive, Message(), reply), android::OK);
    Peer::report('r');
    while (true)
        pause();
});

TEST(PeerProcess, DISABLED_Run) {
    Peer::run();
}

class TransportTest : public testing::Test {
  protected:
    TransportTest() { Domain::binder().startThreads(); }

    /** A name that no other test has. */
    static std::string newName() {
        static int count = 0;
        return "test." + std::to_string(getpid()) + "/" + std::to_string(count++);
    }

    static status_t call(const std::shared_ptr<Object>& object, uint32_t code,
                         const std::shared_ptr<Object>& argument, Message* reply = nullptr) {
        Message request;
        Message unwanted;
        if (argument != nullptr) request.writeObject(argument);
        return object->deliver(code, std::move(request), reply != nullptr ? *reply : unwanted);
    }

    static int32_t ask(const std::shared_ptr<Object>& object, uint32_t code) {
        Message reply;
        EXPECT_EQ(call(object, code, nullptr, &reply), android::OK);
        return readInt(reply);
    }

    static std::shared_ptr<Object> echo(const std::shared_ptr<Object>& service,
                                        const std::shared_ptr<Object>& object) {
        Message reply;
        std::shared_ptr<Object> result;
        EXPECT_EQ(call(service, kEcho, object, &reply), android::OK);
        EXPECT_EQ(reply.readObject(&result), android::OK);
        return result;
    }
};

/** A test with a serving peer. */
class ServedTest : public TransportTest {
  protected:
    ServedTest() : mName(newName()), mPeer("server", mName) {
        EXPECT_EQ(mPeer.nextReport(), 'r');
        mService = Domain::binder().lookup(mName);
    }

    const std::string mName;
    Peer mPeer;
    std::shared_ptr<Object> mService;
    std::atomic<int> mLive{0};
};

TEST(MessageTest, ReadsNeverLeaveTheMessage) {
    struct Case {
        const char* name;
        std::vector<uint8_t> bytes;
        size_t read;
        bool fits;
    };
    const Case cases[] = {
            {"nothing", {}, 1, false},
            {"exact", {1, 2, 3, 4}, 4, true},
            {"padding missing", {1, 2, 3}, 3, false},
            {"one too many", {1, 2, 3, 4}, 5, false},
            {"length that wraps around", {1, 2, 3, 4}, SIZE_MAX, false},
            {"length that wraps with its padding", {1, 2, 3, 4}, SIZE_MAX - 2, false},
            {"empty read at the end", {}, 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Message message(std::vector<uint8_t>(c.bytes), 0, {});
        EXPECT_EQ(message.readInPlace(c.read) != nullptr || c.read == 0, c.fits);
        EXPECT_EQ(message.position(), c.fits ? (c.read + 3) / 4 * 4 : 0);
    }
    Message forged;
    writeInt(forged, 5);
    std::shared_ptr<Object> object;
    EXPECT_EQ(forged.readObject(&object), android::BAD_TYPE);
    EXPECT_EQ(forged.readObject(&object), android::NOT_ENOUGH_DATA);
}

TEST_F(ServedTest, BytesAndNullReturnUnchanged) {
    for (size_t size : {0u, 1u, 3u, 4u, 1000u, 5000u, 300000u}) {
        SCOPED_TRACE(size);
        std::string sent(size, '\0');
        std::generate(sent.begin(), sent.end(), [i = 0]() mutable { return char(i++ * 7); });
        Message request;
        Message reply;
        request.write(sent.data(), size);
        ASSERT_EQ(mService->deliver(kEcho, std::move(request), reply), android::OK);
        ASSERT_EQ(reply.size(), (size + 3) / 4 * 4);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(reply.data()), size), sent);
    }
    EXPECT_EQ(call(mService, 999, nullptr), android::UNKNOWN_TRANSACTION);
}

TEST_F(ServedTest, TooLargeIsRefusedBySender) {
    struct Case {
        const char* name;
        uint32_t code;
        size_t bytes;
        size_t objects;
        int32_t fill;
        status_t status;
    };
    const Case cases[] = {
            {"largest request", kKeep, transport::kMaxMessageBytes, 0, 0, android::OK},
            {"request", kKeep, transport::kMaxMessageBytes + 4, 0, 0, android::FAILED_TRANSACTION},
            {"objects", kDropAll, 0, transport::kMaxMessageObjects + 1, 0,
             android::FAILED_TRANSACTION},
            {"largest reply", kFill, 0, 0, transport::kMaxMessageBytes, android::OK},
            {"reply", kFill, 0, 0, transport::kMaxMessageBytes + 1, android::FAILED_TRANSACTION},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Message request;
        Message reply;
        if (c.fill > 0) writeInt(request, c.fill);
        if (c.bytes > 0) request.write(std::vector<char>(c.bytes).data(), c.bytes);
        for (size_t i = 0; i < c.objects; i++) {
            request.writeObject(std::make_shared<Counted>(mLive));
        }
        EXPECT_EQ(mService->deliver(c.code, std::move(request), reply), c.status);
        EXPECT_EQ(reply.size(), c.status == android::OK ? size_t(c.fill) : 0);
    }
    EXPECT_EQ(mLive, 0);
}

TEST_F(ServedTest, ObjectsAreCalledBackAndEndWithTheirLastReference) {
    auto object = std::make_shared<Counted>(mLive);
    Message reply;
    ASSERT_EQ(call(mService, kCallBack, object, &reply), android::OK);
    EXPECT_EQ(readInt(reply), 77);

    EXPECT_EQ(call(mService, kKeep, object), android::OK);
    EXPECT_EQ(call(mService, kKeep, object), android::OK);
    const Object* address = object.get();
    object.reset();
    EXPECT_EQ(mLive, 1) << "the peer holds it";
    EXPECT_EQ(call(mService, kDropAll, nullptr), android::OK);
    EXPECT_TRUE(eventually([this] { return mLive == 0; })) << address;

    std::shared_ptr<Object> given;
    ASSERT_EQ(call(mService, kGive, nullptr, &reply), android::OK);
    ASSERT_EQ(reply.readObject(&given), android::OK);
    EXPECT_EQ(ask(given, 5), 5);
    EXPECT_EQ(echo(mService, given), given) << "one object has one proxy";
    reply = Message();
    given.reset();
    EXPECT_TRUE(eventually([this] { return ask(mService, kLiveGiven) == 0; }));
}

TEST_F(ServedTest, ObjectsComeHomeAsThemselvesEvenWhenTheirReleaseIsFaster) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([this] {
            for (int round = 0; round < 200; round++) {
                const auto object = std::make_shared<Counted>(mLive);
                ASSERT_EQ(echo(mService, object), object);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(eventually([this] { return mLive == 0; }));
}

TEST_F(ServedTest, ThousandCallsLeakNoDescriptor) {
    const auto round = [this] {
        for (int i = 0; i < 10; i++) {
            const auto service = Domain::binder().lookup(mName);
            echo(service, std::make_shared<Counted>(mLive));
            call(service, kKeep, std::make_shared<Counted>(mLive));
            call(service, kCallBack, std::make_shared<Counted>(mLive));
        }
        call(mService, kDropAll, nullptr);
    };
    round();
    EXPECT_TRUE(eventually([this] { return mLive == 0; }));
    const int ours = countDescriptors();
    const int theirs = ask(mService, kCountFds);
    for (int i = 0; i < 34; i++)
        round();
    EXPECT_TRUE(eventually([this] { return mLive == 0; }));
    // Sessions of the other side end a moment later than ours.
    EXPECT_TRUE(eventually([&] { return countDescriptors() <= ours; }));
    EXPECT_TRUE(eventually([&] { return ask(mService, kCountFds) <= theirs; }));
}

TEST_F(ServedTest, DeathFailsWaitingCallsAndEndsWhatThePeerHeld) {
    ask(mService, kLiveGiven);
    call(mService, kKeep, std::make_shared<Counted>(mLive));
    EXPECT_EQ(mLive, 1);
    status_t waiting = android::OK;
    std::thread caller([&] { waiting = call(mService, kHold, nullptr); });
    EXPECT_EQ(mPeer.nextReport(), 'h');

    const auto before = steady_clock::now();
    mPeer.kill();
    caller.join();
    EXPECT_LT(steady_clock::now() - before, std::chrono::seconds(2));
    EXPECT_EQ(waiting, android::DEAD_OBJECT);
    EXPECT_TRUE(eventually([this] { return mLive == 0; }));
    EXPECT_EQ(call(mService, kEcho, nullptr), android::DEAD_OBJECT);
    EXPECT_FALSE(mService->asRemote()->isAlive());
    EXPECT_EQ(Domain::binder().lookup(mName), nullptr);
}

TEST_F(TransportTest, DeathOfAClientEndsWhatItHeld) {
    const std::string name = newName();
    const auto service = std::make_shared<Service>();
    ASSERT_EQ(Domain::binder().publish(name, service), android::OK);
    EXPECT_EQ(Domain::binder().lookup(name), service) << "own services are not proxies";
    const int descriptors = countDescriptors();
    {
        Peer holder("holder", name);
        EXPECT_EQ(holder.nextReport(), 'r');
        EXPECT_EQ(ask(service, kLiveGiven), 1);
    }
    EXPECT_TRUE(eventually([&] { return ask(service, kLiveGiven) == 0; }));
    EXPECT_TRUE(eventually([&] { return countDescriptors() <= descriptors; }));
}

TEST_F(TransportTest, NamesAreServedOnce) {
    const std::string name = newName();
    EXPECT_EQ(Domain::binder().lookup(name), nullptr);
    Peer first("server", name);
    ASSERT_EQ(first.nextReport(), 'r');
    Peer second("server", name);
    EXPECT_EQ(second.nextReport(), 'x');
    EXPECT_THAT(second.errors(), testing::ContainsRegex(" E transport: service .*already served"));
    EXPECT_EQ(call(Domain::binder().lookup(name), kEcho, nullptr), android::OK)
            << "the refused one must leave the address alone";

    first.kill();
    const auto mine = std::make_shared<Service>();
    EXPECT_EQ(Domain::binder().publish(name, mine), android::OK) << "the owner is dead";
    EXPECT_EQ(Domain::binder().publish(name, mine), android::ALREADY_EXISTS);
    EXPECT_EQ(Domain::hwbinder().lookup(name), nullptr) << "domains are apart";
}

TEST_F(TransportTest, OneOfManyRegistrantsWins) {
    const std::string name = newName();
    {
        Peer dead("server", name);
        ASSERT_EQ(dead.nextReport(), 'r');
    }
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < 5; i++)
        peers.push_back(std::make_unique<Peer>("server", name));
    std::string reports;
    for (auto& peer : peers)
        reports += peer->nextReport();
    EXPECT_EQ(std::count(reports.begin(), reports.end(), 'r'), 1) << reports;
    EXPECT_EQ(std::count(reports.begin(), reports.end(), 'x'), 4) << reports;
    EXPECT_EQ(call(Domain::binder().lookup(name), kEcho, nullptr), android::OK);
}

TEST_F(TransportTest, NamesMapToAddressesOneToOne) {
    const std::string base = newName();
    const auto slash = std::make_shared<Service>();
    const auto escaped = std::make_shared<Service>();
    EXPECT_EQ(Domain::binder().publish(base + "/x", slash), android::OK);
    EXPECT_EQ(Domain::binder().publish(base + "%2Fx", escaped), android::OK);
    EXPECT_EQ(Domain::binder().lookup(base + "/x"), slash);
    EXPECT_EQ(Domain::binder().lookup(base + "%2Fx"), escaped);
    for (const std::string& bad : {std::string(), std::string(200, 'n'), std::string("a\0b", 3)}) {
        EXPECT_EQ(Domain::binder().publish(bad, slash), android::BAD_VALUE) << bad.size();
        EXPECT_EQ(Domain::binder().lookup(bad), nullptr) << bad.size();
    }
}

// --- Thread pool --------------------------------------------------------------------------------

struct PoolCase {
    const char* name;
    /** What the peer does, one letter each: a digit configures, 'w' says that the caller will join,
     * 's' starts, 'j' joins. */
    const char* steps;
    int parallel;
};

const Peer::Register kPool("pool", [](const std::string& argument) {
    const size_t blank = argument.find(' ');
    publish(argument.substr(blank + 1));
    const std::string steps = argument.substr(0, blank);
    for (size_t i = 0; i < steps.size(); i++) {
        if (isdigit(steps[i])) {
            const bool joins = i + 1 < steps.size() && steps[i + 1] == 'w';
            Domain::binder().configureThreads(static_cast<size_t>(steps[i] - '0'), joins);
        }
        if (steps[i] == 's') Domain::binder().startThreads();
        if (steps[i] == 'j') Domain::binder().joinThreads();
    }
});

class PoolTest : public TransportTest, public testing::WithParamInterface<PoolCase> {};

TEST_P(PoolTest, ServesExactlyTheConfiguredNumberAtATime) {
    const PoolCase& c = GetParam();
    const std::string name = newName();
    Peer peer("pool", std::string(c.steps) + " " + name);
    ASSERT_EQ(peer.nextReport(), 'r');
    const std::shared_ptr<Object> service = Domain::binder().lookup(name);
    ASSERT_NE(service, nullptr);
    std::vector<std::thread> callers;
    std::atomic<int> good{0};
    const int calls = c.parallel + 2;
    for (int i = 0; i < calls; i++) {
        callers.emplace_back([&] { good += call(service, kHold, nullptr) == android::OK; });
    }
    for (int i = 0; i < c.parallel; i++)
        EXPECT_EQ(peer.nextReport(), 'h');
    EXPECT_EQ(peer.nextReport(150), '?') << "more calls at a time than threads";
    // What waited is served as soon as a thread is free, and the peer's end frees what never is.
    peer.openGate();
    if (c.parallel == 0) {
        peer.kill();
    } else {
        for (int i = c.parallel; i < calls; i++)
            EXPECT_EQ(peer.nextReport(), 'h');
    }
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_EQ(good, c.parallel == 0 ? 0 : calls);
}

INSTANTIATE_TEST_SUITE_P(Transport, PoolTest,
                         testing::Values(PoolCase{"NotStarted", "3", 0},
                                         PoolCase{"Started", "1s", 1},
                                         PoolCase{"StartedTwice", "3ss", 3},
                                         PoolCase{"JoinOnly", "0j", 1},
                                         PoolCase{"JoinComesOnTop", "2sj", 3},
                                         PoolCase{"JoinIsOneOfThem", "3wsj", 3},
                                         PoolCase{"RaisedBeforeJoin", "1s4wsj", 4},
                                         PoolCase{"NoneAndJoin", "1s0wj", 2}),
                         [](const auto& info) { return std::string(info.param.name); });

// --- Hostile peers ------------------------------------------------------------------------------

/** A peer that speaks the protocol by hand. */
class RawPeer {
  public:
    explicit RawPeer(const std::string& name)
          : mControl(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        std::string path = "/dev/socket/binder." + name;
        path.replace(path.rfind('/'), 1, "%2F");
        sockaddr_un address{AF_UNIX, {}};
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(connect(mControl.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)),
                  0)
                << path;
    }

    int control() const { return mControl.get(); }

    /** A data connection as it should be; returns our end. */
    FileDescriptor openConnection() const {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const FileDescriptor theirs(ends[1]);
        FrameHeader offer;
        offer.kind = FrameKind::OfferConnection;
        EXPECT_EQ(sendControl(control(), offer, theirs.get()), transport::SendResult::Sent);
        return FileDescriptor(ends[0]);
    }

    /** One call on a connection of its own; gives the whole reply. */
    transport::FrameReader call(uint32_t code, uint64_t handle = 0,
                                const std::vector<ObjectEntry>& objects = {}) const {
        const FileDescriptor data = openConnection();
        FrameHeader header;
        header.kind = FrameKind::Request;
        header.code = code;
        header.handle = handle;
        header.objectCount = static_cast<uint16_t>(objects.size());
        EXPECT_TRUE(transport::sendFrame(data.get(), header, nullptr, objects));
        transport::FrameReader reply;
        EXPECT_EQ(reply.readSome(data.get(), FrameKind::Reply, 0), transport::ReadResult::Complete);
        return reply;
    }

    /** Offers what is no connection: `count` copies of `descriptor`. */
    void sendDescriptors(int descriptor, size_t count, FrameKind kind) const {
        FrameHeader frame;
        frame.kind = kind;
        iovec part{&frame, sizeof(frame)};
        alignas(cmsghdr) char room[CMSG_SPACE(20 * sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (count > 0) {
            message.msg_control = room;
            message.msg_controllen = CMSG_SPACE(count * sizeof(int));
            cmsghdr* first = CMSG_FIRSTHDR(&message);
            *first = {CMSG_LEN(count * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
            for (size_t i = 0; i < count; i++) {
                memcpy(CMSG_DATA(first) + i * sizeof(int), &descriptor, sizeof(int));
            }
        }
        EXPECT_EQ(sendmsg(control(), &message, MSG_NOSIGNAL), ssize_t(sizeof(frame)));
    }

    static void sendBytes(int socket, const void* bytes, size_t size) {
        EXPECT_EQ(send(socket, bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    }

    /** True when the other side closes the connection without a word. */
    static bool isClosed(int socket) {
        pollfd readable{socket, POLLIN, 0};
        char byte;
        return poll(&readable, 1, 20000) == 1 && recv(socket, &byte, 1, MSG_DONTWAIT) <= 0;
    }

  private:
    const FileDescriptor mControl;
};

struct HostileCase {
    const char* name;
    /** Where the frame goes: to the control connection or to a data connection. */
    bool isControl;
    FrameHeader header;
    /** Bytes sent after the header. */
    size_t extra;
    bool isClosedAfterwards;
};

class HostileTest : public ServedTest {
  protected:
    static FrameHeader frame(FrameKind kind, uint32_t size = 0, uint16_t objects = 0,
                             uint64_t handle = 0) {
        FrameHeader header;
        header.kind = kind;
        header.size = size;
        header.objectCount = objects;
        header.handle = handle;
        header.code = kEcho;
        return header;
    }

    size_t malformedLines() const {
        const std::string errors = mPeer.errors();
        size_t count = 0;
        for (size_t at = 0; (at = errors.find(" E transport: malformed", at)) != std::string::npos;
             at++) {
            count++;
        }
        return count;
    }
};

TEST_F(HostileTest, MalformedFramesEndOneConnectionWithOneLine) {
    FrameHeader wrongMagic = frame(FrameKind::Request);
    wrongMagic.magic = 0x12345678;
    const FrameKind unknown = static_cast<FrameKind>(99);
    const HostileCase cases[] = {
            {"magic", false, wrongMagic, 0, true},
            {"unknown kind", false, frame(unknown), 0, true},
            {"reply instead of a request", false, frame(FrameKind::Reply), 0, true},
            {"more bytes than allowed", false, frame(FrameKind::Request, 1024 * 1024 + 1), 0, true},
            {"largest number", false, frame(FrameKind::Request, UINT32_MAX), 0, true},
            {"more objects than allowed", false, frame(FrameKind::Request, 0, 1025), 0, true},
            {"bytes after the frame", false, frame(FrameKind::Request), 4, true},
            {"magic on control", true, wrongMagic, 0, true},
            {"request on control", true, frame(FrameKind::Request), 0, true},
            {"unknown kind on control", true, frame(unknown), 0, true},
            {"bytes on control", true, frame(FrameKind::Release, 4), 4, true},
            {"offer without connection", true, frame(FrameKind::OfferConnection), 0, true},
            {"release of nothing", true, frame(FrameKind::Release, 0, 0, 12345), 0, false},
            {"thanks for nothing", true, frame(FrameKind::HomeReceived, 0, 0, 12345), 0, false},
    };
    size_t lines = 0;
    for (const HostileCase& c : cases) {
        SCOPED_TRACE(c.name);
        const RawPeer raw(mName);
        const FileDescriptor data = raw.openConnection();
        const int target = c.isControl ? raw.control() : data.get();
        std::string bytes(reinterpret_cast<const char*>(&c.header), sizeof(c.header));
        bytes.append(c.extra, 'x');
        RawPeer::sendBytes(target, bytes.data(), bytes.size());
        if (c.isClosedAfterwards) {
            EXPECT_TRUE(RawPeer::isClosed(target));
            EXPECT_TRUE(eventually([&] { return malformedLines() == lines + 1; })) << lines;
            lines++;
        }
        EXPECT_EQ(call(mService, kEcho, nullptr), android::OK) << "the others are served on";
        EXPECT_EQ(malformedLines(), lines);
    }
}

TEST_F(HostileTest, FramesMayComeInPartsButNotStopInTheMiddle) {
    const RawPeer raw(mName);
    FileDescriptor data = raw.openConnection();
    const FrameHeader header = frame(FrameKind::Request, 3000);
    const std::string content(3000, 'c');
    RawPeer::sendBytes(data.get(), &header, 10);
    EXPECT_EQ(call(mService, kEcho, nullptr), android::OK) << "nobody waits for the rest";
    RawPeer::sendBytes(data.get(), reinterpret_cast<const char*>(&header) + 10, 22);
    RawPeer::sendBytes(data.get(), content.data(), 1000);
    EXPECT_EQ(call(mService, kEcho, nullptr), android::OK);
    RawPeer::sendBytes(data.get(), content.data(), 2000);
    transport::FrameReader reply;
    transport::ReadResult result;
    do {
        result = reply.readSome(data.get(), FrameKind::Reply, 0);
    } while (result == transport::ReadResult::Partial);
    ASSERT_EQ(result, transport::ReadResult::Complete);
    EXPECT_EQ(reply.header().size, 3000u);

    RawPeer::sendBytes(data.get(), &header, 20);
    EXPECT_EQ(malformedLines(), 0u);
    data = FileDescriptor();
    EXPECT_TRUE(eventually([&] { return malformedLines() == 1; }));
}

TEST_F(HostileTest, WrongDescriptorsAreClosed) {
    struct Case {
        const char* name;
        bool isSocket;
        size_t count;
        FrameKind kind;
    };
    const Case cases[] = {
            {"no socket", false, 1, FrameKind::OfferConnection},
            {"too many", true, 3, FrameKind::OfferConnection},
            {"more than there is room for", true, 20, FrameKind::OfferConnection},
            {"where none belongs", true, 1, FrameKind::Release},
    };
    const int theirs = ask(mService, kCountFds);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const RawPeer raw(mName);
        const FileDescriptor null(open("/dev/null", O_RDONLY | O_CLOEXEC));
        raw.sendDescriptors(c.isSocket ? raw.control() : null.get(), c.count, c.kind);
        EXPECT_TRUE(RawPeer::isClosed(raw.control()));
        EXPECT_TRUE(eventually([&] { return ask(mService, kCountFds) == theirs; }));
    }
}

TEST_F(HostileTest, ObjectsThatThePeerDoesNotHoldAreRefusedCleanly) {
    const auto statusOf = [this](uint64_t handle, const std::vector<ObjectEntry>& objects) {
        const RawPeer raw(mName);
        return raw.call(kEcho, handle, objects).header().status;
    };
    EXPECT_EQ(statusOf(0, {}), android::OK);
    EXPECT_EQ(statusOf(1, {}), android::BAD_TYPE) << "a handle that was never exported";
    EXPECT_EQ(statusOf(0, {{ObjectEntry::ReceiversOwn, 7}}), android::BAD_TYPE);
    EXPECT_EQ(statusOf(0, {{ObjectEntry::SendersOwn, 0}}), android::BAD_TYPE);
    EXPECT_EQ(statusOf(0, {{3, 1}}), android::BAD_TYPE);
    EXPECT_EQ(statusOf(0, {{ObjectEntry::SendersOwn, 1}, {ObjectEntry::SendersOwn, 1}}),
              android::OK);
    EXPECT_EQ(malformedLines(), 0u);
}

TEST_F(HostileTest, ReferencesAreCountedOncePerSend) {
    const RawPeer raw(mName);
    const uint64_t handle = raw.call(kGive).takeObjects().at(0).handle;
    const auto again = raw.call(kEcho, 0, {{ObjectEntry::ReceiversOwn, handle}}).takeObjects();
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0].owner, ObjectEntry::SendersOwn);
    EXPECT_EQ(again[0].handle, handle);
    FrameHeader release = frame(FrameKind::Release, 0, 0, handle);
    release.count = 1;
    const auto live = [&raw] { return raw.call(kLiveGiven).takeBytes().at(sizeof(FrameHeader)); };
    RawPeer::sendBytes(raw.control(), &release, sizeof(release));
    // The first call goes after the release on the same connection; the second gives it time.
    live();
    EXPECT_EQ(live(), 1);
    RawPeer::sendBytes(raw.control(), &release, sizeof(release));
    EXPECT_TRUE(eventually([&live] { return live() == 0; }));
}

TEST_F(HostileTest, ReleasesThatFindNoRoomComeLater) {
    const RawPeer raw(mName);
    std::vector<ObjectEntry> objects(1000, {ObjectEntry::SendersOwn, 0});
    for (size_t i = 0; i < objects.size(); i++)
        objects[i].handle = i + 1;
    EXPECT_EQ(raw.call(kKeep, 0, objects).header().status, android::OK);
    EXPECT_EQ(raw.call(kDropAll).header().status, android::OK);
    // More than a socket takes at once, and no other traffic that would push the rest.
    size_t released = 0;
    pollfd readable{raw.control(), POLLIN, 0};
    while (released < objects.size() && poll(&readable, 1, 5000) == 1) {
        FrameHeader header;
        FileDescriptor none;
        ASSERT_EQ(transport::receiveControl(raw.control(), &header, &none),
                  transport::ReadResult::Complete);
        EXPECT_EQ(header.kind, FrameKind::Release);
        released += header.count;
    }
    EXPECT_EQ(released, objects.size());
}

TEST_F(HostileTest, RandomFramesLeaveTheServerServing) {
    const int theirs = ask(mService, kCountFds);
    std::mt19937 random(20240229);
    for (int round = 0; round < 300; round++) {
        const RawPeer raw(mName);
        const FileDescriptor data = raw.openConnection();
        // A good frame with a few bytes changed gets further than noise.
        std::vector<uint8_t> bytes(sizeof(FrameHeader) + random() % 200);
        const FrameHeader good = frame(FrameKind::Request, 64, random() % 3);
        memcpy(bytes.data(), &good, sizeof(good));
        for (size_t i = random() % 6; i > 0; i--)
            bytes[random() % bytes.size()] = uint8_t(random());
        const int target = round % 4 == 0 ? raw.control() : data.get();
        send(target, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    EXPECT_EQ(call(mService, kEcho, nullptr), android::OK);
    EXPECT_TRUE(eventually([&] { return ask(mService, kCountFds) == theirs; }));
}

TEST_F(ServedTest, ForkedChildrenAreEndedWhenTheyCall) {
    for (bool calls : {false, true}) {
        const pid_t child = fork();
        if (child == 0) {
            // No core, no line in the output of the tests.
            close(STDERR_FILENO);
            if (calls) call(mService, kEcho, nullptr);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : 0, calls ? SIGABRT : 0);
    }
    EXPECT_EQ(call(mService, kEcho, nullptr), android::OK);
}

}  // namespace
}  // namespace zul::test
