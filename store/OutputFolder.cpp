// SPDX-License-Identifier: Apache-2.0

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include <map>
#include <utility>

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
/** Anything shorter cannot be an archive's path. */
constexpr size_t kShortestArchive = 6;
constexpr mode_t kFolderMode = 0777;

/** A name in a folder that an OpenFolders holds; -1 and errno when that cannot be opened. */
struct Place {
    int folder;
    /** Within the path that was asked for. */
    const char* name;

    bool exists() const { return zul::exists(folder, name); }
    /** remove(3): a file, a link itself, or an empty folder. */
    bool remove() const {
        return unlinkat(folder, name, 0) == 0 || unlinkat(folder, name, AT_REMOVEDIR) == 0;
    }
    /** With exactly that mode; errno says why not, EEXIST if something is there. */
    bool makeFolder() const { return folder >= 0 && mkdirat(folder, name, kFolderMode) == 0; }
};

/** The folders of the store that one capture works in, each looked up once. */
class OpenFolders {
  public:
    /** The folder `path`, without a "/" at its end; -1 and errno when it cannot be opened. */
    int open(std::string_view path) {
        const auto known = mFolders.find(path);
        if (known != mFolders.end()) return known->second.get();
        // locate() opens the folder of a path's last name, whatever that is.
        Location place = locate(std::string(path) + "/-");
        if (!place.folder.ok()) return -1;
        return mFolders.emplace(path, std::move(place.folder)).first->second.get();
    }
    /** Where the absolute `path` lies. */
    Place find(const std::string& path) {
        const size_t slash = path.rfind('/');
        return {open(std::string_view(path).substr(0, slash)), path.c_str() + slash + 1};
    }

  private:
    std::map<std::string, ScopedFd, std::less<>> mFolders;
};

void removeArchive(const std::string& archive, OpenFolders& folders) {
    LOG_DUMP("createZulPath:erase %s", archive.c_str());
    const bool removed = folders.find(archive).remove();
    ZulService::mCompressFileCount.fetch_sub(1);
    if (removed || archive.size() < kShortestArchive) return;

    // The collector did not get as far as the archive: what it left is the folder.
    std::string folder = archive.substr(0, archive.size() - kArchiveSuffixLength);
    if (folders.find(folder).exists()) ZulService::deleteOldDir(folder);
}

void dropVanishedArchives(std::vector<std::string>& archives, OpenFolders& folders) {
    std::erase_if(archives, [&folders](const std::string& archive) {
        if (folders.find(archive).exists()) return false;
        LOG_DUMP("file %s isn't exist!,erase it from vector", archive.c_str());
        ZulService::mCompressFileCount.fetch_sub(1);
        return true;
    });
}

void pruneArchives(const char* sceneType, std::vector<std::string>& archives,
                   OpenFolders& folders) {
    const auto [first, count] = archivesToPrune(sceneType, archives.size(),
                                                ZulService::mUserMode ? kUserTagLimit : kTagLimit);
    if (count == 0) return;

    // The entry after the last one is looked at, too, and stays.
    const size_t end = first + count;
    for (size_t i = 0; i < archives.size() && i <= end; i++) {
        LOG_DUMP("current file path is %s", archives[i].c_str());
        if (i >= first && i < end) removeArchive(archives[i], folders);
    }
    const auto erased = archives.begin() + static_cast<ptrdiff_t>(first);
    archives.erase(erased, erased + static_cast<ptrdiff_t>(count));
}

/** False when the tag is not legal. */
bool pruneTag(const char* sceneType, OpenFolders& folders) ZUL_EXCLUDES(ZulService::mServiceLock) {
    const ScopedServiceLock lock(ZulService::mServiceLock);
    const auto archives = ZulService::mTagTable.find(sceneType);
    if (archives == ZulService::mTagTable.end()) return false;
    dropVanishedArchives(archives->second, folders);
    pruneArchives(sceneType, archives->second, folders);
    return true;
}

/** Logs which folder it is going to be, or failed to be, and puts it into `folderName`. */
void tellFolder(const std::string& path, int fileNum, char* folderName) {
    snprintf(folderName, ZulService::kPathSize, "%s", path.c_str());
    LOG_DUMP("getZulBasePath:fileNum=%d,folderName=%s", fileNum, folderName);
}

void tellFailure(const char* folderName, int error) {
    LOGE("FolderOperation LOG folder create %s failed(%s)", folderName, strerror(error));
}

/** A failure is logged, and puts `path` into `folderName`. */
bool makeTypeFolder(const std::string& path, OpenFolders& folders, int fileNum, char* folderName) {
    // Nearly always there from earlier captures.
    if (folders.open(path) >= 0) return true;
    if (folders.find(path).makeFolder() || errno == EEXIST) return true;
    const int error = errno;
    LOGE("FolderOperation sceneType LOG folder create %s failed(%s)", path.c_str(),
         strerror(error));
    tellFolder(path, fileNum, folderName);
    tellFailure(folderName, error);
    return false;
}

/** Makes the capture folder, empty also where one of that name was left over; a failure is logged. */
bool makeCaptureFolder(const std::string& path, OpenFolders& folders) {
    const Place place = folders.find(path);
    // Without a look before: the name is nearly always free.
    if (place.makeFolder()) return true;
    if (place.folder < 0 || errno != EEXIST) {
        tellFailure(path.c_str(), errno);
        return false;
    }
    std::string leftover = path;
    ZulService::deleteOldDir(leftover);
    return place.makeFolder();
}

}  // namespace

bool ZulService::createZulPath(const char* sceneType, int fileNum, char* folderName) {
    // Folders and files get exactly the modes that they are made with.
    umask(0);
    OpenFolders folders;
    if (!pruneTag(sceneType, folders)) return false;

    const tm now = localTime(time(nullptr));
    const std::string captureTime = formatTime(now, "%Y-%m-%d %H:%M:%S");
    mCaptureTime = std::make_unique<char[]>(captureTime.size() + 1);
    captureTime.copy(mCaptureTime.get(), captureTime.size());

    const std::string type = typeFolder(sceneType, mUserMode);
    if (type.empty()) {
        LOGE("getZulBasePath sceneType info error!!");
        tellFolder("", fileNum, folderName);
        tellFailure("", ENOENT);
        return false;
    }
    const std::string folder = captureFolder(type, sceneType, now, fileNum);
    if (folder.size() >= kPathSize) {
        LOGE("tag too long for a capture folder: %s", sceneType);
        return false;
    }
    if (!makeTypeFolder(type, folders, fileNum, folderName)) return false;
    tellFolder(folder, fileNum, folderName);
    if (!makeCaptureFolder(folder, folders)) return false;

    const ScopedServiceLock lock(mServiceLock);
    const auto archives = mTagTable.find(sceneType);
    if (archives != mTagTable.end()) archives->second.push_back(folder + kArchiveSuffix);
    return true;
}

void ZulService::deleteOldDir(std::string& dir) {
    removeWithShell(dir, ";");
}

}  // namespace zul
