// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>
#include <string.h>

#include <map>
#include <sstream>
#include <string>

#include "sim/Files.h"
#include "sim/taglibrary/RowData.h"

namespace zulid {
namespace {

constexpr char kTable[] = "/system_ext/etc/zulid_config.tsv";
constexpr char kLogTag[] = "zulid_config";
constexpr size_t kMaxTableBytes = 4 * 1024 * 1024;

/** The row of a line of six columns, with a tab between; without a tag when it is something else. */
RowData parseRow(const std::string& line) {
    RowData row;
    std::istringstream columns(line);
    for (std::string* column : {&row.tagId, &row.flag, &row.cmd, &row.extraInfo, &row.eventType})
        std::getline(columns, *column, '\t');
    // The last one may be empty, but then a tab stands before it.
    if (!columns || columns.eof()) return {};
    std::getline(columns, row.eventSubType);
    return row.eventSubType.find('\t') == std::string::npos ? row : RowData{};
}

/** Reads the table, whose first line is a heading. Lines that are not rows are logged and skipped. */
std::map<std::string, RowData> load() {
    std::map<std::string, RowData> rows;
    std::string text;
    if (const int error = sim::readFile(kTable, kMaxTableBytes, &text); error != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "cannot read %s: %s", kTable,
                            strerror(error));
    }
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        const RowData row = parseRow(line);
        if (row.tagId.empty() || !rows.emplace(row.tagId, row).second)
            __android_log_print(ANDROID_LOG_WARN, kLogTag, "not a row: %s", line.c_str());
    }
    return rows;
}

}  // namespace
}  // namespace zulid

/**
 * The library's one entry: the row of a tag, or null when the table has none. The row belongs to
 * the library and stays until the library is unloaded. Any thread may call it at any time; the
 * first call reads the table.
 */
extern "C" const zulid::RowData* getRowByKey(const std::string& tag);

const zulid::RowData* getRowByKey(const std::string& tag) {
    static const std::map<std::string, zulid::RowData> table = zulid::load();
    const auto row = table.find(tag);
    return row == table.end() ? nullptr : &row->second;
}
