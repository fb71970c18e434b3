// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zulid {

/**
 * One row of the tag table. Callers of getRowByKey() lay the same six strings over it, so neither
 * their order nor their type may change, and no member may be added.
 */
struct RowData {
    std::string tagId;
    std::string flag;  ///< names of collection flags, joined by "|"
    std::string cmd;
    std::string extraInfo;
    std::string eventType;
    std::string eventSubType;
};

}  // namespace zulid
