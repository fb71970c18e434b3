// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string_view>

#include "rules/HistoryRecord.h"
#include "zulctl/WallTime.h"

namespace zulctl {

/** A line of the history that is a record of the daemon. */
struct HistoryLine {
    zul::HistoryRecord record;
    WallTime time = 0;
};

/** The record that stands in `line`; nothing when the daemon writes no such line. */
std::optional<HistoryLine> readHistoryLine(std::string_view line);

/**
 * Reads the lines of a history from its end to its start, in blocks: memory does not grow with the file.
 * What is appended meanwhile is not read.
 */
class HistoryFile {
  public:
    /** `fd` stays the caller's; -1 for a history without lines. */
    explicit HistoryFile(int fd);
    HistoryFile(const HistoryFile&) = delete;
    HistoryFile& operator=(const HistoryFile&) = delete;

    /** The record before; nothing at the start. What it views is good until the next call. */
    std::optional<HistoryLine> previous();

    /** The line before as it stands, without its end; one that no record is as long as is empty. */
    std::optional<std::string_view> previousText();

    /**
     * Lines so far that are no records, longer ones than any record among them; but not what stands
     * behind the last line end, which may be in the making.
     */
    size_t strangeLines() const { return mStrangeLines; }
    /** True after a read that failed: what is before was not seen. */
    bool failed() const { return mFailed; }
    /** Where the line that came last begins in the file; the size of the file before the first. */
    off_t position() const { return mPosition; }
    /** Reads on from a place that position() gave. */
    void seek(off_t position);

  private:
    std::optional<std::string_view> previousLine();
    bool readBefore();

    const int mFd;
    const std::unique_ptr<char[]> mBuffer;
    /** What of the buffer is still to be read, and where it begins in the file. */
    size_t mBegin = 0;
    size_t mEnd = 0;
    off_t mOffset = 0;
    off_t mPosition = 0;
    /** Inside of a line of which the end was given up. */
    bool mSkipping = false;
    /** The line that came last has a line end. */
    bool mEnded = false;
    bool mFailed = false;
    size_t mStrangeLines = 0;
};

}  // namespace zulctl
