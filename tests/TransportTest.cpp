// SPDX-License-Identifier: Apache-2.0

#include <android/binder_process.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>
#include <transport/Domain.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/support/Peer.h"

namespace zul::test {
namespace {

using android::status_t;
using android::hardware::configureRpcThreadpool;
using android::hardware::joinRpcThreadpool;
using transport::Domain;
using transport::Message;
using transport::Object;

// What the service of the peers does.
enum Code : uint32_t { kEcho = 1, kKeep, kHold };

/** How many objects of the next class live in this process. */
std::atomic<int> gLive{0};

class Counted : public Object {
  public:
    Counted() { gLive++; }
    ~Counted() override { gLive--; }
    status_t deliver(uint32_t, Message&&, Message&) override { return android::OK; }
};

class Service : public Object {
  public:
    status_t deliver(uint32_t code, Message&& request, Message& reply) override {
        if (code == kEcho) reply = std::move(request);
        if (code == kHold) {
            Peer::report('h');
            Peer::waitAtGate();
        } else if (code == kKeep) {
            std::lock_guard lock(mLock);
            mKept.push_back(request.objects());
        }
        return code <= kHold ? android::OK : android::UNKNOWN_TRANSACTION;
    }

  private:
    std::mutex mLock;
    std::vector<std::vector<std::shared_ptr<Object>>> mKept;
};

/**
 * Serves a name over AIDL and reports 'r', or '!' when it was refused. Then takes steps, one letter
 * each: a digit sets the number of threads, 's' starts, 'j' joins.
 */
const Peer::Register kServer("server", [](const std::string& argument) {
    const size_t blank = argument.find(' ');
    const auto service = std::make_shared<Service>();
    const status_t status = Domain::binder().publish(argument.substr(blank + 1), service);
    Peer::report(status == android::OK ? 'r' : '!');
    for (const char step : argument.substr(0, blank)) {
        if (isdigit(step)) ABinderProcess_setThreadPoolMaxThreadCount(step - '0');
        if (step == 's') ABinderProcess_startThreadPool();
        if (step == 'j') ABinderProcess_joinThreadPool();
    }
});

/** The same over HIDL; a number followed by 'w' has the caller join. */
const Peer::Register kHidlServer("hidl_server", [](const std::string& argument) {
    const size_t blank = argument.find(' ');
    const std::string steps = argument.substr(0, blank);
    const auto service = std::make_shared<Service>();
    const status_t status = Domain::hwbinder().publish(argument.substr(blank + 1), service);
    Peer::report(status == android::OK ? 'r' : '!');
    for (size_t i = 0; i < steps.size(); i++) {
        const bool callerWillJoin = steps.substr(i + 1, 1) == "w";
        if (isdigit(steps[i])) configureRpcThreadpool(steps[i] - '0', callerWillJoin);
        if (steps[i] == 's') Domain::hwbinder().startThreads();
        if (steps[i] == 'j') joinRpcThreadpool();
    }
});

TEST(PeerProcess, DISABLED_Run) {
    Peer::run();
}

class TransportTest : public testing::Test {
  protected:
    TransportTest() { ABinderProcess_startThreadPool(); }

    /** A name that no other test has. */
    static std::string newName() {
        static int count = 0;
        return "test." + std::to_string(getpid()) + "/" + std::to_string(count++);
    }

    static status_t call(const std::shared_ptr<Object>& object, uint32_t code,
                         const std::shared_ptr<Object>& argument = nullptr) {
        Message request;
        Message reply;
        if (argument != nullptr) request.writeObject(argument);
        return object->deliver(code, std::move(request), reply);
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
    for (size_t size : {size_t{0}, size_t{1}, size_t{5000}, most, most + 1}) {
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
}

TEST_F(ServedTest, DeathFailsWaitingCallsAndEndsWhatThePeerHeld) {
    call(mService, kKeep, std::make_shared<Counted>());
    EXPECT_EQ(gLive, 1);
    status_t waiting = android::OK;
    std::thread caller([&] { waiting = call(mService, kHold); });
    EXPECT_EQ(mPeer.nextReport(), 'h');

    const auto unused = Domain::binder().lookup(mName);
    const auto before = std::chrono::steady_clock::now();
    mPeer.kill();
    caller.join();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
    EXPECT_EQ(waiting, android::DEAD_OBJECT);
    EXPECT_TRUE(eventually([] { return gLive == 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    // Nobody has been told: who asks now is, and whoever comes later comes too late.
    for (const auto& service : {mService, unused}) {
        std::atomic<bool> told{false};
        EXPECT_EQ(service->asRemote()->linkToDeath([&] { told = true; }), android::OK);
        EXPECT_TRUE(eventually([&] { return told.load(); }));
        EXPECT_EQ(service->asRemote()->linkToDeath([] {}), android::DEAD_OBJECT);
    }
}

TEST_F(TransportTest, PoolServesExactlyTheConfiguredNumberAtATime) {
    const struct {
        const char* name;
        const char* role;
        const char* steps;
        int parallel;
    } cases[] = {
            {"not started", "server", "3", 0},
            {"the first does not count", "server", "1s", 2},
            {"started twice", "server", "3ss", 4},
            {"join comes on top", "server", "2sj", 4},
            {"join alone", "server", "0j", 1},
            {"join without a start", "server", "2j", 3},
            {"raised after the start", "server", "1s3sj", 5},
            {"HIDL, not started", "hidl_server", "3", 0},
            {"HIDL, started", "hidl_server", "2s", 2},
            {"HIDL, join comes on top", "hidl_server", "2sj", 3},
            {"HIDL, join is one of them", "hidl_server", "3wj", 3},
            {"HIDL, join alone", "hidl_server", "1wj", 1},
            {"HIDL, none but the joined", "hidl_server", "0j", 1},
            {"HIDL, raised before join", "hidl_server", "1s4wj", 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string name = newName();
        Peer peer(c.role, std::string(c.steps) + " " + name);
        ASSERT_EQ(peer.nextReport(), 'r');
        const bool isHidl = c.role == std::string("hidl_server");
        const std::shared_ptr<Object> service =
                (isHidl ? Domain::hwbinder() : Domain::binder()).lookup(name);
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

}  // namespace
}  // namespace zul::test
