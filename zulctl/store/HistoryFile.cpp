// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/HistoryFile.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/Paths.h"
#include "zulctl/store/ArchiveName.h"

namespace zulctl {

namespace {

constexpr size_t kBlock = size_t{128} << 10;
/** Room in front of a block for the rest of a line that begins in the block before. */
constexpr size_t kLongestLine = size_t{64} << 10;
constexpr size_t kBufferSize = kBlock + kLongestLine;

}  // namespace

std::optional<HistoryLine> readHistoryLine(std::string_view line) {
    HistoryLine result;
    result.record = zul::parseRecord(line);
    const auto time = parseRecordTime(result.record.time);
    if (!time) return std::nullopt;
    result.time = *time;

    // A torn line may end within the path.
    std::string_view name = result.record.archive;
    if (!name.ends_with(zul::kArchiveSuffix)) return std::nullopt;
    name.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    name.remove_prefix(name.rfind('/') + 1);
    const auto parts = parseArchiveName(name);
    if (!parts || parts->tag != result.record.tag) return std::nullopt;
    return result;
}

HistoryFile::HistoryFile(int fd) : mFd(fd), mBuffer(new char[kBufferSize]) {
    struct stat status = {};
    if (fd < 0) return;
    mFailed = fstat(fd, &status) != 0;
    seek(status.st_size);
}

void HistoryFile::seek(off_t position) {
    mPosition = mOffset = position;
    mBegin = mEnd = kBufferSize;
    mSkipping = false;
}

bool HistoryFile::readBefore() {
    if (mEnd - mBegin >= kLongestLine) {
        mSkipping = true;
        mEnd = mBegin;
    }
    // The rest moves to the buffer's end, so that there is room for a block in front of it.
    const size_t rest = mEnd - mBegin;
    memmove(&mBuffer[kBufferSize - rest], &mBuffer[mBegin], rest);
    mBegin = kBufferSize - rest;
    mEnd = kBufferSize;

    const auto wanted = static_cast<size_t>(std::min<off_t>(mOffset, kBlock));
    size_t done = 0;
    while (done < wanted) {
        const ssize_t count = pread(mFd, &mBuffer[mBegin - wanted + done], wanted - done,
                                    mOffset - static_cast<off_t>(wanted - done));
        if (count < 0 && errno == EINTR) continue;
        // 0: somebody has cut the file.
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    mBegin -= wanted;
    mOffset -= static_cast<off_t>(wanted);
    return true;
}

std::optional<std::string_view> HistoryFile::previousLine() {
    size_t searched = 0;
    for (;;) {
        // The line's own end does not count.
        const size_t end = mEnd - searched;
        const size_t length = end - mBegin;
        const bool hasEnd = searched == 0 && !mSkipping && length > 0 && mBuffer[end - 1] == '\n';
        const void* lineEnd = memrchr(&mBuffer[mBegin], '\n', hasEnd ? length - 1 : length);
        if (lineEnd != nullptr) {
            const size_t start =
                    static_cast<size_t>(static_cast<const char*>(lineEnd) - &mBuffer[0]) + 1;
            const std::string_view line(&mBuffer[start], mEnd - start);
            mEnd = start;
            mPosition = mOffset + static_cast<off_t>(mEnd - mBegin);
            return line;
        }
        if (mOffset == 0) {
            const std::string_view line(&mBuffer[mBegin], mEnd - mBegin);
            mEnd = mBegin;
            mPosition = 0;
            return line.empty() && !mSkipping ? std::nullopt : std::optional(line);
        }
        searched = mEnd - mBegin;
        if (!readBefore()) {
            mFailed = true;
            return std::nullopt;
        }
        if (mSkipping) searched = 0;
    }
}

std::optional<std::string_view> HistoryFile::previousText() {
    if (mFailed || mFd < 0) return std::nullopt;
    std::optional<std::string_view> line = previousLine();
    if (!line) return std::nullopt;
    mEnded = mSkipping || line->ends_with('\n');
    if (line->ends_with('\n')) line->remove_suffix(1);
    if (mSkipping) line = "";
    mSkipping = false;
    return line;
}

std::optional<HistoryLine> HistoryFile::previous() {
    while (const auto line = previousText()) {
        if (const auto read = readHistoryLine(*line)) return read;
        if (mEnded) mStrangeLines++;
    }
    return std::nullopt;
}

}  // namespace zulctl
