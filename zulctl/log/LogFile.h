// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zulctl/WallTime.h"
#include "zulctl/log/LogPatterns.h"

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

/** A WallTime in milliseconds. */
using LogTime = int64_t;

/** What stands before a log line's message. */
struct LogHeader : Stamp {
    /** The tag is the daemon's. */
    bool ours = false;
    /** It has a line of its own. */
    bool isLong = false;

    bool operator==(const LogHeader&) const = default;
};

/** One line of the daemon's. What it points to is good until the next line is read. */
struct LogLine {
    LogTime time = 0;
    int32_t process = 0;
    int32_t thread = 0;
    char priority = 0;
    /** As it stands in the file. */
    std::string_view raw;
    std::string_view message;
    /** Null for what the daemon does not say. */
    const LogPattern* pattern = nullptr;
    LineFields fields;

    LineRole role() const { return pattern != nullptr ? pattern->role : LineRole::OTHER; }
};

/**
 * The daemon's lines of a log, in the file's order: the desktop layer's, or those of logcat -v threadtime, time or
 * long, also with the modifiers year, epoch, usec, zone, uid and color. The rest of the log is passed over. A message
 * that line breaks have cut is put together again; a line that was torn by another one loses
 * nothing but itself. Memory does not grow with the log.
 */
class LogFile {
  public:
    /**
     * The descriptor stays the caller's. `newest` is a time that the log's first line is not behind
     * (the file's own, or now): most logs tell no year. With `idle` it waits at the end for more.
     */
    LogFile(int fd, LogTime newest, const LineReader::Idle& idle = nullptr)
          : mLines(fd, idle), mNewest(newest) {}

    /** False at the end, also at one that error() tells. */
    bool next(LogLine& line);
    /** The errno of the read that failed; 0 while none has. */
    int error() const { return mLines.error(); }
    /** Lines that name the daemon's tag and cannot be read, or were cut. */
    uint64_t unreadable() const { return mUnreadable; }
    /** Lines that continue a text with a line break, whose other lines may look like the daemon's own. */
    uint64_t continued() const { return mContinued; }
    /** What a text looks like that is no log with times, priorities, tags and processes; else empty. */
    std::string otherFormat() const;

  private:
    /** False for what is not the daemon's. */
    bool readLine(LogLine& line);
    LogTime timeOf(const LogHeader& header);
    /** A capture's folder is named by a time that is near to its line's. */
    void learnTime(std::string_view text);

    LineReader mLines;
    const LogTime mNewest;
    uint64_t mUnreadable = 0;
    uint64_t mContinued = 0;
    /** Of the last line, when that was ours. */
    LogHeader mHeader;
    /** The beginning of a message that was not recognised so far. */
    std::string mPending;
    /** One that has been, in several lines: what the last line points to. */
    std::string mJoined;
    /** Headers have lines of their own; nothing while there was none. */
    std::optional<bool> mIsLong;
    bool mAtLongStart = false;
    /** The first line without a header, while there was none with one. */
    std::string mSample;
    /** The latest time of a line without a year, or that of a capture's name. */
    std::optional<LogTime> mNear;
};

/** The log's time as "YYYY-MM-DD HH:MM:SS.mmm". */
std::string formatLogTime(LogTime time);

}  // namespace zulctl
