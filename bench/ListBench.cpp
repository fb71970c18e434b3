// SPDX-License-Identifier: Apache-2.0
//
// From the start of `zulctl list -n 20` to its end, beside a process that only lists the folder and reads the
// history once. There are ten lines of the history for each archive on disk.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/data/ZUL/0xbe00/";
constexpr char kHistory[] = "/data/ZUL/zul_history";
constexpr char kOutput[] = "/tmp/list";
constexpr int kLinesPerArchive = 10;
constexpr int kTags = 100;

struct Contender {
    const char* name;
    std::vector<const char*> arguments;
    /** Lines that it prints. */
    int lines;
    /** With an archive that is newer than all others and has no line. */
    bool unrecorded;
};

const Contender kContenders[] = {
        {"list/bare", {"/zul/bin/zul_bench_list", kFolder, kHistory}, 0, false},
        {"list/zulctl", {"/system_ext/bin/zulctl", "list", "-n20"}, 22, false},
        // Whether it has a line is only known after reading all of them.
        {"list/zulctl_unrecorded", {"/system_ext/bin/zulctl", "list", "-n20"}, 22, true},
};

/** The name of a capture, which comes half a minute after the one before. */
std::string nameOf(int number) {
    const time_t when = 1735689600 + 30 * static_cast<time_t>(number);
    tm civil = {};
    gmtime_r(&when, &civil);
    char time[32];
    char name[64];
    strftime(time, sizeof(time), "%Y_%m_%d_%H_%M_%S", &civil);
    snprintf(name, sizeof(name), "0xbe00%04d_%s_%d", number % kTags, time, number % 100);
    return name;
}

std::string lineOf(const std::string& name) {
    std::string time = name.substr(11, 19);
    time[4] = time[7] = '-';
    time[10] = ' ';
    time[13] = time[16] = ':';
    return name.substr(0, 10) + "|" + time + "|" + kFolder + name + ".zul|ZUL-1.2.3 release-keys\n";
}

/** Makes the store hold that many archives, of the latest lines of its history. */
bool fillStore(int archives) {
    static int present = -1;
    const auto keptIn = [](int count) { return fs::path("/data/store_" + std::to_string(count)); };
    if (archives == present) return true;

    std::error_code error;
    if (present >= 0) fs::rename("/data/ZUL", keptIn(present), error);
    present = archives;
    if (fs::exists(keptIn(archives))) {
        fs::rename(keptIn(archives), "/data/ZUL", error);
        return !error;
    }
    fs::remove_all("/data/ZUL", error);
    fs::create_directories(kFolder, error);
    std::ofstream history(kHistory);
    const int lines = archives * kLinesPerArchive;
    for (int i = 0; i < lines; i++) {
        const std::string name = nameOf(i);
        history << lineOf(name);
        if (i >= lines - archives && !std::ofstream(kFolder + name + ".zul").good()) return false;
    }
    history.close();
    return history.good();
}

int linesOf(const char* path) {
    std::ifstream file(path);
    int lines = 0;
    for (std::string line; std::getline(file, line);)
        lines++;
    return lines;
}

void list(benchmark::State& state, const Contender& contender) {
    const auto archives = static_cast<int>(state.range(0));
    if (!fillStore(archives)) {
        state.SkipWithError("the store cannot be filled");
        return;
    }
    const std::string extra = kFolder + nameOf(archives * kLinesPerArchive) + ".zul";
    if (contender.unrecorded) std::ofstream(extra).flush();

    std::vector<char*> arguments;
    for (const char* argument : contender.arguments)
        arguments.push_back(const_cast<char*>(argument));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, kOutput, O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        pid_t child = -1;
        int status = -1;
        if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0) {
            waitpid(child, &status, 0);
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
        if (status != 0 || linesOf(kOutput) != contender.lines) {
            state.SkipWithError("a wrong result");
            break;
        }
    }
    posix_spawn_file_actions_destroy(&actions);
    unlink(extra.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const Contender& contender : kContenders) {
        benchmark::RegisterBenchmark(contender.name, list, contender)
                ->RangeMultiplier(10)
                ->Range(1000, 100000)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
