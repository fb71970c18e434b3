// SPDX-License-Identifier: Apache-2.0

#include "zulctl/WallTime.h"

#include <stdio.h>

#include <algorithm>
#include <charconv>

#include "base/LocalTime.h"

namespace zulctl {

namespace {

constexpr int64_t kDay = 86400;

/** Days since 1970 of the Gregorian calendar, for years that have four digits. */
int64_t daysOf(int64_t year, int64_t month, int64_t day) {
    if (month <= 2) year--;
    const int64_t era = year / 400;
    const int64_t yearOfEra = year % 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

/** Reads `text` where `pattern` has digits for 0 and is the same elsewhere. */
bool readNumbers(std::string_view text, std::string_view pattern, int (&numbers)[6]) {
    if (text.size() != pattern.size()) return false;
    int* number = numbers;
    for (size_t i = 0; i < text.size(); i++) {
        if (pattern[i] != '0') {
            if (text[i] != pattern[i]) return false;
            number++;
        } else if (text[i] < '0' || text[i] > '9') {
            return false;
        } else {
            *number = *number * 10 + (text[i] - '0');
        }
    }
    return true;
}

std::optional<WallTime> parseTime(std::string_view text, std::string_view pattern) {
    int n[6] = {};
    if (!readNumbers(text, pattern, n)) return std::nullopt;
    // A second of 60 is what a clock shows in a leap second.
    if (n[0] < 1 || n[1] < 1 || n[1] > 12 || n[2] < 1 || n[2] > 31 || n[3] > 23 || n[4] > 59 ||
        n[5] > 60) {
        return std::nullopt;
    }
    return daysOf(n[0], n[1], n[2]) * kDay + n[3] * 3600 + n[4] * 60 + n[5];
}

}  // namespace

WallTime wallTime(time_t when) {
    const tm local = zul::localTime(when);
    return daysOf(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday) * kDay +
           local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
}

WallTime wallTimeNow() {
    return wallTime(time(nullptr));
}

std::optional<WallTime> parseRecordTime(std::string_view text) {
    return parseTime(text, "0000-00-00 00:00:00");
}

std::optional<WallTime> parseNameTime(std::string_view text) {
    return parseTime(text, "0000_00_00_00_00_00");
}

std::string formatWallTime(WallTime time) {
    const auto seconds = static_cast<time_t>(time);
    tm civil = {};
    gmtime_r(&seconds, &civil);
    return zul::formatTime(civil, "%Y-%m-%d %H:%M:%S");
}

std::optional<int64_t> parseAge(std::string_view text) {
    constexpr std::string_view kUnits = "smhdw";
    constexpr int64_t kSeconds[] = {1, 60, 3600, kDay, 7 * kDay};
    int64_t seconds = 0;
    const bool isEmpty = text.empty();
    while (!text.empty()) {
        const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
        const size_t unit = digits < text.size() ? kUnits.find(text[digits]) : kUnits.npos;
        if (digits == 0 || digits > 9 || unit == kUnits.npos) return std::nullopt;
        int64_t number = 0;
        std::from_chars(text.data(), text.data() + digits, number);
        seconds += number * kSeconds[unit];
        text.remove_prefix(digits + 1);
    }
    return isEmpty ? std::nullopt : std::optional(seconds);
}

std::optional<WallTime> parseWhen(std::string_view text, WallTime now) {
    if (const auto age = parseAge(text)) return now - *age;
    const std::string today = formatWallTime(now).substr(0, 10);
    if (text == "today") return parseTime(today, "0000-00-00");
    if (text == "yesterday") return *parseTime(today, "0000-00-00") - kDay;
    std::string whole(text);
    if (text.find(':') < 3) whole = today + " " + whole;
    if (whole.size() > 10 && whole[10] == 'T') whole[10] = ' ';
    for (const std::string_view pattern :
         {"0000-00-00", "0000-00-00 00:00", "0000-00-00 00:00:00"}) {
        if (const auto time = parseTime(whole, pattern)) return time;
    }
    return std::nullopt;
}

std::string formatDuration(int64_t seconds) {
    char text[32] = {};
    if (seconds < 60) {
        snprintf(text, sizeof(text), "%ds", static_cast<int>(seconds));
    } else if (seconds < 3600) {
        snprintf(text, sizeof(text), "%dm%02ds", static_cast<int>(seconds / 60),
                 static_cast<int>(seconds % 60));
    } else {
        snprintf(text, sizeof(text), "%lldh%02dm", static_cast<long long>(seconds / 3600),
                 static_cast<int>(seconds / 60 % 60));
    }
    return text;
}

}  // namespace zulctl
