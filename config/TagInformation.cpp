// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>

#include "base/Log.h"
#include "base/Paths.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** Exported by the tag library under the name "getRowByKey". */
using GetRowByKey = const RowData* (*)(const std::string& tagId);

}  // namespace

RowData ZulService::getZulInfoByTag(std::string tagId) {
    LOGD("getZulInfoByTag tagId===%s", tagId.c_str());
    // Opened when first needed and retried at each event, as a missing library costs nothing else. The lock
    // keeps two first events from opening it twice; it is released before foreign code searches for the tag.
    void* library = nullptr;
    {
        const ScopedServiceLock lock(mServiceLock);
        if (mTagLibrary == nullptr) mTagLibrary = dlopen(kTagLibrary, RTLD_NOW);
        library = mTagLibrary;
    }
    if (library == nullptr) {
        LOGE("libzulid_config dlopen fail");
        return {};
    }

    const auto getRowByKey = reinterpret_cast<GetRowByKey>(dlsym(library, "getRowByKey"));
    if (getRowByKey == nullptr) {
        LOGD("getZulInfoByTag Error: Failed to find function");
        return {};
    }
    const RowData* row = getRowByKey(tagId);
    if (row == nullptr) {
        LOGD("getZulInfoByTag getRowByKey fail");
        return {};
    }
    // A copy: the row stays the library's.
    return *row;
}

}  // namespace zul
