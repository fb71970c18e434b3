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
#include <filesystem>
#include <thread>

#include "platform/transport/Frame.h"
#include "tests/support/Peer.h"

namespace zul::test {
namespace {

using android::status_t;
using transport::Domain;
using transport::FileDescriptor;
using transport::FrameHeader;
using transport::FrameKind;
using transport::Message;
using transport::Object;
using transport::ObjectEntry;
using transport::ReadResult;

// What the service of the peers does.
enum Code : uint32_t { kEcho = 1, kKeep, kDropAll, kHold, kCallBack, kGive, kLive, kFds, kFill };

int countDescriptors() {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<int>(std::distance(Iterator("/proc/self/fd"), Iterator())) - 1;
}

void writeInt(Message& message, int32_t value) {
    message.write(&value, sizeof(value));
}

int32_t readInt(const Message& message) {
    int32_t value = -1;
    EXPECT_EQ(message.read(&value, sizeof(value)), android::OK);
    return value;
}

/** How many objects of the next class live in this process. */
std::atomic<int> gLive{0};

/** Answers each call with its code. */
class Counted : public Object {
  public:
    Counted() { gLive++; }
    ~Counted() override { gLive--; }
    status_t deliver(uint32_t code, Message&&, Message& reply) override {
        writeInt(reply, static_cast<int32_t>(code));
        return android::OK;
    }
};

class Service : public Object {
  public:
    status_t deliver(uint32_t code, Message&& request, Message& reply) override {
        if (code == kEcho) reply = std::move(request);
        if (code == kGive) reply.writeObject(std::make_shared<Counted>());
        if (code == kLive) writeInt(reply, gLive);
        if (code == kFds) writeInt(reply, countDescriptors());
        if (code == kCallBack) return request.objects().at(0)->deliver(77, Message(), reply);
        if (code == kHold) {
            Peer::report('h');
            Peer::waitAtGate();
        } else if (code == kFill) {
            const std::string bytes(static_cast<size_t>(readInt(request)), 'f');
            reply.write(bytes.data(), bytes.size());
        } else if (code == kKeep || code == kDropAll) {
            std::lock_guard lock(mLock);
            mKept.push_back(request.objects());
            if (code == kDropAll) mKept.clear();
        }
        return code <= kFill ? android::OK : android::UNKNOWN_TRANSACTION;
    }

  private:
    std::mutex mLock;
    std::vector<std::vector<std::shared_ptr<Object>>> mKept;
};

/**
 * Serves a name and reports 'r', or 'x' when it was refused. Then takes steps, one letter each: a
 * digit configures so many threads ('w' after it: the caller will join), 's' starts, 'j' joins.
 */
const Peer::Register kServer("server", [](const std::string& argument) {
    const size_t blank = argument.find(' ');
    const std::string steps = argument.substr(0, blank);
    const auto service = std::make_shared<Service>();
    const status_t status = Domain::binder().publish(argument.substr(blank + 1), service);
    Peer::report(status == android::OK ? 'r' : status == android::ALREADY_EXISTS ? 'x' : '!');
    for (size_t i = 0; i < steps.size(); i++) {
        if (isdigit(steps[i])) {
            Domain::binder().configureThreads(steps[i] - '0', steps.substr(i + 1, 1) == "w");
        }
        if (steps[i] == 's') Domain::binder().startThreads();
        if (steps[i] == 'j') Domain::binder().joinThreads();
    }
});

/** Keeps an object of the service and waits. */
const Peer::Register kHolder("holder", [](const std::string& name) {
    const std::shared_ptr<Object> service = Domain::binder().lookup(name);
    Message reply;
    Peer::report(service->deliver(kGive, Message(), reply) == android::OK ? 'r' : '!');
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
                         const std::shared_ptr<Object>& argument = nullptr,
                         Message&& reply = Message()) {
        Message request;
        if (argument != nullptr) request.writeObject(argument);
        return object->deliver(code, std::move(request), reply);
    }

    static int32_t ask(const std::shared_ptr<Object>& object, uint32_t code,
                       const std::shared_ptr<Object>& argument = nullptr) {
        Message reply;
        EXPECT_EQ(call(object, code, argument, std::move(reply)), android::OK);
        return readInt(reply);
    }

    /** The object that a call answers with. */
    static std::shared_ptr<Object> get(const std::shared_ptr<Object>& service, uint32_t code,
                                       const std::shared_ptr<Object>& argument = nullptr) {
        Message reply;
        std::shared_ptr<Object> result;
        EXPECT_EQ(call(service, code, argument, std::move(reply)), android::OK);
        EXPECT_EQ(reply.readObject(&result), android::OK);
        return result;
    }
};

/** A test with a serving peer. */
class ServedTest : public TransportTest {
  protected:
    ServedTest() : mName(newName()), mPeer("server", "s " + mName) {
        EXPECT_EQ(mPeer.nextReport(), 'r');
        mService = Domain::binder().lookup(mName);
    }
    ~ServedTest() override {
        mPeer.kill();
        EXPECT_TRUE(eventually([] { return gLive == 0; }));
    }

