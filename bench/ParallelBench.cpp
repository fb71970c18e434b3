// SPDX-License-Identifier: Apache-2.0
//
// Several callers at once, each with its own callback, with a collector that takes 50 ms: how much
// of the throughput is left that threads have which do nothing but sleep for as long.

#include <benchmark/benchmark.h>
#include <time.h>

#include <atomic>
#include <thread>

#include "bench/DaemonRun.h"
#include "bench/Store.h"

namespace {

constexpr int kCapturesOfCaller = 4;
constexpr int kRounds = 3;

bool sleepInstead() {
    const timespec rest{0, 50'000'000};
    return nanosleep(&rest, nullptr) == 0;
}

/** `mode` is null for threads that sleep instead. */
void rounds(benchmark::State& state, const char* mode) {
    const auto callers = static_cast<size_t>(state.range(0));
    const bench::Store store("/data/ZUL");
    // One for each capture: two of one tag within a second would share a folder.
    const std::vector<std::string> tags = bench::makeTags(kRounds * callers * kCapturesOfCaller);
    store.fill(tags, 0, true);
    const std::unique_ptr<bench::DaemonRun> run =
            mode != nullptr ? bench::DaemonRun::start(mode) : nullptr;
    if (mode != nullptr && run == nullptr) {
        state.SkipWithError("the daemon does not come up");
        return;
    }

    std::atomic<size_t> next = 0;
    std::atomic<bool> failed = false;
    const auto call = [&](size_t callback) {
        for (int i = 0; i < kCapturesOfCaller; i++) {
            const std::string& tag = tags[next++];
            if (run == nullptr ? !sleepInstead() : !run->capture(callback, tag, "sleep")) {
                failed = true;
            }
        }
    };
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (size_t i = 0; i < callers; i++)
            threads.emplace_back(call, i);
        for (std::thread& thread : threads)
            thread.join();
    }
    state.SetItemsProcessed(static_cast<int64_t>(next));
    if (failed) state.SkipWithError("a capture failed");
    const std::string difference = run != nullptr ? store.differs(tags.size(), 0, tags.size()) : "";
    if (!difference.empty()) state.SkipWithError(difference.c_str());
}

constexpr struct {
    const char* name;
    const char* mode;
} kRows[] = {{"parallel/ideal", nullptr}, {"parallel/hidl", "hidl"}, {"parallel/aidl", "aidl"}};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (!bench::installCollector()) return 2;
    for (const auto& row : kRows) {
        benchmark::RegisterBenchmark(row.name, rounds, row.mode)
                ->RangeMultiplier(2)
                ->Range(1, bench::kCallbacks)
                ->Iterations(kRounds)
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
