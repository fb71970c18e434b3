// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "base/Files.h"
#include "base/Log.h"
#include "base/Paths.h"
#include "base/Text.h"
#include "service/ZulService.h"

namespace zul {

namespace {

/** One kind of the chip vendor's exception databases. */
struct DatabaseKind {
    std::array<std::string_view, 2> fileNames;
    /** "1" asks a component outside for copies in the output root, "0" takes that back. */
    const char* property;

    bool holds(std::string_view path) const {
        return std::any_of(fileNames.begin(), fileNames.end(),
                           [path](std::string_view name) { return contains(path, name); });
    }
};

std::array<DatabaseKind, 2> databaseKinds() {
    return {{
            {{"db.fatal.08.EE.dbg", "fatal.scp.00.dbg"}, "debug.zul.aee.db.08ee"},
            {{ZulService::mConnsysDbName, ZulService::mConnsysDbFileName},
             "debug.zul.aee.db.connsysdump"},
    }};
}

}  // namespace

std::string ZulService::copyVndFile(std::string pathList) {
    const auto kinds = databaseKinds();
    std::string rewritten;
    for (const std::string& path : supersplit(pathList, ";")) {
        if (!rewritten.empty()) rewritten += ";";
        bool isDatabase = false;
        for (const DatabaseKind& kind : kinds) {
            if (!kind.holds(path)) continue;
            isDatabase = true;
            property_set(kind.property, "1");
        }
        rewritten += isDatabase ? kOutputRoot + supersplit(path, "/").back() : path;
    }
    return rewritten;
}

bool ZulService::vndFileExist(std::string& pathList) {
    // Time for the copies to be made.
    sleep(1);
    const auto kinds = databaseKinds();
    bool found = false;
    for (const std::string& path : supersplit(pathList, ";")) {
        const auto kind = std::find_if(
                kinds.begin(), kinds.end(),
                [&path](const DatabaseKind& candidate) { return candidate.holds(path); });
        if (kind == kinds.end()) continue;
        property_set(kind->property, "0");
        if (!openToRead(path.c_str()).ok()) {
            LOGE("Unable to open filePath: %s ", path.c_str());
            return false;
        }
        found = true;
    }
    return found;
}

}  // namespace zul
