// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>
#include <string_view>

namespace zul {

/** Most bytes of a record, its line end not included. */
inline constexpr size_t kLongestRecord = 255;

/** What the history tells of one capture. The texts belong to whoever made the record. */
struct HistoryRecord {
    std::string_view tag;
    /** Local, YYYY-MM-DD HH:MM:SS. */
    std::string_view time;
    /** Path of the archive. */
    std::string_view archive;
    /** Of the system, cut where the record was full. */
    std::string_view build;
};

/**
 * The line of `record`, without a line end; only the build text is ever cut. Empty when not even the
 * archive path fits.
 */
std::string formatRecord(const HistoryRecord& record);

/**
 * What stands in `line`. Empty fields before the build do not count; a line of fewer fields leaves
 * the last ones empty. What is behind the third one is the build, whatever it holds.
 */
HistoryRecord parseRecord(std::string_view line);

}  // namespace zul
