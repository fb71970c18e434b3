// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

#include "zulctl/log/LineReader.h"
#include "zulctl/log/LogPatterns.h"

namespace zulctl {

/** A WallTime in milliseconds. */
using LogTime = int64_t;

/** What stands before a log line's message. */
struct LogHeader {
    /** 0 where the log does not tell it. */
    int year = 0;
    int month = 0;
    int day = 0;
    /** Milliseconds since midnight; where the log tells seconds since 1970, milliseconds since then. */
    int64_t milliseconds = 0;
    int32_t process = 0;
    int32_t thread = 0;
    char priority = 0;
    /** The tag is the daemon's. */
    bool ours = false;
};

/**
 * Reads the header of one line: the desktop layer's, or that of `logcat -v threadtime` or `-v time`, also
 * with the modifiers year, epoch, usec, zone and uid. `message` becomes what stands behind it. False when
 * there is no such header.
 */
bool readLogHeader(std::string_view text, LogHeader& header, std::string_view& message);

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
 * The daemon's lines of a log, in the file's order. The rest of the log is passed over. A message
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
    /** What a text looks like that is no log with times, priorities, tags and processes; else empty. */
    std::string otherFormat() const;

  private:
    /** False for what is not the daemon's. */
    bool readLine(LogLine& line);
    /** Looks further into what is no line of the daemon's as it stands. */
    void recogniseRest(LogHeader& header, bool sameMessage, LogLine& line);
    LogTime timeOf(const LogHeader& header);
    void learnYear(const LogHeader& header, std::string_view text);

    LineReader mLines;
    const LogTime mNewest;
    uint64_t mUnreadable = 0;
    /** Of the last line, when that was ours. */
    LogHeader mHeader;
    /** The beginning of a message that was not recognised so far. */
    std::string mPending;
    /** It has been, and is kept for the caller until the next line. */
    bool mPendingDone = false;
    /** Headers have lines of their own, and the one before was such. */
    bool mLong = false;
    bool mAtLongStart = false;
    uint64_t mHeaders = 0;
    /** The first line without a header, while there was none with one. */
    std::string mSample;
    int mYear = 0;
    LogTime mLatest = 0;
};

/** The log's time as "YYYY-MM-DD HH:MM:SS.mmm", and without the milliseconds. */
std::string formatLogTime(LogTime time);
std::string formatLogSecond(LogTime time);

}  // namespace zulctl
