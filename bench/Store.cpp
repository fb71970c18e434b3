// SPDX-License-Identifier: Apache-2.0
#include "bench/Store.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "bench/Process.h"

namespace bench {

namespace fs = std::filesystem;

namespace {

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::vector<std::string> makeTags(size_t count) {
    std::vector<std::string> tags;
    for (size_t i = 0; i < count; i++)
        tags.push_back("0xbe00" + std::to_string(1000 + i));
    return tags;
}

void Store::fill(const std::vector<std::string>& tags, int archives, bool inRoot) const {
    std::error_code error;
    fs::remove_all(mRoot, error);
    fs::remove(kCollectorRuns, error);
    fs::create_directories(mRoot, error);
    std::ofstream tagFile(mRoot + "/ZUL_TAG.txt");
    for (const std::string& tag : tags) {
        tagFile << tag << "|\n";
        fs::create_directories(typeFolder(tag), error);
        for (int i = 0; i < archives; i++)
            std::ofstream(oldArchive(tag, i, inRoot));
    }
    tagFile.close();
    // Nothing of this is to be written out while a contender is at work.
    sync();
}

std::string Store::oldArchive(const std::string& tag, int number, bool inRoot) const {
    return (inRoot ? mRoot + "/" : typeFolder(tag)) + tag + "_2020_01_01_00_00_" +
           std::to_string(10 + number) + "_0.zul";
}

std::string Store::typeFolder(const std::string& tag) const {
    return mRoot + "/" + tag.substr(0, 6) + "/";
}

std::string Store::differs(size_t folders, size_t archives, size_t captures) const {
    size_t found[2] = {};
    std::error_code error;
    for (fs::recursive_directory_iterator entry(mRoot, error), end; entry != end;
         entry.increment(error)) {
        const bool isFolder = entry->is_directory(error);
        if (isFolder ? entry.depth() > 0 : entry->path().extension() == ".zul") found[isFolder]++;
    }
    const std::string history = contentOf(historyFile());
    const auto lines = static_cast<size_t>(std::ranges::count(history, '\n'));
    const size_t runs = contentOf(kCollectorRuns).size();
    if (found[1] == folders && found[0] == archives && lines == captures && runs == captures) {
        return "";
    }
    return std::to_string(found[1]) + " folders, " + std::to_string(found[0]) + " archives, " +
           std::to_string(lines) + " history lines, " + std::to_string(runs) + " collector runs";
}

}  // namespace bench
