// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "rules/HistoryRecord.h"
#include "zulctl/WallTime.h"

namespace zulctl {

/** What the name of a capture folder tells. */
struct ArchiveName {
    std::string_view tag;
    WallTime time = 0;
};

/**
 * Reads the last part of a capture folder's path back, without an archive's suffix; nothing when the
 * daemon gives no such name. The tag is a part of `name`.
 */
std::optional<ArchiveName> parseArchiveName(std::string_view name);

/** The last name of a path, without an archive's suffix. */
std::string_view lastName(std::string_view path);

/** A line of the history that is a record of the daemon. */
struct HistoryLine {
    zul::HistoryRecord record;
    WallTime time = 0;
};

/** The record that stands in `line`; nothing when the daemon writes no such line. */
std::optional<HistoryLine> readHistoryLine(std::string_view line);

/**
 * The lines of a history from its end to its start; what is appended later is not among them. Texts of
 * lines are good until the next one is read.
 */
class HistoryFile {
  public:
    /** A million lines. What anybody has put before these is not read. */
    static constexpr size_t kMostBytes = size_t{128} << 20;

    /** `fd` stays the caller's; -1 for a history without lines. */
    explicit HistoryFile(int fd);

    /** The record before; nothing at the start. */
    std::optional<HistoryLine> previous();
    /** The line before as it stands, without its end. */
    std::optional<std::string_view> previousText();
    /** Behind the line that comes next; to go on from there another time. */
    off_t position() const { return mBegin + static_cast<off_t>(mEnd); }
    void seek(off_t position) {
        mBegin = position;
        mEnd = 0;
    }

    /**
     * Lines so far that are no records; but not what stands behind the last line end, which may be in the
     * making.
     */
    size_t strangeLines() const { return mStrangeLines; }
    /** True after a read that failed: what is before was not seen. */
    bool failed() const { return mFailed; }
    /** It is longer than what is read of it. */
    bool wasCut() const { return mStart > 0; }

  private:
    size_t load();

    const int mFd;
    /** Where reading ends in the file. */
    off_t mStart = 0;
    /** A part of the file, and where that begins. */
    std::string mText;
    off_t mBegin = 0;
    /** Behind the line of it that comes next. */
    size_t mEnd = 0;
    bool mFailed = false;
    size_t mStrangeLines = 0;
};

}  // namespace zulctl
