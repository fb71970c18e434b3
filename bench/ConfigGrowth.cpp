// SPDX-License-Identifier: Apache-2.0
#include <stdio.h>

#include <string>

#include "bench/Growth.h"
#include "service/ZulService.h"

namespace bench {

using zul::ZulService;

namespace {

std::string gText;
size_t gRecords;

/** Records of different tags: each is compared with all before it, and added. */
bool prepare(int size) {
    gText.clear();
    gRecords = static_cast<size_t>(size);
    for (int i = 0; i < size; i++) {
        char record[128];
        snprintf(record, sizeof(record),
                 "%stag:0xbe%06x,enable:1,pkgname:com.example.app%d,flag:0x4,path:/data/anr",
                 i > 0 ? "|" : "", static_cast<unsigned>(i), i);
        gText += record;
    }
    return true;
}

void reset() {
    ZulService::mRemoteConfigs.clear();
    ZulService::mTagTable.clear();
}

void run() {
    const zul::ScopedServiceLock lock(ZulService::mServiceLock);
    ZulService::parseRemoteConfig(gText);
}

bool done() {
    return ZulService::mRemoteConfigs.size() == gRecords &&
           ZulService::mTagTable.size() == gRecords;
}

}  // namespace

const Curve kConfig = {"config", 10, 10000, 10, prepare, reset, run, done};

}  // namespace bench
