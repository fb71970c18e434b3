// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <utility>

namespace zul {

/** Owns one descriptor, which may be -1 for an open that failed. */
class ScopedFd {
  public:
    explicit ScopedFd(int fd) : mFd(fd) {}
    ~ScopedFd() {
        if (mFd >= 0) close(mFd);
    }
    ScopedFd(ScopedFd&& other) noexcept : mFd(other.release()) {}
    ScopedFd& operator=(ScopedFd&& other) noexcept {
        const ScopedFd old(mFd);
        mFd = other.release();
        return *this;
    }

    bool ok() const { return mFd >= 0; }
    int get() const { return mFd; }
    /** Gives the descriptor away. */
    int release() { return std::exchange(mFd, -1); }

  private:
    int mFd;
};

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};
using ScopedFile = std::unique_ptr<FILE, FileCloser>;

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};
using ScopedFolder = std::unique_ptr<DIR, FolderCloser>;

/**
 * Opens `path` for reading; null when that fails. The output root is writable for everybody: a FIFO
 * put there under one of our names must not block us, hence O_NONBLOCK, which regular files do not
 * know.
 */
inline ScopedFile openToRead(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return nullptr;
    ScopedFile file(fdopen(fd, "r"));
    if (file == nullptr) close(fd);
    return file;
}

/** Opens a kernel trace file for writing, as fopen(path, "wb") would; -1 inside when that fails. */
inline ScopedFd openTraceFile(const char* path) {
    return ScopedFd(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
}

inline bool pathExists(const char* path) {
    return access(path, F_OK) == 0;
}

}  // namespace zul
