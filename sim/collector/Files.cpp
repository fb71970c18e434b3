// SPDX-License-Identifier: Apache-2.0
#include "sim/collector/Files.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

namespace sim {

int readFile(const std::string& path, size_t limit, std::string* text) {
    // Some of the kernel's files make a reader wait for news: what is there now is enough.
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen()) return errno;
    char chunk[16 * 1024];
    while (text->size() < limit) {
        const size_t wanted = std::min(sizeof(chunk), limit - text->size());
        const ssize_t got = TEMP_FAILURE_RETRY(read(file.get(), chunk, wanted));
        if (got < 0 && errno != EAGAIN) return errno;
        if (got <= 0) break;
        text->append(chunk, got);
    }
    return 0;
}

bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = TEMP_FAILURE_RETRY(write(fd, text.data(), text.size()));
        if (written < 0) return false;
        text.remove_prefix(written);
    }
    return true;
}

bool replaceFile(const std::string& path, std::string_view text) {
    const std::string temporary = path + "." + std::to_string(getpid());
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    unlink(temporary.c_str());
    const UniqueFd file(open(temporary.c_str(), flags, 0600));
    if (!file.isOpen()) return false;
    if (writeAll(file.get(), text) && rename(temporary.c_str(), path.c_str()) == 0) return true;
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return false;
}

OutputFolder::OutputFolder(const std::string& path)
      : mFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}

bool OutputFolder::isEmpty() const {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(
            fdopendir(fcntl(mFd.get(), F_DUPFD_CLOEXEC, 0)), closedir);
    if (folder == nullptr) return false;
    size_t entries = 0;
    while (readdir(folder.get()) != nullptr)
        entries++;
    return entries == 2;  // "." and ".."
}

void OutputFolder::add(const std::string& name, std::string_view text) const {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    const UniqueFd file(openat(mFd.get(), name.c_str(), flags, 0600));
    if (file.isOpen() && writeAll(file.get(), text)) return;
    fprintf(stderr, "zul_dumpstate: cannot write %s: %s\n", name.c_str(), strerror(errno));
}

}  // namespace sim
