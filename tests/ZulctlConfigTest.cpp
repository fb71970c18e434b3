// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "base/Text.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/commands/ConfigChecker.h"
#include "zulctl/commands/Mask.h"

namespace zulctl::test {
namespace {

/** What a text is told to have: ERROR or warning, RECORD.ITEM, CODE; the next one behind ", ". */
std::string findingsOf(const std::string& text) {
    std::string findings;
    Rules rules;
    const auto number = [](size_t place) {
        return std::to_string(place != ConfigReport::kAll ? place : 0);
    };
    for (const auto& [place, told] : checkConfig(text, rules).places) {
        for (const ConfigFinding& finding : told.findings) {
            findings += (findings.empty() ? "" : ", ") +
                        std::string(finding.isError ? "ERROR " : "warning ") + number(place.first) +
                        "." + number(place.second) + " " + finding.code;
        }
    }
    return findings;
}

TEST(FindingTest, AreWhatATextDoesOtherThanItSeemsTo) {
    const std::string longest(128 * 1024 - 1, 'a');
    // $ stands for a record that begins with a tag.
    const std::pair<std::string, const char*> cases[] = {
            {"$enable:1,flag:0x4,cmds:ps -A,paths:;/data/a", ""},
            {"$cmd:ps,path:;/a|tag:0xffff0102", ""},
            {"tag:0xffff01_path,cmds:ls /path", ""},
            {"$cmds", "ERROR 1.2 no-value"},
            {"$cmds:", "ERROR 1.2 no-value"},
            {"$enable:true", "ERROR 1.2 enable-value"},
            {"tag: 0xffff0101", "warning 1.1 blank-in-tag"},
            {"tag:0xffff0101 ", "warning 1.1 blank-in-tag"},
            {"$paths:/data/a", "warning 1.2 no-separator"},
            {"$flag:x", "ERROR 1.2 no-number"},
            {"$flag:0x8000000000000000,flag:5", "ERROR 1.2 number-too-large"},
            {"$flag:010", ""},
            {"$flag:0x30000", "warning 1.0 unnamed-bits"},
            {"tag:0xffffff01,flag:0x10000", ""},
            {"|tag:0xffff0101,cmd:x", "ERROR 1.0 empty-tag, ERROR 2.0 never-used"},
            {"tag:a,enable:1", "warning 1.0 no-folder-name"},
            {"tag:a,cmds:b", ""},
            {"tag:0xffff0401,enable:1|tag:0xffff04,enable:0", "ERROR 2.0 replaces-other"},
            {"tag:0xffff0401,enable:1|tag:0xffff0401,enable:0", ""},
            {"tag:0xffff04,cmds:a|tag:0xffff0401,cmds:b", "ERROR 2.0 never-used"},
            {"tag:0401,cmds:a|tag:0xffff0401,cmds:b", "ERROR 2.0 never-used"},
            // Nothing is lost.
            {"tag:0xffff04,cmds:a|tag:0xffff0401,enable:1", ""},
            {"tag:0xffffffff,enable:0", "ERROR 0.0 locks-updates-out"},
            {"tag:0xffffffff,enable:0|tag:0xffffff,enable:1", "ERROR 2.0 replaces-other"},
            {"tag:0xffffffff,enable:0|tag:0xffffffff,enable:1", ""},
            {"$\nenable:1\n", "warning 0.0 line-break"},
            {"$cmds:" + longest, ""},
            {"tag:A,cmds:a|tag:" + std::string(256, 'A') + ",cmds:b", ""},
            {"$paths:;,cmds:" + longest, "ERROR 1.0 too-long"},
            {"$" + std::string(500 * 1024 - 15, 'x'), "warning 1.2 ignored"},
            {"$" + std::string(500 * 1024 - 14, 'x'), "warning 1.2 ignored, ERROR 0.0 too-large"},
    };
    for (const auto& [text, findings] : cases)
        EXPECT_EQ(findingsOf(replaceAll(text, "$", "tag:0xffff0101,")), findings) << text;
}

class ConfigCommandTest : public ZulctlTest {
  protected:
    void store(const std::string& config, const std::string& tags = "") const {
        write("/data/ZUL/config", config);
        write("/data/ZUL/ZUL_TAG.txt", tags);
    }

