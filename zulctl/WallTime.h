// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <time.h>

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
WallTime wallTimeNow();

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
