// SPDX-License-Identifier: Apache-2.0
//
// One capture, from the engine's call to the answer, beside what the system calls alone take and
// beside a script. Each repetition begins with a fresh store, on which each capture has a tag of its
// own: two captures of one tag within a second would share a folder. It counts by its median capture, as
// a disk's journal now and then holds one up for longer than all its other parts take. Each is followed by
// one of the floor: both meet the machine in the same mood, and their ratio counts.

#include <benchmark/benchmark.h>
#include <sys/statfs.h>

#include <algorithm>
#include <vector>

#include "bench/Contenders.h"
#include "bench/DaemonRun.h"

namespace {

using bench::Contender;
using bench::ContenderKind;
using bench::Store;

/** A state of the store, and what the collector does in it. */
struct Load {
    const char* suffix;
    const char* order;
    size_t captures;
    /** Of each tag, when the captures begin. */
    int archives;
};

// The whole store stays within its limit of 400 archives, so nothing is removed across tags.
constexpr Load kLoads[] = {
        // A collector that exits at once; no tag has had an archive yet.
        {"", "", 40, 0},
        // Each tag is at its limit: one archive goes, and the collector leaves another.
        {"_steady", "archive", 19, 20},
};

double median(std::vector<double> times) {
    const auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    return *middle;
}

void captures(benchmark::State& state, const ContenderKind& row, const Load& load) {
    const Store floorStore("/data/beside");
    const Store store(row.root);
    const std::vector<std::string> tags = bench::makeTags(load.captures);
    // The daemon counts at its start what lies there, and the floor is to touch the same folders.
    const bool inRoot = std::string_view(row.root) != "/data/script";
    floorStore.fill(tags, load.archives, true);
    const Contender floor = bench::kContenders[0].start(floorStore);
    store.fill(tags, load.archives, inRoot);
    const Contender contender = row.start(store);
    if (floor == nullptr || contender == nullptr) {
        state.SkipWithError("a contender does not come up");
        return;
    }

    for (auto _ : state) {
        std::vector<double> times;
        std::vector<double> ratios;
        for (const std::string& tag : tags) {
            const auto job = [&](const Store& where, bool archivesInRoot) {
                const bool prunes = load.archives > 0;
                return bench::Job{tag, load.order,
                                  prunes ? where.oldArchive(tag, 1, archivesInRoot) : ""};
            };
            times.push_back(contender(job(store, inRoot)));
            ratios.push_back(times.back() / floor(job(floorStore, true)));
        }
        if (std::ranges::min(times) < 0 || std::ranges::min(ratios) < 0)
            state.SkipWithError("a capture failed");
        // The first one is for what a process does once.
        state.SetIterationTime(median({times.begin() + 1, times.end()}));
        state.counters["floor_fork"] = median({ratios.begin() + 1, ratios.end()});
    }
    const size_t folders = load.archives > 0 ? 0 : tags.size();
    const std::string difference =
            store.differs(folders, tags.size() * static_cast<size_t>(load.archives), tags.size());
    if (!difference.empty() && !state.error_occurred()) state.SkipWithError(difference.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (!bench::installCollector()) return 2;
    constexpr long kTmpfs = 0x01021994;
    struct statfs data = {};
    statfs("/data", &data);
    const std::string where = data.f_type == kTmpfs ? "capture/tmpfs" : "capture/disk";
    for (const Load& load : kLoads) {
        for (const ContenderKind& row : bench::kContenders) {
            const std::string name = where + load.suffix + "/" + row.name;
            benchmark::RegisterBenchmark(name.c_str(), captures, row, load)
                    ->Iterations(1)
                    ->UseManualTime()
                    ->Unit(benchmark::kMicrosecond);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
}
