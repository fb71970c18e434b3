// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
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
 * Opens `path` for reading; -1 inside when that fails. The output root is writable for everybody: a FIFO
 * put there under one of our names must not block us, hence O_NONBLOCK, which regular files
 * ignore. `flags` are added to those.
 */
inline ScopedFd openToRead(const char* path, int flags = 0) {
    return ScopedFd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags));
}

/** Opens a kernel trace file for writing, as fopen(path, "wb") would; -1 inside when that fails. */
inline ScopedFd openTraceFile(const char* path) {
    return ScopedFd(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
}

/** The first `size` bytes of a file, or as many as there are or can be read. */
std::string readAll(int fd, size_t size);

/** False, and errno, when not all of it could be written. */
bool writeAll(int fd, std::string_view content);

/** How far replaceFile got; unless it is DONE, the file is as it was. */
enum class Replacement { DONE, CANNOT_OPEN, CANNOT_WRITE };

/**
 * Replaces the file `path`, or makes it, with exactly this mode, and syncs it. A reader, even one
 * after a crash, sees the old content or the new one, never a part. A link at `path` is replaced and
 * not followed. The content is written to `path` and ".new" first; a crash may leave that.
 */
Replacement replaceFile(const std::string& path, const std::string& content, mode_t mode);

/** Removes what an interrupted replaceFile of `path` left. */
void removeUnfinished(const std::string& path);

}  // namespace zul
