// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <errno.h>

#include <string_view>
#include <utility>

#include "base/Files.h"

namespace zul {

/** The folder `name` in `folder`; -1 inside, and errno, if it is a link or cannot be opened. */
inline ScopedFd openInner(int folder, const char* name) {
    return ScopedFd(openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/**
 * Calls `each(descriptor, entry)` for each entry of `folder`, which it takes over, until one returns false.
 * Returns false then, and when the folder cannot be listed to its end.
 */
template <class Each>
bool forEachEntry(ScopedFd folder, Each each) {
    const ScopedFolder names(fdopendir(folder.get()));
    if (names == nullptr) return false;
    folder.release();
    while (true) {
        errno = 0;
        const dirent* entry = readdir(names.get());
        if (entry == nullptr) return errno == 0;
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && !each(dirfd(names.get()), *entry)) return false;
    }
}

/** The kind of an entry as DT_… tells it, looked up where the listing does not. */
unsigned char kindOf(int folder, const dirent& entry);

/**
 * Removes `name` in `folder` and everything below it, however deep, without following links. False when
 * something is left, which cannot be removed or which others keep adding.
 */
bool removeTree(int folder, const char* name);

/** The same for everything in the folder `name`, which stays. */
bool emptyTree(int folder, const char* name);

}  // namespace zul
