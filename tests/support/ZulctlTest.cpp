// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ZulctlTest.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/Text.h"
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

std::string replaceAll(std::string text, const std::string& what, const std::string& by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

std::string nameOf(const std::string& tag, const std::string& time, int number) {
    return tag + "_2025_03_04_" + replaceAll(time, ":", "_") + "_" + std::to_string(number);
}

std::string lineOf(const std::string& tag, const std::string& time, const std::string& archive) {
    return tag + "|2025-03-04 " + time + "|" + archive + "|BUILD\n";
}

std::string logOf(const std::vector<std::string>& messages) {
    std::string text;
    int time = 0;
    for (const std::string& message : messages) {
        const size_t start = message.find(' ') + 3;
        char clock[32];
        snprintf(clock, sizeof(clock), "03-04 05:06:%02d.%03d ", 7 + time / 1000, time % 1000);
        for (const std::string& row : zul::split(message.substr(start), "\n"))
            text += clock + replaceAll(message.substr(0, start), "/", " ") + "ZUL_DEBUG: " + row +
                    "\n";
        time += 10;
    }
    return text;
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

void ZulctlTest::expectCalls(const std::vector<CallCase>& cases) const {
    for (const CallCase& c : cases) {
        const std::vector<std::string> words = zul::split(replaceAll(c.line, "@", mRoot), " ");
        const Result result =
                mRoot.empty() || c.line.starts_with("--root=") ? call(words) : onCopy(words);
        EXPECT_EQ(result.status, c.status) << c.line << result.err;
        EXPECT_THAT(result.out, HasSubstr(c.out)) << c.line;
        EXPECT_THAT(result.err, HasSubstr(c.err)) << c.line;
        EXPECT_EQ(result.err.empty(), c.err.empty()) << c.line << result.err;
    }
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
