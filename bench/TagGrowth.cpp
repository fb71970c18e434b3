// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <stdio.h>

#include <fstream>
#include <string>

#include "bench/Growth.h"
#include "service/ZulService.h"

namespace bench {

using zul::ZulService;

namespace {

std::string gTag;
zul::RowData gRow;

std::string gNames;
int64_t gExpected;
int64_t gMask;
android::sp<ZulService> gService;

/** The library with a table of so many tags, loaded and asked once. */
bool prepareLibrary(int tags) {
    std::ofstream table("/system_ext/etc/zulid_config.csv");
    table << "tagId,flag,cmd,extraInfo,eventType,eventSubType\n";
    for (int i = 0; i < tags; i++) {
        char tag[sizeof("0xbe000000")];
        snprintf(tag, sizeof(tag), "0xbe%06x", static_cast<unsigned>(i) & 0xffffff);
        table << tag << ",FLAG_ZUL_BINDER|FLAG_ZUL_LOG,,/data/anr,crash,native\n";
        gTag = tag;
    }
    table.close();
    if (ZulService::mTagLibrary != nullptr) dlclose(ZulService::mTagLibrary);
    ZulService::mTagLibrary = nullptr;
    return ZulService::getZulInfoByTag(gTag).tagId == gTag;
}

bool prepareNames(int count) {
    gService = new ZulService();
    gNames.clear();
    gExpected = 0;
    auto flag = ZulService::mFlagTable.begin();
    for (int i = 0; i < count; i++) {
        gNames += (i > 0 ? "|" : "") + flag->first;
        gExpected |= flag->second;
        if (++flag == ZulService::mFlagTable.end()) flag = ZulService::mFlagTable.begin();
    }
    return true;
}

}  // namespace

const Curve kTagLibrary = {"tag_library",
                           10,
                           10000,
                           10,
                           prepareLibrary,
                           [] { gRow = {}; },
                           [] { gRow = ZulService::getZulInfoByTag(gTag); },
                           [] { return gRow.tagId == gTag; }};
const Curve kFlagNames = {"flag_names",
                          1,
                          40,
                          2,
                          prepareNames,
                          [] { gMask = 0; },
                          [] { gMask = gService->getZulFlag(gNames, "0xbe000001"); },
                          [] { return gMask == gExpected; }};

}  // namespace bench
