// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/Growth.h"
#include "service/ZulService.h"

namespace bench {

using zul::ZulService;

namespace {

namespace fs = std::filesystem;

// Removed, as it lies in the store, and refused, as it does not.
constexpr char kInStore[] = "/data/ZUL/0xbe00/0xbe000001_2025_03_04_05_06_07_0.zul";
constexpr char kElsewhere[] = "/data/elsewhere/0xbe000001_2025_03_04_05_06_07_0.zul";
constexpr char kTag[] = "0x003e0101";

int gLines;
std::string gArchive;
android::sp<ZulService> gService;
size_t gListed;
char gFolder[ZulService::kPathSize];

bool makeFile(const fs::path& path) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    return std::ofstream(path).good();
}

/** A history whose last line is the one that is wanted; it names `archive`. */
bool prepareHistory(int lines, const char* archive) {
    if (lines == gLines && archive == gArchive) return true;
    gLines = lines;
    gArchive = archive;
    if (!makeFile("/data/ZUL/zul_history")) return false;
    std::ofstream history("/data/ZUL/zul_history");
    for (int i = 0; i < lines; i++)
        history << "0xbe000001|2025-03-04 05:06:07|" << archive << "|build.1\n";
    history.close();
    return history.good();
}

void resetHistory() {
    ZulService::mCompressFileLimit = 400;
    ZulService::mCompressFileCount = 399 + gLines;
    makeFile(gArchive);
}

bool prepareArchives(int size) {
    gService = new ZulService();
    gListed = static_cast<size_t>(size);
    std::vector<std::string>& archives = ZulService::mTagTable[kTag];
    archives.clear();
    for (int i = 0; i < size; i++) {
        archives.push_back(std::string("/data/ZUL/0x003e/") + kTag + "_2025_03_04_05_06_07_" +
                           std::to_string(i) + ".zul");
        if (!makeFile(archives.back())) return false;
    }
    return true;
}

void resetArchives() {
    if (gFolder[0] != '\0') rmdir(gFolder);
    std::fill(std::begin(gFolder), std::end(gFolder), '\0');
    ZulService::mTagTable[kTag].resize(gListed);
}

bool folderMade() {
    return fs::is_directory(gFolder) && ZulService::mTagTable[kTag].size() == gListed + 1;
}

}  // namespace

const Curve kHistory = {"history",
                        10,
                        1000000,
                        10,
                        [](int lines) { return prepareHistory(lines, kElsewhere); },
                        resetHistory,
                        ZulService::cleanOldFile,
                        [] { return ZulService::mCompressFileCount == 399 + gLines; }};
const Curve kHistoryRemoval = {
        "history_removal",
        10,
        1000000,
        10,
        [](int lines) { return prepareHistory(lines, kInStore); },
        resetHistory,
        ZulService::cleanOldFile,
        [] { return ZulService::mCompressFileCount == 398 + gLines && !fs::exists(kInStore); }};
const Curve kArchives = {"archives",
                         10,
                         10000,
                         10,
                         prepareArchives,
                         resetArchives,
                         [] { gService->createZulPath(kTag, 0, gFolder); },
                         folderMade};

}  // namespace bench
