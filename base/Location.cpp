// SPDX-License-Identifier: Apache-2.0

#include "base/Location.h"

#include <errno.h>
#include <limits.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <utility>

#include "base/Text.h"

namespace zul {

namespace {

constexpr int kFolder = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
/** As many links as the kernel follows on one path. */
constexpr int kLinkLimit = 40;

ScopedFd failed(int error) {
    errno = error;
    return ScopedFd(-1);
}

/** In one call; not ok() if there is a link on the way, or if the kernel lacks the call. */
ScopedFd openWithoutLinks(const std::vector<std::string>& names) {
    std::string path = "/";
    for (const std::string& name : names)
        path.append(name).append("/");
    open_how how = {};
    how.flags = kFolder;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return ScopedFd(
            static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how))));
}

/** Where a link leads that only root can have made; empty for any other, and for what is not a link. */
std::string readOwnLink(int folder, const std::string& name) {
    char target[PATH_MAX];
    if (!isForRootAlone(folder)) return "";
    const ssize_t length = readlinkat(folder, name.c_str(), target, sizeof(target));
    return length > 0 && length < PATH_MAX ? std::string(target, static_cast<size_t>(length)) : "";
}

/** Opens the folder that `names` lead to, from "/" on. */
ScopedFd walk(std::vector<std::string> names, const EnterFolder& enter) {
    // Reversed, with the next name at the end, since a link puts more names in front of the rest.
    std::reverse(names.begin(), names.end());
    ScopedFd folder(open("/", kFolder));
    size_t depth = 0;
    if (folder.ok() && !enter(folder.get(), depth)) return ScopedFd(-1);
    for (int links = 0; folder.ok() && !names.empty();) {
        const std::string name = std::move(names.back());
        names.pop_back();
        ScopedFd inner(openat(folder.get(), name.c_str(), kFolder));
        if (!inner.ok() && errno == ENOTDIR) {
            const std::string target = readOwnLink(folder.get(), name);
            if (target.empty() || ++links > kLinkLimit) return failed(ENOTDIR);
            const std::vector<std::string> way = namesOf(target);
            names.insert(names.end(), way.rbegin(), way.rend());
            if (target.starts_with('/')) {
                folder = ScopedFd(open("/", kFolder));
                depth = 0;
            }
            continue;
        }
        folder = std::move(inner);
        if (folder.ok() && !enter(folder.get(), ++depth)) return ScopedFd(-1);
    }
    return folder;
}

/** The folder that `names` lead to. */
ScopedFd openNames(const std::vector<std::string>& names) {
    ScopedFd folder = openWithoutLinks(names);
    return folder.ok() ? std::move(folder) : walk(names, [](int, size_t) { return true; });
}

/** The names of an absolute path; none, and errno, for one that goes up and for any other. */
std::vector<std::string> namesFromRoot(const std::string& path) {
    errno = ENOENT;
    if (!path.starts_with('/')) return {};
    std::vector<std::string> names = namesOf(path);
    if (std::find(names.begin(), names.end(), "..") == names.end()) return names;
    errno = EINVAL;
    return {};
}

/** `open` opens the folder that some names lead to. */
template <class Open>
Location locateBy(const std::string& path, Open open) {
    std::vector<std::string> names = namesFromRoot(path);
    if (names.empty()) return {.folder = ScopedFd(-1), .name = {}};
    std::string last = std::move(names.back());
    names.pop_back();
    return {.folder = open(names), .name = std::move(last)};
}

}  // namespace

std::vector<std::string> namesOf(const std::string& path) {
    std::vector<std::string> names = split(path, "/");
    std::erase_if(names, [](const std::string& name) { return name.empty() || name == "."; });
    return names;
}

bool isForRootAlone(int folder) {
    struct stat status = {};
    return fstat(folder, &status) == 0 && status.st_uid == 0 &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

Location locate(const std::string& path) {
    return locateBy(path, openNames);
}

Location locate(const std::string& path, const EnterFolder& enter) {
    return locateBy(path,
                    [&](const std::vector<std::string>& names) { return walk(names, enter); });
}

bool exists(int folder, const char* name) {
    char target;
    // Says in one look whether a link stands there, and for anything else EINVAL.
    if (folder >= 0 && readlinkat(folder, name, &target, 1) >= 0) return false;
    return errno != ENOENT && errno != ENOTDIR;
}

ScopedFd openFolder(const std::string& path) {
    const std::vector<std::string> names = namesFromRoot(path);
    if (names.empty()) return ScopedFd(-1);
    const ScopedFd folder = openNames(names);
    if (!folder.ok()) return failed(errno);
    return ScopedFd(openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace zul