    /** What a match of the event tells behind its tag in the first line, and its status. */
    std::string outcomeOf(const std::string& event) const {
        const std::string text = told("config match " + event);
        const std::string first = text.substr(0, text.find('\n'));
        return first.substr(event.substr(0, event.find(' ')).size() + 2) +
               (zul::contains(text, "[1]") ? "[1]" : "");
    }
};

TEST_F(ConfigCommandTest, ShowsWhatTheNextStartHas) {
    store("tag:0xffff0404,enable:1,pkgname:com.a,flag:0x400001,cmds:ps,\npaths:;/a\x1b|"
          "tag:b,enable:0|tag:0xffffff01,flag:3\n",
          "c|a text|more\nb|\nnone\nc|again\n");
    EXPECT_EQ(told("config show"), R"(tag 0xffff0404
  enable   1
  pkgname  com.a
  flag     0x400001 FLAG_ZUL_BINDER|FLAG_ZUL_PERF_BUFFER
  cmds     ps
  paths    ;/a\x1b
tag b
  enable   0
tag 0xffffff01
  flag     0x3 FLAG_ZUL_USER_LOG_MAIN_SYS|0x1
TAG           LEGAL  FROM    ENTRY         TEXT
0xffff0404    yes    config  0xffff0404
b             no     file    b
c             yes    file    -             a text|more
3 entries, 2 legal of 3 tags
)");
    EXPECT_THAT(told("--json config show"),
                HasSubstr(unwrapped(
                        R"({"v":1,"device":"data","kind":"entry","tag":"0xffff0404","enable":"1",
"pkgname":"com.a","flag":"0x400001","cmds":"ps","paths":";/a\u001b"}
)")));
    EXPECT_THAT(told("--json config show"),
                HasSubstr(unwrapped(
                        R"({"v":1,"device":"data","kind":"tag","tag":"b","legal":false,
"from":"file","entry":"b","text":""})")));
    // A user build's store has folders of user tags, and its tag file does not count.
    sh("mkdir data/ZUL/0xffffff");
    store("", "c|\n");
    const std::string user = told("--no-legend config show");
    EXPECT_EQ(std::count(user.begin(), user.end(), '\n'), 257);
    EXPECT_THAT(user, HasSubstr("0xffffff0a    yes    build   -\n"));
}

TEST_F(ConfigCommandTest, TellsWhenThereIsNothingToShow) {
    const std::string none = "0 entries, 0 legal of 0 tags\n";
    EXPECT_EQ(told("config show"), none + "zulctl: no configuration is stored\n[1]\n");
    EXPECT_EQ(told("--root=@/nowhere --no-legend config show"),
              "zulctl: @/nowhere: No such file or directory\n[3]\n");
    store("cmds:x tag");
    expectCalls({{"config show", 0, "tag x", "see config check"}});
    sh("rm data/ZUL/config; mkdir data/ZUL/config");
    expectCalls({{"config show", 3, none, "/data/ZUL/config: "}});
}

TEST_F(ConfigCommandTest, ChecksAText) {
    write("/text", "tag:A,flag:12abc,x,flags:1|tag:\x1b,cmds:b:\xff,cmds:ls tags|a:b\n");
    EXPECT_EQ(told("--root=@ config check @/text"), R"(ITEM  SETS     VALUE
1.1   tag      A
1.2   flag     12
      error: counts as 12, without 'abc'
1.3   nothing  x
      warning: has none of the keys, and is ignored
1.4   flag     1
      warning: 'flags' is no key; sets flag, for 'flag' stands in it
2.1   tag      \x1b
2.2   cmds     \xff
      error: of the value only '\xff' counts
2.3   tag      ls tags
      error: sets tag and not cmds, for 'tag' stands in it
3.1   nothing  a:b
      warning: has none of the keys, and is ignored
      error: record 3: has no tag: counts for every event, and replaces all entries before it
      error: record 3: its tag stands in others, whose entries it replaces: 'A', 'ls tags'
      warning: line breaks are dropped at a start, but belong to the values when they are pushed
3 records, 5 errors, 4 warnings
[1]
)");
    write("/text", "tag:0xffff0101,flag:12abc,x");
    EXPECT_THAT(call({"--json", "config", "check", at("/text")}).out,
                StartsWith(R"({"v":1,"device":"","kind":"item","record":1,"item":1,)"
                           R"("text":"tag:0xffff0101","sets":"tag","value":"0xffff0101"})"));
    write("/larger", std::string((16 << 20) + 1, 'x'));
    expectCalls({{"--json config check @/text", 1,
                  R"("kind":"finding","severity":"error","code":"text-behind-number","record":1,)"
                  R"("item":2,"message":"counts as 12, without 'abc'"})"},
                 {"--json config check @/text", 1, R"("text":"x","sets":null,"value":""})"},
                 {"config check @/nowhere", 3, "", "/nowhere: "},
                 {"config check @/larger", 3, "", "File too large"}});
}

TEST_F(ConfigCommandTest, CheckTellsWhatATextChanges) {
    store("tag:0xff0404,enable:1,pkgname:com.a|tag:0xff0505,flag:4", "0xff0606|\n");
    write("/text", "tag:0xff,enable:1,flag:0x4|tag:0xff0606,enable:0|tag:0xff1,cmds:ps");
    const std::string changes = told("config check @/text");
    EXPECT_EQ(changes.substr(changes.find("3.1")), R"(3.1   tag      0xff1
3.2   cmds     ps
      error: record 3: never counts: '0xff' of record 1 stands in its tag and comes first
      warning: the tag '0xff0606' becomes illegal
entry of 0xff0404: tag:0xff0404,enable:1,pkgname:com.a -> tag:0xff,enable:1,flag:4
entry of 0xff0505: tag:0xff0505,flag:4 -> tag:0xff,enable:1,flag:4
entry of 0xff0606: nothing -> tag:0xff0606,enable:0
entry of 0xff1: nothing -> tag:0xff1,cmds:ps
legal of 0xff: nothing -> legal
legal of 0xff0606: legal -> nothing
3 records, 2 errors, 2 warnings
[1]
)");
    // The same text again changes nothing, and an entry of before hides one of the text.
    write("/stored", "tag:0xffff04,cmds:a");
    write("/other", "tag:0xffff0401,cmds:b");
    write("/many", "tag:A1|tag:A2|tag:A3|tag:A4|tag:A5|tag:A6|tag:A7|tag:A");
    expectCalls({{"--json config check @/text", 1,
                  R"("kind":"change","of":"legal","tag":"0xff0606","before":"legal","after":""})"},
                 {"config check @/stored --with @/stored", 0,
                  "cmds     a\n1 record, 0 errors, 0 warnings\n"},
                 {"config check @/other --with=@/stored", 1,
                  "'0xffff04' of what is stored stands in its tag"},
                 {"config check @/many", 1, "'A4', 'A5' and 2 more\n"},
                 {"config check @/other --with=@/nowhere", 3, "", "/nowhere: "}});
}

TEST_F(ConfigCommandTest, MatchTellsWhatTheDaemonWouldDo) {
    store("tag:0xffff04,enable:1,pkgname:com.a.b,flag:4,cmds:ps,paths:;/a|tag:0xffff0505,enable:0|"
          "tag:0xffff0707,enable:1",
          "0xffff0401|x\n0xffff0505|y\n0xffff0606|z\n0xffffffff|\nnone\n");
    write("/other", "tag:0xffff04,enable:1,pkgname:com.c");
    write("/illegal", "tag:0xffff0606,enable:0");
    write("/shorter", "tag:0xffff07,enable:0");
    // The entry that made 0xffff0707 legal can go, the tag stays.
    expectRows(R"(
0xffff0401 => passes
0xffff0401 com.a => passes: the package is a part of the pkgname
0xffff0401 com.a.b.c => refused: other package[1]
0xffff0606 => passes, and no entry counts for it[1]
none => refused: no legal tag[1]
0xffff0505 => refused: no legal tag[1]
0xffff0707 com.a => passes
0xffffffff => updates the configuration[1]
0xffff0401 com.c --with=@/other => passes
0xffff0606 --with=@/illegal => refused: no legal tag[1]
0xffff0707 --with=@/shorter => passes
)",
               [this](const std::string& event) { return outcomeOf(event); });
}

TEST_F(ConfigCommandTest, MatchGoesByWhatWasPushedSinceTheStart) {
    store("tag:0xffff04,enable:1,pkgname:com.a.b", "0xffff0401|x\n");
    expectRows(R"(
9/9 D x => passes, and no entry counts for it[1]
tag = 0xffff04 > pkgname = com.b > D startWork.... > tag = 0xffff0202 > enable = 1
 => refused: other package[1]
tag = 0xffff04 > D   > pkgname = com.b => refused: other package[1]
tag = 0xffff04 > pkgname = com.b > D ZUL  main start. => passes, and no entry counts for it[1]
tag = 0xffff0401 > flag = 4 > tag = 0xffff0303 > pkgname = com.b => passes
tag = 0xffff0401 > enable = 0 > enable = 2 => passes
tag = 0xffff0401 > enable = 0 > 5/8 tag = 0xffff0401 > 5/8 enable = 2 => refused: no legal tag[1]
tag = 0xffff0401 > enable = 0 > 9/6 enable = 2 => refused: no legal tag[1]
)",
               [this](const std::string& items) {
                   std::string story = "D ZUL  main start.";
                   for (std::string item : zul::split(items, " > ")) {
                       const size_t name = item.find('/') == 1 ? 4 : 0;
                       if (zul::contains(item, " = "))
                           item = item.insert(name, "D remoteConfig.") + " ";
                       story += " > " + item;
                   }
                   write("/log", makeLog(story));
                   return outcomeOf("0xffff0401 com.a --log=@/log");
               });
}

TEST_F(ConfigCommandTest, MatchTellsWhatTheEntryAdds) {
    store("tag:0xffff04,flag:4,cmds:ps,paths:;/a", "0xffff0401|");
    EXPECT_EQ(run("config match 0xffff0401").out, R"(0xffff0401: passes
  entry    tag 0xffff04
  mask +   0x4 FLAG_ZUL_PROC_MEM
  text +   ;/a#ps
)");
    EXPECT_EQ(run("--json config match 0xffff0401 p").out,
              unwrapped(
                      R"({"v":1,"device":"data","tag":"0xffff0401","outcome":"passes","legal":true,
"refused":false,"entry":"0xffff04","package":"p","pkgname":"",
"adds_flag":"0x4","adds_text":";/a#ps"}
)"));
    EXPECT_THAT(call({"config", "match", "0xffff0401", "--with=" + at("/data/ZUL/config")}).out,
                HasSubstr("passes; whether its tag is legal is not known"));
    EXPECT_EQ(call({"config", "match", "x"}).err, "zulctl: no store, and no --with to try\n");
    write("/late", makeLog("D x"));
    write("/whole", makeLog("restart"));
    expectCalls(
            {{"--json config match x", 1,
              R"("legal":false,"refused":true,"entry":null,"package":null)", "known from its log"},
             {"--log=@/late config match 0xffff0401", 0, "passes\n", "does not go back"},
             {"--log=@/whole config match 0xffff0401", 1, "no entry counts"},
             {"--root=@/none config match x", 3, "", "/none: No such file"}});
}

using MaskCommandTest = ZulctlTest;

TEST_F(MaskCommandTest, ShowsBitsInBothVocabularies) {
    EXPECT_EQ(told("mask 0x10011"),
              R"(0x10011 = 65553
BIT  VALUE               FULL VOCABULARY              USER VOCABULARY
  0  0x1                 FLAG_ZUL_BINDER              -
  4  0x10                FLAG_ZUL_PROC_STACK          FLAG_ZUL_USER_LOG_CRASH
 16  0x10000             -                            FLAG_ZUL_USER_MMSTAT
full vocabulary: no name for 0x10000
user vocabulary: no name for 0x1
)");
    expectCalls({{"mask 0x2c1", 0, "full vocabulary: the same as EXCEPTION_TYPE_ANR\n"},
                 {"mask -- -9223372036854775808", 0, "\n 63  0x8000000000000000  "},
                 {"mask 010", 0, "0xa = 10\n"},
                 {"mask 0XFf", 0, "0xff = 255\n"},
                 {"mask 18446744073709551615", 0, "0xffffffffffffffff = -1\n"},
                 {"mask 18446744073709551616", 1, "0x0 "},
                 {"mask -- -9223372036854775809", 1, "0x0 "},
                 {"mask 12a", 1, "0x0 "}});
    EXPECT_EQ(told("--json mask 0x40000001"),
              unwrapped(
                      R"({"v":1,"device":"","vocabulary":"full","mask":"0x40000001",
"decimal":1073741825,"names":["FLAG_ZUL_BINDER","FLAG_ZUL_DISPLAY"],
"aliases":[],"unnamed":"0x0","unknown":[]}
{"v":1,"device":"","vocabulary":"user","mask":"0x40000001","decimal":1073741825,
"names":[],"aliases":[],"unnamed":"0x40000001","unknown":[]}
)"));
}

TEST_F(MaskCommandTest, ShowsTheMaskOfNames) {
    EXPECT_EQ(call({"mask", "FLAG_ZUL_LOG | FLAG_ZUL_BINDER", "FLAG_ZUL_USER_PS"}).out,
              R"(VOCABULARY  MASK                DECIMAL               UNKNOWN NAMES
full        0x201               513                   FLAG_ZUL_USER_PS
user        0x1000              4096                  FLAG_ZUL_LOG, FLAG_ZUL_BINDER
)");
    expectCalls({{"mask FLAG_ZUL_LOG flag_zul_log", 1, "0x200               512        "},
                 {"mask --json flag_zul_log", 1, R"("unknown":["flag_zul_log"]})"},
                 {"mask anr", 0, "full        0x2c1"},
                 {"mask anr|log user_ps", 1, "full        0x2c1"},
                 {"mask Exception_type_anr", 1, "full        0x0 "},
                 {"mask ps fd", 0, "user        0x1000              4096"},
                 {"mask", 0, "full        0x2c1               EXCEPTION_TYPE_ANR\n"}});
    const std::string all = told("--no-legend mask");
    EXPECT_EQ(static_cast<size_t>(std::count(all.begin(), all.end(), '\n')),
              std::size(zul::kFlags) + std::size(zul::kUserFlags));
}

}  // namespace
}  // namespace zulctl::test
