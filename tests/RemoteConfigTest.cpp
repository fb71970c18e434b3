// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "tests/support/ServiceTest.h"

namespace zul::test {

/** One entry as text: tag;enable;pkgname;flag;cmds;paths. */
static std::string describe(const ZulService::zul_struct& entry) {
    return entry.tag + ";" + entry.enable + ";" + entry.pkgname + ";" + std::to_string(entry.flag) +
           ";" + entry.cmds + ";" + entry.paths;
}

namespace {

class RemoteConfigTest : public ServiceTest {
  protected:
    static void parse(std::string text) {
        const std::string before = text;
        ZulService::parseRemoteConfig(text);
        EXPECT_EQ(text, before);
    }
    static std::vector<std::string> entries() {
        std::vector<std::string> entries;
        for (const auto& entry : ZulService::mRemoteConfigs)
            entries.push_back(describe(entry));
        return entries;
    }
    static std::vector<std::string> tags() {
        std::vector<std::string> tags;
        for (const auto& [tag, archives] : ZulService::mTagTable)
            tags.push_back(tag);
        return tags;
    }
};

struct SplitCase {
    const char* text;
    std::vector<std::string> pieces;
};

TEST(SupersplitTest, KeepsEmptyPiecesButAddsNoneAtTheEnd) {
    const SplitCase cases[] = {{"", {}},          {"a", {"a"}},  {"a|b", {"a", "b"}},
                               {"|a", {"", "a"}}, {"a|", {"a"}}, {"a||b", {"a", "", "b"}},
                               {"||", {"", ""}},  {"|", {""}}};
    for (const SplitCase& c : cases) {
        EXPECT_EQ(ZulService::supersplit(c.text, "|"), c.pieces) << c.text;
    }
    EXPECT_THAT(ZulService::supersplit("a::b:::c", "::"), ElementsAre("a", "b", ":c"));
}

struct RecordCase {
    const char* name;
    const char* record;
    const char* entry;
};

using RecordTest = TableTest<RecordCase, RemoteConfigTest>;

TEST_P(RecordTest, BecomesAnEntry) {
    parse(GetParam().record);
    EXPECT_THAT(entries(), ElementsAre(GetParam().entry));
}

const RecordCase kRecordCases[] = {
        {"Whole", "tag:T,enable:1,pkgname:com.x,flag:0x4,cmd:c,path:/p", "T;1;com.x;4;c;/p"},
        {"LongKeys", "cmds:c,paths:/p", ";;;0;c;/p"},
        {"LastItemWins", "tag:A,tag:B", "B;;;0;;"},
        {"WholeItemClassifies", "pkgname:com.tagger", "com.tagger;;;0;;"},
        {"EarlierKeywordsClassify", "enable:tag,pkgname:enable,flag:pkgname,cmd flag:7,path:cmd",
         "tag;enable;pkgname;7;cmd;"},
        {"LastPieceIsTheValue", "tag:A:B", "B;;;0;;"},
        {"KeyAlone", "tag", "tag;;;0;;"},
        {"NothingBehindTheColon", "tag:", "tag;;;0;;"},
        {"TwoColonsAtTheEnd", "tag::", ";;;0;;"},
        {"NothingIsTrimmed", "tag: A ,,x:y", " A ;;;0;;"},
        {"CaseMatters", "TAG:A,Enable:1", ";;;0;;"},
        {"HighBytes", "tag:\xff\xc3\xa4", "\xff\xc3\xa4;;;0;;"},
        {"Hexadecimal", "flag:0X1f", ";;;31;;"},
        {"Octal", "flag:010", ";;;8;;"},
        {"OctalStopsAtEight", "flag:018", ";;;1;;"},
        {"NoBinaryNumbers", "flag:0b11", ";;;0;;"},
        {"TrailingText", "flag:12abc", ";;;12;;"},
        {"Signs", "flag: \t-0x10", ";;;-16;;"},
        {"PlusSign", "flag:+0x10", ";;;16;;"},
        {"Largest", "flag:0x7fffffffffffffff", ";;;9223372036854775807;;"},
        {"Smallest", "flag:-9223372036854775808", ";;;-9223372036854775808;;"},
        {"TooLarge", "tag:T,flag:0x8000000000000000,cmd:c", "T;;;0;c;"},
        {"AfterOneTooLarge", "flag:99999999999999999999,flag:5", ";;;5;;"},
        {"TooSmall", "tag:T,flag:-9223372036854775809", "T;;;0;;"},
        {"NoNumber", "tag:T,flag:x1,enable:1", "T;1;;0;;"},
        {"BareHexadecimalPrefix", "flag:0xg", ";;;0;;"},
};
INSTANTIATE_TEST_SUITE_P(Records, RecordTest, testing::ValuesIn(kRecordCases), caseName);

TEST_F(RemoteConfigTest, MergesAsAWalkOverAllEntriesWould) {
    std::mt19937 random(7);
    const auto below = [&random](unsigned limit) { return random() % limit; };
    for (int round = 0; round < 100; round++) {
        ZulService::mRemoteConfigs.clear();
        std::vector<std::pair<std::string, std::string>> walked;
        std::string text;
        for (int i = 0; i < 40; i++) {
            // Two letters, so that many tags hold others.
            std::string tag;
            for (unsigned length = 1 + below(5); length > 0; length--)
                tag += "ab"[below(2)];
            const std::string number = std::to_string(i);
            text += "tag:" + tag + ",path:" + number + "|";
            // Entries of this text and of earlier ones.
            if (i % 20 == 19) parse(std::exchange(text, ""));
            bool merged = false;
            for (auto& entry : walked) {
                if (entry.first.find(tag) == std::string::npos) continue;
                entry = {tag, number};
                merged = true;
            }
            if (!merged) walked.emplace_back(tag, number);
        }
        std::vector<std::string> expected;
        for (const auto& [tag, number] : walked)
            expected.push_back(tag + ";;;0;;" + number);
        ASSERT_EQ(entries(), expected) << round;
    }
}

TEST_F(RemoteConfigTest, TellsEachFieldAtDebugPriority) {
    ZulService::mDebugLog = false;
    parse("tag:T,enable:1,pkgname:p,flag:-1,cmds:c,paths:/p,other");
    EXPECT_THAT(mLog.take(), ElementsAre("D remoteConfig.tag = T ", "D remoteConfig.enable = 1 ",
                                         "D remoteConfig.pkgname = p ", "D remoteConfig.flag = -1 ",
                                         "D remoteConfig.cmds = c ", "D remoteConfig.paths = /p "));
}

TEST_F(RemoteConfigTest, EmptyTagStandsInEveryTag) {
    parse("");
    EXPECT_THAT(entries(), IsEmpty());
    parse("|");
    EXPECT_THAT(entries(), ElementsAre(";;;0;;"));
    parse("tag:A|tag:B,enable:1");
    EXPECT_THAT(entries(), ElementsAre(";;;0;;", "A;;;0;;", "B;1;;0;;"));
    parse("|");
    EXPECT_THAT(entries(), ElementsAre(";;;0;;", ";;;0;;", ";;;0;;"));
    EXPECT_THAT(tags(), ElementsAre("B"));
}

TEST_F(RemoteConfigTest, EnableAdmitsAndWithdrawsTagsAtEveryParse) {
    admit("A");
    archives("A").push_back("/data/ZUL/a.zul");
    parse("tag:A,enable:1|tag:B,enable:1|tag:C,enable:2");
    EXPECT_THAT(tags(), ElementsAre("A", "B"));
    EXPECT_THAT(archives("A"), ElementsAre("/data/ZUL/a.zul"));
    parse("tag:A,enable:0");
    EXPECT_THAT(tags(), ElementsAre("B"));
    // Somebody else admits it: the old entry withdraws it again, but not with an empty text.
    admit("A");
    parse("");
    EXPECT_THAT(tags(), ElementsAre("A", "B"));
    parse("tag:D,enable:1");
    EXPECT_THAT(tags(), ElementsAre("B", "D"));
    parse("tag:A,enable:1");
    EXPECT_THAT(archives("A"), IsEmpty());
}

TEST_F(RemoteConfigTest, OverwrittenEntryDecidesNoMore) {
    parse("tag:AB,enable:1|tag:A,enable:0");
    EXPECT_THAT(tags(), IsEmpty());
    parse("tag:AB,enable:1");
    EXPECT_THAT(entries(), ElementsAre("A;0;;0;;", "AB;1;;0;;"));
    EXPECT_THAT(tags(), ElementsAre("AB"));
}

TEST_F(RemoteConfigTest, WriteConfigReplacesByteForByte) {
    umask(0777);
    std::string before;
    ino_t synced = 0;
    FakeSystem::onSync = [&](int fd) {
        struct stat status = {};
        synced = fstat(fd, &status) == 0 ? status.st_ino : 0;
        EXPECT_EQ(readFile("/data/ZUL/config"), before) << "replaced by what is on no disk yet";
    };
    // Interrupted first, and then a part at a time.
    FakeSystem::onWrite = [interrupted = false](size_t size) mutable {
        return std::exchange(interrupted, true) ? (size + 1) / 2 : 0;
    };
    const std::string contents[] = {"abc", "x", std::string("a\0\xff\n", 4),
                                    std::string(300000, 'z'), ""};
    for (const std::string& content : contents) {
        ZulService::writeConfig("/data/ZUL/config", content);
        EXPECT_EQ(readFile("/data/ZUL/config"), content);
        before = content;
    }
    struct stat status = {};
    ASSERT_EQ(stat("/data/ZUL/config", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(status.st_ino, synced);
    EXPECT_THAT(list("/data/ZUL"), ElementsAre("config"));
    EXPECT_THAT(mLog.take(), IsEmpty());
}

TEST_F(RemoteConfigTest, WriteConfigTellsWhatCannotBeWritten) {
    ZulService::writeConfig("/data/none/config", "abc");
    std::filesystem::create_directories("/data/ZUL/config/inner");
    ZulService::writeConfig("/data/ZUL/config", "abc");
    EXPECT_THAT(mLog.take(), ElementsAre("E writeConfig: open file(/data/none/config) fail",
                                         "E writeConfig: open file(/data/ZUL/config) fail"));
    EXPECT_THAT(list("/data/ZUL"), ElementsAre("config"));
}

TEST_F(RemoteConfigTest, WriteConfigFollowsNoLink) {
    writeFile("/data/victim", "untouched");
    ASSERT_EQ(symlink("/data/victim", "/data/ZUL/config"), 0);
    std::filesystem::create_directories("/data/ZUL/config.new/inner");
    ZulService::writeConfig("/data/ZUL/config", "abc");
    EXPECT_EQ(readFile("/data/victim"), "untouched");
    EXPECT_EQ(readFile("/data/ZUL/config"), "abc");
}

}  // namespace
}  // namespace zul::test
