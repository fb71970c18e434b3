// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/HistoryFile.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <string>

#include "base/Paths.h"
#include "rules/ArchiveName.h"

namespace zulctl {

namespace {

constexpr size_t kBlock = size_t{256} << 10;

}  // namespace

std::optional<ArchiveName> parseArchiveName(std::string_view name) {
    constexpr size_t kTimeSize = sizeof("0000_00_00_00_00_00") - 1;
    const size_t end = name.rfind('_');
    if (end == std::string_view::npos || end <= kTimeSize) return std::nullopt;
    const size_t start = end - kTimeSize;
    const std::string_view tag = name.substr(0, start - 1);
    const auto time = parseNameTime(name.substr(start, kTimeSize));
    if (!time || name[start - 1] != '_' || !zul::makesName(tag, zul::kTypePrefixLength)) {
        return std::nullopt;
    }
    // A remainder of 100, as it is printed; nothing else.
    const std::string_view digits = name.substr(end + 1);
    int number = 100;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool fits = number > -100 && number < 100;
    if (!fits || std::to_string(number) != digits) return std::nullopt;
    return ArchiveName{tag, *time};
}

std::string_view lastName(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    if (path.ends_with(zul::kArchiveSuffix)) path.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    return path;
}

std::optional<HistoryLine> readHistoryLine(std::string_view line) {
    HistoryLine result;
    result.record = zul::parseRecord(line);
    const auto time = parseRecordTime(result.record.time);
    if (!time) return std::nullopt;
    result.time = *time;

    // A torn line may end within the path.
    const std::string_view archive = result.record.archive;
    if (!archive.ends_with(zul::kArchiveSuffix)) return std::nullopt;
    const auto parts = parseArchiveName(lastName(archive));
    if (!parts || parts->tag != result.record.tag) return std::nullopt;
    return result;
}

HistoryFile::HistoryFile(int fd) : mFd(fd) {
    struct stat status = {};
    if (fd < 0) return;
    mFailed = fstat(fd, &status) != 0;
    mStart = std::max<off_t>(status.st_size - static_cast<off_t>(kMostBytes), 0);
    mEnd = mLoaded = static_cast<size_t>(status.st_size - mStart);
    // Memory is needed for what is loaded.
    mText.reset(new char[mEnd]);
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
    size_t searched = end;
    const void* before;
    while ((before = memrchr(&mText[mLoaded], '\n', searched - mLoaded)) == nullptr &&
           mLoaded > 0) {
        searched = mLoaded;
        if (!load()) return std::nullopt;
    }
    mEnd = 0;
    if (before != nullptr) {
        mEnd = static_cast<size_t>(static_cast<const char*>(before) - mText.get()) + 1;
    } else if (wasCut()) {
        // The first one of a part is a part itself.
        return std::nullopt;
    }
    return std::string_view(&mText[mEnd], end - mEnd);
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
