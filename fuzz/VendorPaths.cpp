// SPDX-License-Identifier: Apache-2.0

// Input: in the first line the names of the files that are in /data/ZUL/, separated by ";", then the
// path list of an event.

#include <cutils/properties.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "fuzz/support/Fuzz.h"
#include "fuzz/support/Store.h"
#include "service/ZulService.h"

namespace zul::fuzz {

namespace {

constexpr const char* kDatabases[] = {"db.fatal.08.EE.dbg", "fatal.scp.00.dbg",
                                      "db.fatal.connsysdump.dbg", "fatal.connsysdump.00.dbg"};
constexpr const char* kRequests[] = {"debug.zul.aee.db.08ee", "debug.zul.aee.db.connsysdump"};

bool isDatabase(const std::string& path) {
    return std::any_of(std::begin(kDatabases), std::end(kDatabases),
                       [&path](const char* name) { return path.find(name) != std::string::npos; });
}

/** The paths of a list; empty ones at its start leave no trace in a rewritten one. */
std::vector<std::string> pathsOf(const std::string& list) {
    std::vector<std::string> paths = ZulService::supersplit(list, ";");
    const auto isFull = [](const std::string& path) { return !path.empty(); };
    paths.erase(paths.begin(), std::find_if(paths.begin(), paths.end(), isFull));
    return paths;
}

void checkRewritten(const std::string& list, const std::string& rewritten) {
    const std::vector<std::string> before = pathsOf(list);
    std::vector<std::string> after = pathsOf(rewritten);
    // An empty path at the end is written as a separator, which adds none when it is split.
    after.resize(std::max(after.size(), before.size()));
    require(before.size() == after.size(), "every path has its place in the list");
    for (size_t i = 0; i < before.size(); i++) {
        if (!isDatabase(before[i])) {
            require(after[i] == before[i], "other paths stay as they are");
            continue;
        }
        const std::string name = after[i].substr(std::min(after[i].size(), strlen("/data/ZUL/")));
        require(after[i].starts_with("/data/ZUL/") && name.find('/') == std::string::npos,
                "a copy lies in the store itself");
        require(before[i].find(name) != std::string::npos, "a copy has the name of its file");
    }
}

}  // namespace

void run(std::string_view input) {
    const Store store;
    std::string files = take(input);
    for (const std::string& name : ZulService::supersplit(files, ";"))
        Store::write("/data/ZUL/" + name.substr(name.rfind('/') + 1), "");
    const std::string list(input);

    std::string rewritten = ZulService::copyVndFile(list);
    checkRewritten(list, rewritten);
    const std::string asked = rewritten;
    const bool found = ZulService::vndFileExist(rewritten);
    require(rewritten == asked, "the test leaves the list alone");
    require(gSleeps == 1, "one pause for the copies");

    const std::vector<std::string> paths = pathsOf(rewritten);
    require(!found || std::any_of(paths.begin(), paths.end(), isDatabase),
            "a list without databases has no copies");
    for (const std::string& path : paths) {
        require(!found || !isDatabase(path) || access(path.c_str(), R_OK) == 0,
                "every copy is there");
    }
    for (const char* request : kRequests) {
        char value[PROPERTY_VALUE_MAX] = {};
        property_get(request, value, "");
        require(value == std::string_view("") || value == std::string_view("0") ||
                        (value == std::string_view("1") && (!found || isDatabase(list))),
                "a request is open or taken back");
    }
}

}  // namespace zul::fuzz
