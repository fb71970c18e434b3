// SPDX-License-Identifier: Apache-2.0

#include "store/ExclusiveHold.h"

#include <errno.h>
#include <sys/stat.h>

#include <map>
#include <mutex>
#include <utility>

#include "base/RemoveTree.h"

namespace zul {

namespace {

constexpr mode_t kForUsAlone = 0700;

bool isOurs(const struct stat& status) {
    return status.st_uid == geteuid();
}

std::mutex gStickyLock;
/** How many holds keep a folder sticky, by its device and inode. */
// NOLINTNEXTLINE(cert-err58-cpp)
std::map<std::pair<dev_t, ino_t>, int> gSticky;

/** False when it cannot be done. With `leaveSticky`, a folder that was sticky already is `left` as it is. */
bool makeSticky(int folder, bool leaveSticky, bool& left) {
    const std::lock_guard<std::mutex> lock(gStickyLock);
    struct stat status = {};
    if (fstat(folder, &status) != 0) return false;
    const std::pair<dev_t, ino_t> key(status.st_dev, status.st_ino);
    left = leaveSticky && (status.st_mode & S_ISVTX) != 0 && gSticky.find(key) == gSticky.end();
    if (left) return true;
    if (fchmod(folder, status.st_mode | S_ISVTX) != 0) return false;
    gSticky[key]++;
    return true;
}

void endSticky(int folder) {
    const std::lock_guard<std::mutex> lock(gStickyLock);
    struct stat status = {};
    if (fstat(folder, &status) != 0) return;
    const auto sticky = gSticky.find({status.st_dev, status.st_ino});
    if (sticky == gSticky.end() || --sticky->second > 0) return;
    fchmod(folder, status.st_mode & ~static_cast<mode_t>(S_ISVTX));
    gSticky.erase(sticky);
}

}  // namespace

ExclusiveHold::ExclusiveHold(const std::string& path)
      : mPlace(locate(path, [this](int folder, size_t depth) { return enter(folder, depth); })) {
    mOk = mPlace.folder.ok() && !mOthersOwn && clearName();
}

ExclusiveHold::~ExclusiveHold() {
    for (const ScopedFd& folder : mFolders)
        endSticky(folder.get());
}

// Before anything is looked up in the folder: what is found in it then stays where it is.
bool ExclusiveHold::enter(int folder, size_t depth) {
    if (isForRootAlone(folder)) return true;
    const bool topLevel = depth <= 1;
    struct stat status = {};
    if (fstat(folder, &status) != 0) return false;
    if (!isOurs(status)) {
        mOthersOwn = mOthersOwn || !topLevel;
        return true;
    }
    // The given descriptor is only good for looking up names.
    ScopedFd open = openInner(folder, ".");
    bool left = false;
    if (!open.ok() || !makeSticky(open.get(), topLevel, left)) {
        mOthersOwn = true;
    } else if (!left) {
        mFolders.push_back(std::move(open));
    }
    return true;
}

/** Makes sure that what is there is ours, and empty if it is a folder. */
bool ExclusiveHold::clearName() const {
    const int folder = mPlace.folder.get();
    const char* name = mPlace.name.c_str();
    struct stat status = {};
    const bool there = fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    if (there && isOurs(status) && S_ISREG(status.st_mode)) return true;
    if (there && !(isOurs(status) && S_ISDIR(status.st_mode)) && !removeTree(folder, name))
        return false;
    // An empty name would be free for others to put something there.
    if (mkdirat(folder, name, kForUsAlone) != 0 && errno != EEXIST) return false;

    const ScopedFd inner = openInner(folder, name);
    return inner.ok() && fstat(inner.get(), &status) == 0 && isOurs(status) &&
           fchmod(inner.get(), kForUsAlone) == 0 && emptyTree(folder, name);
}

}  // namespace zul
