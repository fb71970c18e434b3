// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/HistoryFile.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>

#include "base/Files.h"
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
    mBegin = status.st_size;
}

/** Loads what stands before; the bytes of that, none at the start and when it fails. */
size_t HistoryFile::load() {
    // A line that is longer than a block doubles it.
    const size_t size = std::min(static_cast<size_t>(mBegin - mStart), std::max(kBlock, mEnd));
    const off_t begin = mBegin - static_cast<off_t>(size);
    lseek(mFd, begin, SEEK_SET);
    std::string block = zul::readAll(mFd, size);
    // Somebody may have cut the file.
    mFailed = mFailed || block.size() < size;
    if (block.size() < size) return 0;
    mText = block.append(mText, 0, mEnd);
    mBegin = begin;
    mEnd += size;
    return size;
}

std::optional<std::string_view> HistoryFile::previousText() {
    if (mEnd == 0 && load() == 0) return std::nullopt;
    // The line's own end does not count.
    size_t end = mText[mEnd - 1] == '\n' ? mEnd - 1 : mEnd;
    size_t unseen = end;
    const void* before;
    while ((before = memrchr(mText.data(), '\n', unseen)) == nullptr && (unseen = load()) > 0)
        end += unseen;
    // The first one of a part is a part itself.
    if (before == nullptr && (mFailed || wasCut())) return std::nullopt;
    const char* const start = mText.data();
    mEnd = before == nullptr ? 0
                             : static_cast<size_t>(static_cast<const char*>(before) - start) + 1;
    return std::string_view(mText).substr(mEnd, end - mEnd);
}

std::optional<HistoryLine> HistoryFile::previous() {
    for (;;) {
        const auto line = previousText();
        if (!line) return std::nullopt;
        if (const auto read = readHistoryLine(*line)) return read;
        if (mText[mEnd + line->size()] == '\n') mStrangeLines++;
    }
}

}  // namespace zulctl