    const std::string mName;
    Peer mPeer;
    std::shared_ptr<Object> mService;
};

TEST_F(ServedTest, BytesReturnUnchangedUpToTheLargestMessage) {
    const size_t most = transport::kMaxMessageBytes;
    for (size_t size : {size_t{0}, size_t{1}, size_t{4}, size_t{5000}, most, most + 1}) {
        SCOPED_TRACE(size);
        std::string sent(size, '\0');
        std::generate(sent.begin(), sent.end(), [i = 0]() mutable { return char(i++ * 7); });
        Message request;
        Message reply;
        request.write(sent.data(), size);
        const status_t expected = size <= most ? android::OK : android::FAILED_TRANSACTION;
        ASSERT_EQ(mService->deliver(kEcho, std::move(request), reply), expected);
        ASSERT_EQ(reply.size(), size <= most ? (size + 3) / 4 * 4 : 0);
        if (size > most) break;
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(reply.data()), size), sent);
    }
    Message fill;
    Message reply;
    writeInt(fill, most + 1);
    EXPECT_EQ(mService->deliver(kFill, std::move(fill), reply), android::FAILED_TRANSACTION);
    EXPECT_EQ(reply.size(), 0u);
    Message many;
    for (size_t i = 0; i <= transport::kMaxMessageObjects; i++)
        many.writeObject(std::make_shared<Counted>());
    EXPECT_EQ(mService->deliver(kKeep, std::move(many), reply), android::FAILED_TRANSACTION);
    EXPECT_EQ(call(mService, 999), android::UNKNOWN_TRANSACTION);
}

TEST_F(ServedTest, ObjectsAreCalledBackAndEndWithTheirLastReference) {
    auto object = std::make_shared<Counted>();
    EXPECT_EQ(ask(mService, kCallBack, object), 77);
    EXPECT_EQ(call(mService, kKeep, object), android::OK);
    EXPECT_EQ(call(mService, kKeep, object), android::OK);
    object.reset();
    EXPECT_EQ(gLive, 1) << "the peer holds it";
    EXPECT_EQ(call(mService, kDropAll), android::OK);
    EXPECT_TRUE(eventually([] { return gLive == 0; }));

    std::shared_ptr<Object> given = get(mService, kGive);
    EXPECT_EQ(ask(given, 5), 5);
    EXPECT_EQ(get(mService, kEcho, given), given) << "one object has one proxy";
    EXPECT_EQ(ask(mService, kLive), 1);
    given.reset();
    EXPECT_TRUE(eventually([this] { return ask(mService, kLive) == 0; }));
}

