// SPDX-License-Identifier: Apache-2.0

#include "fuzz/support/Store.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "fuzz/support/Fuzz.h"

namespace zul::fuzz {

namespace fs = std::filesystem;

namespace {

/** What nothing may touch, one beside each root. */
constexpr const char* kCanaries[] = {"/data/canary/file", "/morvfs/canary/file"};

std::vector<std::string> namesBesideTheRoots() {
    std::vector<std::string> names;
    std::error_code error;
    for (const char* folder : {"/", "/data", "/morvfs", "/data/canary", "/morvfs/canary"}) {
        for (const auto& entry : fs::directory_iterator(folder, error))
            names.push_back(entry.path());
    }
    std::sort(names.begin(), names.end());
    return names;
}

const std::vector<std::string>& namesAtStart() {
    static const std::vector<std::string> names = [] {
        for (const char* canary : kCanaries)
            Store::write(canary, "alive");
        setenv("TZ", "EAST-3", 1);
        return namesBesideTheRoots();
    }();
    return names;
}

}  // namespace

Store::Store() {
    for (const char* folder : {"/data/ZUL", "/morvfs/stuck_logo", "/dev/__properties__"}) {
        test::emptyFolder(folder);
        // As on a device: only a link that nobody but root can make is followed.
        fs::permissions(folder, fs::perms::all);
    }
    namesAtStart();
}

Store::~Store() {
    require(exists("/data/ZUL") && exists("/morvfs/stuck_logo"), "the roots are never removed");
    for (const char* canary : kCanaries)
        require(read(canary) == "alive", "nothing outside of the roots is removed or changed");
    require(namesBesideTheRoots() == namesAtStart(), "nothing outside of the roots is made");
}

bool Store::write(const std::string& path, std::string_view text) {
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    return test::writeFile(path, text);
}

}  // namespace zul::fuzz
