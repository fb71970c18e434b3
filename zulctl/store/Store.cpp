// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Store.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Paths.h"
#include "base/RemoveTree.h"
#include "base/Text.h"

namespace zulctl {

namespace {

/** Where a copy may have what a device has in /data/ZUL and in /morvfs/stuck_logo. */
struct Layout {
    const char* outputRoot;
    const char* stuckLogoRoots[3];
};

constexpr Layout kLayouts[] = {
        {"data/ZUL", {"morvfs/stuck_logo"}},
        {"ZUL", {"morvfs/stuck_logo", "../morvfs/stuck_logo"}},
        {".", {"../morvfs/stuck_logo", "../../morvfs/stuck_logo", "morvfs/stuck_logo"}},
};

/** The folder at a path below `parent`, through no link; else -1 inside, and errno. */
zul::ScopedFd openPath(int parent, const std::string& path) {
    constexpr int kOnTheWay = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    zul::ScopedFd folder(openat(parent, ".", kOnTheWay));
    for (const std::string& name : zul::split(path, "/")) {
        // A user who may pass a folder and not list it gets to what is below.
        if (folder.ok()) folder = zul::ScopedFd(openat(folder.get(), name.c_str(), kOnTheWay));
    }
    return folder.ok() ? zul::openInner(folder.get(), ".") : std::move(folder);
}

/** A folder that is any other folder is told from a copy of /data/ZUL by what a store has. */
bool looksLikeOutputRoot(int folder) {
    for (const char* name : {"zul_history", "ZUL_TAG.txt", "config", "0xffff", "0xffffff"}) {
        struct stat status = {};
        if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0) return true;
    }
    return false;
}

}  // namespace

zul::ScopedFd openRegularAt(int parent, const char* name) {
    // O_NONBLOCK: a FIFO of that name would wait for a writer.
    zul::ScopedFd file(openat(parent, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (!file.ok() || (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode))) return file;
    errno = EINVAL;
    return zul::ScopedFd(-1);
}

zul::ScopedFd openNamed(const std::string& name) {
    return zul::ScopedFd(name == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                     : open(name.c_str(), O_RDONLY | O_CLOEXEC));
}

std::string whyNotOpened(int error) {
    if (error == ELOOP) return "a link, which is not followed";
    return error == EINVAL ? "not a regular file" : strerror(error);
}

std::unique_ptr<Store> Store::open(const std::optional<std::string>& root, std::string& problem) {
    const auto tell = [&problem](const std::string& path) {
        problem = path + ": " + strerror(errno);
        return nullptr;
    };
    const zul::ScopedFd base(::open(root ? root->c_str() : "/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!base.ok()) return tell(root.value_or("/"));
    auto store = std::make_unique<Store>();
    store->isCopy = root.has_value();
    for (const Layout& layout : kLayouts) {
        store->outputRoot = openPath(base.get(), layout.outputRoot);
        const bool found = store->outputRoot.ok();
        if (!found && !root) return tell(zul::kOutputRoot);
        const bool isBase = strcmp(layout.outputRoot, ".") == 0;
        if (!found || (isBase && !looksLikeOutputRoot(store->outputRoot.get()))) continue;
        for (const char* path : layout.stuckLogoRoots) {
            if (path == nullptr || store->stuckLogoRoot.ok()) continue;
            store->stuckLogoRoot = openPath(base.get(), path);
            if (!store->stuckLogoRoot.ok() && errno != ENOENT) tell(zul::kStuckLogoRoot);
        }
        return store;
    }
    problem = *root + ": no copy of /data or of /data/ZUL";
    return nullptr;
}

}  // namespace zulctl
