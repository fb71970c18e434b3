// SPDX-License-Identifier: Apache-2.0

#include "base/RemoveTree.h"

#include <sys/stat.h>

#include <string>
#include <vector>

namespace zul {

namespace {

/** The most folders that are entered, so that somebody who keeps adding some cannot hold us up. */
constexpr int kFolderLimit = 1 << 20;

/** A folder on the way down. */
struct Step {
    dev_t device;
    ino_t inode;
    /** The folder in it that was entered. */
    std::string inner;
};

bool isRemoved(int folder, const char* name, int flags) {
    return unlinkat(folder, name, flags) == 0 || errno == ENOENT;
}

/** Removes all but folders from `folder`; `inner` is the name of one that stays. False when it cannot be listed. */
bool removeFiles(int folder, std::string& inner) {
    inner.clear();
    return forEachEntry(openInner(folder, "."), [&inner](int inside, const dirent& entry) {
        if (!isRemoved(inside, entry.d_name, 0)) inner = entry.d_name;
        return true;
    });
}

/** Goes back to the folder that `step` left, and removes the one that was entered there. */
bool goBack(ScopedFd& folder, const Step& step) {
    ScopedFd outer = openInner(folder.get(), "..");
    struct stat status = {};
    if (!outer.ok() || fstat(outer.get(), &status) != 0) return false;
    // Somebody has moved the inner one elsewhere.
    if (status.st_dev != step.device || status.st_ino != step.inode) return false;
    folder = std::move(outer);
    return isRemoved(folder.get(), step.inner.c_str(), AT_REMOVEDIR);
}

}  // namespace

unsigned char kindOf(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type;
    struct stat status = {};
    if (fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
    return S_ISREG(status.st_mode) ? DT_REG : S_ISDIR(status.st_mode) ? DT_DIR : DT_UNKNOWN;
}

// Neither recursion nor a descriptor for each level: anybody can make thousands of them.
bool emptyTree(int folder, const char* name) {
    ScopedFd current = openInner(folder, name);
    std::vector<Step> way;
    for (int entered = 0; current.ok() && entered < kFolderLimit;) {
        std::string inner;
        if (!removeFiles(current.get(), inner)) return false;
        if (inner.empty()) {
            if (way.empty()) return true;
            if (!goBack(current, way.back())) return false;
            way.pop_back();
            continue;
        }
        struct stat status = {};
        if (fstat(current.get(), &status) != 0) return false;
        current = openInner(current.get(), inner.c_str());
        way.push_back({status.st_dev, status.st_ino, std::move(inner)});
        entered++;
    }
    return false;
}

bool removeTree(int folder, const char* name) {
    if (isRemoved(folder, name, 0)) return true;
    return emptyTree(folder, name) && isRemoved(folder, name, AT_REMOVEDIR);
}

}  // namespace zul
