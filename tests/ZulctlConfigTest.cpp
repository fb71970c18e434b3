// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zulctl/ConfigCheck.h"
#include "zulctl/Masks.h"

namespace zulctl::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/** ERROR or warning, RECORD.ITEM, CODE. */
std::vector<std::string> findingsOf(const std::string& text) {
    std::vector<std::string> all;
    for (const ConfigFinding& finding : checkConfig(text).findings) {
        all.push_back(std::string(finding.isError ? "ERROR " : "warning ") +
                      std::to_string(finding.record) + "." + std::to_string(finding.item) + " " +
                      finding.code);
    }
    return all;
}

struct FindingCase {
    const char* name;
    std::string text;
    std::vector<std::string> findings;
};

class FindingTest : public testing::TestWithParam<FindingCase> {};

TEST_P(FindingTest, IsTold) {
    EXPECT_EQ(findingsOf(GetParam().text), GetParam().findings);
}

/** A text of that size, of which the daemon ignores nearly all. */
std::string ofSize(size_t bytes) {
    const std::string start = "tag:0xffff0101,";
    return start + std::string(bytes - start.size(), 'x');
}

INSTANTIATE_TEST_SUITE_P(
        Texts, FindingTest,
        testing::Values(
                FindingCase{"Nothing", "", {}},
                FindingCase{
                        "Fine", "tag:0xffff0101,enable:1,flag:0x4,cmds:ps -A,paths:;/data/a", {}},
                FindingCase{
                        "FineByItsOtherNames", "tag:0xffff0101,cmd:ps,path:;/a|tag:0xffff0102", {}},
                FindingCase{"KeywordInAValue",
                            "tag:0xffff0101,cmds:getprop ro.build.tags",
                            {"ERROR 1.2 keyword-in-value", "warning 1.2 set-twice"}},
                FindingCase{"KeywordBehindItsOwn", "tag:0xffff01_path,cmds:ls /path", {}},
                FindingCase{"PackageWithATag",
                            "tag:0xffff0101,pkgname:com.vintage",
                            {"ERROR 1.2 keyword-in-value", "warning 1.2 set-twice"}},
                FindingCase{"UnknownKey", "tag:0xffff0101,flags:0x4", {"warning 1.2 unknown-key"}},
                FindingCase{"NoKey", "tag:0xffff0101,Enable:1", {"warning 1.2 ignored"}},
                FindingCase{"EmptyItem", "tag:0xffff0101,,enable:1", {"warning 1.2 ignored"}},
                FindingCase{"ColonInAValue",
                            "tag:0xffff0101,cmds:logcat -s a:V",
                            {"ERROR 1.2 colon-in-value"}},
                FindingCase{
                        "ColonAtTheEnd", "tag:0xffff0101,cmds:ps:", {"ERROR 1.2 colon-in-value"}},
                FindingCase{"NoColon", "tag:0xffff0101,cmds", {"ERROR 1.2 no-value"}},
                FindingCase{
                        "NothingBehindTheColon", "tag:0xffff0101,cmds:", {"ERROR 1.2 no-value"}},
                FindingCase{"SetTwice",
                            "tag:0xffff0101,cmds:a,cmds:b,cmds:b",
                            {"warning 1.3 set-twice"}},
                FindingCase{"Enable", "tag:0xffff0101,enable:true", {"ERROR 1.2 enable-value"}},
                FindingCase{
                        "EnableWithABlank", "tag:0xffff0101,enable: 1", {"ERROR 1.2 enable-value"}},
                FindingCase{"BlankInATag", "tag: 0xffff0101", {"warning 1.1 blank-in-tag"}},
                FindingCase{"NoSeparator",
                            "tag:0xffff0101,paths:/data/a",
                            {"warning 1.2 no-separator"}},
                FindingCase{"NoNumber", "tag:0xffff0101,flag:x", {"ERROR 1.2 no-number"}},
                FindingCase{"TooLarge",
                            "tag:0xffff0101,flag:0x8000000000000000",
                            {"ERROR 1.2 number-too-large"}},
                FindingCase{
                        "TextBehindANumber",
                        "tag:0xffff0101,flag:0x4|0x8",
                        {"warning 2.1 ignored", "ERROR 2.0 empty-tag", "ERROR 2.0 replaces-other"}},
                FindingCase{
                        "TextBehind", "tag:0xffff0101,flag:4 8", {"ERROR 1.2 text-behind-number"}},
                FindingCase{"EightInAnOctal",
                            "tag:0xffff0101,flag:08",
                            {"ERROR 1.2 text-behind-number"}},
                FindingCase{"Octal", "tag:0xffff0101,flag:010", {"warning 1.2 octal"}},
                FindingCase{"OctalOfOneDigit", "tag:0xffff0101,flag:04|tag:0xffff0102,flag:0", {}},
                FindingCase{"NegativeHasUnnamedBits",
                            "tag:0xffff0101,flag:-1",
                            {"warning 1.0 unnamed-bits"}},
                FindingCase{"UnnamedInTheFullVocabulary",
                            "tag:0xffff0101,flag:0x10000",
                            {"warning 1.0 unnamed-bits"}},
                FindingCase{"NamedInTheUsers", "tag:0xffffff01,flag:0x10000", {}},
                FindingCase{"NoTag", "enable:1", {"ERROR 1.0 empty-tag"}},
                FindingCase{"EmptyTag",
                            "tag::,enable:1",
                            {"ERROR 1.1 colon-in-value", "ERROR 1.0 empty-tag"}},
                FindingCase{"EmptyRecord",
                            "|tag:0xffff0101,cmd:x",
                            {"ERROR 1.0 empty-tag", "ERROR 2.0 never-used"}},
                FindingCase{"NoFolderName", "tag:a,enable:1", {"warning 1.0 no-folder-name"}},
                FindingCase{"NoFolderNameAndNoNeed", "tag:a,cmds:b", {}},
                FindingCase{"Package",
                            "tag:0xffff0101,pkgname:com.example.app",
                            {"warning 1.0 package-by-part"}},
                FindingCase{"PackageOfOneWord", "tag:0xffff0101,pkgname:zygote", {}},
                FindingCase{"ReplacesAnother",
                            "tag:0xffff0401,enable:1|tag:0xffff04,enable:0",
                            {"ERROR 2.0 replaces-other"}},
                FindingCase{"ReplacesItself",
                            "tag:0xffff0401,enable:1|tag:0xffff0401,enable:0",
                            {"warning 2.0 replaces-same"}},
                FindingCase{"NeverUsed",
                            "tag:0xffff04,cmds:a|tag:0xffff0401,cmds:b",
                            {"ERROR 2.0 never-used"}},
                FindingCase{"NeverUsedButNothingIsLost",
                            "tag:0xffff04,cmds:a|tag:0xffff0401,enable:1",
                            {}},
                FindingCase{"LongerTagFirst", "tag:0xffff0401,cmds:b|tag:0xffff0402,cmds:a", {}},
                FindingCase{"LocksUpdatesOut",
                            "tag:0xffffffff,enable:0",
                            {"ERROR 0.0 locks-updates-out"}},
                FindingCase{"LocksUpdatesOutByAShorterTag",
                            "tag:0xffffffff,enable:0|tag:0xffffff,enable:1",
                            {"ERROR 2.0 replaces-other"}},
                FindingCase{"UnlocksUpdatesAgain",
                            "tag:0xffffffff,enable:0|tag:0xffffffff,enable:1",
                            {"warning 2.0 replaces-same"}},
                FindingCase{"LineBreak", "tag:0xffff0101,\nenable:1\n", {"warning 0.0 line-break"}},
                FindingCase{"LongestArgument",
                            "tag:0xffff0101,cmds:" + std::string(128 * 1024 - 1, 'a'),
                            {}},
                FindingCase{"TooLongForAnArgument",
                            "tag:0xffff0101,paths:;,cmds:" + std::string(128 * 1024 - 1, 'a'),
                            {"ERROR 1.0 too-long"}},
                FindingCase{"LargestCall", ofSize(500 * 1024), {"warning 1.2 ignored"}},
                FindingCase{"TooLargeForACall",
                            ofSize(500 * 1024 + 1),
                            {"warning 1.2 ignored", "ERROR 0.0 too-large"}},
                FindingCase{"LargestForTheStart",
                            ofSize(4 << 20),
                            {"warning 1.2 ignored", "ERROR 0.0 too-large"}},
                FindingCase{"TooLargeForTheStart",
                            ofSize((4 << 20) + 1),
                            {"warning 1.2 ignored", "ERROR 0.0 too-large"}}),
        [](const auto& info) { return info.param.name; });

