// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include "base/Files.h"
#include "base/LocalTime.h"
#include "base/Location.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "rules/ArchiveName.h"
#include "rules/KeepRule.h"
#include "service/ZulService.h"
#include "store/ShellRemoval.h"

namespace zul {

namespace {

constexpr size_t kArchiveSuffixLength = sizeof(kArchiveSuffix) - 1;
/** Anything shorter is no archive path at all. */
constexpr size_t kShortestArchive = 6;
constexpr mode_t kFolderMode = 0777;

/** Makes the folder `name` with exactly this mode; errno tells why not, EEXIST where there is one. */
bool makeFolder(const Location& place) {
    return place.folder.ok() && mkdirat(place.folder.get(), place.name.c_str(), kFolderMode) == 0;
}

/** remove(3): a file, a link itself, or an empty folder. */
bool removeName(const Location& place) {
    const int folder = place.folder.get();
    const char* name = place.name.c_str();
    return unlinkat(folder, name, 0) == 0 || unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

void logFolderName(int fileNum, const char* folderName) {
    LOG_DUMP("getZulBasePath:fileNum=%d,folderName=%s", fileNum, folderName);
}

/**
 * Makes the capture folder, empty also where one of that name was left over; a failure is logged.
 */
bool makeCaptureFolder(const char* path) {
    const Location place = locate(path);
    // Without a look before: the name is nearly always free.
    if (makeFolder(place)) return true;
    if (!place.folder.ok() || errno != EEXIST) {
        LOGE("FolderOperation LOG folder create %s failed(%s)", path, strerror(errno));
        return false;
    }
    std::string leftover = path;
    ZulService::deleteOldDir(leftover);
    return makeFolder(place);
}

/**
 * Writes the capture folder's path into `folderName`; a tag that makes no name leaves that empty, and
 * making the folder then fails and is logged. False, and logged, when the path is too long.
 */
bool nameFolder(const std::string& tag, const tm& now, int fileNum, char* folderName) {
    if (typeFolder(tag, ZulService::mUserMode).empty()) {
        LOGE("getZulBasePath sceneType info error!!");
        return true;
    }
    const std::string folder = captureFolder(tag, ZulService::mUserMode, now, fileNum);
    if (folder.size() >= ZulService::kPathSize) {
        LOGE("tag too long for a capture folder: %s", tag.c_str());
        return false;
    }
    snprintf(folderName, ZulService::kPathSize, "%s", folder.c_str());
    return true;
}

/**
 * Makes the type folder of a tag that has a name. When that fails it stands in `folderName` instead,
 * and all lines about it and the capture folder are written.
 */
bool makeTypeFolder(const std::string& tag, int fileNum, char* folderName) {
    const std::string folder = typeFolder(tag, ZulService::mUserMode);
    // Nearly always there from earlier captures.
    if (folder.empty() || makeFolder(locate(folder)) || errno == EEXIST) return true;
    const char* reason = strerror(errno);
    snprintf(folderName, ZulService::kPathSize, "%s", folder.c_str());
    LOGE("FolderOperation sceneType LOG folder create %s failed(%s)", folderName, reason);
    logFolderName(fileNum, folderName);
    LOGE("FolderOperation LOG folder create %s failed(%s)", folderName, reason);
    return false;
}

}  // namespace

bool ZulService::createZulPath(const char* sceneType, int fileNum, char* folderName) {
    // Folders and files get exactly the modes that they are made with.
    umask(0);
    if (!pruneTag(sceneType)) return false;

    const tm now = localTime(time(nullptr));
    const std::string captureTime = formatTime(now, "%Y-%m-%d %H:%M:%S");
    mCaptureTime = std::make_unique<char[]>(captureTime.size() + 1);
    captureTime.copy(mCaptureTime.get(), captureTime.size());

    if (!nameFolder(sceneType, now, fileNum, folderName)) return false;
    if (!makeTypeFolder(sceneType, fileNum, folderName)) return false;
    logFolderName(fileNum, folderName);
    if (!makeCaptureFolder(folderName)) return false;

    const ScopedServiceLock lock(mServiceLock);
    const auto archives = mTagTable.find(sceneType);
    if (archives != mTagTable.end()) {
        archives->second.push_back(std::string(folderName) + kArchiveSuffix);
    }
    return true;
}

bool ZulService::pruneTag(const char* sceneType) {
    const ScopedServiceLock lock(mServiceLock);
    const auto archives = mTagTable.find(sceneType);
    if (archives == mTagTable.end()) return false;
    dropVanishedArchives(archives->second);
    pruneArchives(sceneType, archives->second);
    return true;
}

void ZulService::dropVanishedArchives(std::vector<std::string>& archives) {
    std::vector<std::string> kept;
    for (std::string& archive : archives) {
        if (pathExists(archive.c_str())) {
            kept.push_back(std::move(archive));
            continue;
        }
        LOG_DUMP("file %s isn't exist!,erase it from vector", archive.c_str());
        mCompressFileCount.fetch_sub(1);
    }
    archives = std::move(kept);
}

void ZulService::pruneArchives(const char* sceneType, std::vector<std::string>& archives) {
    const Range prune =
            archivesToPrune(sceneType, archives.size(), mUserMode ? kUserTagLimit : kTagLimit);
    if (prune.count == 0) return;

    // The entry behind the last one is looked at too, and stays.
    const size_t end = prune.first + prune.count;
    for (size_t i = 0; i < archives.size() && i <= end; i++) {
        LOG_DUMP("current file path is %s", archives[i].c_str());
        if (i >= prune.first && i < end) removeArchive(archives[i]);
    }
    const auto first = archives.begin() + static_cast<ptrdiff_t>(prune.first);
    archives.erase(first, first + static_cast<ptrdiff_t>(prune.count));
}

void ZulService::removeArchive(const std::string& archive) {
    LOG_DUMP("createZulPath:erase %s", archive.c_str());
    const Location place = locate(archive);
    const bool removed = place.folder.ok() && removeName(place);
    mCompressFileCount.fetch_sub(1);
    if (removed || archive.size() < kShortestArchive) return;
    if (!place.folder.ok()) {
        LOGE("not removed, no folder without links: %s", archive.c_str());
        return;
    }

    // The collector did not get as far as the archive: what it left is the folder.
    std::string folder = archive.substr(0, archive.size() - kArchiveSuffixLength);
    if (pathExists(folder.c_str())) deleteOldDir(folder);
}

void ZulService::deleteOldDir(std::string& dir) {
    removeWithShell(dir, ";");
}

}  // namespace zul
