// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

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
    /** The last name of the path. What stands there was not looked at and may be anything, or nothing. */
    std::string name;
    /** Somebody besides root can write in a folder on the way, `folder` among them. */
    bool othersCanWrite = false;
};

/**
 * Opens the folders of an absolute path one after the other, without following links; only a top-level
 * one, which is the platform's own, may be a link. On failure the folder is not ok() and errno tells
 * why: ENOTDIR for a link on the way, EINVAL for a path that goes up, ENOENT for one without a name.
 */
Location locate(const std::string& path);

/** The folder `path` itself, opened in the same way, for listing it; -1 inside when that fails. */
ScopedFd openFolder(const std::string& path);

}  // namespace zul
