// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <dirent.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

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

/** Only the daemon can have written there: what it stored is read again, however long it is. */
bool isOurOwn(const struct stat& status) {
    return status.st_uid == geteuid() && (status.st_mode & 0777) == 0600;
}

/** Anyone can put anything there: only a regular file of a bounded size counts. */
bool isToBeRead(FILE* file, const char* path) {
    struct stat status = {};
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    if (status.st_size <= static_cast<off_t>(kMostStartFileBytes) || isOurOwn(status)) return true;
    LOGW("%s is not read, it has %lld bytes", path, static_cast<long long>(status.st_size));
    return false;
}

/** The lines of the file at `path` without their line ends; none when it cannot be read. */
std::vector<std::string> readLines(const char* path) {
    std::vector<std::string> lines;
    const ScopedFile file = openToRead(path);
    if (file == nullptr || !isToBeRead(file.get(), path)) return lines;

    char* line = nullptr;
    size_t capacity = 0;
    ssize_t length;
    while ((length = getline(&line, &capacity, file.get())) >= 0) {
        if (length > 0 && line[length - 1] == '\n') length--;
        lines.emplace_back(line, static_cast<size_t>(length));
    }
    free(line);
    return lines;
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

void ZulService::admitUserTags() {
    const ScopedServiceLock lock(mServiceLock);
    for (std::string& tag : userTags())
        mTagTable.try_emplace(std::move(tag));
}

void ZulService::initTracing() {
    const bool fans = property_get_int32("persist.sys.fans.support", 0) == 1;
    property_set("debug.atrace.tags.enableflags", fans ? "0xeeffe" : "0x66");

    mSmallTraceBuffer = countProcessors() >= kManyProcessors && !zygoteIs64Bit();
    property_set("debug.zul.trace.reinitsize", mSmallTraceBuffer ? "4096" : "8192");

    for (const char* instance : {"perf", "power", "stab"})
        initBufferSize(instance);
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

void ZulService::admitStoredTags() {
    const std::vector<std::string> lines = readLines(kTagFile);
    const ScopedServiceLock lock(mServiceLock);
    for (const std::string& line : lines) {
        if (std::optional<std::string> tag = tagOfLine(line))
            mTagTable.try_emplace(std::move(*tag));
    }
}

// No callback is registered yet, so nobody else can reach the tables.
void ZulService::applyStoredConfig() ZUL_NO_THREAD_SAFETY_ANALYSIS {
    std::string text = joinLines(readLines(kConfigFile));
    parseRemoteConfig(text);
}

}  // namespace zul
