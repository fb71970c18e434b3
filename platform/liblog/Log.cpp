// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string_view>

namespace {

constexpr size_t kMaxPrintedBytes = 1023;
constexpr size_t kMaxMessageBytes = 4068;
constexpr size_t kMaxHeaderBytes = 128 + 96;

// Daylight saving starts and ends on a quarter of an hour everywhere.
constexpr int64_t kOffsetLifetimeSeconds = 15 * 60;

/**
 * The distance of local time from UTC, without `localtime_r()`.
 *
 * That function takes the C library's time zone lock. In a forked child the lock can be held for
 * ever by a thread that only the parent has, so children use the offset that their parent worked
 * out. A child is told by its pid rather than by a fork handler because `vfork()` runs no handlers.
 */
class LocalOffset {
  public:
    LocalOffset() : mOwner(getpid()) { refresh(time(nullptr)); }

    int64_t secondsAt(time_t now) {
        const int64_t period = now / kOffsetLifetimeSeconds;
        if (period != mPeriod.load(std::memory_order_acquire) && getpid() == mOwner) refresh(now);
        return mSeconds.load(std::memory_order_relaxed);
    }

  private:
    void refresh(time_t now) {
        struct tm local {};
        if (localtime_r(&now, &local) == nullptr) return;
        mSeconds.store(local.tm_gmtoff, std::memory_order_relaxed);
        // Whoever sees the new period sees its offset too.
        mPeriod.store(now / kOffsetLifetimeSeconds, std::memory_order_release);
    }

    const pid_t mOwner;
    std::atomic<int64_t> mSeconds{0};
    std::atomic<int64_t> mPeriod{0};
};

/** Made while the library loads, before the process can have a second thread. */
LocalOffset gLocalOffset;

/** What one message becomes, without memory of the allocator's. */
class Rows {
  public:
    void add(std::string_view header, std::string_view line) {
        if (mSize + header.size() + line.size() + 1 > sizeof(mText)) write();
        for (const std::string_view part : {header, line, std::string_view("\n")})
            mSize += part.copy(mText + mSize, part.size());
    }
    /** One call for all rows that there is room for: those of several processes do not mix. */
    int write() {
        const ssize_t written = TEMP_FAILURE_RETRY(::write(STDERR_FILENO, mText, mSize));
        mSize = 0;
        return written < 0 ? -errno : static_cast<int>(written);
    }

  private:
    char mText[4 * (kMaxHeaderBytes + kMaxMessageBytes)];
    size_t mSize = 0;
};

char priorityLetter(int prio) {
    constexpr char kLetters[] = "??VDIWEFS";
    const bool known = prio >= ANDROID_LOG_UNKNOWN && prio <= ANDROID_LOG_SILENT;
    return known ? kLetters[prio] : '?';
}

}  // namespace

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    char message[kMaxPrintedBytes + 1];
    const int keptErrno = errno;
    va_list arguments;
    va_start(arguments, fmt);
    vsnprintf(message, sizeof(message), fmt, arguments);
    va_end(arguments);
    errno = keptErrno;
    return __android_log_write(prio, tag, message);
}

int __android_log_write(int prio, const char* tag, const char* text) {
    using namespace std::chrono;
    const int keptErrno = errno;
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);

    // The calendar is computed here because gmtime_r() takes the time zone lock as well.
    const sys_seconds local{seconds{now.tv_sec + gLocalOffset.secondsAt(now.tv_sec)}};
    const sys_days day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss clock{local - day};
    char header[kMaxHeaderBytes];
    const int headerSize =
            snprintf(header, sizeof(header),
                     "%02u-%02u %02ld:%02ld:%02ld.%03ld %d %d %c %.128s: ", unsigned{date.month()},
                     unsigned{date.day()}, clock.hours().count(), clock.minutes().count(),
                     clock.seconds().count(), now.tv_nsec / 1000000, getpid(), gettid(),
                     priorityLetter(prio), tag == nullptr ? "" : tag);
    // As a device's logcat shows it: each line has the header, so that none can forge one. Line breaks at the
    // end begin no line.
    Rows rows;
    const std::string_view message(text, strnlen(text, kMaxMessageBytes));
    const size_t end = message.find_last_not_of('\n') + 1;
    const std::string_view head(header, static_cast<size_t>(headerSize));
    size_t start = 0;
    for (size_t next = message.find('\n'); next < end; next = message.find('\n', start)) {
        rows.add(head, message.substr(start, next - start));
        start = next + 1;
    }
    rows.add(head, message.substr(start));
    const int result = rows.write();
    errno = keptErrno;
    return result;
}
