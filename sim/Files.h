// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <errno.h>
#include <fcntl.h>

#include <algorithm>
#include <string>

#include "base/Files.h"

namespace sim {

/**
 * Reads a file from its start, at most `limit` bytes; `flags` are more of open's. @return 0, or the
 * error number.
 */
inline int readFile(const std::string& path, size_t limit, std::string* text, int flags = 0) {
    // Some of the kernel's files make a reader wait for news: what is there now is enough.
    const zul::ScopedFd file = zul::openToRead(path.c_str(), O_NOCTTY | flags);
    if (!file.ok()) return errno;
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

/** A new file, which nobody else has put there. */
inline zul::ScopedFd createFile(const std::string& path, mode_t mode, int folder = AT_FDCWD) {
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    return zul::ScopedFd(openat(folder, path.c_str(), flags, mode));
}

}  // namespace sim
