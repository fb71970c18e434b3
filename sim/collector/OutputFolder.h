// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "base/Files.h"

namespace sim {

/**
 * The folder that a capture is gathered into. Everybody may write there, so no link is followed.
 */
class OutputFolder {
  public:
    explicit OutputFolder(const std::string& path);

    bool isOpen() const { return mFd.ok(); }
    /** False also when that cannot be found out. */
    bool isEmpty() const;
    /** Adds a new file; a failure is reported on standard error and the capture goes on. */
    void add(const std::string& name, std::string_view text) const;

  private:
    const zul::ScopedFd mFd;
};

}  // namespace sim
