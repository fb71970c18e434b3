// SPDX-License-Identifier: Apache-2.0
//
// An empty two-way call between two processes over each of the binder faces, beside the same bytes
// sent to and fro over a bare socket. With the argument "peer" this program is the other process.

#include <aidl/vendor/morvantic/hardware/zul/zulengine/IZul.h>
#include <android/binder_manager.h>
#include <benchmark/benchmark.h>
#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <sys/socket.h>
#include <vendor/morvantic/hardware/zul/zulengine/1.0/IZul.h>

#include "bench/Process.h"
#include "sim/UniqueFd.h"
#include "sim/engine/EngineCore.h"

namespace {

using AidlEngine = ::aidl::vendor::morvantic::hardware::zul::zulengine::IZul;
using HidlEngine = ::vendor::morvantic::hardware::zul::zulengine::V1_0::IZul;
using android::Parcel;
using android::String16;

constexpr char kService[] = "bench";
constexpr uint32_t kQuestion = 1;
constexpr int32_t kAnswer = 7;

/** Bytes of the HIDL call on the wire; those of the other faces are 52 fewer and 44 more. */
constexpr uint32_t kRequestBytes = 84;
constexpr uint32_t kReplyBytes = 36;
constexpr size_t kMostBytes = 1024;

class Service final : public android::BBinder {
    android::status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                 uint32_t flags) override {
        if (code != kQuestion) return BBinder::onTransact(code, data, reply, flags);
        return reply->writeInt32(kAnswer);
    }
};

bool publishAll() {
    static sim::EngineCore core(kAnswer, sim::DieIn::NEVER);
    const android::sp<android::IBinder> service = new Service;
    const bool published = sim::publishHidl(core).empty() && sim::publishAidl(core).empty() &&
                           android::defaultServiceManager()->addService(String16(kService),
                                                                        service) == android::OK;
    android::ProcessState::self()->startThreadPool();
    return published;
}

/** Publishes the services, says so with one byte, then serves the bare socket. */
int servePeer() {
    char bytes[kMostBytes] = {};
    if (!publishAll() || send(bench::kChannel, bytes, 1, 0) != 1) return 2;
    while (recv(bench::kChannel, bytes, sizeof(bytes), 0) > 0)
        send(bench::kChannel, bytes, kReplyBytes, MSG_NOSIGNAL);
    return 0;
}

/** Times `call`, which gives the peer's answer. */
template <class Call>
void measure(benchmark::State& state, Call call) {
    for (auto _ : state) {
        if (call() != kAnswer) {
            state.SkipWithError("a call was not answered");
            break;
        }
    }
}

void bareSocket(benchmark::State& state, int channel) {
    char bytes[kMostBytes] = {};
    measure(state, [&] {
        send(channel, bytes, kRequestBytes, MSG_NOSIGNAL);
        return recv(channel, bytes, sizeof(bytes), 0) == kReplyBytes ? kAnswer : 0;
    });
}

void hidlCall(benchmark::State& state) {
    const android::sp<HidlEngine> engine = HidlEngine::getService("default", false);
    measure(state, [&] {
        const android::hardware::Return<int32_t> number = engine->getThreadNumber();
        return number.isOk() ? static_cast<int32_t>(number) : 0;
    });
}

void aidlCall(benchmark::State& state) {
    const std::string name = std::string(AidlEngine::descriptor) + "/default";
    const std::shared_ptr<AidlEngine> engine =
            AidlEngine::fromBinder(ndk::SpAIBinder(AServiceManager_waitForService(name.c_str())));
    measure(state, [&] {
        int32_t number = 0;
        engine->getThreadNumber(&number);
        return number;
    });
}

void binderCall(benchmark::State& state) {
    const android::sp<android::IBinder> service =
            android::defaultServiceManager()->getService(String16(kService));
    measure(state, [&] {
        Parcel data, reply;
        return service->transact(kQuestion, data, &reply, 0) == android::OK ? reply.readInt32() : 0;
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "peer") return servePeer();
    benchmark::Initialize(&argc, argv);

    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return 2;
    const sim::UniqueFd channel(ends[0]);
    sim::UniqueFd theirs(ends[1]);
    const bench::Process peer({"/zul/bin/zul_bench_layer", "peer"}, theirs.get());
    theirs = sim::UniqueFd();
    char ready;
    if (recv(channel.get(), &ready, 1, 0) != 1) return 2;

    benchmark::RegisterBenchmark("layer/stream", bareSocket, channel.get());
    benchmark::RegisterBenchmark("layer/hidl", hidlCall);
    benchmark::RegisterBenchmark("layer/aidl", aidlCall);
    benchmark::RegisterBenchmark("layer/binder", binderCall);
    benchmark::RunSpecifiedBenchmarks();
}
