// SPDX-License-Identifier: Apache-2.0
#include "sim/vendorcopier/FileCopy.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/UniqueFd.h"

namespace sim {
namespace {

constexpr size_t kChunkBytes = 1 << 20;

/** A file under a passing name; it goes again unless it has been given its own. */
class PendingFile {
  public:
    explicit PendingFile(const std::string& target)
          : mTarget(target), mName(target + ".XXXXXX"), mFd(mkostemp(mName.data(), O_CLOEXEC)) {}
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile() {
        if (mFd.isOpen() && !mCommitted) {
            unlink(mName.c_str());
        }
    }

    int fd() const { return mFd.get(); }
    bool commit() {
        mCommitted = fchmod(mFd.get(), 0644) == 0 && rename(mName.c_str(), mTarget.c_str()) == 0;
        return mCommitted;
    }

  private:
    const std::string mTarget;
    std::string mName;
    UniqueFd mFd;
    bool mCommitted = false;
};

bool copyContent(int from, int to) {
    for (;;) {
        const ssize_t copied = sendfile(to, from, nullptr, kChunkBytes);
        if (copied < 0 && errno == EINTR) {
            continue;
        }
        if (copied <= 0) {
            return copied == 0;
        }
    }
}

std::string describe(const std::string& path) {
    return path + ": " + strerror(errno);
}

}  // namespace

std::string copyIntoFolder(const std::string& source, const std::string& folder) {
    const UniqueFd from(open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!from.isOpen()) {
        return describe(source);
    }
    const std::string target = folder + source.substr(source.rfind('/'));
    PendingFile copy(target);
    if (copy.fd() < 0 || !copyContent(from.get(), copy.fd()) || !copy.commit()) {
        return describe(target);
    }
    return "";
}

}  // namespace sim