TEST_F(ServedTest, ObjectsComeHomeAsThemselvesEvenWhenTheirReleaseIsFaster) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([this] {
            for (int round = 0; round < 200; round++) {
                const auto object = std::make_shared<Counted>();
                ASSERT_EQ(get(mService, kEcho, object), object);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(eventually([] { return gLive == 0; }));
}

TEST_F(ServedTest, ThousandCallsLeakNoDescriptor) {
    const auto calls = [this](int rounds) {
        for (int i = 0; i < rounds; i++) {
            const auto service = Domain::binder().lookup(mName);
            call(service, kKeep, get(service, kEcho, std::make_shared<Counted>()));
            call(service, kCallBack, std::make_shared<Counted>());
        }
        call(mService, kDropAll);
        EXPECT_TRUE(eventually([] { return gLive == 0; }));
    };
    calls(10);
    const int ours = countDescriptors();
    const int theirs = ask(mService, kFds);
    calls(340);
    // Sessions of the other side end a moment later than ours.
    EXPECT_TRUE(eventually([&] { return countDescriptors() <= ours; }));
    EXPECT_TRUE(eventually([&] { return ask(mService, kFds) <= theirs; }));
}

TEST_F(ServedTest, DeathFailsWaitingCallsAndEndsWhatThePeerHeld) {
    call(mService, kKeep, std::make_shared<Counted>());
    EXPECT_EQ(gLive, 1);
    status_t waiting = android::OK;
    std::thread caller([&] { waiting = call(mService, kHold); });
    EXPECT_EQ(mPeer.nextReport(), 'h');

    const auto before = std::chrono::steady_clock::now();
    mPeer.kill();
    caller.join();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    EXPECT_EQ(waiting, android::DEAD_OBJECT);
    EXPECT_TRUE(eventually([] { return gLive == 0; }));
    EXPECT_EQ(call(mService, kEcho), android::DEAD_OBJECT);
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
        EXPECT_EQ(gLive, 1);
    }
    EXPECT_TRUE(eventually([&] { return gLive == 0 && countDescriptors() <= descriptors; }));
}

TEST_F(TransportTest, NamesAreServedOnce) {
    const std::string name = newName();
    EXPECT_EQ(Domain::binder().lookup(name), nullptr);
    EXPECT_EQ(Peer("server", "s " + name).nextReport(), 'r');
    // What the dead one left is taken over, by one of many.
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < 5; i++)
        peers.push_back(std::make_unique<Peer>("server", "s " + name));
    int served = 0;
    for (const auto& peer : peers) {
        const char report = peer->nextReport();
        served += report == 'r';
        if (report == 'r') continue;
        EXPECT_EQ(report, 'x');
        EXPECT_THAT(peer->errors(), testing::ContainsRegex(" E transport: .*already served"));
    }
    EXPECT_EQ(served, 1);
    EXPECT_EQ(call(Domain::binder().lookup(name), kEcho), android::OK)
            << "the refused ones must leave the address alone";

    peers.clear();
    const auto mine = std::make_shared<Service>();
    EXPECT_EQ(Domain::binder().publish(name, mine), android::OK) << "the owner is dead";
    EXPECT_EQ(Domain::binder().publish(name, mine), android::ALREADY_EXISTS);
    EXPECT_EQ(Domain::hwbinder().lookup(name), nullptr) << "domains are apart";
    EXPECT_EQ(Domain::binder().publish(newName() + "%2F", mine), android::OK);
    for (const std::string& bad : {std::string(), std::string(200, 'n'), std::string("a\0b", 3)}) {
        EXPECT_EQ(Domain::binder().publish(bad, mine), android::BAD_VALUE) << bad.size();
        EXPECT_EQ(Domain::binder().lookup(bad), nullptr) << bad.size();
    }
}

TEST_F(TransportTest, PoolServesExactlyTheConfiguredNumberAtATime) {
    const struct {
        const char* name;
        const char* steps;
        int parallel;
    } cases[] = {
            {"not started", "3", 0},
            {"started", "1s", 1},
            {"started twice", "3ss", 3},
            {"join comes on top", "2sj", 3},
            {"join is one of them", "3wsj", 3},
            {"raised before join", "1s4wsj", 4},
            {"none and join", "1s0wj", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string name = newName();
        Peer peer("server", std::string(c.steps) + " " + name);
        ASSERT_EQ(peer.nextReport(), 'r');
        const std::shared_ptr<Object> service = Domain::binder().lookup(name);
        ASSERT_NE(service, nullptr);
        std::vector<std::thread> callers;
        std::atomic<int> good{0};
        const int calls = c.parallel + 2;
        for (int i = 0; i < calls; i++)
            callers.emplace_back([&] { good += call(service, kHold) == android::OK; });
        for (int i = 0; i < c.parallel; i++)
            EXPECT_EQ(peer.nextReport(), 'h');
        EXPECT_EQ(peer.nextReport(150), '?') << "more calls at a time than threads";
        // What waited is served as soon as a thread is free; the peer's end frees what never is.
        peer.openGate();
        for (int i = c.parallel; i < calls && c.parallel > 0; i++)
            EXPECT_EQ(peer.nextReport(), 'h');
        if (c.parallel == 0) peer.kill();
        for (std::thread& caller : callers)
            caller.join();
        EXPECT_EQ(good, c.parallel == 0 ? 0 : calls);
    }
}

// --- Hostile peers ------------------------------------------------------------------------------

FrameHeader frame(FrameKind kind, uint32_t size = 0, uint16_t objects = 0, uint64_t handle = 0) {
    return {.kind = kind, .objectCount = objects, .size = size, .code = kEcho, .handle = handle};
}

/** A peer that speaks the protocol by hand. */
class RawPeer {
  public:
    explicit RawPeer(const std::string& name)
          : control(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        std::string path = "/dev/socket/binder." + name;
        path.replace(path.rfind('/'), 1, "%2F");
        sockaddr_un address{AF_UNIX, {}};
        strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(connect(control.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)),
                  0);
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        data = FileDescriptor(ends[0]);
        const FileDescriptor theirs(ends[1]);
        EXPECT_EQ(sendControl(control.get(), frame(FrameKind::OfferConnection), theirs.get()),
                  transport::SendResult::Sent);
    }

    status_t call(uint32_t code, uint64_t handle, const std::vector<ObjectEntry>& objects) const {
        FrameHeader header = frame(FrameKind::Request, 0, objects.size(), handle);
        header.code = code;
        EXPECT_TRUE(transport::sendFrame(data.get(), header, nullptr, objects));
        transport::FrameReader reply;
        EXPECT_EQ(reply.readSome(data.get(), FrameKind::Reply, 0), ReadResult::Complete);
        return reply.header().status;
    }

    FileDescriptor control;
    /** Our end of a data connection. */
    FileDescriptor data;
};

