// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "rules/RowData.h"
#include "zulctl/store/Store.h"

namespace zulctl {

/** What the tag library of a store's device says: nothing at all in a copy, or where there is none. */
class TagLibrary {
  public:
    explicit TagLibrary(const Store& store) : mTried(store.isCopy) {}
    /** The row of a tag, which stays good as long as this object; null for none. */
    const zul::RowData* find(const std::string& tag);

  private:
    using GetRowByKey = const zul::RowData* (*)(const std::string&);

    bool mTried;
    GetRowByKey mGetRowByKey = nullptr;
    std::map<std::string, zul::RowData> mRows;
};

/** A row in a few words; empty for none. */
std::string describe(const zul::RowData* row);

}  // namespace zulctl
