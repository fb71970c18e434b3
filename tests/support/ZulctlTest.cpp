// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ZulctlTest.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "base/Text.h"
#include "tests/support/Files.h"
#include "zulctl/Command.h"

namespace zulctl::test {

namespace {

std::string makeRoot() {
    std::string root = "/tmp/zulctl.XXXXXX";
    return mkdtemp(root.data()) != nullptr ? root : "";
}

/** What a word of a story stands for: $T is the event's tag, $L its length. */
const std::map<std::string, std::string> kWords = {
        {"start", "5/5 D ZUL  main start. > 5/5 D mCompressFileCount=0"},
        {"restart", "8/8 D ZUL  main start."},
        {"lookUp",
         "D getZulInfoByTag tagId===$T > D sceneType===$T,sceneType.length()=$L > "
         "I log flagstr = FLAG_ZUL_LOG"},
        {"describe",
         "I startZul sceneType===$T, flag = 0x200; mZulCmd = c; extraInfo = "
         "/data/vendor/aee_exp/db; mEventType = t; mEventSubType = s"},
        {"noCopy", "E Unable to open filePath: /db "},
        {"copyFailed", "E /data/vendor/aee_exp/db copy to /db failed."},
        {"refused", "D Illegal ZUL TAG $T,break"},
        {"unknown", "D startZul Illegal ZUL TAG $T,break"},
        {"otherPackage", "D remoteConfig packageName is not com.x ,return"},
        {"begin", "D sceneType===$T,sceneType.length()=$L,mFlag=0x2c1"},
        {"prepare",
         "D prepare.....sceneType=$T,flag=0x2c3,pid=77, mCompressFileCount=1, extraInfo=a text > D "
         "getZulBasePath:fileNum=0,folderName=/data/ZUL/0xffff/$T_2025_03_04_05_06_07_0"},
        {"noFolder", "E createZulPath failure..."},
        {"record",
         "D recordZulHistory:allContent===$T|2025-03-04 05:06:07|/data/ZUL/0xffff/"
         "$T_2025_03_04_05_06_07_0.zul|build > D write content to file!"},
        {"work", "D startWork...."},
        {"collect", "work > 9/9 D sceneFlag===707, mPid===77"},
        {"notExecuted", "9/9 E ret==-1,excel errno=2"},
        {"end", "D zuldump child normal exit..."},
        {"started", "begin > prepare > collect"},
        {"capture", "begin > prepare > record > collect > end"},
};

std::vector<std::string> tell(const std::string& story, const std::string& tag,
                              const std::string& writer) {
    std::vector<std::string> messages;
    for (const std::string& part : zul::split(story, " > ")) {
        const std::vector<std::string> words = zul::split(part, " ");
        const auto word = kWords.find(words[0]);
        if (word == kWords.end()) {
            messages.push_back(isdigit(part[0]) ? part : writer + " " + part);
            continue;
        }
        const std::string its = words.size() > 1 ? words[1] : tag;
        const std::string text = replaceAll(word->second, "$L", std::to_string(its.size()));
        for (const std::string& message :
             tell(replaceAll(text, "$T", its), its, words.size() > 2 ? words[2] : writer))
            messages.push_back(message);
    }
    return messages;
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

std::string unwrapped(const std::string& json) {
    return replaceAll(json, ",\n", ",");
}

void expectRows(const std::string& table,
                const std::function<std::string(const std::string&)>& each) {
    const std::string rows = replaceAll(replaceAll(table, "\n =>", " =>"), "=>\n", "=> \n");
    for (const std::string& row : zul::split(rows.substr(1), "\n")) {
        std::string text = replaceAll(row, "\\n", "\n") + "|";
        for (size_t at = 0; (at = text.find("\\x", at)) != std::string::npos;)
            text.replace(at, 4, 1, static_cast<char>(stoi(text.substr(at + 2, 2), nullptr, 16)));
        const std::vector<std::string> sides = zul::split(text, " => ");
        EXPECT_EQ(each(sides[0]) + "|", sides[1]) << row;
    }
}

std::string nameOf(const std::string& tag, const std::string& time, int number) {
    std::string name = tag + (time.size() > 8 ? "_" : "_2025_03_04_") + time;
    for (const char* separator : {" ", "-", ":"})
        name = replaceAll(name, separator, "_");
    return name + "_" + std::to_string(number);
}

std::string makeLog(const std::string& story, const std::string& tag) {
    std::string text;
    int time = 0;
    for (const std::string& message : tell(story, tag, "5/6")) {
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

Result ZulctlTest::run(const std::string& line) const {
    std::vector<std::string> words = zul::split(replaceAll(line, "@", mRoot), " ");
    if (!mRoot.empty() && !line.starts_with("--root="))
        words.insert(words.begin(), "--root=" + at("/data"));
    return call(words);
}

std::string ZulctlTest::told(const std::string& line) const {
    const Result result = run(line);
    const std::string status = "[" + std::to_string(result.status) + "]\n";
    const std::string text = result.out + result.err + (result.status != 0 ? status : "");
    return mRoot.empty() ? text : replaceAll(text, mRoot, "@");
}

void ZulctlTest::expectCalls(const std::vector<CallCase>& cases) const {
    for (const CallCase& c : cases) {
        const Result result = run(c.line);
        EXPECT_EQ(result.status, c.status) << c.line << result.err;
        for (const auto& [text, part] : {std::pair(result.out, c.out), {result.err, c.err}}) {
            EXPECT_THAT(text, HasSubstr(part)) << c.line;
            EXPECT_EQ(text.empty(), part.empty()) << c.line << text;
        }
    }
}

std::string ZulctlTest::sh(const std::string& command) const {
    FILE* pipe = popen(("cd " + mRoot + "/ && " + replaceAll(command, "@", mRoot)).c_str(), "r");
    std::string text;
    for (int c; (c = fgetc(pipe)) != EOF;)
        text += static_cast<char>(c);
    return pclose(pipe) == 0 ? text : "FAILED: " + text;
}

void ZulctlTest::write(const std::string& path, const std::string& text) const {
    makeFolder(path.substr(0, path.rfind('/')));
    zul::test::writeFile(at(path), text);
}

void ZulctlTest::makeFolder(const std::string& path) const {
    std::filesystem::create_directories(at(path));
}

bool ZulctlTest::exists(const std::string& path) const {
    return zul::test::exists(at(path));
}

std::string ZulctlTest::make(const std::string& kinds, const std::string& tag,
                             const std::string& time) {
    const auto has = [&](const char* kind) { return zul::contains(kinds, kind); };
    const std::string folder = has("S")   ? "/morvfs/stuck_logo/"
                               : has("D") ? "/data/ZUL/"
                                          : "/data/ZUL/" + tag.substr(0, 6) + "/";
    const std::string path = folder + nameOf(tag, time);
    const std::string when = (time.size() > 8 ? "" : "2025-03-04 ") + time;
    if (has("L")) mHistory += tag + "|" + when + "|" + path + ".zul|BUILD\n";
    if (has("A")) write(path + ".zul", "12345");
    if (has("F")) write(path + "/inside/file", "1234567");
    write("/data/ZUL/zul_history", mHistory);
    return path;
}

}  // namespace zulctl::test
