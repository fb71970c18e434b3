// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>
#include <string_view>

#include "sim/UniqueFd.h"

namespace sim {

/** Reads a file from its start, at most `limit` bytes. @return 0, or the error number. */
int readFile(const std::string& path, size_t limit, std::string* text);

/** Writes everything; false with `errno` when that fails. */
bool writeAll(int fd, std::string_view text);

/** Makes `path` hold `text`, in one step for readers; false with `errno` when that fails. */
bool replaceFile(const std::string& path, std::string_view text);

/**
 * The folder that a capture is gathered into. Everybody may write there, so no link is followed.
 */
class OutputFolder {
  public:
    explicit OutputFolder(const std::string& path);

    bool isOpen() const { return mFd.isOpen(); }
    /** False also when that cannot be told. */
    bool isEmpty() const;
    /** Adds a new file; a failure is told on standard error and the capture goes on. */
    void add(const std::string& name, std::string_view text) const;

  private:
    const UniqueFd mFd;
};

}  // namespace sim
