// SPDX-License-Identifier: Apache-2.0

// Input: names below /data/ZUL, one a line, with "f" (file), "d" (folder) or "l" (link to a folder outside)
// before each; a line that is none of these; then the history file.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include "base/Paths.h"
#include "fuzz/support/Fuzz.h"
#include "fuzz/support/Store.h"
#include "fuzz/support/Zulctl.h"
#include "zulctl/store/HistoryFile.h"

namespace zul::fuzz {

namespace {

namespace fs = std::filesystem;

void make(char kind, const std::string& name) {
    const std::string path = kOutputRoot + name;
    std::error_code error;
    // The target itself makes nothing through a link.
    const std::string parent = fs::weakly_canonical(fs::path(path).parent_path(), error);
    if (error || !(parent + "/").starts_with(kOutputRoot)) return;
    if (kind == 'f') Store::write(path, "12345");
    if (kind == 'd') fs::create_directories(path, error);
    if (kind == 'l') (void)!symlink("/data/canary", path.c_str());
}

void fillStore(std::string_view& input) {
    for (int i = 0; i < 60; i++) {
        const std::string line = take(input);
        if (line.size() < 2 || std::string_view("fdl").find(line[0]) == std::string_view::npos)
            return;
        if (line.find('\0') == std::string::npos) make(line[0], line.substr(1));
    }
}

/** What a walk from the start finds, by the reading of one line. */
void checkReader(std::string_view history) {
    std::vector<std::string> expected;
    size_t strange = 0;
    while (!history.empty()) {
        const bool ended = history.find('\n') != std::string_view::npos;
        const std::string line = take(history);
        if (const auto read = zulctl::readHistoryLine(line)) {
            expected.emplace_back(std::string(read->record.archive) + "|" +
                                  std::string(read->record.build));
        } else if (ended) {
            strange++;
        }
    }
    const int fd = open(kHistoryFile, O_RDONLY | O_CLOEXEC);
    zulctl::HistoryFile file(fd);
    for (auto last = expected.rbegin(); const auto read = file.previous(); ++last) {
        require(last != expected.rend() && *last == std::string(read->record.archive) + "|" +
                                                            std::string(read->record.build),
                "a walk from the end finds what one from the start does");
    }
    close(fd);
    require(file.strangeLines() == strange, "what is no record is counted");
}

std::set<std::string> names() {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(kOutputRoot))
        names.insert(entry.path());
    return names;
}

}  // namespace

void run(std::string_view input) {
    const Store store;
    fillStore(input);
    std::error_code error;
    fs::remove_all(kHistoryFile, error);
    Store::write(kHistoryFile, input);
    checkReader(input);

    const std::set<std::string> before = names();
    const std::string all = callZulctl({"--json", "list"});
    for (const char* number : {"1", "3"})
        require(all.starts_with(callZulctl({"--json", "list", "-n", number})),
                "a short list is how a long one begins");
    callZulctl({"list"});
    callZulctl({"info", "0xffff"});
    callZulctl({"list", "--by-tag"});
    const std::string planned = callZulctl({"clean", "-n", "--no-legend"});
    require(names() == before, "to look changes nothing");

    callZulctl({"clean", "-f"});
    const std::set<std::string> after = names();
    require(std::includes(before.begin(), before.end(), after.begin(), after.end()),
            "clean makes nothing");
    for (const std::string& name : before) {
        const auto isPlanned = [&](const fs::path& path) {
            return planned.find("  " + zulctl::printable(path.string()) + "\n") !=
                   std::string::npos;
        };
        fs::path path = name;
        while (path != path.root_path() && !isPlanned(path))
            path = path.parent_path();
        require(after.contains(name) != (path != path.root_path()), "clean removes what it told");
    }
}

}  // namespace zul::fuzz
