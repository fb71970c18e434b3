// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>

#include <string>
#include <string_view>

namespace zul {

/** The most bytes of a record, without its line end. */
inline constexpr size_t kLongestRecord = 255;

/** What the history says of one capture. The texts belong to whoever made the record. */
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
 * Parses `line`. Empty fields before the build are skipped, and missing ones at the end stay empty.
 * Everything after the third field is the build.
 */
HistoryRecord parseRecord(std::string_view line);

}  // namespace zul
