// SPDX-License-Identifier: Apache-2.0
//
// How the cost of one operation grows with the size of what it works on, on the daemon's own objects.
// The log is on, as on a device by default, and goes to /dev/null.

#include <benchmark/benchmark.h>
#include <stdio.h>

#include <chrono>
#include <string>

#include "bench/Growth.h"
#include "service/ZulService.h"

namespace {

using bench::Curve;

void grow(benchmark::State& state, const Curve& curve) {
    if (!curve.prepare(static_cast<int>(state.range(0)))) {
        state.SkipWithError("nothing to work on");
        return;
    }
    for (auto _ : state) {
        curve.reset();
        const auto start = std::chrono::steady_clock::now();
        curve.run();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
        if (!curve.done()) {
            state.SkipWithError("a wrong result");
            break;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (freopen("/dev/null", "w", stderr) == nullptr) return 2;
    zul::ZulService::mDebugLog = true;
    for (const Curve* curve :
         {&bench::kConfig, &bench::kHistory, &bench::kHistoryRemoval, &bench::kArchives}) {
        benchmark::RegisterBenchmark((std::string("growth/") + curve->name).c_str(), grow, *curve)
                ->RangeMultiplier(curve->factor)
                ->Range(curve->smallest, curve->largest)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
