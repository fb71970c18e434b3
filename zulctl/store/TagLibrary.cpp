// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/TagLibrary.h"

#include <dlfcn.h>

#include "base/Paths.h"

namespace zulctl {

const zul::RowData* TagLibrary::find(const std::string& tag) {
    if (!mTried) {
        mTried = true;
        void* library = dlopen(zul::kTagLibrary, RTLD_NOW);
        if (library != nullptr) {
            mGetRowByKey = reinterpret_cast<GetRowByKey>(dlsym(library, "getRowByKey"));
        }
    }
    if (mGetRowByKey == nullptr) return nullptr;
    const auto [known, isNew] = mRows.try_emplace(tag);
    if (const zul::RowData* row = isNew ? mGetRowByKey(tag) : nullptr) known->second = *row;
    return known->second.tagId.empty() ? nullptr : &known->second;
}

std::string describe(const zul::RowData* row) {
    if (row == nullptr) return "";
    std::string text = row->eventType;
    if (!row->eventSubType.empty()) text += (text.empty() ? "" : "/") + row->eventSubType;
    return text;
}

}  // namespace zulctl
