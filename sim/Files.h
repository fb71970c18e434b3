// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "sim/UniqueFd.h"

namespace sim {

/**
 * Reads a file from its start, at most `limit` bytes; `flags` are more of open's. @return 0, or the
 * error number.
 */
inline int readFile(const std::string& path, size_t limit, std::string* text, int flags = 0) {
    // Some of the kernel's files make a reader wait for news: what is there now is enough.
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | flags));
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

/** Writes everything; false with `errno` when that fails. */
inline bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = TEMP_FAILURE_RETRY(write(fd, text.data(), text.size()));
        if (written < 0) return false;
        text.remove_prefix(written);
    }
    return true;
}

/** A new file, which nobody else has put there. */
inline UniqueFd createFile(const std::string& path, mode_t mode, int folder = AT_FDCWD) {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    return UniqueFd(openat(folder, path.c_str(), flags, mode));
}

/** Makes `path` hold `text`, in one step for readers; false with `errno` when that fails. */
inline bool replaceFile(const std::string& path, std::string_view text, mode_t mode) {
    const std::string temporary = path + "." + std::to_string(getpid());
    unlink(temporary.c_str());
    const UniqueFd file = createFile(temporary, mode);
    if (!file.isOpen()) return false;
    // Whatever the umask is.
    if (fchmod(file.get(), mode) == 0 && writeAll(file.get(), text) &&
        rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return false;
}

}  // namespace sim
