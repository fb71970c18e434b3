// SPDX-License-Identifier: Apache-2.0

#include "zulctl/WallTime.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iterator>

#include "base/LocalTime.h"

namespace zulctl {

namespace {

constexpr int64_t kDay = 86400;

constexpr std::string_view kWord = "0123456789abcdefghijklmnopqrstuvwxyz_";
constexpr std::string_view kDigits = kWord.substr(0, 10);

/** What a letter of a pattern stands for. */
struct Part {
    char letter;
    /** Null for what is passed over. */
    int64_t Stamp::*number;
    size_t fewest;
    size_t most;
    int64_t lowest = 0;
    int64_t highest = INT64_MAX;
    std::string_view characters = kDigits;
};

constexpr Part kParts[] = {
        {'Y', &Stamp::year, 4, 4, 1},
        {'M', &Stamp::month, 2, 2, 1, 12},
        {'D', &Stamp::day, 2, 2, 1, 31},
        {'h', &Stamp::hour, 2, 2, 0, 23},
        {'m', &Stamp::minute, 2, 2, 0, 59},
        // A second of 60 is what a clock shows in a leap second.
        {'s', &Stamp::second, 2, 2, 0, 60},
        {'f', &Stamp::thousandth, 3, 9},
        {'e', &Stamp::second, 5, 12},
        {'p', &Stamp::process, 1, 9},
        {'t', &Stamp::thread, 1, 9},
        {'l', &Stamp::priority, 1, 1, 0, INT64_MAX, "VDIWEFSA"},
        {'u', nullptr, 1, 32, 0, INT64_MAX, kWord},
        {'z', nullptr, 4, 4},
};

bool takePart(char letter, std::string_view& text, Stamp& stamp) {
    const auto part = std::find_if(std::begin(kParts), std::end(kParts),
                                   [letter](const Part& each) { return each.letter == letter; });
    if (part == std::end(kParts)) {
        if (letter != '~' && !text.starts_with(letter)) return false;
        const size_t blanks = std::min(text.find_first_not_of(' '), text.size());
        text.remove_prefix(letter == '~' ? blanks : 1);
        return true;
    }
    const size_t size = std::min(text.find_first_not_of(part->characters), text.size());
    if (size < part->fewest || size > part->most) return false;
    // A letter counts as itself; what is behind thousandths does not.
    int64_t number = static_cast<unsigned char>(text[0]);
    std::from_chars(text.data(), text.data() + (letter == 'f' ? 3 : size), number);
    if (number < part->lowest || number > part->highest) return false;
    if (part->number != nullptr) stamp.*part->number = number;
    text.remove_prefix(size);
    return true;
}

/** The time of a text that is one of `patterns` from its beginning to its end. */
std::optional<WallTime> parseTime(std::string_view text,
                                  std::initializer_list<std::string_view> patterns) {
    Stamp stamp;
    if (!takeStamp(patterns, text, stamp) || !text.empty()) return std::nullopt;
    return wallTimeOf(stamp);
}

}  // namespace

bool takeStamp(std::initializer_list<std::string_view> patterns, std::string_view& text,
               Stamp& stamp) {
    for (const std::string_view pattern : patterns) {
        std::string_view rest = text;
        Stamp read = stamp;
        const auto take = [&](char letter) { return takePart(letter, rest, read); };
        if (!std::all_of(pattern.begin(), pattern.end(), take)) continue;
        text = rest;
        stamp = read;
        return true;
    }
    return false;
}

WallTime wallTimeOf(const Stamp& stamp) {
    using namespace std::chrono;
    const int64_t clock = (stamp.hour * 60 + stamp.minute) * 60 + stamp.second;
    if (stamp.year == 0) return clock;
    const year_month_day date(year(static_cast<int>(stamp.year)),
                              month(static_cast<unsigned>(stamp.month)),
                              day(static_cast<unsigned>(stamp.day)));
    return sys_days(date).time_since_epoch().count() * kDay + clock;
}

WallTime wallTime(time_t when) {
    return when + zul::localTime(when).tm_gmtoff;
}

std::optional<WallTime> parseRecordTime(std::string_view text) {
    return parseTime(text, {"Y-M-D h:m:s"});
}

std::optional<WallTime> parseNameTime(std::string_view text) {
    return parseTime(text, {"Y_M_D_h_m_s"});
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
    const WallTime today = now - now % kDay;
    if (text == "today") return today;
    if (text == "yesterday") return today - kDay;
    if (const auto clock = parseTime(text, {"h:m:s", "h:m"})) return today + *clock;
    return parseTime(text, {"Y-M-D h:m:s", "Y-M-DTh:m:s", "Y-M-D h:m", "Y-M-DTh:m", "Y-M-D"});
}

std::string formatDuration(int64_t seconds) {
    if (seconds < 60) return std::to_string(seconds) + "s";
    const bool isLong = seconds >= 3600;
    const int64_t small = isLong ? seconds / 60 : seconds;
    const std::string twoDigits = std::to_string(100 + small % 60).substr(1);
    return std::to_string(small / 60) + (isLong ? "h" : "m") + twoDigits + (isLong ? "m" : "s");
}

}  // namespace zulctl
