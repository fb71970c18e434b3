// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogFile.h"

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "zulctl/WallTime.h"
#include "zulctl/store/ArchiveName.h"

namespace zulctl {

namespace {

constexpr std::string_view kTag = "ZUL_DEBUG";
/** Before the path in the line that names a capture's folder. */
constexpr std::string_view kFolderStart = "folderName=/";
/** What logcat itself says. */
constexpr std::string_view kMarker = "--------- ";
constexpr std::string_view kColorEnd = "\x1b[0m";
constexpr int64_t kSecond = 1000;
constexpr int64_t kDay = 24 * 60 * 60 * kSecond;
/** Lines of several processes are a little out of order; a year's end is further away than that. */
constexpr int64_t kOverYearEnd = 200 * kDay;
/** The longest header is shorter. */
constexpr size_t kLongestHeader = 96;

/** Reads from the front of a text; once something did not fit, nothing does. */
class Scanner {
  public:
    explicit Scanner(std::string_view text) : mRest(text) {}

    bool ok() const { return mOk; }
    std::string_view rest() const { return mRest; }
    void skipBlanks() { mRest.remove_prefix(std::min(mRest.find_first_not_of(' '), mRest.size())); }
    bool take(std::string_view text) {
        if (!mRest.starts_with(text)) return false;
        mRest.remove_prefix(text.size());
        return true;
    }
    void expect(std::string_view text) { mOk = mOk && take(text); }
    /** A number of at least `fewest` digits, and of no more than `most`. */
    int64_t number(size_t fewest, size_t most) {
        const size_t digits = std::min(mRest.find_first_not_of("0123456789"), mRest.size());
        int64_t value = 0;
        mOk = mOk && digits >= fewest && digits <= most;
        if (!mOk) return 0;
        std::from_chars(mRest.data(), mRest.data() + digits, value);
        mRest.remove_prefix(digits);
        return value;
    }
    /** What stands before the next blank. */
    std::string_view word() {
        const std::string_view word = mRest.substr(0, mRest.find(' '));
        mRest.remove_prefix(word.size());
        return word;
    }
    /** The digits behind a decimal point, as thousandths. */
    int64_t thousandths() {
        const std::string_view digits =
                mRest.substr(0, std::min(mRest.find_first_not_of("0123456789"), mRest.size()));
        mOk = mOk && !digits.empty();
        int64_t value = 0;
        for (size_t i = 0; i < 3; i++)
            value = value * 10 + (i < digits.size() ? digits[i] - '0' : 0);
        mRest.remove_prefix(digits.size());
        return value;
    }
    size_t digits() const { return std::min(mRest.find_first_not_of("0123456789"), mRest.size()); }

