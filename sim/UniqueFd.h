// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace sim {

/** Owns one file descriptor and closes it at the end of its life; -1 means that it owns none. */
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(mFd, other.mFd);
        return *this;
    }
    ~UniqueFd() {
        if (mFd >= 0) {
            close(mFd);
        }
    }

    int get() const { return mFd; }
    bool isOpen() const { return mFd >= 0; }

  private:
    int mFd = -1;
};

}  // namespace sim
