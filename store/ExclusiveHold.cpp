// SPDX-License-Identifier: Apache-2.0

#include "store/ExclusiveHold.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <map>
#include <mutex>

#include "base/RemoveTree.h"

namespace zul {

namespace {

constexpr mode_t kForUsAlone = 0700;

bool isOurs(const struct stat& status) {
    return status.st_uid == geteuid();
}

/** Shuts the folder `name`, and all below it; what others made there goes. */
bool shut(int folder, const char* name, int depth) {
    ScopedFd inner = openInner(folder, name);
    // A file or a link: whoever removes it cannot get any further.
    if (!inner.ok()) return errno == ENOTDIR || errno == ELOOP || errno == ENOENT;
    struct stat status = {};
    if (depth == kDeepestFolder || fstat(inner.get(), &status) != 0) return false;
    if (!isOurs(status)) return removeTree(folder, name, depth);
    // First, so that nothing can be added behind the listing.
    if (fchmod(inner.get(), kForUsAlone) != 0) return false;
    return forEachName(std::move(inner), [depth](int inside, const char* each) {
        return shut(inside, each, depth + 1);
    });
}

/** How many holds keep a folder sticky, and the mode that it had before. */
struct Stickiness {
    int holds = 0;
    mode_t mode = 0;
};

std::mutex gStickyLock;
// NOLINTNEXTLINE(cert-err58-cpp)
std::map<std::pair<dev_t, ino_t>, Stickiness> gSticky;

bool makeSticky(int folder) {
    const std::lock_guard<std::mutex> lock(gStickyLock);
    struct stat status = {};
    if (fstat(folder, &status) != 0 || !isOurs(status)) return false;
    if (fchmod(folder, status.st_mode | S_ISVTX) != 0) return false;
    Stickiness& sticky = gSticky[{status.st_dev, status.st_ino}];
    if (sticky.holds++ == 0) sticky.mode = status.st_mode;
    return true;
}

void endSticky(int folder) {
    const std::lock_guard<std::mutex> lock(gStickyLock);
    struct stat status = {};
    if (fstat(folder, &status) != 0) return;
    const auto sticky = gSticky.find({status.st_dev, status.st_ino});
    if (sticky == gSticky.end() || --sticky->second.holds > 0) return;
    fchmod(folder, sticky->second.mode);
    gSticky.erase(sticky);
}

/** Sees to it that what stands there is ours. */
bool takeOver(const Location& place) {
    const int folder = place.folder.get();
    const char* name = place.name.c_str();
    struct stat status = {};
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && !isOurs(status) &&
        !removeTree(folder, name)) {
        return false;
    }
    // An empty name would be free for others to put something there.
    if (mkdirat(folder, name, kForUsAlone) != 0 && errno != EEXIST) return false;
    return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && isOurs(status);
}

}  // namespace

ExclusiveHold::ExclusiveHold(const Location& place) : mSticky(-1) {
    if (place.othersCanWrite) {
        mSticky = openInner(place.folder.get(), ".");
        if (mSticky.ok() && !makeSticky(mSticky.get())) mSticky = ScopedFd(-1);
        // A folder that is somebody else's: there is no way to keep its owner out.
        if (!mSticky.ok()) return;
        if (!takeOver(place)) return;
    }
    mOk = shut(place.folder.get(), place.name.c_str(), 0);
}

ExclusiveHold::~ExclusiveHold() {
    if (mSticky.ok()) endSticky(mSticky.get());
}

}  // namespace zul
