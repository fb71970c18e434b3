// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogFile.h"

#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "base/Text.h"
#include "zulctl/store/HistoryFile.h"

namespace zulctl {

namespace {

constexpr useconds_t kPauseMicroseconds = 200000;

constexpr std::string_view kTag = "ZUL_DEBUG";
/** Before the path in the line that names a capture's folder. */
constexpr std::string_view kFolderStart = "folderName=/";
/** What logcat itself says. */
constexpr std::string_view kMarker = "--------- ";
constexpr std::string_view kColorEnd = "\x1b[0m";
constexpr int64_t kSecond = 1000;
constexpr int64_t kDay = 24 * 60 * 60 * kSecond;
/** The longest header is shorter. */
constexpr size_t kLongestHeader = 96;

/** How lines of other formats begin, for sscanf. */
constexpr std::pair<const char*, const char*> kOtherFormats[] = {
        {"%c/%*[^(:](%*d):%n", "logcat -v brief, without times"},
        {"%c(%*d)%n", "logcat -v process, without times and tags"},
        {"%c(%*d:%*d)%n", "logcat -v thread, without times and tags"},
        {"%c/%n", "logcat -v tag, without times and processes"},
};

/** How a header goes on behind its time, and how behind the daemon's tag. */
struct HeaderForm {
    std::string_view writer;
    std::string_view end;
    bool isLong = false;
};

constexpr HeaderForm kForms[] = {
        {" ~p ~t ~l ", "~:"},
        {" ~u ~p ~t ~l ", "~:"},
        {" l/", "~(~p):"},
        {" ~p:~t ~l/", "~]", true},
};

/** Reads the header of a line; `message` becomes what stands behind it. False when there is none. */
bool readLogHeader(std::string_view text, LogHeader& header, std::string_view& message) {
    header = {};
    header.isLong = takeStamp({"[ "}, text, header);
    if (!takeStamp({"~M-D h:m:s.f", "~Y-M-D h:m:s.f", "~e.f"}, text, header)) return false;
    takeStamp({"~+z", "~-z"}, text, header);
    for (const HeaderForm& form : kForms) {
        if (form.isLong != header.isLong || !takeStamp({form.writer}, text, header)) continue;
        header.ours = text.starts_with(kTag);
        if (!header.ours) return true;
        text.remove_prefix(kTag.size());
        header.ours = takeStamp({form.end}, text, header);
        // Another tag may begin so; else it is torn.
        if (!header.ours) return !text.starts_with('(');
        // -v time has no threads.
        if (header.thread == 0) header.thread = header.process;
        // An empty message may have lost its blank.
        if (text.starts_with(' ')) text.remove_prefix(1);
        message = text;
        return true;
    }
    return false;
}

LogTime timeInYear(LogHeader header, int64_t year) {
    header.year = year;
    return wallTimeOf(header) * kSecond + header.thousandth;
}

int64_t yearOf(LogTime time) {
    using namespace std::chrono;
    const sys_days day = floor<days>(sys_time<milliseconds>(milliseconds(time)));
    return static_cast<int>(year_month_day(day).year());
}

/** Finds a whole line of the daemon's behind one that broke off, without a line end between. */
bool findTornIn(std::string_view text, LogHeader& header, std::string_view& message) {
    const size_t tag = text.find(kTag);
    if (tag == std::string_view::npos) return false;
    for (size_t at = tag - std::min(tag, kLongestHeader); at < tag; at++) {
        LogHeader torn;
        std::string_view rest;
        if (!readLogHeader(text.substr(at), torn, rest) || !torn.ours || torn.isLong) continue;
        header = torn;
        message = rest;
        return true;
    }
    return false;
}

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

LogTime LogFile::timeOf(const LogHeader& header) {
    if (header.month == 0) return wallTime(header.second) * kSecond + header.thousandth;
    if (header.year != 0) return timeInYear(header, header.year);
    if (!mNear) {
        const LogTime latest = timeInYear(header, yearOf(mNewest));
        const bool isAhead = latest > mNewest + kDay;
        mNear = isAhead ? timeInYear(header, yearOf(mNewest) - 1) : latest;
        // The file's time may be that of copying: what is ahead knows better.
        const std::string_view ahead = mLines.ahead();
        learnTime(ahead.substr(std::min(ahead.find(kFolderStart), ahead.size())));
    }
    // Lines of several processes are a little out of order, and a year may end between them.
    const int64_t year = yearOf(*mNear);
    const auto apart = [&](int64_t each) { return std::abs(timeInYear(header, each) - *mNear); };
    const LogTime time =
            timeInYear(header, std::min({year, year - 1, year + 1},
                                        [&](int64_t a, int64_t b) { return apart(a) < apart(b); }));
    mNear = std::max(*mNear, time);
    return time;
}

void LogFile::learnTime(std::string_view text) {
    text = text.substr(0, text.find_first_of(" \r\n"));
    const auto parts = parseArchiveName(text.substr(text.rfind('/') + 1));
    if (parts) mNear = parts->time * kSecond;
}

bool LogFile::next(LogLine& line) {
    LineReader::Line text;
    while (mLines.next(text)) {
        line = {};
        line.raw = text.text;
        // A desktop where lines end in two characters may have written the file.
        if (line.raw.ends_with('\r')) line.raw.remove_suffix(1);
        // -v color
        if (line.raw.starts_with('\x1b')) line.raw.remove_prefix(line.raw.find('m') + 1);
        if (line.raw.ends_with(kColorEnd)) line.raw.remove_suffix(kColorEnd.size());
        if (!readLine(line)) continue;
        if (text.cut) mUnreadable++;
        return true;
    }
    return false;
}

bool LogFile::readLine(LogLine& line) {
    LogHeader header;
    bool hasHeader = readLogHeader(line.raw, header, line.message);
    if (hasHeader && !mIsLong) mIsLong = header.isLong;
    // A text can look like a header of the other kind, but no log has both.
    hasHeader = hasHeader && header.isLong == *mIsLong;
    const bool isLongStart = std::exchange(mAtLongStart, hasHeader && header.isLong);
    if (mAtLongStart) {
        mHeader = header.ours ? header : LogHeader();
        mPending.clear();
        return false;
    }
    if (mIsLong == true && line.raw.empty()) mHeader = {};
    // What has no header at all belongs to the message before it, when that was ours.
    const bool isMessage = hasHeader || isLongStart;
    const bool isBroken = !isMessage && zul::contains(line.raw, kTag);
    const bool continues = !isMessage && !isBroken;
    if (!hasHeader) {
        if (!mIsLong && mSample.empty() && !line.raw.starts_with(kMarker)) mSample = line.raw;
        header = isBroken ? LogHeader() : mHeader;
        line.message = line.raw;
    }

    const auto recognise = [&](std::string_view message) {
        line.pattern = matchLogLine(static_cast<char>(header.priority), message, line.fields);
    };
    // What follows a line break in a text must not pass for a message of its own.
    if (isMessage && header.ours) recognise(line.message);
    const bool isTorn = line.pattern == nullptr && (isBroken || header.ours) &&
                        findTornIn(line.message, header, line.message);
    if (isTorn) recognise(line.message);
    if (isTorn || isBroken) mUnreadable++;
    if (!header.ours) {
        mHeader = {};
        mPending.clear();
        return false;
    }
    const bool goesOn = (continues || header == mHeader) && !isTorn && !mPending.empty();
    if (line.pattern != nullptr) {
        mPending.clear();
    } else if (goesOn && mPending.size() <= LineReader::kLongestLine) {
        mJoined = mPending.append("\n").append(line.message);
        recognise(mJoined);
        if (line.pattern != nullptr) mPending.clear();
    } else if (!goesOn && !continues) {
        mPending = line.message;
        if (header == mHeader) mContinued++;
    }

    if (line.role() == LineRole::FOLDER) learnTime(line.fields[1]);
    line.time = timeOf(header);
    line.process = static_cast<int32_t>(header.process);
    line.thread = static_cast<int32_t>(header.thread);
    line.priority = static_cast<char>(header.priority);
    mHeader = header;
    return true;
}

std::string LogFile::otherFormat() const {
    if (mIsLong || mSample.empty()) return "";
    if (mSample.starts_with("\x1f\x8b")) return "compressed (zcat FILE | zulctl --log=-)";
    if (mSample.find('\0') != std::string::npos) {
        return "UTF-16 text (iconv -f UTF-16 -t UTF-8 FILE | zulctl --log=-)";
    }
    for (const auto& [start, name] : kOtherFormats) {
        char priority = 0;
        int length = 0;
        sscanf(mSample.c_str(), start, &priority, &length);
        if (length > 0 && strchr("VDIWEFSA", priority) != nullptr) return name;
    }
    return "logcat -v raw, or no log";
}

std::string formatLogTime(LogTime time) {
    // Also before 1970.
    const LogTime behind = (time % kSecond + kSecond) % kSecond;
    const std::string second = formatWallTime((time - behind) / kSecond);
    return second + "." + std::to_string(kSecond + behind).substr(1);
}

}  // namespace zulctl
