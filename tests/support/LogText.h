// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "zulctl/log/LogFile.h"

namespace zulctl::test {

/** In the year that logs of the tests are from, behind all of their lines. */
inline constexpr LogTime kNewest = 1798761599000;  // 2026-12-31 23:59:59

/** A text to be read from a descriptor. */
class TextFile {
  public:
    explicit TextFile(const std::string& text) : mFd(memfd_create("text", MFD_CLOEXEC)) {
        if (pwrite(mFd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) abort();
    }
    ~TextFile() { close(mFd); }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    int fd() const { return mFd; }

  private:
    const int mFd;
};

}  // namespace zulctl::test
