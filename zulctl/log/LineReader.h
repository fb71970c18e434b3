// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace zulctl {

/**
 * Reads a descriptor line by line. Its memory does not grow with the file, nor with a line's length:
 * what is behind the longest line's end is passed over.
 */
class LineReader {
  public:
    /** Twice what the platform's log can hold of one message. */
    static constexpr size_t kLongestLine = 8192;

    struct Line {
        /** Without its line end; good until the next line is read. */
        std::string_view text;
        /** The line was longer than this. */
        bool cut = false;
    };

    /** Called when there is nothing to read for now; false ends the reading. */
    using Idle = std::function<bool()>;

    /** The descriptor stays the caller's. With `idle` a file's end is waited at for more. */
    explicit LineReader(int fd, Idle idle = nullptr)
          : mFd(fd), mIdle(std::move(idle)), mBuffer(8 * kLongestLine) {}
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /** False at the end, also at one that error() tells. */
    bool next(Line& line);
    /** Lines to come, as many as there is room for; good until the next line is read. */
    std::string_view ahead();
    /** The errno of the read that failed; 0 while none has. */
    int error() const { return mError; }

  private:
    /** Reads on behind what is still to be given out, and moves that to the buffer's front. */
    void fill();
    void readMore();

    const int mFd;
    const Idle mIdle;
    std::vector<char> mBuffer;
    size_t mBegin = 0;
    size_t mEnd = 0;
    bool mAtEnd = false;
    /** In the midst of a line whose beginning was given out already. */
    bool mSkipping = false;
    int mError = 0;
};

}  // namespace zulctl
