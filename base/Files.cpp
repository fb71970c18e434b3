// SPDX-License-Identifier: Apache-2.0

#include "base/Files.h"

#include <errno.h>
#include <sys/stat.h>

#include "base/Location.h"
#include "base/RemoveTree.h"

namespace zul {

namespace {

constexpr char kUnfinished[] = ".new";
/** How often others may take our name first. */
constexpr int kTries = 100;

}  // namespace

std::string readAll(int fd, size_t size) {
    std::string text(size, '\0');
    size_t done = 0;
    while (done < size) {
        const ssize_t count = read(fd, text.data() + done, size - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        done += static_cast<size_t>(count);
    }
    text.resize(done);
    return text;
}

bool writeAll(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = write(fd, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        content.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

Replacement replaceFile(const std::string& path, const std::string& content, mode_t mode) {
    const Location place = locate(path);
    if (!place.folder.ok()) return Replacement::CANNOT_OPEN;
    const int folder = place.folder.get();

    const std::string fresh = place.name + kUnfinished;
    ScopedFd file(-1);
    for (int i = 0; i < kTries && !file.ok(); i++) {
        // Left by a crash, or somebody else's.
        removeTree(folder, fresh.c_str());
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

void removeUnfinished(const std::string& path) {
    const Location place = locate(path + kUnfinished);
    if (place.folder.ok()) unlinkat(place.folder.get(), place.name.c_str(), 0);
}

}  // namespace zul
