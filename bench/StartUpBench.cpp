// SPDX-License-Identifier: Apache-2.0
//
// From the start of the daemon's process until it has said how many archives are on disk, beside a
// process that lists the same folder and says so. Both end there, and neither finds the cache cold.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr char kStore[] = "/data/ZUL";

struct Contender {
    const char* name;
    const char* program;
    const char* argument;
    /** Its line with the number of archives begins here. */
    const char* answer;
};

constexpr Contender kContenders[] = {
        {"startup/list", "/zul/bin/zul_bench_list", kStore, "count="},
        {"startup/daemon", "/system_ext/bin/zuld", nullptr, "mCompressFileCount="},
};

/** Makes the store hold exactly that many archives, which a user build's tags account for. */
bool fillStore(int archives) {
    static int present = -1;
    const auto keptIn = [](int count) { return fs::path("/data/store_" + std::to_string(count)); };
    if (archives == present) return true;

    std::error_code error;
    if (present >= 0) fs::rename(kStore, keptIn(present), error);
    present = archives;
    if (fs::exists(keptIn(archives))) {
        fs::rename(keptIn(archives), kStore, error);
        return !error;
    }
    fs::remove_all(kStore, error);
    fs::create_directory(kStore, error);
    for (int i = 0; i < archives; i++) {
        char path[128];
        snprintf(path, sizeof(path), "%s/0xffffff%02x_2025_03_04_%02d_%02d_%02d_%d.zul", kStore,
                 i & 0xff, i / 3600 % 24, i / 60 % 60, i % 60, i % 100);
        const int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) return false;
        close(fd);
    }
    return true;
}

/** The number that the contender writes to `fd`; -1 when it ends without one, or takes too long. */
int readAnswer(int fd, const std::string& answer) {
    std::string text;
    char piece[4096];
    pollfd ready = {fd, POLLIN, 0};
    while (poll(&ready, 1, 60'000) == 1) {
        const ssize_t got = read(fd, piece, sizeof(piece));
        if (got <= 0) return -1;
        text.append(piece, static_cast<size_t>(got));
        const size_t start = text.find(answer);
        if (start == std::string::npos || text.find('\n', start) == std::string::npos) continue;
        return atoi(text.c_str() + start + answer.size());
    }
    return -1;
}

void startUp(benchmark::State& state, const Contender& contender) {
    const int archives = static_cast<int>(state.range(0));
    if (!fillStore(archives)) {
        state.SkipWithError("the store cannot be filled");
        return;
    }

    char* const arguments[] = {const_cast<char*>(contender.program),
                               const_cast<char*>(contender.argument), nullptr};
    for (auto _ : state) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            state.SkipWithError("no pipe");
            break;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);

        const auto start = std::chrono::steady_clock::now();
        pid_t child = -1;
        const int failure =
                posix_spawn(&child, contender.program, &actions, nullptr, arguments, environ);
        close(ends[1]);
        const int counted = failure == 0 ? readAnswer(ends[0], contender.answer) : -1;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;

        state.SetIterationTime(took.count());
        posix_spawn_file_actions_destroy(&actions);
        close(ends[0]);
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        if (counted != archives) {
            state.SkipWithError("a wrong number of archives");
            break;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const Contender& contender : kContenders) {
        benchmark::RegisterBenchmark(contender.name, startUp, contender)
                ->Arg(0)
                ->RangeMultiplier(10)
                ->Range(1000, 100000)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
