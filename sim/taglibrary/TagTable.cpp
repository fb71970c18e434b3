// SPDX-License-Identifier: Apache-2.0
#include "sim/taglibrary/TagTable.h"

#include <android/log.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace zulid {
namespace {

constexpr char kLogTag[] = "zulid_config";
constexpr std::string_view kHeader = "tagId,flag,cmd,extraInfo,eventType,eventSubType";
constexpr size_t kMaxTableBytes = 4 * 1024 * 1024;

/** Takes the next field off the line. False when its quoting is broken. */
bool takeField(std::string_view* line, std::string* field) {
    if (!line->starts_with('"')) {
        const size_t end = std::min(line->find(','), line->size());
        *field = line->substr(0, end);
        line->remove_prefix(end);
        return field->find('"') == std::string::npos;
    }
    line->remove_prefix(1);
    for (;;) {
        const size_t quote = line->find('"');
        if (quote == std::string_view::npos) {
            return false;
        }
        field->append(line->substr(0, quote));
        line->remove_prefix(quote + 1);
        if (!line->starts_with('"')) {
            return line->empty() || line->starts_with(',');
        }
        field->push_back('"');
        line->remove_prefix(1);
    }
}

/** Fills a row from a line; the text says what is wrong with the line, or is empty. */
const char* parseRow(std::string_view line, RowData* row) {
    std::string* const columns[] = {&row->tagId,     &row->flag,      &row->cmd,
                                    &row->extraInfo, &row->eventType, &row->eventSubType};
    const std::string* const last = columns[std::size(columns) - 1];
    for (std::string* column : columns) {
        if (!takeField(&line, column)) {
            return "a quote is out of place";
        }
        if (line.empty() != (column == last)) {
            return "not six columns";
        }
        line.remove_prefix(line.empty() ? 0 : 1);
    }
    return row->tagId.empty() ? "no tag" : "";
}

/** Reads a whole file. False with errno set when it cannot be read or is larger than any table. */
bool readFile(const char* path, std::string* text) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path, "re"), fclose);
    if (file == nullptr) {
        return false;
    }
    char buffer[16 * 1024];
    size_t got = 0;
    while ((got = fread(buffer, 1, sizeof(buffer), file.get())) > 0) {
        if (text->size() + got > kMaxTableBytes) {
            errno = EFBIG;
            return false;
        }
        text->append(buffer, got);
    }
    return ferror(file.get()) == 0;
}

}  // namespace

TagTable TagTable::load(const char* path) {
    std::string text;
    if (!readFile(path, &text)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "cannot read %s: %s", path,
                            strerror(errno));
        return TagTable();
    }
    std::string problem;
    TagTable table = parse(text, &problem);
    if (!problem.empty()) {
        __android_log_print(ANDROID_LOG_WARN, kLogTag, "%s: %s", path, problem.c_str());
    }
    return table;
}

TagTable TagTable::parse(std::string_view text, std::string* problem) {
    TagTable table;
    std::string firstFault;
    size_t faults = 0;
    for (size_t number = 1; number == 1 || !text.empty(); ++number) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }

        RowData row;
        const char* fault = "";
        if (number == 1) {
            fault = line == kHeader ? "" : "not the header of a tag table";
        } else if (!line.empty()) {
            fault = parseRow(line, &row);
            if (*fault == '\0' && !table.mRows.emplace(row.tagId, row).second) {
                fault = "a tag that an earlier line has";
            }
        }
        if (*fault != '\0' && ++faults == 1) {
            firstFault = "line " + std::to_string(number) + ": " + fault;
        }
    }
    if (faults > 0) {
        *problem = firstFault + " (bad lines: " + std::to_string(faults) + ")";
    }
    return table;
}

const RowData* TagTable::find(const std::string& tag) const {
    const auto row = mRows.find(tag);
    return row == mRows.end() ? nullptr : &row->second;
}

}  // namespace zulid
