// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

namespace zulctl {

/** Writes a tar archive as it goes, with GNU's records for long names; any tar reads it. */
class TarWriter {
  public:
    /** The descriptor stays the caller's. `time` is that of all members, in seconds since 1970. */
    TarWriter(int fd, int64_t time) : mFd(fd), mTime(time) {}

    // False, and errno, when the archive cannot be written; then it is of no use.

    bool addText(const std::string& name, std::string_view text, char kind = '0');
    /** Reads `size` bytes from `source`; false with errno 0 when it has become shorter than that. */
    bool addFile(const std::string& name, int source, uint64_t size);
    bool finish();

  private:
    bool writeHeader(const std::string& name, uint64_t size, char kind);
    bool writeZeros(uint64_t count);

    const int mFd;
    const int64_t mTime;
};

/** Unpacks the regular files of such an archive into a folder that is empty and ours; false for what is none. */
bool unpackTar(int source, int folder);

}  // namespace zulctl
