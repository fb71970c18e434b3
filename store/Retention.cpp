// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>

#include "base/Files.h"
#include "base/Location.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "base/Text.h"
#include "rules/HistoryRecord.h"
#include "service/ZulService.h"
#include "store/HistoryLog.h"
#include "store/ShellRemoval.h"

namespace zul {

namespace {

constexpr char kSpecialCount[] = "debug.zul.special.count";
constexpr int32_t kUserLimit = 200;
constexpr int32_t kLargestLimit = 400;
/**
 * An archive in the top level of a root is named by its tag, and this much of the name tells it.
 */
constexpr size_t kTagLength = 10;
/** Its file in the output root. */
constexpr std::string_view kConfigName =
        std::string_view(kConfigFile).substr(sizeof(kOutputRoot) - 1);
/** A history line is read in pieces of this size, and each piece counts as a line. */
constexpr size_t kLineSize = 256;

bool isRegularFile(DIR* folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_REG;
    struct stat status = {};
    return fstatat(dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(status.st_mode);
}

/** Makes a root of the store where it is missing. */
bool ensureRoot(const char* root) {
    const Location place = locate(root);
    if (place.folder.ok() &&
        (mkdirat(place.folder.get(), place.name.c_str(), 0777) == 0 || errno == EEXIST)) {
        return true;
    }
    LOGE("FolderOperation main folder create %s failed(%s)", root, strerror(errno));
    return false;
}

/** The line of that number, counted from 1, of the history file; false when there is none. */
bool readHistoryLine(int64_t number, char (&line)[kLineSize]) {
    const ScopedFile file = openToRead(kHistoryFile, O_NOFOLLOW);
    if (file == nullptr || number < 1) return false;
    for (int64_t i = 0; i < number; i++) {
        if (fgets(line, sizeof(line), file.get()) == nullptr) return false;
    }
    return true;
}

/** The names in a path, one after the other. */
std::vector<std::string> namesOf(const std::string& path) {
    std::vector<std::string> names = split(path, "/");
    std::erase_if(names, [](const std::string& name) { return name.empty() || name == "."; });
    return names;
}

/**
 * History lines come from a file that anyone can write: only what lies in the store may be removed,
 * and not a root itself. The removal follows no links, so the text of the path tells.
 */
bool liesInStore(const std::string& path) {
    const std::vector<std::string> names = namesOf(path);
    for (const char* root : {kOutputRoot, kStuckLogoRoot}) {
        const std::vector<std::string> above = namesOf(root);
        if (names.size() > above.size() && std::equal(above.begin(), above.end(), names.begin()))
            return path.front() == '/';
    }
    return false;
}

void lowerSpecialCount() {
    const int64_t count = property_get_int32(kSpecialCount, 0);
    property_set(kSpecialCount, std::to_string(std::max<int64_t>(count - 1, 0)).c_str());
}

}  // namespace

int ZulService::getCompressFileCount() {
    mCompressFileLimit =
            mUserMode ? kUserLimit
                      : std::min(property_get_int32("persist.sys.zul.count", kLargestLimit),
                                 kLargestLimit);
    endTornRecord();
    if (ensureRoot(kOutputRoot)) handleZulDataFile();
    if (ensureRoot(kStuckLogoRoot)) handleMorvfsDataFile();
    const int32_t count = mCompressFileCount.load();
    LOG_DUMP("mCompressFileCount=%d", count);
    return count;
}

void ZulService::handleZulDataFile() {
    countArchives(kOutputRoot, false);
}

void ZulService::handleMorvfsDataFile() {
    countArchives(kStuckLogoRoot, true);
}

void ZulService::countArchives(const char* root, bool logNames) {
    ScopedFd opened = openFolder(root);
    const ScopedFolder folder(opened.ok() ? fdopendir(opened.get()) : nullptr);
    if (folder == nullptr) return;
    opened.release();
    while (const dirent* entry = readdir(folder.get())) {
        if (!isRegularFile(folder.get(), *entry)) continue;
        if (logNames) LOGD("dnam=%s", entry->d_name);

        const std::string_view name = entry->d_name;
        // Of an update that did not get to its end.
        if (isLeftOf(kConfigName, name)) unlinkat(dirfd(folder.get()), entry->d_name, 0);
        const std::string tag(name.substr(0, kTagLength));
        const ScopedServiceLock lock(mServiceLock);
        const auto archives = mTagTable.find(tag);
        if (archives == mTagTable.end()) continue;
        mCompressFileCount.fetch_add(1);
        archives->second.emplace_back(root).append(name);
    }
}

void ZulService::cleanOldFile() {
    const int64_t specialCount = property_get_int32(kSpecialCount, 0);
    const int64_t number = specialCount + mCompressFileCount.load() - mCompressFileLimit + 1;
    char line[kLineSize] = {};
    if (!readHistoryLine(number, line)) {
        LOGE("readSpecialLine failure!");
        return;
    }

    std::string archive(parseRecord(line).archive);
    LOG_DUMP("remove old file:filename=%s", archive.c_str());
    if (!pathExists(archive.c_str())) {
        LOGE("file %s isn't exist!", archive.c_str());
        return;
    }
    if (liesInStore(archive)) {
        removeFilePath(archive.data());
    } else {
        LOGE("not removed, not in the store: %s", archive.c_str());
    }
    if (contains(archive, "0xffff0000")) {
        lowerSpecialCount();
    } else {
        mCompressFileCount.fetch_sub(1);
    }
}

void ZulService::removeFilePath(char* path) {
    if (removeWithShell(path, "") && mDebugLog) LOGD("child normal exit....");
}

}  // namespace zul
