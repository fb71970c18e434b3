// SPDX-License-Identifier: Apache-2.0

#include "base/Location.h"

#include <errno.h>
#include <sys/stat.h>

#include <utility>

#include "base/Text.h"

namespace zul {

namespace {

constexpr int kFolder = O_DIRECTORY | O_CLOEXEC;

bool isForRootAlone(const ScopedFd& folder) {
    struct stat status = {};
    return folder.ok() && fstat(folder.get(), &status) == 0 && status.st_uid == 0 &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

Location nowhere(int error) {
    errno = error;
    return {.folder = ScopedFd(-1), .name = {}};
}

}  // namespace

// One name at a time: every folder has to be looked at, and openat2() is missing before Linux 5.6.
Location locate(const std::string& path) {
    if (!path.starts_with('/')) return nowhere(ENOENT);
    Location place{.folder = ScopedFd(open("/", O_PATH | kFolder)), .name = {}};
    int noFollow = 0;
    for (std::string& name : split(path, "/")) {
        if (name.empty() || name == ".") continue;
        if (name == "..") return nowhere(EINVAL);
        if (!place.name.empty()) {
            place.folder = ScopedFd(
                    openat(place.folder.get(), place.name.c_str(), O_PATH | kFolder | noFollow));
            noFollow = O_NOFOLLOW;
        }
        if (!place.folder.ok()) return place;
        place.othersCanWrite = place.othersCanWrite || !isForRootAlone(place.folder);
        place.name = std::move(name);
    }
    return place.name.empty() ? nowhere(ENOENT) : std::move(place);
}

ScopedFd openFolder(const std::string& path) {
    const Location place = locate(path);
    if (!place.folder.ok()) return ScopedFd(-1);
    return ScopedFd(
            openat(place.folder.get(), place.name.c_str(), O_RDONLY | kFolder | O_NOFOLLOW));
}

}  // namespace zul
