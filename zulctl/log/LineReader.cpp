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
    // At the end of a file to which somebody may add; not at that of a pipe.
    const auto waitForMore = [this] {
        if (!mIdle || lseek(mFd, 0, SEEK_CUR) < 0 || !mIdle()) return false;
        usleep(kPauseMicroseconds);
        return true;
    };
    ssize_t count;
    do {
        count = TEMP_FAILURE_RETRY(read(mFd, mBuffer.data() + mEnd, mBuffer.size() - mEnd));
    } while (count == 0 && waitForMore());
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
        const std::string_view there(mBuffer.data() + mBegin, mEnd - mBegin);
        const size_t end = there.find('\n');
        const bool hasEnd = end != std::string_view::npos;
        if (!hasEnd && there.size() <= kLongestLine && !mAtEnd) {
            fill();
            continue;
        }
        if (there.empty()) return false;
        const std::string_view text = there.substr(0, end);
        mBegin += text.size() + (hasEnd ? 1 : 0);
        if (std::exchange(mSkipping, !hasEnd && !mAtEnd)) continue;
        line = {text.substr(0, kLongestLine), text.size() > kLongestLine};
        return true;
    }
}

}  // namespace zulctl
