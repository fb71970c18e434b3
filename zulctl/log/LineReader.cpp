// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LineReader.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

namespace zulctl {

namespace {

constexpr useconds_t kPauseMicroseconds = 200000;

}  // namespace

/** At the end of a file to which somebody may add; not at that of a pipe. */
bool LineReader::waitForMore() {
    if (!mIdle || lseek(mFd, 0, SEEK_CUR) < 0 || !mIdle()) return false;
    usleep(kPauseMicroseconds);
    return true;
}

void LineReader::fill() {
    // A pipe's reader sees what has come before it waits for more.
    pollfd waiting = {mFd, POLLIN, 0};
    if (mIdle && poll(&waiting, 1, 0) == 0) mIdle();

    memmove(mBuffer.data(), mBuffer.data() + mBegin, mEnd - mBegin);
    mEnd -= mBegin;
    mBegin = 0;
    readMore();
}

void LineReader::readMore() {
    ssize_t count;
    do {
        count = read(mFd, mBuffer.data() + mEnd, mBuffer.size() - mEnd);
    } while ((count < 0 && errno == EINTR) || (count == 0 && waitForMore()));
    if (count < 0) mError = errno;
    mAtEnd = count <= 0;
    if (!mAtEnd) mEnd += static_cast<size_t>(count);
}

std::string_view LineReader::ahead() {
    // Where somebody waits for each line, what is there has to do.
    while (!mIdle && !mAtEnd && mEnd < mBuffer.size())
        readMore();
    return {mBuffer.data() + mBegin, mEnd - mBegin};
}

bool LineReader::next(Line& line) {
    for (;;) {
        const char* const start = mBuffer.data() + mBegin;
        const size_t length = mEnd - mBegin;
        const void* const found = memchr(start, '\n', length);
        size_t size = length;
        if (found != nullptr) size = static_cast<size_t>(static_cast<const char*>(found) - start);
        if (found == nullptr && length <= kLongestLine && !mAtEnd) {
            fill();
            continue;
        }
        if (found == nullptr && length == 0) return false;

        const bool skipped = mSkipping;
        mSkipping = found == nullptr && !mAtEnd;
        mBegin += size + (found != nullptr ? 1 : 0);
        if (skipped) continue;
        line.text = {start, size < kLongestLine ? size : kLongestLine};
        line.cut = size > kLongestLine;
        return true;
    }
}

}  // namespace zulctl
