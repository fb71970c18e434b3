// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>

namespace {

constexpr size_t kMaxTagBytes = 128;
constexpr size_t kMaxMessageBytes = 4068;
constexpr size_t kMaxHeaderBytes = kMaxTagBytes + 96;

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

char priorityLetter(int prio) {
    constexpr char kLetters[] = "??VDIWEFS";
    const bool known = prio >= ANDROID_LOG_UNKNOWN && prio <= ANDROID_LOG_SILENT;
    return known ? kLetters[prio] : '?';
}

size_t formatHeader(char (&out)[kMaxHeaderBytes], int prio, const char* tag) {
    using namespace std::chrono;
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);

    // The calendar is computed here because gmtime_r() takes the time zone lock as well.
    const sys_seconds local{seconds{now.tv_sec + gLocalOffset.secondsAt(now.tv_sec)}};
    const sys_days day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss clock{local - day};

    const int length = snprintf(
            out, sizeof(out),
            "%02u-%02u %02d:%02d:%02d.%03d %d %d %c %.*s: ", static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
            static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()),
            static_cast<int>(now.tv_nsec / 1000000), getpid(), gettid(), priorityLetter(prio),
            static_cast<int>(kMaxTagBytes), tag == nullptr ? "" : tag);
    return std::clamp<int>(length, 0, sizeof(out) - 1);
}

}  // namespace

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    const int savedErrno = errno;

    char header[kMaxHeaderBytes];
    const size_t headerLength = formatHeader(header, prio, tag);

    char line[kMaxHeaderBytes + kMaxMessageBytes + 1];
    std::copy_n(header, headerLength, line);

    va_list arguments;
    va_start(arguments, fmt);
    const int wanted = vsnprintf(line + headerLength, kMaxMessageBytes + 1, fmt, arguments);
    va_end(arguments);

    size_t length = headerLength + std::clamp<int>(wanted, 0, kMaxMessageBytes);
    line[length++] = '\n';

    // One call per line: lines of several processes on one standard error do not mix.
    ssize_t written;
    do {
        written = write(STDERR_FILENO, line, length);
    } while (written < 0 && errno == EINTR);

    const int result = written < 0 ? -errno : static_cast<int>(written);
    errno = savedErrno;
    return result;
}
