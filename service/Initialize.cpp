// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <dirent.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <optional>
#include <utility>

#include "base/Files.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "base/Text.h"
#include "rules/TagFile.h"
#include "service/ZulService.h"

namespace zul {

namespace {

constexpr char kCpuFolder[] = "/sys/devices/system/cpu";
constexpr int kManyProcessors = 5;

/** What a start-up file must be, besides regular and not too large. */
enum class Owner { ANYBODY, US };

/**
 * The text of a start-up file, as long as it was when it was opened; empty when there is no such file. One
 * that is too large, or somebody else's, is logged.
 */
std::string readStartFile(const char* path, Owner owner) {
    const ScopedFd file = openToRead(path, O_NOFOLLOW);
    struct stat status = {};
    if (!file.ok() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return "";
    if (owner == Owner::US && status.st_uid != geteuid()) {
        LOGW("%s is not read, it belongs to user %d", path, static_cast<int>(status.st_uid));
        return "";
    }
    if (status.st_size > static_cast<off_t>(kStartFileLimit)) {
        LOGW("%s is not read, it has %lld bytes", path, static_cast<long long>(status.st_size));
        return "";
    }
    return readAll(file.get(), static_cast<size_t>(status.st_size));
}

/** The number of entries cpu0 to cpu9, or -1 when the folder cannot be opened. */
int countProcessors() {
    const ScopedFolder folder(opendir(kCpuFolder));
    if (folder == nullptr) return -1;
    int count = 0;
    while (const dirent* entry = readdir(folder.get())) {
        if (strlen(entry->d_name) == 4 && contains(entry->d_name, "cpu")) count++;
    }
    return count;
}

bool zygoteIs64Bit() {
    char zygote[PROPERTY_VALUE_MAX] = {};
    property_get("ro.zygote", zygote, "");
    return contains(zygote, "zygote64");
}

void admitUserTags() ZUL_EXCLUDES(ZulService::mServiceLock) {
    const ScopedServiceLock lock(ZulService::mServiceLock);
    for (std::string& tag : userTags())
        ZulService::mTagTable.try_emplace(std::move(tag));
}

void initTracing() {
    const bool fans = property_get_int32("persist.sys.fans.support", 0) == 1;
    property_set("debug.atrace.tags.enableflags", fans ? "0xeeffe" : "0x66");

    ZulService::mSmallTraceBuffer = countProcessors() >= kManyProcessors && !zygoteIs64Bit();
    property_set("debug.zul.trace.reinitsize", ZulService::mSmallTraceBuffer ? "4096" : "8192");

    for (const char* instance : {"perf", "power", "stab"})
        ZulService::initBufferSize(instance);
}

void admitStoredTags() ZUL_EXCLUDES(ZulService::mServiceLock) {
    const std::vector<std::string> lines = split(readStartFile(kTagFile, Owner::ANYBODY), "\n");
    const ScopedServiceLock lock(ZulService::mServiceLock);
    for (const std::string& line : lines) {
        if (std::optional<std::string> tag = tagOfLine(line))
            ZulService::mTagTable.try_emplace(std::move(*tag));
    }
}

/**
 * The configuration decides what the collector does as root: only what we stored counts. No callback is
 * registered yet, so no other thread can reach the tables.
 */
void applyStoredConfig() ZUL_NO_THREAD_SAFETY_ANALYSIS {
    removeUnfinished(kConfigFile);
    std::string text = joinLines(split(readStartFile(kConfigFile, Owner::US), "\n"));
    ZulService::parseRemoteConfig(text);
}

}  // namespace

void ZulService::Initialize() {
    const int32_t adbSupport = property_get_int32("persist.sys.adb.support", 0);
    char buildType[PROPERTY_VALUE_MAX] = {};
    property_get("ro.build.type", buildType, "user");
    mUserMode = strcmp(buildType, "user") == 0 && adbSupport == 0;
    mDebugLog = property_get_bool("debug.zul.dump", true) != 0;

    if (mUserMode) {
        admitUserTags();
    } else {
        initTracing();
        admitStoredTags();
    }
    applyStoredConfig();
}

void ZulService::initBufferSize(const char* instance) {
    for (const char* root : {kTraceRoot, kFallbackTraceRoot}) {
        const std::string path = std::string(root) + instance + "/buffer_size_kb";
        const ScopedFd file = openTraceFile(path.c_str());
        if (!file.ok()) continue;
        // A kernel that refuses the size keeps the one it has.
        (void)!write(file.get(), mSmallTraceBuffer ? "1024" : "2048", 4);
        return;
    }
}

}  // namespace zul
