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
class Daemon final : public Contender {
  public:
    explicit Daemon(std::unique_ptr<DaemonRun> run) : mRun(std::move(run)) {}
    double capture(const Job& job) override {
        return timed([&] { return mRun->capture(0, job.tag, job.text); });
    }

  private:
    const std::unique_ptr<DaemonRun> mRun;
};

std::unique_ptr<Contender> startDaemon(const char* mode) {
    std::unique_ptr<DaemonRun> run = DaemonRun::start(mode);
    return run != nullptr ? std::make_unique<Daemon>(std::move(run)) : nullptr;
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

class Server final : public Contender {
  public:
    Server(const Store& store, const ServerKind& kind, int ours, int theirs)
          : mStore(store),
            mKind(kind),
            mChannel(ours),
            mProcess({kind.program, daemonThreads()}, theirs) {}

    double capture(const Job& job) override {
        const std::string folder = mStore.typeFolder(job.tag) + job.tag + "_2020_01_01_00_00_00_0";
        FloorRequest request = {};
        put(job.tag, request.tag);
        put(folder, request.folder);
        put(mStore.historyFile(), request.historyFile);
        put(job.tag + "|2020-01-01 00:00:00|" + folder + ".zul|build\n", request.historyLine);
        put(job.oldArchive, request.oldArchive);
        put(job.text, request.text);
        request.withVfork = mKind.withVfork;

        double inside = -1;
        const double wholeWay = timed([&] {
            send(mChannel.get(), &request, sizeof(request), MSG_NOSIGNAL);
            return recv(mChannel.get(), &inside, sizeof(inside), 0) == sizeof(inside) && inside > 0;
        });
        return mKind.countsWay ? wholeWay : inside;
    }

  private:
    const Store& mStore;
    const ServerKind mKind;
    const zul::ScopedFd mChannel;
    const Process mProcess;
};

constexpr char kFloor[] = "/zul/bin/zul_bench_floor";
constexpr ServerKind kFork = {kFloor, false, false};
constexpr ServerKind kVfork = {kFloor, true, false};
constexpr ServerKind kWithWay = {kFloor, false, true};
constexpr ServerKind kDaemonCode = {"/zul/bin/zul_bench_daemon_code", false, false};

template <const ServerKind& kKind>
std::unique_ptr<Contender> startServer(const Store& store) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return nullptr;
    const zul::ScopedFd theirs(ends[1]);
    return std::make_unique<Server>(store, kKind, ends[0], theirs.get());
}

class Script final : public Contender {
  public:
    explicit Script(const Store& store) : mStore(store) {}
    double capture(const Job& job) override {
        return timed([&] {
            return Process({"/src/bench/capture_script", mStore.root(), job.tag, job.text})
                    .succeeds();
        });
    }

  private:
    const Store& mStore;
};

std::unique_ptr<Contender> startScript(const Store& store) {
    return std::make_unique<Script>(store);
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
