// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>

#include "rules/RowData.h"

namespace zulctl {

/** What the tag library of this device says; nothing at all where there is none. */
class TagLibrary {
  public:
    /** The row of a tag, which stays good as long as this object; null for none. */
    const zul::RowData* find(const std::string& tag);

  private:
    using GetRowByKey = const zul::RowData* (*)(const std::string&);

    bool mTried = false;
    GetRowByKey mGetRowByKey = nullptr;
    std::map<std::string, std::optional<zul::RowData>> mRows;
};

/** A row in a few words; empty for none. */
std::string describe(const zul::RowData* row);

}  // namespace zulctl
