// SPDX-License-Identifier: Apache-2.0
//
// How the cost of one operation grows with the size of what it works on, on the daemon's own objects.
// The log is on, as on a device by default, and goes to /dev/null.

#include <benchmark/benchmark.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "service/ZulService.h"

namespace {

namespace fs = std::filesystem;

using zul::ZulService;

/** One operation of the daemon, at several sizes of what it works on, each ten times the one before. */
struct Curve {
    const char* name;
    int largest;
    /** Makes what the operation works on, of gSize; false when that cannot be made. */
    bool (*prepare)();
    /** Before each run, and not measured: as if there had been none. */
    void (*reset)();
    void (*run)();
    /** After each run, and not measured: whether everything was done. */
    bool (*done)();
};

int gSize;

bool makeFile(const fs::path& path) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    return std::ofstream(path).good();
}

std::string gConfig;

/** Records of different tags: each is compared with all before it, and added. */
bool prepareConfig() {
    gConfig.clear();
    for (int i = 0; i < gSize; i++) {
        char record[128];
        snprintf(record, sizeof(record),
                 "%stag:0xbe%06x,enable:1,pkgname:com.example.app%d,flag:0x4,path:/data/anr",
                 i > 0 ? "|" : "", static_cast<unsigned>(i), i);
        gConfig += record;
    }
    return true;
}

void resetConfig() {
    ZulService::mRemoteConfigs.clear();
    ZulService::mTagTable.clear();
}

void readConfig() {
    const zul::ScopedServiceLock lock(ZulService::mServiceLock);
    ZulService::parseRemoteConfig(gConfig);
}

bool configRead() {
    const auto records = static_cast<size_t>(gSize);
    return ZulService::mRemoteConfigs.size() == records && ZulService::mTagTable.size() == records;
}

// Removed, as it lies in the store, and refused, as it does not.
constexpr char kInStore[] = "/data/ZUL/0xbe00/0xbe000001_2025_03_04_05_06_07_0.zul";
constexpr char kElsewhere[] = "/data/elsewhere/0xbe000001_2025_03_04_05_06_07_0.zul";

/** A history whose last line is the one that is wanted; it names that archive. */
template <const auto& kArchive>
bool prepareHistory() {
    if (!makeFile("/data/ZUL/zul_history")) return false;
    std::ofstream history("/data/ZUL/zul_history");
    for (int i = 0; i < gSize; i++)
        history << "0xbe000001|2025-03-04 05:06:07|" << kArchive << "|build.1\n";
    history.close();
    return history.good();
}

template <const auto& kArchive>
void resetHistory() {
    ZulService::mCompressFileLimit = 400;
    ZulService::mCompressFileCount = 399 + gSize;
    makeFile(kArchive);
}

bool archiveRefused() {
    return ZulService::mCompressFileCount == 399 + gSize && fs::exists(kElsewhere);
}

bool archiveRemoved() {
    return ZulService::mCompressFileCount == 398 + gSize && !fs::exists(kInStore);
}

/** It keeps all its archives. */
constexpr char kTag[] = "0x003e0101";
android::sp<ZulService> gService;
char gFolder[ZulService::kPathSize];

bool prepareArchives() {
    gService = new ZulService();
    std::vector<std::string>& archives = ZulService::mTagTable[kTag];
    archives.clear();
    for (int i = 0; i < gSize; i++) {
        archives.push_back(std::string("/data/ZUL/0x003e/") + kTag + "_2025_03_04_05_06_07_" +
                           std::to_string(i) + ".zul");
        if (!makeFile(archives.back())) return false;
    }
    return true;
}

void resetArchives() {
    if (gFolder[0] != '\0') rmdir(gFolder);
    std::fill(std::begin(gFolder), std::end(gFolder), '\0');
    ZulService::mTagTable[kTag].resize(static_cast<size_t>(gSize));
}

void makeFolder() {
    gService->createZulPath(kTag, 0, gFolder);
}

bool folderMade() {
    return fs::is_directory(gFolder) &&
           ZulService::mTagTable[kTag].size() == static_cast<size_t>(gSize) + 1;
}

constexpr Curve kCurves[] = {
        {"config", 10000, prepareConfig, resetConfig, readConfig, configRead},
        {"history", 1000000, prepareHistory<kElsewhere>, resetHistory<kElsewhere>,
         ZulService::cleanOldFile, archiveRefused},
        {"history_removal", 1000000, prepareHistory<kInStore>, resetHistory<kInStore>,
         ZulService::cleanOldFile, archiveRemoved},
        {"archives", 10000, prepareArchives, resetArchives, makeFolder, folderMade},
};

void grow(benchmark::State& state, const Curve& curve) {
    gSize = static_cast<int>(state.range(0));
    if (!curve.prepare()) {
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
    ZulService::mDebugLog = true;
    for (const Curve& curve : kCurves) {
        benchmark::RegisterBenchmark((std::string("growth/") + curve.name).c_str(), grow, curve)
                ->RangeMultiplier(10)
                ->Range(10, curve.largest)
                ->UseManualTime()
                ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
}
