// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/Files.h"

namespace zulctl {

/**
 * The folders of a store, of this device or of a copy. Everything in it may have been put there by anyone:
 * it is reached from these descriptors alone, no link is followed, and only regular files are read.
 */
struct Store {
    /**
     * Opens the store of this device, or the copy in `root`: of /data, of /data/ZUL, or of what holds
     * both data and morvfs; morvfs may lie beside it. Null, and a problem, when there is none; a problem alone when one of
     * its folders is there and cannot be opened.
     */
    static std::unique_ptr<Store> open(const std::optional<std::string>& root,
                                       std::string& problem);

    bool isCopy = false;
    /** /data/ZUL. */
    zul::ScopedFd outputRoot{-1};
    /** /morvfs/stuck_logo; -1 inside where there is none. */
    zul::ScopedFd stuckLogoRoot{-1};
};

/** Opens `name` of `parent` for reading, if it is a regular file; otherwise -1 inside, and errno. */
zul::ScopedFd openRegularAt(int parent, const char* name);

/** Opens a file that a user names, "-" for the standard input; otherwise -1 inside, and errno. */
zul::ScopedFd openNamed(const std::string& name);

/** Why opening a regular file failed, from its errno. */
std::string whyNotOpened(int error);

}  // namespace zulctl
