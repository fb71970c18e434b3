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

constexpr size_t kBlock = size_t{256} << 10;

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

HistoryFile::HistoryFile(int fd) : mFd(fd) {
    struct stat status = {};
    if (fd < 0) return;
    mFailed = fstat(fd, &status) != 0;
    const auto size = static_cast<uint64_t>(status.st_size);
    mCut = size > kMostBytes;
    mStart = static_cast<off_t>(mCut ? size - kMostBytes : 0);
    mSize = mEnd = mLoaded = static_cast<size_t>(size) - static_cast<size_t>(mStart);
    // Memory is needed for what is loaded.
    mText.reset(new char[mSize]);
}

/** Loads what stands before; false when that fails. */
bool HistoryFile::load() {
    const size_t start = mLoaded - std::min(mLoaded, kBlock);
    for (size_t done = start; done < mLoaded;) {
        const ssize_t count =
                pread(mFd, &mText[done], mLoaded - done, mStart + static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) continue;
        // 0: somebody has cut the file.
        mFailed = mFailed || count <= 0;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    mLoaded = start;
    return true;
}

std::optional<std::string_view> HistoryFile::previousText() {
    if (mEnd == 0 || (mEnd == mLoaded && !load())) return std::nullopt;
    // The line's own end does not count.
    const size_t end = mText[mEnd - 1] == '\n' ? mEnd - 1 : mEnd;
    const void* before = memrchr(&mText[mLoaded], '\n', end - mLoaded);
    while (before == nullptr && mLoaded > 0) {
        const size_t searched = mLoaded;
        if (!load()) return std::nullopt;
        before = memrchr(&mText[mLoaded], '\n', std::min(searched, end) - mLoaded);
    }
    const size_t start =
            before == nullptr
                    ? 0
                    : static_cast<size_t>(static_cast<const char*>(before) - mText.get()) + 1;
    mEnd = start;
    // The first one of a part is a part itself.
    if (start == 0 && mCut) return std::nullopt;
    return std::string_view(&mText[start], end - start);
}

std::optional<HistoryLine> HistoryFile::previous() {
    for (;;) {
        const size_t behind = mEnd;
        const auto line = previousText();
        if (!line) return std::nullopt;
        if (const auto read = readHistoryLine(*line)) return read;
        if (mText[behind - 1] == '\n') mStrangeLines++;
    }
}

}  // namespace zulctl
