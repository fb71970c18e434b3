// SPDX-License-Identifier: Apache-2.0
#include "bench/Contenders.h"

#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "base/Files.h"
#include "bench/DaemonRun.h"
#include "bench/FloorRequest.h"

namespace bench {

namespace {

/** The seconds that `work` takes, or -1 when it gives false. */
template <class Work>
double timed(Work work) {
    const auto start = std::chrono::steady_clock::now();
    const bool done = work();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    return done ? took.count() : -1;
}

/** The whole way: from the engine's call to the answer, through two processes. */
Contender startDaemon(const char* mode) {
    const std::shared_ptr<DaemonRun> run = DaemonRun::start(mode);
    if (run == nullptr) return nullptr;
    return [run](const Job& job) {
        return timed([&] { return run->capture(0, job.tag, job.text); });
    };
}

/** Fork has to copy more for a process with more threads, so the floor gets as many. */
std::string daemonThreads() {
    static const int threads = [] {
        const std::unique_ptr<DaemonRun> run = DaemonRun::start("hidl");
        return run != nullptr ? run->threads() : 1;
    }();
    return std::to_string(threads);
}

template <size_t N>
void put(const std::string& text, char (&field)[N]) {
    field[text.copy(field, N - 1)] = '\0';
}

/** A process that is asked over a bare socket and reports how long the capture took inside. */
struct ServerKind {
    const char* program;
    bool withVfork;
    bool countsWay;
};

double askServer(const Store& store, const ServerKind& kind, int channel, const Job& job) {
    const std::string folder = store.typeFolder(job.tag) + job.tag + "_2020_01_01_00_00_00_0";
    FloorRequest request = {};
    put(job.tag, request.tag);
    put(folder, request.folder);
    put(store.historyFile(), request.historyFile);
    put(job.tag + "|2020-01-01 00:00:00|" + folder + ".zul|build\n", request.historyLine);
    put(job.oldArchive, request.oldArchive);
    put(job.text, request.text);
    request.withVfork = kind.withVfork;

    double inside = -1;
    const double wholeWay = timed([&] {
        send(channel, &request, sizeof(request), MSG_NOSIGNAL);
        return recv(channel, &inside, sizeof(inside), 0) == sizeof(inside) && inside > 0;
    });
    return kind.countsWay ? wholeWay : inside;
}

constexpr char kFloor[] = "/zul/bin/zul_bench_floor";
constexpr ServerKind kFork = {kFloor, false, false};
constexpr ServerKind kVfork = {kFloor, true, false};
constexpr ServerKind kWithWay = {kFloor, false, true};
constexpr ServerKind kDaemonCode = {"/zul/bin/zul_bench_daemon_code", false, false};

template <const ServerKind& kKind>
Contender startServer(const Store& store) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return nullptr;
    const auto ours = std::make_shared<zul::ScopedFd>(ends[0]);
    const zul::ScopedFd theirs(ends[1]);
    const auto process = std::make_shared<Process>(
            std::vector<std::string>{kKind.program, daemonThreads()}, theirs.get());
    return [&store, ours, process](const Job& job) {
        return askServer(store, kKind, ours->get(), job);
    };
}

Contender startScript(const Store& store) {
    return [&store](const Job& job) {
        return timed([&] {
            return Process({"/src/bench/capture_script", store.root(), job.tag, job.text})
                    .succeeds();
        });
    };
}

}  // namespace

// clang-format off
const std::vector<ContenderKind> kContenders = {
        {"floor_fork",        "/data/floor",  startServer<kFork>},
        {"floor_vfork",       "/data/floor",  startServer<kVfork>},
        {"floor_with_way",    "/data/floor",  startServer<kWithWay>},
        {"daemon_code",       "/data/ZUL",    startServer<kDaemonCode>},
        {"daemon_hidl",       "/data/ZUL",    [](const Store&) { return startDaemon("hidl"); }},
        {"daemon_aidl",       "/data/ZUL",    [](const Store&) { return startDaemon("aidl"); }},
        {"script",            "/data/script", startScript},
};
// clang-format on

}  // namespace bench
