// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <filesystem>

#include "base/Text.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/commands/ConfigChecker.h"
#include "zulctl/commands/Mask.h"

namespace zulctl::test {

namespace {

struct FindingCase {
    const char* name;
    std::string text;
    /** ERROR or warning, RECORD.ITEM, CODE; the next one behind a comma. */
    const char* findings = "";
    /** A part of what they say. */
    const char* message = "";
};

class FindingTest : public testing::TestWithParam<FindingCase> {};

TEST_P(FindingTest, IsTold) {
    std::string findings;
    std::string messages;
    Rules rules;
    const auto number = [](size_t place) {
        return std::to_string(place != ConfigReport::kAll ? place : 0);
    };
    for (const auto& [place, told] : checkConfig(GetParam().text, rules).places) {
        for (const ConfigFinding& finding : told.findings) {
            findings += (findings.empty() ? "" : ", ") +
                        std::string(finding.isError ? "ERROR " : "warning ") + number(place.first) +
                        "." + number(place.second) + " " + finding.code;
            messages += finding.message + "\n";
        }
    }
    EXPECT_EQ(findings, GetParam().findings);
    EXPECT_THAT(messages, HasSubstr(GetParam().message));
}

/** A text of that size, of which the daemon ignores nearly all. */
std::string ofSize(size_t bytes) {
    const std::string start = "tag:0xffff0101,";
    return start + std::string(bytes - start.size(), 'x');
}

const FindingCase kFindingCases[] = {
        {"Fine", "tag:0xffff0101,enable:1,flag:0x4,cmds:ps -A,paths:;/data/a"},
        {"FineByItsOtherNames", "tag:0xffff0101,cmd:ps,path:;/a|tag:0xffff0102"},
        {"KeywordInAValue", "tag:0xffff0101,cmds:getprop ro.build.tags",
         "ERROR 1.2 keyword-in-value", "sets tag and not cmds, for 'tag' stands in it"},
        {"KeywordBehindItsOwn", "tag:0xffff01_path,cmds:ls /path"},
        {"UnknownKey", "tag:0xffff0101,flags:0x4", "warning 1.2 unknown-key",
         "'flags' is no key; sets flag, for 'flag' stands in it"},
        {"NoKey", "tag:0xffff0101,Enable:1", "warning 1.2 ignored"},
        {"ColonInAValue", "tag:0xffff0101,cmds:logcat -s a:V", "ERROR 1.2 colon-in-value",
         "of the value only 'V' counts"},
        {"ColonAtTheEnd", "tag:0xffff0101,cmds:ps:", "ERROR 1.2 colon-in-value"},
        {"NoColon", "tag:0xffff0101,cmds", "ERROR 1.2 no-value"},
        {"NothingBehindTheColon", "tag:0xffff0101,cmds:", "ERROR 1.2 no-value"},
        {"Enable", "tag:0xffff0101,enable:true", "ERROR 1.2 enable-value"},
        {"BlankInATag", "tag: 0xffff0101", "warning 1.1 blank-in-tag"},
        {"NoSeparator", "tag:0xffff0101,paths:/data/a", "warning 1.2 no-separator"},
        {"NoNumber", "tag:0xffff0101,flag:x", "ERROR 1.2 no-number"},
        {"TooLarge", "tag:0xffff0101,flag:0x8000000000000000", "ERROR 1.2 number-too-large"},
        {"TextBehindANumber", "tag:0xffff0101,flag:0x4|0x8",
         "warning 2.1 ignored, ERROR 2.0 empty-tag, ERROR 2.0 replaces-other"},
        {"TextBehind", "tag:0xffff0101,flag:4 8", "ERROR 1.2 text-behind-number",
         "counts as 4, without ' 8'"},
        {"Octal", "tag:0xffff0101,flag:010", ""},
        {"UnnamedInTheFullVocabulary", "tag:0xffff0101,flag:0x30000", "warning 1.0 unnamed-bits",
         "has bits without a name: 0x10000"},
        {"NamedInTheUsers", "tag:0xffffff01,flag:0x10000"},
        {"NoTag", "enable:1", "ERROR 1.0 empty-tag"},
        {"EmptyRecord", "|tag:0xffff0101,cmd:x", "ERROR 1.0 empty-tag, ERROR 2.0 never-used"},
        {"NoFolderName", "tag:a,enable:1", "warning 1.0 no-folder-name"},
        {"NoFolderNameAndNoNeed", "tag:a,cmds:b"},
        {"ReplacesAnother", "tag:0xffff0401,enable:1|tag:0xffff04,enable:0",
         "ERROR 2.0 replaces-other", "replaces: '0xffff0401'"},
        {"ReplacesMany", "tag:A1|tag:A2|tag:A3|tag:A4|tag:A5|tag:A6|tag:A7|tag:A",
         "ERROR 8.0 replaces-other", "'A4', 'A5' and 2 more"},
        {"ReplacesItself", "tag:0xffff0401,enable:1|tag:0xffff0401,enable:0"},
        {"NeverUsed", "tag:0xffff04,cmds:a|tag:0xffff0401,cmds:b", "ERROR 2.0 never-used",
         "'0xffff04' of record 1 stands in its tag"},
        {"NeverUsedButNothingIsLost", "tag:0xffff04,cmds:a|tag:0xffff0401,enable:1"},
        {"LongerTagFirst", "tag:0xffff0401,cmds:b|tag:0xffff0402,cmds:a"},
        {"LocksUpdatesOut", "tag:0xffffffff,enable:0", "ERROR 0.0 locks-updates-out"},
        {"LocksUpdatesOutByAShorterTag", "tag:0xffffffff,enable:0|tag:0xffffff,enable:1",
         "ERROR 2.0 replaces-other"},
        {"UnlocksUpdatesAgain", "tag:0xffffffff,enable:0|tag:0xffffffff,enable:1"},
        {"LineBreak", "tag:0xffff0101,\nenable:1\n", "warning 0.0 line-break"},
        {"LongestArgument", "tag:0xffff0101,cmds:" + std::string(128 * 1024 - 1, 'a')},
        {"TooLongForAnArgument", "tag:0xffff0101,paths:;,cmds:" + std::string(128 * 1024 - 1, 'a'),
         "ERROR 1.0 too-long"},
        {"LargestCall", ofSize(500 * 1024), "warning 1.2 ignored"},
        {"TooLargeForACall", ofSize(500 * 1024 + 1), "warning 1.2 ignored, ERROR 0.0 too-large"},
        {"LargestForTheStart", ofSize(4 << 20), "warning 1.2 ignored, ERROR 0.0 too-large",
         "larger than 500 KiB"},
        {"TooLargeForTheStart", ofSize((4 << 20) + 1), "warning 1.2 ignored, ERROR 0.0 too-large",
         "larger than 4 MiB"},
};
INSTANTIATE_TEST_SUITE_P(Texts, FindingTest, testing::ValuesIn(kFindingCases), caseName);

class ConfigCommandTest : public ZulctlTest {
  protected:
    void store(const std::string& config, const std::string& tags = "") const {
        write("/data/ZUL/config", config);
        write("/data/ZUL/ZUL_TAG.txt", tags);
    }
};

TEST_F(ConfigCommandTest, ShowsWhatTheNextStartHas) {
    store("tag:0xffff0404,enable:1,pkgname:com.a,flag:0x400001,cmds:ps,\npaths:;/a\x1b|"
          "tag:b,enable:0\n",
          "c|a text|more\nb|\nnone\nc|again\n");
    const Result result = onCopy({"config", "show"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out,
              "tag 0xffff0404\n"
              "  enable   1\n"
              "  pkgname  com.a\n"
              "  flag     0x400001 FLAG_ZUL_BINDER|FLAG_ZUL_PERF_BUFFER\n"
              "  cmds     ps\n"
              "  paths    ;/a\\x1b\n"
              "tag b\n"
              "  enable   0\n"
              "TAG           LEGAL  FROM    ENTRY         TEXT\n"
              "0xffff0404    yes    config  0xffff0404\n"
              "b             no     file    b\n"
              "c             yes    file    -             a text|more\n"
              "2 entries, 2 legal of 3 tags\n");
    expectCalls(
            {{"--json config show", 0,
              R"({"v":1,"device":"data","kind":"entry","tag":"0xffff0404","enable":"1","pkgname":"com.a",)"
              R"("flag":"0x400001","cmds":"ps","paths":";/a\u001b"})"
              "\n"},
             {"--json config show", 0,
              R"({"v":1,"device":"data","kind":"tag","tag":"b","legal":false,)"
              R"("from":"file","entry":"b","text":""})"
              "\n"}});
    // A user build's store has folders of user tags, and its tag file does not count.
    makeFolder("/data/ZUL/0xffffff");
    store("", "c|\n");
    const Result user = onCopy({"--no-legend", "config", "show"});
    EXPECT_EQ(std::count(user.out.begin(), user.out.end(), '\n'), 257);
    EXPECT_THAT(user.out, HasSubstr("0xffffff0a    yes    build   -\n"));
}

TEST_F(ConfigCommandTest, TellsWhenThereIsNothingToShow) {
    expectCalls({{"config show", 1, "", "no configuration is stored"},
                 {"--root=@/nowhere config show", 3, "", "/nowhere: "}});
    store("cmds:x tag");
    expectCalls({{"config show", 0, "tag x", "see config check"}});
    std::filesystem::remove(at("/data/ZUL/config"));
    makeFolder("/data/ZUL/config");
    expectCalls({{"config show", 3, "", "/data/ZUL/config: "}});
}

TEST_F(ConfigCommandTest, ChecksAText) {
    write("/text", "tag:A,flag:12abc,x|tag:\x1b,cmds:b:\xff");
    const Result result = call({"config", "check", at("/text")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out,
              "ITEM  SETS     VALUE\n"
              "1.1   tag      A\n"
              "1.2   flag     12\n"
              "      error: counts as 12, without 'abc'\n"
              "1.3   nothing  x\n"
              "      warning: has none of the keys, and is ignored\n"
              "2.1   tag      \\x1b\n"
              "2.2   cmds     \\xff\n"
              "      error: of the value only '\\xff' counts\n"
              "entry of A: nothing -> tag:A,flag:12\n"
              "entry of \\x1b: nothing -> tag:\\x1b,cmds:\\xff\n"
              "2 records, 2 errors, 1 warning\n");
    const Result json = call({"--json", "config", "check", at("/text")});
    EXPECT_THAT(json.out,
                StartsWith(R"({"v":1,"device":"","kind":"item","record":1,"item":1,"text":"tag:A",)"
                           R"("sets":"tag","value":"A"})"
                           "\n"));
    EXPECT_THAT(json.out, HasSubstr(R"({"v":1,"device":"","kind":"finding","severity":"error",)"
                                    R"("code":"text-behind-number","record":1,"item":2,)"
                                    R"("message":"counts as 12, without 'abc'"})"
                                    "\n"));
    EXPECT_THAT(json.out, HasSubstr(R"("text":"x","sets":null,"value":""})"));

    write("/text", "tag:0xffff0101,x");
    write("/large", std::string((16 << 20) + 1, 'x'));
    expectCalls({{"config check @/text", 0, "1 warning"},
                 {"config check @/nowhere", 3, "", "/nowhere: "},
                 {"config check @/large", 3, "", "File too large"}});
}

struct MatchCase {
    const char* name;
    /** A tag, and the process's package when that is told. */
    const char* event;
    const char* outcome;
    int status = 0;
    /** Pushed on top of what is stored, when it is not empty. */
    std::string with = "";
    /** Each PROCESS/THREAD and "start", the name and value of an item, or another message. */
    std::string log = "";
};

class ConfigMatchTest : public ConfigCommandTest, public testing::WithParamInterface<MatchCase> {};

TEST_P(ConfigMatchTest, TellsWhatTheDaemonWouldDo) {
    const MatchCase& c = GetParam();
    store("tag:0xffff04,enable:1,pkgname:com.a.b,flag:4,cmds:ps,paths:;/a|tag:0xffff0505,enable:0|"
          "tag:0xffff0707,enable:1",
          "0xffff0401|x\n0xffff0505|y\n0xffff0606|z\n0xffffffff|\nnone\n");
    std::vector<std::string> words = zul::split(std::string("config match ") + c.event, " ");
    const std::string tag = words[2];
    if (!c.with.empty()) words.push_back("--with=" + at("/text"));
    if (!c.log.empty()) words.push_back("--log=" + at("/log"));
    std::vector<std::string> messages;
    for (const std::string& line : zul::split(c.log, " > ")) {
        const std::string text = line.substr(4);
        messages.push_back(line.substr(0, 4) + "D " +
                           (text == "start"              ? "ZUL  main start."
                            : zul::contains(text, " = ") ? "remoteConfig." + text + " "
                                                         : text));
    }
    write("/text", c.with);
    write("/log", logOf(messages));
    const Result result = onCopy(words);
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')), tag + ": " + c.outcome);
    EXPECT_EQ(result.status, c.status);
}

const char kNoEntry[] = "passes, and no entry counts for it";
const MatchCase kMatchCases[] = {
        {"Passes", "0xffff0401 com.a.b", "passes"},
        {"NoPackageTold", "0xffff0401", "passes"},
        {"PackageIsAPart", "0xffff0401 com.a", "passes: the package is a part of the pkgname"},
        {"OtherPackage", "0xffff0401 com.a.b.c", "refused: other package", 1},
        {"NoEntry", "0xffff0606", kNoEntry, 1},
        {"NotInTheFile", "0xffff0999", "refused: no legal tag", 1},
        {"LineWithoutABarIsNoTag", "none", "refused: no legal tag", 1},
        {"MadeIllegal", "0xffff0505", "refused: no legal tag", 1},
        {"MadeLegal", "0xffff0707", "passes"},
        {"Update", "0xffffffff", "updates the configuration", 1},
        {"WithAReplacement", "0xffff0401 com.c", "passes", 0,
         "tag:0xffff04,enable:1,pkgname:com.c"},
        {"WithWhatMakesItIllegal", "0xffff0606", "refused: no legal tag", 1,
         "tag:0xffff0606,enable:0"},
        // The entry that made it legal is gone, the tag stays.
        {"WithWhatReplacesItsEntry", "0xffff0707", "passes", 0, "tag:0xffff07,enable:0"},
        {"NothingPushed", "0xffff0401 com.a", kNoEntry, 1, "", "5/6 start"},
        {"EntryOfAnEarlierText", "0xffff0401 com.a", "refused: other package", 1, "",
         "5/6 start > 5/6 tag = 0xffff04 > 5/6   > 5/6 pkgname = com.b > 5/6 startWork.... > 5/6 "
         "tag = 0xffff0202 > 5/6 enable = 1"},
        {"WhatCameBeforeTheStartIsGone", "0xffff0401 com.a", kNoEntry, 1, "",
         "5/6 tag = 0xffff04 > 5/6 pkgname = com.b > 5/6 start"},
        {"RecordsBeginWithTheirTag", "0xffff0401 com.a", "passes", 0, "",
         "5/6 start > 5/6 tag = 0xffff0401 > 5/6 flag = 4 > 5/6 tag = 0xffff0303 > 5/6 pkgname = "
         "com.b"},
        {"ALaterItemCounts", "0xffff0401 com.a", "passes", 0, "",
         "5/6 start > 5/6 tag = 0xffff0401 > 5/6 enable = 0 > 5/6 enable = 2"},
        {"TextsAreTakenOneAfterTheOther", "0xffff0401 com.a", "refused: no legal tag", 1, "",
         "5/6 start > 5/7 tag = 0xffff0401 > 5/7 enable = 0 > 5/8 tag = 0xffff0401 > 5/8 enable = "
         "2"},
        {"AnotherProcessSaysNothing", "0xffff0401 com.a", "refused: no legal tag", 1, "",
         "5/6 start > 5/6 tag = 0xffff0401 > 5/6 enable = 0 > 9/6 enable = 2"},
};
INSTANTIATE_TEST_SUITE_P(Events, ConfigMatchTest, testing::ValuesIn(kMatchCases), caseName);

TEST_F(ConfigCommandTest, MatchTellsWhatTheEntryAdds) {
    store("tag:0xffff04,flag:4,cmds:ps,paths:;/a", "0xffff0401|");
    EXPECT_EQ(onCopy({"config", "match", "0xffff0401"}).out,
              "0xffff0401: passes\n"
              "  entry    tag 0xffff04\n"
              "  mask +   0x4 FLAG_ZUL_PROC_MEM\n"
              "  text +   ;/a#ps\n");
    EXPECT_EQ(
            onCopy({"--json", "config", "match", "0xffff0401", "p"}).out,
            R"({"v":1,"device":"data","tag":"0xffff0401","outcome":"passes","legal":true,"refused":false,)"
            R"("entry":"0xffff04","package":"p","pkgname":"","adds_flag":"0x4","adds_text":";/a#ps"})"
            "\n");
    EXPECT_THAT(call({"config", "match", "0xffff0401", "--with=" + at("/data/ZUL/config")}).out,
                HasSubstr("passes; whether its tag is legal is not known"));
    expectCalls({{"--json config match x", 1,
                  R"("legal":false,"refused":true,"entry":null,"package":null)",
                  "known from its log"}});
}

TEST_F(ConfigCommandTest, CheckTellsWhatATextChanges) {
    store("tag:0xffff0404,enable:1,pkgname:com.a|tag:0xffff0505,flag:4", "0xffff0606|\n");
    write("/text", "tag:0xffff,enable:1,flag:0x4|tag:0xffff0606,enable:0|tag:0xffff1,cmds:ps");
    const Result result = onCopy({"config", "check", at("/text")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("record 1: its tag stands in others, whose entries it replaces: "
                                "'0xffff0404', '0xffff0505'\n"),
                      HasSubstr("warning: the tag '0xffff0606' becomes illegal\n"),
                      HasSubstr("entry of 0xffff0404: tag:0xffff0404,enable:1,pkgname:com.a -> "
                                "tag:0xffff,enable:1,flag:4\n"),
                      HasSubstr("entry of 0xffff0606: nothing -> tag:0xffff0606,enable:0\n"),
                      HasSubstr("legal of 0xffff: nothing -> legal\n"),
                      HasSubstr("legal of 0xffff0606: legal -> nothing\n")));
    EXPECT_THAT(onCopy({"--json", "config", "check", at("/text")}).out,
                HasSubstr(R"("kind":"change","of":"legal","tag":"0xffff0606","before":"legal",)"
                          R"("after":""})"));
    // The same text again changes nothing, and an entry of before hides one of the text.
    write("/stored", "tag:0xffff04,cmds:a");
    write("/text", "tag:0xffff04,cmds:a");
    expectCalls({{"config check @/text --with @/stored", 0,
                  "cmds     a\n1 record, 0 errors, 0 warnings\n"}});
    write("/text", "tag:0xffff0401,cmds:b");
    expectCalls({{"config check @/text --with=@/stored", 1,
                  "'0xffff04' of what is stored stands in its tag"},
                 {"config check @/text --with=@/nowhere", 3, "", "/nowhere: "}});
}

TEST_F(ConfigCommandTest, MatchSaysWhatItCannotKnow) {
    store("", "0xffff0101|");
    write("/late", logOf({"5/6 D x"}));
    write("/whole", logOf({"5/6 D ZUL  main start."}));
    expectCalls({{"config match 0xffff0101", 1, "", "known from its log"},
                 {"--log=@/late config match 0xffff0101", 1, "", "does not go back"},
                 {"--log=@/whole config match 0xffff0101", 1, ""}});
}

using MaskCommandTest = ZulctlTest;

TEST_F(MaskCommandTest, ShowsBitsInBothVocabularies) {
    const Result result = call({"mask", "0x10011"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out,
              "0x10011 = 65553\n"
              "BIT  VALUE               FULL VOCABULARY              USER VOCABULARY\n"
              "  0  0x1                 FLAG_ZUL_BINDER              -\n"
              "  4  0x10                FLAG_ZUL_PROC_STACK          FLAG_ZUL_USER_LOG_CRASH\n"
              " 16  0x10000             -                            FLAG_ZUL_USER_MMSTAT\n"
              "full vocabulary: no name for 0x10000\n"
              "user vocabulary: no name for 0x1\n");
    expectCalls({{"mask 0x2c1", 0, "full vocabulary: the same as EXCEPTION_TYPE_ANR\n"},
                 {"mask -- -9223372036854775808", 0, "\n 63  0x8000000000000000  "}});
    EXPECT_EQ(call({"--json", "mask", "0x40000001"}).out,
              R"({"v":1,"device":"","vocabulary":"full","mask":"0x40000001","decimal":1073741825,)"
              R"("names":["FLAG_ZUL_BINDER","FLAG_ZUL_DISPLAY"],"aliases":[],"unnamed":"0x0",)"
              R"("unknown":[]})"
              "\n"
              R"({"v":1,"device":"","vocabulary":"user","mask":"0x40000001","decimal":1073741825,)"
              R"("names":[],"aliases":[],"unnamed":"0x40000001","unknown":[]})"
              "\n");
}

TEST_F(MaskCommandTest, ShowsTheMaskOfNames) {
    EXPECT_THAT(call({"mask", "FLAG_ZUL_LOG | FLAG_ZUL_BINDER", "FLAG_ZUL_USER_PS"}).out,
                HasSubstr("full        0x201               513                   FLAG_ZUL_USER_PS\n"
                          "user        0x1000              4096                  FLAG_ZUL_LOG, "
                          "FLAG_ZUL_BINDER\n"));
    expectCalls({{"mask FLAG_ZUL_LOG flag_zul_log", 1, "0x200               512        "},
                 {"mask --json flag_zul_log", 1, R"("unknown":["flag_zul_log"]})"},
                 {"mask anr", 0, "full        0x2c1"},
                 {"mask anr|log user_ps", 1, "full        0x2c1"},
                 {"mask Exception_type_anr", 1, ""},
                 {"mask ps fd", 0, "user        0x1000              4096"},
                 {"mask", 0, "full        0x2c1               EXCEPTION_TYPE_ANR\n"}});
    const std::string all = call({"--no-legend", "mask"}).out;
    EXPECT_EQ(static_cast<size_t>(std::count(all.begin(), all.end(), '\n')),
              std::size(zul::kFlags) + std::size(zul::kUserFlags));
}

TEST(MasksTest, NamesTheBitsOfATagsVocabulary) {
    const std::tuple<uint64_t, const char*, const char*> cases[] = {
            {0, "0xfffff", ""},
            {0x20c3c, "0xffff0101",
             "FLAG_ZUL_PROC_MEM|FLAG_ZUL_PROC_BASIC|FLAG_ZUL_PROC_STACK|FLAG_ZUL_SYS_MEM|"
             "FLAG_ZUL_FD|FLAG_ZUL_BASIC|FLAG_ZUL_CPU_INFO"},
            {0x200, "0xffff0101", "FLAG_ZUL_LOG"},
            {0xc000000000010001, "", "FLAG_ZUL_BINDER|FLAG_ZUL_COPY_BUFFER|0x8000000000010000"},
            {0x3, "x0xffffff", "FLAG_ZUL_USER_LOG_MAIN_SYS|0x1"},
    };
    for (const auto& [mask, tag, names] : cases)
        EXPECT_EQ(bitsText(mask, tag), names);
    EXPECT_THAT(namesOf(0x200, kFullVocabulary).aliases,
                ElementsAre("EXCEPTION_TYPE_NE", "EXCEPTION_TYPE_KE"));
    EXPECT_THAT(namesOf(0x2c1, kUserVocabulary).aliases, IsEmpty());
    EXPECT_EQ(valueOf("FLAG_ZUL_LOG", kUserVocabulary), std::nullopt);
}

TEST(MasksTest, ReadsNumbersWholeOrNotAtAll) {
    const std::pair<const char*, uint64_t> cases[] = {
            {"0x20c3c", 0x20c3c},
            {"134204", 134204},
            {"010", 10},
            {"0XFf", 255},
            {"-1", UINT64_MAX},
            {"-9223372036854775808", uint64_t{1} << 63},
            {"18446744073709551615", UINT64_MAX},
            {"0xffffffffffffffff", UINT64_MAX},
    };
    for (const auto& [text, mask] : cases)
        EXPECT_EQ(parseMask(text), mask) << text;
    for (const char* text : {"0x10000000000000000", "18446744073709551616", "-9223372036854775809",
                             "", "0x", "-", "0x-1", "12a", " 1"})
        EXPECT_EQ(parseMask(text), std::nullopt) << text;
}

}  // namespace

}  // namespace zulctl::test