struct MessageCase {
    const char* text;
    const char* message;
};

TEST(ConfigCheckTest, SaysWhatReallyHappens) {
    const MessageCase cases[] = {
            {"tag:A,cmds:getprop ro.build.tags", "sets tag and not cmds, for 'tag' stands in it"},
            {"tag:A,cmds:getprop ro.build.tags", "replaces the tag 'A'"},
            {"tag:A,flags:0x4", "'flags' is no key; sets flag, for 'flag' stands in it"},
            {"tag:A,cmds:a:b:c", "of the value only 'c' counts"},
            {"tag:A,flag:12abc", "counts as 12, without 'abc'"},
            {"tag:A,flag:-017", "begins with 0, so that it is octal: -15"},
            {"tag:A,flag:0x30000", "its flag has bits without a name: 0x10000"},
            {"tag:A,pkgname:com.a.b;org.c", "'com.a.b;org' for instance"},
            {"tag:A,cmd:a|tag:AB,cmd:b", "'A' of record 1 stands in its tag"},
            {"tag:xA1|tag:xA2|tag:xA,cmd:b", "replaces: 'xA1', 'xA2'"},
            {"tag:A1|tag:A2|tag:A3|tag:A4|tag:A5|tag:A6|tag:A7|tag:A", "'A4', 'A5' and 2 more"},
            {"tag:B|tag:A,cmd:a|tag:A,cmd:b", "replaces record 2, of the same tag"},
    };
    for (const MessageCase& c : cases) {
        std::string all;
        for (const ConfigFinding& finding : checkConfig(c.text).findings)
            all += finding.message + "\n";
        EXPECT_THAT(all, HasSubstr(c.message)) << c.text;
    }
}

