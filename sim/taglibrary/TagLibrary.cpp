// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "sim/taglibrary/TagTable.h"

/**
 * The library's one entry: the row of a tag, or null when the table has none. The row belongs to
 * the library and stays until the library is unloaded. Any thread may call it at any time; the
 * first call reads the table.
 */
extern "C" const zulid::RowData* getRowByKey(const std::string& tag);

const zulid::RowData* getRowByKey(const std::string& tag) {
    static const zulid::TagTable table = zulid::TagTable::load("/system_ext/etc/zulid_config.csv");
    return table.find(tag);
}