  private:
    std::string_view mRest;
    bool mOk = true;
};

void readClock(Scanner& scanner, LogHeader& header) {
    const int64_t hour = scanner.number(2, 2);
    scanner.expect(":");
    const int64_t minute = scanner.number(2, 2);
    scanner.expect(":");
    const int64_t second = scanner.number(2, 2);
    scanner.expect(".");
    header.milliseconds = ((hour * 60 + minute) * 60 + second) * kSecond + scanner.thousandths();
}

bool readTime(Scanner& scanner, LogHeader& header) {
    scanner.skipBlanks();
    if (scanner.digits() > 4) {
        header.milliseconds = scanner.number(5, 12) * kSecond;
        scanner.expect(".");
        header.milliseconds += scanner.thousandths();
        return scanner.ok();
    }
    if (scanner.digits() == 4) {
        header.year = static_cast<int>(scanner.number(4, 4));
        scanner.expect("-");
    }
    header.month = static_cast<int>(scanner.number(2, 2));
    scanner.expect("-");
    header.day = static_cast<int>(scanner.number(2, 2));
    scanner.expect(" ");
    readClock(scanner, header);
    const bool exists = header.month >= 1 && header.month <= 12 && header.day >= 1 &&
                        header.day <= 31 && header.milliseconds < kDay;
    return scanner.ok() && exists;
}

void skipZone(Scanner& scanner) {
    Scanner zone = scanner;
    zone.skipBlanks();
    if (!zone.take("+") && !zone.take("-")) return;
    zone.number(4, 4);
    if (zone.ok()) scanner = zone;
}

bool isNumber(std::string_view word) {
    return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isPriority(std::string_view word) {
    return word.size() == 1 && std::string_view("VDIWEFSA").find(word) != std::string_view::npos;
}

int32_t toId(std::string_view word) {
    int32_t value = -1;
    std::from_chars(word.data(), word.data() + word.size(), value);
    return value;
}

/** Process, thread and priority; a user may stand before them. */
bool readWriter(Scanner& scanner, LogHeader& header) {
    std::string_view words[4];
    for (size_t i = 0; i < std::size(words); i++) {
        scanner.expect(" ");
        scanner.skipBlanks();
        words[i] = scanner.word();
        if (i < 2 || !isPriority(words[i])) continue;
        if (!isNumber(words[i - 2]) || !isNumber(words[i - 1])) return false;
        header.process = toId(words[i - 2]);
        header.thread = toId(words[i - 1]);
        header.priority = words[i][0];
        return scanner.ok() && header.process >= 0 && header.thread >= 0;
    }
    return false;
}

/** Writer and tag of "-v time", which has no thread: "D/TAG( 12): ". */
bool readShortWriter(Scanner& scanner, LogHeader& header) {
    scanner.expect(" ");
    const std::string_view rest = scanner.rest();
    if (rest.size() < 2 || !isPriority(rest.substr(0, 1)) || rest[1] != '/') return false;
    header.priority = rest[0];
    const size_t end = rest.find('(');
    if (end == std::string_view::npos) return false;
    std::string_view tag = rest.substr(2, end - 2);
    tag = tag.substr(0, tag.find_last_not_of(' ') + 1);
    header.ours = tag == kTag;
    scanner = Scanner(rest.substr(end + 1));
    scanner.skipBlanks();
    header.process = header.thread = static_cast<int32_t>(scanner.number(1, 9));
    scanner.expect("):");
    return scanner.ok();
}

/** "[ TIME 12: 13 D/TAG ]", behind which the message has lines of its own. */
bool readLongHeader(std::string_view text, LogHeader& header) {
    Scanner scanner(text);
    if (!scanner.take("[ ") || !readTime(scanner, header)) return false;
    scanner.skipBlanks();
    header.process = static_cast<int32_t>(scanner.number(1, 9));
    scanner.expect(":");
    scanner.skipBlanks();
    header.thread = static_cast<int32_t>(scanner.number(1, 9));
    scanner.expect(" ");
    const std::string_view rest = scanner.rest();
    if (!scanner.ok() || rest.size() < 2 || !isPriority(rest.substr(0, 1))) return false;
    header.priority = rest[0];
    scanner = Scanner(rest.substr(1));
    header.ours = scanner.take("/") && scanner.take(kTag);
    scanner.skipBlanks();
    header.ours = header.ours && scanner.rest() == "]";
    return rest.ends_with(']');
}

LogTime timeInYear(const LogHeader& header, int year) {
    using namespace std::chrono;
    const sys_days day = sys_days(
            year_month_day(std::chrono::year(year), month(static_cast<unsigned>(header.month)),
                           std::chrono::day(static_cast<unsigned>(header.day))));
    return day.time_since_epoch().count() * kDay + header.milliseconds;
}

int yearOf(LogTime time) {
    using namespace std::chrono;
    return static_cast<int>(
            year_month_day(floor<days>(sys_time<milliseconds>(milliseconds(time)))).year());
}

bool sameHeader(const LogHeader& a, const LogHeader& b) {
    return a.milliseconds == b.milliseconds && a.day == b.day && a.process == b.process &&
           a.thread == b.thread && a.priority == b.priority;
}

/** Finds a whole line of the daemon's behind one that broke off, without a line end between. */
bool findTornIn(std::string_view text, LogHeader& header, std::string_view& message) {
    const size_t tag = text.find(kTag);
    if (tag == std::string_view::npos) return false;
    for (size_t at = tag < kLongestHeader ? 0 : tag - kLongestHeader; at < tag; at++) {
        header = {};
        if (readLogHeader(text.substr(at), header, message) && header.ours) return true;
    }
    return false;
}

/** What is behind the second, also before 1970. */
int64_t millisecondsOf(LogTime time) {
    return ((time % kSecond) + kSecond) % kSecond;
}

}  // namespace

bool readLogHeader(std::string_view text, LogHeader& header, std::string_view& message) {
    Scanner scanner(text);
    if (!readTime(scanner, header)) return false;
    skipZone(scanner);
    Scanner other = scanner;
    if (readShortWriter(other, header)) {
        other.take(" ");
        message = other.rest();
        return true;
    }
    if (!readWriter(scanner, header) || !scanner.take(" ")) return false;
    header.ours = scanner.take(kTag);
    if (!header.ours) return true;
    scanner.skipBlanks();
    header.ours = scanner.take(":");
    // An empty message may have lost its blank.
    scanner.take(" ");
    message = scanner.rest();
    return true;
}

LogTime LogFile::timeOf(const LogHeader& header) {
    if (header.month == 0)
        return wallTime(header.milliseconds / kSecond) * kSecond + header.milliseconds % kSecond;
    if (header.year != 0) return timeInYear(header, header.year);
    if (mYear == 0) {
        mYear = yearOf(mNewest);
        if (timeInYear(header, mYear) > mNewest + kDay) mYear--;
        mLatest = timeInYear(header, mYear);
        // The file's time may be that of copying: what is ahead knows better.
        const std::string_view ahead = mLines.ahead();
        const size_t name = ahead.find(kFolderStart);
        if (name != std::string_view::npos) learnYear(header, ahead.substr(name));
    }
    LogTime time = timeInYear(header, mYear);
    if (time < mLatest - kOverYearEnd) time = timeInYear(header, ++mYear);
    if (time > mLatest + kOverYearEnd) time = timeInYear(header, mYear - 1);
    mLatest = std::max(mLatest, time);
    return time;
}

/** Finds the year of a line near to where a capture's folder is named, which has one. */
void LogFile::learnYear(const LogHeader& header, std::string_view text) {
    text = text.substr(0, text.find_first_of(" \r\n"));
    const auto parts = parseArchiveName(text.substr(text.rfind('/') + 1));
    if (!parts || header.month == 0 || header.year != 0) return;
    const LogTime named = parts->time * kSecond;
    const auto apart = [&](int year) { return std::abs(timeInYear(header, year) - named); };
    const int year = yearOf(named);
    mYear = std::min({year, year - 1, year + 1}, [&](int a, int b) { return apart(a) < apart(b); });
    mLatest = timeInYear(header, mYear);
}

bool LogFile::next(LogLine& line) {
    LineReader::Line text;
    while (mLines.next(text)) {
        if (mPendingDone) mPending.clear();
        mPendingDone = false;
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
    bool continues = false;
    // A text can look like that, but no log has both.
    if ((mLong || mHeaders == 0) && readLongHeader(line.raw, header)) {
        mHeaders++;
        mHeader = header.ours ? header : LogHeader();
        mPending.clear();
        mLong = true;
        mAtLongStart = true;
        return false;
    }
    const bool ofLong = mLong && std::exchange(mAtLongStart, false);
    if (mLong && line.raw.empty()) mHeader = {};
    if (ofLong) {
        header = mHeader;
        line.message = line.raw;
    } else if (readLogHeader(line.raw, header, line.message)) {
        mHeaders++;
    } else {
        if (mHeaders == 0 && mSample.empty() && !line.raw.starts_with(kMarker)) mSample = line.raw;
        continues = line.raw.find(kTag) == std::string_view::npos;
        if (!continues) mUnreadable++;
        // What has no header at all belongs to the message before it, when that was ours.
        if (continues) {
            header = mHeader;
            line.message = line.raw;
        } else if (!findTornIn(line.raw, header, line.message)) {
            header = {};
        }
    }
    if (!header.ours) {
        mHeader = {};
        mPending.clear();
        return false;
    }
    // What follows a line break in a text must not pass for a message of its own.
    const bool recognised = continues && mPending.empty();
    if (!continues) line.pattern = matchLogLine(header.priority, line.message, line.fields);
    if (line.pattern == nullptr && !recognised) {
        recogniseRest(header, continues || sameHeader(header, mHeader), line);
    }
    if (line.pattern != nullptr && !mPendingDone) mPending.clear();

    if (line.role() == LineRole::FOLDER) learnYear(header, line.fields[1]);
    line.time = timeOf(header);
    line.process = header.process;
    line.thread = header.thread;
    line.priority = header.priority;
    mHeader = header;
    return true;
}

void LogFile::recogniseRest(LogHeader& header, bool sameMessage, LogLine& line) {
    LogHeader torn;
    std::string_view message;
    if (findTornIn(line.message, torn, message)) {
        mUnreadable++;
        mPending.clear();
        header = torn;
        line.message = message;
        line.pattern = matchLogLine(header.priority, message, line.fields);
        return;
    }
    if (!sameMessage || mPending.empty()) {
        mPending = line.message;
        return;
    }
    if (mPending.size() > LineReader::kLongestLine) return;
    mPending.append("\n").append(line.message);
    line.pattern = matchLogLine(header.priority, mPending, line.fields);
    mPendingDone = line.pattern != nullptr;
}

std::string LogFile::otherFormat() const {
    if (mHeaders > 0 || mSample.empty()) return "";
    if (mSample.starts_with("\x1f\x8b")) return "compressed (zcat FILE | zulctl --log=-)";
    if (mSample.find('\0') != std::string::npos) {
        return "UTF-16 text (iconv -f UTF-16 -t UTF-8 FILE | zulctl --log=-)";
    }
    const auto isLike = [this](const char* format) {
        char priority = 0;
        int process = 0;
        int length = 0;
        sscanf(mSample.c_str(), format, &priority, &process, &length);
        return length > 0 && isPriority({&priority, 1});
    };
    if (isLike("%c/%*[^(:](%d):%n")) return "logcat -v brief, without times";
    if (isLike("%c(%d)%n")) return "logcat -v process, without times and tags";
    if (isLike("%c(%d:%*d)%n")) return "logcat -v thread, without times and tags";
    if (mSample.size() > 1 && mSample[1] == '/') {
        return "logcat -v tag, without times and processes";
    }
    return "logcat -v raw, or no log";
}

std::string formatLogTime(LogTime time) {
    const std::string thousandths = std::to_string(kSecond + millisecondsOf(time)).substr(1);
    return formatLogSecond(time) + "." + thousandths;
}

std::string formatLogSecond(LogTime time) {
    return formatWallTime((time - millisecondsOf(time)) / kSecond);
}

}  // namespace zulctl