TEST(ConfigCheckTest, TellsItemsAndWhatTheDaemonHasOfThem) {
    const ConfigReport report = checkConfig("tag:A,flag:0x1f,what|cmds:x tag,tag:AB");
    ASSERT_THAT(report.records, SizeIs(2));
    std::string items;
    for (const ConfigRecord& record : report.records) {
        for (const ConfigItem& item : record.items) {
            items += item.text + " " + (item.keyword == nullptr ? "-" : item.keyword->fieldName) +
                     " " + item.value + "\n";
        }
    }
    EXPECT_EQ(items,
              "tag:A tag A\nflag:0x1f flag 31\nwhat - \ncmds:x tag tag x tag\ntag:AB tag AB\n");
    ASSERT_THAT(report.entries, SizeIs(2));
    EXPECT_EQ(report.entries[0].flag, 31);
    EXPECT_EQ(report.entries[1].tag, "AB");
    EXPECT_TRUE(report.hasErrors());
    EXPECT_FALSE(checkConfig("tag:0xffff01,what").hasErrors());
}

TEST(MasksTest, NamesOfBothVocabulariesAndBack) {
    const auto full = [](uint64_t mask) { return namesOf(mask, Vocabulary::FULL); };
    EXPECT_EQ(full(0), "");
    EXPECT_EQ(full(0x20c3c),
              "FLAG_ZUL_PROC_MEM|FLAG_ZUL_PROC_BASIC|FLAG_ZUL_PROC_STACK|FLAG_ZUL_SYS_MEM|"
              "FLAG_ZUL_FD|FLAG_ZUL_BASIC|FLAG_ZUL_CPU_INFO");
    EXPECT_EQ(full(0x200), "FLAG_ZUL_LOG");
    EXPECT_EQ(full(0xc000000000010001), "FLAG_ZUL_BINDER|FLAG_ZUL_COPY_BUFFER|0x8000000000010000");
    EXPECT_EQ(namesOf(0x3, Vocabulary::USER), "FLAG_ZUL_USER_LOG_MAIN_SYS|0x1");
    EXPECT_THAT(aliasesOf(0x2c1, Vocabulary::FULL), ElementsAre("EXCEPTION_TYPE_ANR"));
    EXPECT_THAT(aliasesOf(0x200, Vocabulary::FULL),
                ElementsAre("EXCEPTION_TYPE_NE", "EXCEPTION_TYPE_KE"));
    EXPECT_THAT(aliasesOf(0x2c1, Vocabulary::USER), IsEmpty());
    EXPECT_EQ(valueOf("EXCEPTION_TYPE_JE", Vocabulary::FULL), 0x1203u);
    EXPECT_EQ(valueOf("FLAG_ZUL_LOG", Vocabulary::USER), std::nullopt);
    EXPECT_EQ(vocabularyOf("x0xffffff"), Vocabulary::USER);
    EXPECT_EQ(vocabularyOf("0xfffff"), Vocabulary::FULL);
}

TEST(MasksTest, ReadsNumbersWholeOrNotAtAll) {
    const std::pair<const char*, std::optional<uint64_t>> cases[] = {
            {"0x20c3c", 0x20c3c},
            {"134204", 134204},
            {"010", 10},
            {"0XFf", 255},
            {"-1", UINT64_MAX},
            {"-9223372036854775808", uint64_t{1} << 63},
            {"18446744073709551615", UINT64_MAX},
            {"0xffffffffffffffff", UINT64_MAX},
            {"0x10000000000000000", std::nullopt},
            {"18446744073709551616", std::nullopt},
            {"-9223372036854775809", std::nullopt},
            {"", std::nullopt},
            {"0x", std::nullopt},
            {"-", std::nullopt},
            {"0x-1", std::nullopt},
            {"12a", std::nullopt},
            {" 1", std::nullopt},
    };
    for (const auto& [text, mask] : cases)
        EXPECT_EQ(parseMask(text), mask) << text;
}

}  // namespace

}  // namespace zulctl::test
