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
#include "base/RemoveTree.h"
#include "base/Text.h"
#include "rules/HistoryRecord.h"
#include "service/ZulService.h"
#include "store/ShellRemoval.h"

namespace zul {

namespace {

constexpr char kSpecialCount[] = "debug.zul.special.count";
constexpr int32_t kUserLimit = 200;
constexpr int32_t kLargestLimit = 400;
/**
 * The name of an archive in the top level of a root begins with its tag, which is this long.
 */
constexpr size_t kTagLength = 10;
/** A history line is read in pieces of this size, and each piece counts as a line. */
constexpr size_t kLineSize = 256;

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
    if (number < 1) return false;
    ScopedFd opened = openToRead(kHistoryFile, O_NOFOLLOW);
    const ScopedFile file(opened.ok() ? fdopen(opened.get(), "r") : nullptr);
    if (file == nullptr) return false;
    opened.release();
    for (int64_t i = 0; i < number; i++) {
        if (fgets(line, sizeof(line), file.get()) == nullptr) return false;
    }
    return true;
}

/**
 * History lines come from a file that anyone can write: only what lies in the store may be removed,
 * and not a root itself. The removal follows no links, so the text of the path decides.
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

/** Takes the archives in the top level of a root into count and lists. */
void countArchives(const char* root, bool logNames) ZUL_EXCLUDES(ZulService::mServiceLock) {
    forEachEntry(openFolder(root), [=](int folder, const dirent& entry) {
        if (kindOf(folder, entry) != DT_REG) return true;
        const std::string_view name = entry.d_name;
        if (logNames) LOGD("dnam=%s", withoutControlBytes(name).c_str());

        const ScopedServiceLock lock(ZulService::mServiceLock);
        const auto archives = ZulService::mTagTable.find(std::string(name.substr(0, kTagLength)));
        if (archives == ZulService::mTagTable.end()) return true;
        ZulService::mCompressFileCount.fetch_add(1);
        archives->second.emplace_back(root).append(name);
        return true;
    });
}

Removal removeAndTell(const std::string& path) {
    const Removal removal = removeWithShell(path, "");
    if (removal == Removal::SHELL_EXITED) LOG_DUMP("child normal exit....");
    return removal;
}

/** False when it is not ours to remove, which is logged. */
bool removeArchive(const std::string& path) {
    if (liesInStore(path)) return removeAndTell(path) != Removal::REFUSED;
    LOGE("not removed, not in the store: %s", path.c_str());
    return false;
}

}  // namespace

int ZulService::getCompressFileCount() {
    mCompressFileLimit =
            mUserMode ? kUserLimit
                      : std::min(property_get_int32("persist.sys.zul.count", kLargestLimit),
                                 kLargestLimit);
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

void ZulService::cleanOldFile() {
    const int64_t specialCount = property_get_int32(kSpecialCount, 0);
    const int64_t number = specialCount + mCompressFileCount.load() - mCompressFileLimit + 1;
    char line[kLineSize] = {};
    if (!readHistoryLine(number, line)) {
        LOGE("readSpecialLine failure!");
        return;
    }

    const std::string archive(parseRecord(line).archive);
    LOG_DUMP("remove old file:filename=%s", archive.c_str());
    const Location place = locate(archive);
    if (!exists(place.folder.get(), place.name.c_str())) {
        LOGE("file %s isn't exist!", archive.c_str());
        return;
    }
    // Anyone can write such lines: one that is refused must not take an archive off the count.
    if (!removeArchive(archive)) return;
    if (contains(archive, "0xffff0000")) {
        lowerSpecialCount();
    } else {
        mCompressFileCount.fetch_sub(1);
    }
}

void ZulService::removeFilePath(char* path) {
    removeAndTell(path);
}

}  // namespace zul
