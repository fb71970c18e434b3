// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <functional>
#include <string>
#include <vector>

#include "base/Files.h"

namespace zul {

/**
 * A name in a folder that is held open. The store is writable for everybody, so between a look at a
 * path and its use any folder on the way may be exchanged for a link: what is made or removed relative
 * to `folder` stays where it was looked at.
 */
struct Location {
    /** The folder, for calls relative to it only (O_PATH); not ok() when it could not be had. */
    ScopedFd folder;
    /** The last name of the path. Whether anything has that name is not known. */
    std::string name;
};

/** The names in a path, one after the other, without "" and ".", which mean nothing. */
std::vector<std::string> namesOf(const std::string& path);

/** True when only root can write in the folder, or exchange what is in it. */
bool isForRootAlone(int folder);

/**
 * Called for each folder on a path, from "/" on, before anything is looked up in it; `depth` is 0 for "/".
 * False ends the walk, with the errno that it set.
 */
using EnterFolder = std::function<bool(int folder, size_t depth)>;

/**
 * Opens the folder of an absolute path. A link on the way is followed only where root alone can write in
 * the folder that holds it, as it is the platform's own then. On failure the folder is not ok() and errno
 * says why: ENOTDIR for any other link, EINVAL for a path with "..", ENOENT for one without a name.
 */
Location locate(const std::string& path);
/** The same, and calls `enter` on the way. */
Location locate(const std::string& path, const EnterFolder& enter);

/**
 * True when something is there, or when that cannot be found out. A link counts as nothing: it may lead
 * anywhere, even to where a look-up never returns. `folder` is -1 if it could not be opened, and errno says why.
 */
bool exists(int folder, const char* name);

/** The folder `path` itself, found in the same way, opened for listing; -1 inside when that fails. */
ScopedFd openFolder(const std::string& path);

}  // namespace zul
