// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace transport {

/** Owns a descriptor and closes it. */
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : mDescriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
          : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }
    ~FileDescriptor() {
        if (mDescriptor >= 0) close(mDescriptor);
    }

    int get() const { return mDescriptor; }
    bool isValid() const { return mDescriptor >= 0; }

  private:
    int mDescriptor = -1;
};

}  // namespace transport