void sendBytes(const FileDescriptor& socket, const void* bytes, size_t size) {
    EXPECT_EQ(send(socket.get(), bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

/** True when the other side closes the connection without a word. */
bool isClosed(const FileDescriptor& socket) {
    pollfd readable{socket.get(), POLLIN, 0};
    char byte;
    return poll(&readable, 1, 20000) == 1 && recv(socket.get(), &byte, 1, MSG_DONTWAIT) <= 0;
}

class HostileTest : public ServedTest {
  protected:
    size_t malformedLines() const {
        const std::string errors = mPeer.errors();
        const std::string text = " E transport: malformed";
        size_t count = 0;
        for (size_t at = 0; (at = errors.find(text, at)) != std::string::npos; at++)
            count++;
        return count;
    }
};

TEST_F(HostileTest, MalformedFramesEndOneConnectionWithOneLine) {
    FrameHeader wrongMagic = frame(FrameKind::Request);
    wrongMagic.magic = 0x12345678;
    const auto unknown = static_cast<FrameKind>(99);
    enum Where { kData, kControl, kWithDescriptor };
    const struct {
        const char* name;
        Where where;
        FrameHeader header;
        size_t extraBytes;
        bool closes = true;
    } cases[] = {
            {"magic", kData, wrongMagic, 0},
            {"unknown kind", kData, frame(unknown), 0},
            {"reply instead of a request", kData, frame(FrameKind::Reply), 0},
            {"more bytes than allowed", kData, frame(FrameKind::Request, 1024 * 1024 + 1), 0},
            {"largest number", kData, frame(FrameKind::Request, UINT32_MAX), 0},
            {"more objects than allowed", kData, frame(FrameKind::Request, 0, 1025), 0},
            {"bytes after the frame", kData, frame(FrameKind::Request), 4},
            {"magic on control", kControl, wrongMagic, 0},
            {"request on control", kControl, frame(FrameKind::Request), 0},
            {"unknown kind on control", kControl, frame(unknown), 0},
            {"bytes on control", kControl, frame(FrameKind::Release, 4), 4},
            {"offer without connection", kControl, frame(FrameKind::OfferConnection), 0},
            {"offer of a file", kWithDescriptor, frame(FrameKind::OfferConnection), 0},
            {"descriptor where none belongs", kWithDescriptor, frame(FrameKind::Release), 0},
            {"release of nothing", kControl, frame(FrameKind::Release, 0, 0, 12345), 0, false},
            {"thanks for nothing", kControl, frame(FrameKind::HomeReceived, 0, 0, 1), 0, false},
    };
    const int theirs = ask(mService, kFds);
    size_t lines = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const RawPeer raw(mName);
        const FileDescriptor& target = c.where == kData ? raw.data : raw.control;
        const FileDescriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
        std::string bytes(reinterpret_cast<const char*>(&c.header), sizeof(c.header));
        bytes.append(c.extraBytes, 'x');
        if (c.where == kWithDescriptor) {
            transport::sendControl(target.get(), c.header, file.get());
        } else {
            sendBytes(target, bytes.data(), bytes.size());
        }
        lines += c.closes;
        EXPECT_TRUE(!c.closes || isClosed(target));
        EXPECT_TRUE(eventually([&] { return malformedLines() == lines; })) << lines;
        EXPECT_EQ(call(mService, kEcho), android::OK) << "the others are served on";
        EXPECT_EQ(malformedLines(), lines);
    }
    EXPECT_TRUE(eventually([&] { return ask(mService, kFds) == theirs; }));
}

TEST_F(HostileTest, FramesMayComeInPartsButNotStopInTheMiddle) {
    RawPeer raw(mName);
    std::string bytes(sizeof(FrameHeader) + 3000, 'c');
    const FrameHeader header = frame(FrameKind::Request, 3000);
    memcpy(bytes.data(), &header, sizeof(header));
    size_t sent = 0;
    for (const size_t part : {10u, 22u, 1000u, 2000u}) {
        sendBytes(raw.data, bytes.data() + sent, part);
        sent += part;
        EXPECT_EQ(call(mService, kEcho), android::OK) << "nobody waits for the rest";
    }
    transport::FrameReader reply;
    ReadResult result = ReadResult::Partial;
    while (result == ReadResult::Partial)
        result = reply.readSome(raw.data.get(), FrameKind::Reply, 0);
    ASSERT_EQ(result, ReadResult::Complete);
    EXPECT_EQ(reply.header().size, 3000u);

    sendBytes(raw.data, bytes.data(), 20);
    EXPECT_EQ(malformedLines(), 0u);
    raw.data = FileDescriptor();
    EXPECT_TRUE(eventually([&] { return malformedLines() == 1; }));
}

TEST_F(HostileTest, ObjectsThatThePeerDoesNotHoldAreRefusedCleanly) {
    const auto echo = [this](uint64_t handle, const std::vector<ObjectEntry>& objects) {
        return RawPeer(mName).call(kEcho, handle, objects);
    };
    const ObjectEntry mine{ObjectEntry::SendersOwn, 1};
    EXPECT_EQ(echo(0, {mine, mine}), android::OK);
    EXPECT_EQ(echo(1, {}), android::BAD_TYPE) << "a handle that was never exported";
    EXPECT_EQ(echo(0, {{ObjectEntry::ReceiversOwn, 7}}), android::BAD_TYPE);
    EXPECT_EQ(echo(0, {{ObjectEntry::SendersOwn, 0}}), android::BAD_TYPE) << "theirs by its handle";
    EXPECT_EQ(echo(0, {{3, 1}}), android::BAD_TYPE) << "no known owner";
    EXPECT_EQ(malformedLines(), 0u);
}

TEST_F(HostileTest, ReferencesAreCountedAndGivenBackInFull) {
    const RawPeer raw(mName);
    EXPECT_EQ(raw.call(kGive, 0, {}), android::OK);
    EXPECT_EQ(raw.call(kEcho, 0, {{ObjectEntry::ReceiversOwn, 1}}), android::OK);
    // The object came twice: with one reference given back it lives on, however long.
    FrameHeader release = frame(FrameKind::Release, 0, 0, 1);
    release.count = 1;
    sendBytes(raw.control, &release, sizeof(release));
    for (int i = 0; i < 100; i++)
        ASSERT_EQ(raw.call(5, 1, {}), android::OK);
    sendBytes(raw.control, &release, sizeof(release));
    EXPECT_TRUE(eventually([&raw] { return raw.call(5, 1, {}) == android::BAD_TYPE; }));

    std::vector<ObjectEntry> objects;
    for (uint64_t handle = 1; handle <= 1000; handle++)
        objects.push_back({ObjectEntry::SendersOwn, handle});
    EXPECT_EQ(raw.call(kKeep, 0, objects), android::OK);
    EXPECT_EQ(raw.call(kDropAll, 0, {}), android::OK);
    // More than a socket takes at once, and no other traffic that would push the rest.
    size_t released = 0;
    pollfd readable{raw.control.get(), POLLIN, 0};
    while (released < objects.size() && poll(&readable, 1, 5000) == 1) {
        FileDescriptor none;
        ASSERT_EQ(receiveControl(raw.control.get(), &release, &none), ReadResult::Complete);
        released += release.count;
    }
    EXPECT_EQ(released, objects.size());
}

}  // namespace
}  // namespace zul::test
