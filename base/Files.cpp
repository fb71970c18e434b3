// SPDX-License-Identifier: Apache-2.0

#include "base/Files.h"

#include <errno.h>
#include <sys/stat.h>
#include <time.h>

#include "base/Location.h"

namespace zul {

namespace {

constexpr std::string_view kFreshSuffix = ".new.";
/** Names that somebody else has taken before we give up. */
constexpr int kMostTries = 100;

bool writeAll(int fd, const std::string& content) {
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t count = write(fd, content.data() + done, content.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

/** A name beside `replaced` that nobody can know before. */
std::string freshName(const std::string& replaced) {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return replaced + std::string(kFreshSuffix) + std::to_string(getpid()) + "." +
           std::to_string(now.tv_nsec);
}

}  // namespace

bool isLeftOf(std::string_view replaced, std::string_view name) {
    return name.starts_with(replaced) && name.substr(replaced.size()).starts_with(kFreshSuffix);
}

Replacement replaceFile(const std::string& path, const std::string& content, mode_t mode) {
    const Location place = locate(path);
    if (!place.folder.ok()) return Replacement::CANNOT_OPEN;
    const int folder = place.folder.get();

    std::string fresh;
    ScopedFd file(-1);
    for (int i = 0; i < kMostTries && !file.ok(); i++) {
        fresh = freshName(place.name);
        file = ScopedFd(
                openat(folder, fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (!file.ok() && errno != EEXIST) break;
    }
    if (!file.ok()) return Replacement::CANNOT_OPEN;

    // Whatever the umask is.
    const bool written = fchmod(file.get(), mode) == 0 && writeAll(file.get(), content) &&
                         fsync(file.get()) == 0;
    if (written && renameat(folder, fresh.c_str(), folder, place.name.c_str()) == 0)
        return Replacement::DONE;
    unlinkat(folder, fresh.c_str(), 0);
    return written ? Replacement::CANNOT_OPEN : Replacement::CANNOT_WRITE;
}

}  // namespace zul
