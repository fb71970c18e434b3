// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>

namespace {

constexpr size_t kMaxTagBytes = 128;
constexpr size_t kMaxMessageBytes = 4068;
constexpr size_t kMaxHeaderBytes = kMaxTagBytes + 96;
// Nearly every message fits. Each page of stack that a forked child touches is copied for it.
constexpr size_t kUsualMessageBytes = 512;

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

/** Puts `errno` back at the end of a scope. */
class KeptErrno {
  public:
    KeptErrno() = default;
    ~KeptErrno() { errno = mValue; }
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

  private:
    const int mValue = errno;
};

char priorityLetter(int prio) {
    constexpr char kLetters[] = "??VDIWEFS";
    const bool known = prio >= ANDROID_LOG_UNKNOWN && prio <= ANDROID_LOG_SILENT;
    return known ? kLetters[prio] : '?';
}

// What follows is written by hand, as `snprintf()` would take most of a line's time, and a forked child
// has to map each page of it anew.

/** Puts at most `limit` bytes of `text` at `out`; here as below, the result is the new end. */
char* addText(char* out, const char* text, size_t limit) {
    for (; limit > 0 && *text != '\0'; limit--)
        *out++ = *text++;
    return out;
}

/** A number of 0 or more, with zeros in front up to `width` digits. */
char* addNumber(char* out, long number, int width) {
    int digits = 1;
    for (long rest = number; rest >= 10; rest /= 10)
        digits++;
    char* const end = out + std::max(digits, width);
    for (char* digit = end; digit > out; number /= 10)
        *--digit = static_cast<char>('0' + number % 10);
    return end;
}

char* addTime(char* out) {
    using namespace std::chrono;
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);

    // The calendar is computed here because gmtime_r() takes the time zone lock as well.
    const sys_seconds local{seconds{now.tv_sec + gLocalOffset.secondsAt(now.tv_sec)}};
    const sys_days day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss clock{local - day};
    const struct {
        long number;
        int width;
        char end;
    } fields[] = {
            {unsigned{date.month()}, 2, '-'},  {unsigned{date.day()}, 2, ' '},
            {clock.hours().count(), 2, ':'},   {clock.minutes().count(), 2, ':'},
            {clock.seconds().count(), 2, '.'}, {now.tv_nsec / 1000000, 3, ' '},
    };
    for (const auto& field : fields) {
        out = addNumber(out, field.number, field.width);
        *out++ = field.end;
    }
    return out;
}

/** Puts what stands before the message into `line`, and gives its end. */
char* addHeader(char* line, int prio, const char* tag) {
    char* out = addTime(line);
    out = addNumber(out, getpid(), 1);
    *out++ = ' ';
    out = addNumber(out, gettid(), 1);
    *out++ = ' ';
    *out++ = priorityLetter(prio);
    *out++ = ' ';
    out = addText(out, tag == nullptr ? "" : tag, kMaxTagBytes);
    *out++ = ':';
    *out++ = ' ';
    return out;
}

/** Ends the line, for which there is room at `end`, and writes it. */
int writeLine(char* line, char* end) {
    *end++ = '\n';
    // One call per line: lines of several processes on one standard error do not mix.
    ssize_t written;
    do {
        written = write(STDERR_FILENO, line, end - line);
    } while (written < 0 && errno == EINTR);
    return written < 0 ? -errno : static_cast<int>(written);
}

/** A line whose message is longer than most; never inlined, for the sake of the others' stack. */
[[gnu::noinline]] int printLong(int prio, const char* tag, const char* fmt, va_list arguments) {
    char line[kMaxHeaderBytes + kMaxMessageBytes + 1];
    char* const message = addHeader(line, prio, tag);
    const int wanted = vsnprintf(message, kMaxMessageBytes + 1, fmt, arguments);
    return writeLine(line, message + std::clamp<int>(wanted, 0, kMaxMessageBytes));
}

}  // namespace

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    if (strchr(fmt, '%') == nullptr) return __android_log_write(prio, tag, fmt);

    const KeptErrno keptErrno;
    char line[kMaxHeaderBytes + kUsualMessageBytes + 1];
    char* const message = addHeader(line, prio, tag);

    va_list arguments;
    va_start(arguments, fmt);
    const int wanted = vsnprintf(message, kUsualMessageBytes + 1, fmt, arguments);
    va_end(arguments);

    if (wanted <= static_cast<int>(kUsualMessageBytes)) {
        return writeLine(line, message + std::max(wanted, 0));
    }

    va_start(arguments, fmt);
    const int result = printLong(prio, tag, fmt, arguments);
    va_end(arguments);
    return result;
}

int __android_log_write(int prio, const char* tag, const char* text) {
    const KeptErrno keptErrno;
    char line[kMaxHeaderBytes + kUsualMessageBytes + 1];
    char* const message = addHeader(line, prio, tag);
    char* const end = addText(message, text, kUsualMessageBytes);
    if (end == message + kUsualMessageBytes) return __android_log_print(prio, tag, "%s", text);
    return writeLine(line, end);
}
