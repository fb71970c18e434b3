// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zul {

/**
 * What the tag library knows of one tag; nothing if tagId is empty. The library passes rows in memory, so
 * these six strings, in this order and without any other member, are a binary interface.
 */
struct RowData {
    std::string tagId;
    /** Flag names joined by "|". */
    std::string flag;
    std::string cmd;
    std::string extraInfo;
    std::string eventType;
    std::string eventSubType;
};
static_assert(sizeof(RowData) == 6 * sizeof(std::string));

}  // namespace zul
