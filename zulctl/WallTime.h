// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <time.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace zulctl {

/**
 * What a clock on the wall of the device shows, as seconds of a calendar without time zones: history and
 * names have local times, and a copy does not tell of which zone.
 */
using WallTime = int64_t;

WallTime wallTime(time_t when);

/** Numbers that stand in a text; 0 for what it does not tell. */
struct Stamp {
    int64_t year = 0;
    int64_t month = 0;
    int64_t day = 0;
    int64_t hour = 0;
    int64_t minute = 0;
    /** Since 1970, where there is no day. */
    int64_t second = 0;
    int64_t thousandth = 0;
    // In logs, who has written it.
    int64_t process = 0;
    int64_t thread = 0;
    int64_t priority = 0;

    bool operator==(const Stamp&) const = default;
};

/**
 * Takes from the front of `text` what the first one of `patterns` stands for that fits. Y-M-D h:m:s.f is a
 * time in digits, e the seconds since 1970, p and t process and thread, l the letter of a priority, z a
 * time zone and u a user, which are passed over, ~ blanks or none; all else stands for itself. False, and nothing
 * has changed, where none fits.
 */
bool takeStamp(std::initializer_list<std::string_view> patterns, std::string_view& text,
               Stamp& stamp);

/** Without a year, the seconds since midnight. */
WallTime wallTimeOf(const Stamp& stamp);

/** YYYY-MM-DD HH:MM:SS of the history; the same with "_" everywhere, of names. */
std::optional<WallTime> parseRecordTime(std::string_view text);
std::optional<WallTime> parseNameTime(std::string_view text);
std::string formatWallTime(WallTime time);

/** Seconds of 90s, 5m30s, 12h, 30d or 2w; nothing for anything else. */
std::optional<int64_t> parseAge(std::string_view text);

/** A time that a user gives: an age before `now`, a day, a time of today, or both with a blank or T between. */
std::optional<WallTime> parseWhen(std::string_view text, WallTime now);

/** 75 as 1m15s. */
std::string formatDuration(int64_t seconds);

}  // namespace zulctl
