// SPDX-License-Identifier: Apache-2.0

#include "rules/HistoryRecord.h"

#include <algorithm>

namespace zul {

std::string formatRecord(const HistoryRecord& record) {
    std::string text;
    for (const std::string_view field : {record.tag, record.time, record.archive})
        text.append(field).append("|");
    if (text.size() > kLongestRecord) return "";
    return text.append(record.build.substr(0, kLongestRecord - text.size()));
}

HistoryRecord parseRecord(std::string_view line) {
    HistoryRecord record;
    for (std::string_view* field : {&record.tag, &record.time, &record.archive}) {
        line.remove_prefix(std::min(line.find_first_not_of('|'), line.size()));
        *field = line.substr(0, line.find('|'));
        line.remove_prefix(field->size());
    }
    record.build = line.substr(std::min<size_t>(line.size(), 1));
    return record;
}

}  // namespace zul
