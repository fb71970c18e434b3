// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <utility>

#include "base/Files.h"

namespace zul {

/** Folders inside each other, each with a descriptor; what lies deeper is not reached. */
inline constexpr int kDeepestFolder = 64;

/** The folder `name` in `folder`, if it is no link; else -1 inside, and errno. */
inline ScopedFd openInner(int folder, const char* name) {
    return ScopedFd(openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/**
 * Calls `each(descriptor, name)` for what is in `folder`, which it takes, until one gives false.
 * False then, and when the folder cannot be listed.
 */
template <class Each>
bool forEachName(ScopedFd folder, Each each) {
    const ScopedFolder names(fdopendir(folder.get()));
    if (names == nullptr) return false;
    folder.release();
    while (const dirent* entry = readdir(names.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && !each(dirfd(names.get()), entry->d_name)) return false;
    }
    return true;
}

/**
 * Removes `name` in `folder` and everything below it, without following links. False when something
 * is left: what others add all the time, or what lies too deep. `depth` is how deep `name` lies.
 */
bool removeTree(int folder, const char* name, int depth = 0);

}  // namespace zul
