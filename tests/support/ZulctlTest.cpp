// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ZulctlTest.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "zulctl/Command.h"

namespace zulctl::test {

namespace {

std::string makeRoot() {
    std::string root = "/tmp/zulctl.XXXXXX";
    return mkdtemp(root.data()) != nullptr ? root : "";
}

}  // namespace

Result call(const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {"zulctl"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    char* texts[2] = {};
    size_t sizes[2] = {};
    FILE* out = open_memstream(&texts[0], &sizes[0]);
    FILE* err = open_memstream(&texts[1], &sizes[1]);
    Result result;
    result.status = static_cast<int>(run(words, out, err));
    fclose(out);
    fclose(err);
    result.out.assign(texts[0], sizes[0]);
    result.err.assign(texts[1], sizes[1]);
    free(texts[0]);
    free(texts[1]);
    return result;
}

ZulctlTest::ZulctlTest() : ZulctlTest(makeRoot()) {}

ZulctlTest::ZulctlTest(const std::string& root) : mRoot(root) {
    makeFolder("/data/ZUL");
    makeFolder("/morvfs/stuck_logo");
}

ZulctlTest::~ZulctlTest() {
    std::error_code error;
    for (const std::string& path : {at("/data/ZUL"), at("/morvfs/stuck_logo"), mRoot})
        std::filesystem::remove_all(path, error);
}

Result ZulctlTest::onCopy(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "--root=" + at("/data"));
    return call(arguments);
}

void ZulctlTest::write(const std::string& path, const std::string& text) const {
    makeFolder(path.substr(0, path.rfind('/')));
    std::ofstream(at(path), std::ios::binary) << text;
}

void ZulctlTest::makeFolder(const std::string& path) const {
    std::filesystem::create_directories(at(path));
}

bool ZulctlTest::exists(const std::string& path) const {
    std::error_code error;
    return std::filesystem::symlink_status(at(path), error).type() !=
           std::filesystem::file_type::not_found;
}

}  // namespace zulctl::test
