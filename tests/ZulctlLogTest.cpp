// SPDX-License-Identifier: Apache-2.0

#include "zulctl/LogFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/LogText.h"
#include "zulctl/WallTime.h"

namespace zulctl::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** One row of the table of log lines, as the reference and the patterns have it. */
std::string row(char priority, const std::string& format, bool dump) {
    return std::string(1, priority) + (dump ? " (dump) " : " ") + format;
}

TEST(LogPatternsTest, AreThoseOfTheReference) {
    std::vector<std::string> documented;
    std::ifstream reference("/src/docs/REFERENCE.md");
    for (std::string line; std::getline(reference, line);) {
        if (line.size() < 8 || !line.starts_with("| ") || line.substr(3, 4) != " | `") continue;
        const size_t end = line.find("` | ", 7);
        ASSERT_NE(end, std::string::npos) << line;
        documented.push_back(
                row(line[2], line.substr(7, end - 7), line.substr(end + 4).starts_with("*dump*")));
    }
    std::vector<std::string> known;
    for (const LogPattern& pattern : logPatterns()) {
        std::string format(pattern.format);
        if (format.ends_with('\n')) format.replace(format.size() - 1, 1, "\\n");
        known.push_back(row(pattern.priority, format, pattern.dump));
    }
    EXPECT_GT(documented.size(), 50u);
    EXPECT_EQ(known, documented);
}

struct MatchCase {
    const char* name;
    char priority;
    std::string message;
    /** The format, a colon, and the fields in brackets; empty for none. */
    std::string match;
};

class MatchTest : public testing::TestWithParam<MatchCase> {};

TEST_P(MatchTest, FindsTheFields) {
    LineFields fields;
    const LogPattern* pattern = matchLogLine(GetParam().priority, GetParam().message, fields);
    std::string match;
    if (pattern != nullptr) match = std::string(pattern->format.substr(0, 12)) + ":";
    for (const std::string_view field : fields) {
        if (field.data() != nullptr) match += "[" + std::string(field) + "]";
    }
    EXPECT_EQ(match, GetParam().match);
}

INSTANTIATE_TEST_SUITE_P(
        Messages, MatchTest,
        testing::Values(
                MatchCase{"NoField", 'D', "startWork....", "startWork...:"},
                MatchCase{"TextBehind", 'D', "startWork.....", ""},
                MatchCase{"OtherPriority", 'E', "startWork....", ""},
                MatchCase{"LineEndIsNone", 'E', "*** fork fail", "*** fork fai:"},
                MatchCase{"BlankAtTheEnd", 'E', "Unable to open filePath: /a b ",
                          "Unable to op:[/a b]"},
                MatchCase{"BlankMissing", 'E', "Unable to open filePath: /a", ""},
                MatchCase{"Prepare", 'D',
                          "prepare.....sceneType=0xffff01,flag=0x2c1,pid=-7, mCompressFileCount=3, "
                          "extraInfo=a, extraInfo=b",
                          "prepare.....:[0xffff01][2c1][-7][3][a, extraInfo=b]"},
                MatchCase{"EmptyTexts", 'D',
                          "prepare.....sceneType=,flag=0x0,pid=0, mCompressFileCount=0, extraInfo=",
                          "prepare.....:[][0][0][0][]"},
                MatchCase{"NoNumber", 'D',
                          "prepare.....sceneType=a,flag=0x,pid=1, mCompressFileCount=3, extraInfo=",
                          ""},
                MatchCase{"UpperCaseIsNoNumber", 'D',
                          "sceneType===a,sceneType.length()=1,mFlag=0xA", ""},
                MatchCase{"LetterIsNoDigit", 'D', "sceneType===a,sceneType.length()=1,mFlag=0x1g",
                          ""},
                MatchCase{"Described", 'D', "sceneType===a,sceneType.length()=1",
                          "sceneType===:[a][1]"},
                MatchCase{"Begin", 'D',
                          "sceneType===,sceneType.length()=0,mFlag=0x8000000000000000",
                          "sceneType===:[][0][8000000000000000]"},
                MatchCase{"TagThatLooksLikeTheRest", 'D',
                          "sceneType===a,sceneType.length()=1,sceneType.length()=22,mFlag=0x1",
                          "sceneType===:[a,sceneType.length()=1][22][1]"},
                MatchCase{"LengthDoesNotFit", 'D', "sceneType===ab,sceneType.length()=3", ""},
                MatchCase{"LineBreakInTheTag", 'D', "sceneType===a\nb,sceneType.length()=3",
                          "sceneType===:[a\nb][3]"},
                MatchCase{"TextFirst", 'E', "/a;/b copy to /c failed.", "%s copy to %:[/a;/b][/c]"},
                MatchCase{"TextFirstIsLast", 'D', "Illegal ZUL TAG a Illegal ZUL TAG b,break",
                          "Illegal ZUL :[a Illegal ZUL TAG b]"},
                MatchCase{"TextFirstInAText", 'E',
                          "tag too long for a capture folder: a copy to b failed.",
                          "tag too long:[a copy to b failed.]"},
                MatchCase{"BrokenOff", 'I', "a sceneType===b", ""},
                MatchCase{"Request", 'D', "startSimpZul Illegal ZUL TAG a,break",
                          "%s Illegal Z:[startSimpZul][a]"},
                MatchCase{"RefusalInAText", 'I', "startSimpZul extraInfo = Illegal ZUL TAG a,break",
                          "%s extraInfo:[startSimpZul][Illegal ZUL TAG a,break]"},
                MatchCase{"FieldsInAText", 'I',
                          "startSimpZul sceneType===a, flag = 0x1; mZulCmd = b flag = c; extraInfo "
                          "= d; "
                          "mEventType = e; mEventSubType = f",
                          "%s sceneType:[startSimpZul][a][1][b flag = c][d][e][f]"},
                MatchCase{"RefusalInAConfiguration", 'D',
                          "remoteConfig.cmds = x Illegal ZUL TAG a,break ",
                          "remoteConfig:[cmds][x Illegal ZUL TAG a,break]"},
                MatchCase{"Character", 'E', "unknow special scene type:\xff",
                          "unknow speci:[\xff]"},
                MatchCase{"NoCharacter", 'E', "unknow special scene type:", ""},
                MatchCase{"Child", 'D', "sceneFlag===-1, mPid===7", "sceneFlag===:[-1][7]"},
                MatchCase{"CutAtTheLogsLimit", 'D',
                          "Illegal ZUL TAG " + std::string(1023 - 16, 'a'),
                          "Illegal ZUL :[" + std::string(1023 - 16, 'a') + "]"},
                MatchCase{"ShorterThanThat", 'D', "Illegal ZUL TAG " + std::string(1022 - 16, 'a'),
                          ""},
                MatchCase{"LongAndOfOthers", 'E', std::string(2000, 'a'), ""},
                MatchCase{"Nothing", 'D', "", ""}),
        [](const auto& info) { return info.param.name; });

/** What LogFile makes of a text: time, process, thread, priority, message, and "?" for unknown ones. */
std::vector<std::string> read(const std::string& text, LogTime newest = kNewest,
                              uint64_t* unreadable = nullptr) {
    std::vector<std::string> lines;
    const TextFile file(text);
    LogFile log(file.fd(), newest);
    LogLine line;
    while (log.next(line)) {
        lines.push_back(formatLogTime(line.time) + " " + std::to_string(line.process) + " " +
                        std::to_string(line.thread) + " " + line.priority + " " +
                        (line.pattern == nullptr ? "? " : "") + std::string(line.message));
    }
    EXPECT_EQ(log.error(), 0);
    if (unreadable != nullptr) *unreadable = log.unreadable();
    return lines;
}

struct HeaderCase {
    const char* name;
    const char* line;
    /** Nothing: it is no line of the daemon's. */
    std::vector<std::string> lines;
};

class HeaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderTest, IsRead) {
    setenv("TZ", "EAST-3", 1);
    tzset();
    EXPECT_EQ(read(std::string(GetParam().line) + "\n"), GetParam().lines);
    unsetenv("TZ");
    tzset();
}

INSTANTIATE_TEST_SUITE_P(
        Headers, HeaderTest,
        testing::Values(
                HeaderCase{"Desktop",
                           "03-04 05:06:07.089 12 34 D ZUL_DEBUG: startWork....",
                           {"2026-03-04 05:06:07.089 12 34 D startWork...."}},
                HeaderCase{"Threadtime",
                           "03-04 05:06:07.089    12    34 D ZUL_DEBUG: startWork....",
                           {"2026-03-04 05:06:07.089 12 34 D startWork...."}},
                HeaderCase{"PaddedTag",
                           "03-04 05:06:07.089 1 2 D ZUL_DEBUG   : startWork....",
                           {"2026-03-04 05:06:07.089 1 2 D startWork...."}},
                HeaderCase{"Year",
                           "2019-12-31 23:59:59.999 1 2 I ZUL_DEBUG: x",
                           {"2019-12-31 23:59:59.999 1 2 I ? x"}},
                HeaderCase{"Epoch",
                           "      1741053967.123  1 2 W ZUL_DEBUG: x",
                           {"2025-03-04 05:06:07.123 1 2 W ? x"}},
                HeaderCase{"MicrosecondsAndZone",
                           "2025-03-04 05:06:07.123456 +0300  1 2 E ZUL_DEBUG: x",
                           {"2025-03-04 05:06:07.123 1 2 E ? x"}},
                HeaderCase{"User",
                           "03-04 05:06:07.089 root    12    34 D ZUL_DEBUG: x",
                           {"2026-03-04 05:06:07.089 12 34 D ? x"}},
                HeaderCase{"UserNumber",
                           "03-04 05:06:07.089 10123    12    34 D ZUL_DEBUG: x",
                           {"2026-03-04 05:06:07.089 12 34 D ? x"}},
                HeaderCase{"EmptyMessage",
                           "03-04 05:06:07.089 1 2 D ZUL_DEBUG:",
                           {"2026-03-04 05:06:07.089 1 2 D ? "}},
                HeaderCase{"BlanksBelongToTheMessage",
                           "03-04 05:06:07.089 1 2 D ZUL_DEBUG:  x ",
                           {"2026-03-04 05:06:07.089 1 2 D ?  x "}},
                HeaderCase{"OtherTag", "03-04 05:06:07.089 1 2 D ZUL_DEBUGS: x", {}},
                HeaderCase{"OtherTagSaysOurs", "03-04 05:06:07.089 1 2 D App: ZUL_DEBUG: x", {}},
                HeaderCase{"NoSuchMonth", "13-04 05:06:07.089 1 2 D ZUL_DEBUG: x", {}},
                HeaderCase{"NoSuchDay", "03-32 05:06:07.089 1 2 D ZUL_DEBUG: x", {}},
                HeaderCase{"NoSuchHour", "03-04 24:06:07.089 1 2 D ZUL_DEBUG: x", {}},
                HeaderCase{"NoThread", "03-04 05:06:07.089 1 D ZUL_DEBUG: x", {}},
                HeaderCase{"ProcessOfLetters", "03-04 05:06:07.089 a 2 D ZUL_DEBUG: x", {}},
                HeaderCase{"HugeProcess", "03-04 05:06:07.089 4294967297 2 D ZUL_DEBUG: x", {}},
                HeaderCase{"Marker", "--------- beginning of main", {}},
                HeaderCase{"Blank", "", {}}),
        [](const auto& info) { return info.param.name; });

TEST(LogFileTest, YearsGoOnAtTheEndOfOne) {
    const LogTime newest = *parseRecordTime("2026-01-02 00:00:00") * 1000;
    EXPECT_THAT(
            read("12-31 23:59:59.000 1 1 D ZUL_DEBUG: a\n"
                 "01-01 00:00:00.000 1 1 D ZUL_DEBUG: b\n"
                 "12-31 23:59:59.999 1 1 D ZUL_DEBUG: late\n"
                 "01-01 00:00:01.000 1 1 D ZUL_DEBUG: c\n",
                 newest),
            ElementsAre("2025-12-31 23:59:59.000 1 1 D ? a", "2026-01-01 00:00:00.000 1 1 D ? b",
                        "2025-12-31 23:59:59.999 1 1 D ? late",
                        "2026-01-01 00:00:01.000 1 1 D ? c"));
    // A clock that is a little ahead is not one that is a year behind.
    EXPECT_THAT(read("01-02 12:00:00.000 1 1 D ZUL_DEBUG: a\n", newest),
                ElementsAre("2026-01-02 12:00:00.000 1 1 D ? a"));
}

const std::string kHeader = "03-04 05:06:07.089 1 2 D ZUL_DEBUG: ";
const std::string kRead = "2026-03-04 05:06:07.089 1 2 D ";

struct BrokenCase {
    const char* name;
    std::string text;
    std::vector<std::string> lines;
    uint64_t unreadable;
};

class BrokenTest : public testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenTest, LosesNothingElse) {
    uint64_t unreadable = 0;
    EXPECT_EQ(read(GetParam().text, kNewest, &unreadable), GetParam().lines);
    EXPECT_EQ(unreadable, GetParam().unreadable);
}

INSTANTIATE_TEST_SUITE_P(
        Logs, BrokenTest,
        testing::Values(
                BrokenCase{"NoLineEnd", kHeader + "startWork....", {kRead + "startWork...."}, 0},
                BrokenCase{"MessageOverLines",
                           kHeader + "Illegal ZUL TAG a\n\nb,break\n",
                           {kRead + "? Illegal ZUL TAG a", kRead + "? ", kRead + "b,break"},
                           0},
                BrokenCase{"MessageOverLinesOfOneHeader",
                           kHeader + "Illegal ZUL TAG a\n" + kHeader + "b,break\n",
                           {kRead + "? Illegal ZUL TAG a", kRead + "b,break"},
                           0},
                BrokenCase{"OtherThreadBetween",
                           kHeader + "Illegal ZUL TAG a\n03-04 05:06:07.089 1 3 D ZUL_DEBUG: x\n" +
                                   kHeader + "b,break\n",
                           {kRead + "? Illegal ZUL TAG a", "2026-03-04 05:06:07.089 1 3 D ? x",
                            kRead + "? b,break"},
                           0},
                BrokenCase{
                        "OtherTagBetween",
                        kHeader + "Illegal ZUL TAG a\n03-04 05:06:07.089 1 2 D App: x\nb,break\n",
                        {kRead + "? Illegal ZUL TAG a"},
                        0},
                BrokenCase{"TextThatLooksLikeAMessage",
                           kHeader + "startWork....\nstartWork....\n",
                           {kRead + "startWork....", kRead + "? startWork...."},
                           0},
                BrokenCase{"TextThatLooksLikeAMessageOverLines",
                           kHeader + "startWork....\nIllegal ZUL TAG a\nb,break\n",
                           {kRead + "startWork....", kRead + "? Illegal ZUL TAG a",
                            kRead + "? b,break"},
                           0},
                BrokenCase{"MessageEndsWhereItIsKnown",
                           kHeader + "Illegal ZUL TAG a\nb,break\n" + kHeader + "b,break\n",
                           {kRead + "? Illegal ZUL TAG a", kRead + "b,break", kRead + "? b,break"},
                           0},
                BrokenCase{"KnownMessageBetween",
                           kHeader + "Illegal ZUL TAG a\n" + kHeader + "startWork....\n" + kHeader +
                                   "b,break\n",
                           {kRead + "? Illegal ZUL TAG a", kRead + "startWork....",
                            kRead + "? b,break"},
                           0},
                BrokenCase{
                        "LaterMessageOfTheThread",
                        kHeader +
                                "Illegal ZUL TAG a\n03-04 05:06:07.090 1 2 D ZUL_DEBUG: b,break\n",
                        {kRead + "? Illegal ZUL TAG a", "2026-03-04 05:06:07.090 1 2 D ? b,break"},
                        0},
                BrokenCase{"MessageWithoutAnEnd",
                           kHeader + "a\n" + std::string(8000, 'b') + "\n" +
                                   std::string(8000, 'c') + "\nd Illegal ZUL TAG e,break\n",
                           {kRead + "? a", kRead + "? " + std::string(8000, 'b'),
                            kRead + "? " + std::string(8000, 'c'),
                            kRead + "? d Illegal ZUL TAG e,break"},
                           0},
                BrokenCase{"TornInTheMessage",
                           kHeader + "startW" + kHeader + "startWork....\n",
                           {kRead + "startWork...."},
                           1},
                BrokenCase{"TornInTheHeader",
                           "03-04 05:0" + kHeader + "startWork....\n",
                           {kRead + "startWork...."},
                           1},
                BrokenCase{"TornTwice",
                           kHeader + "st" + kHeader + "st" + kHeader + "startWork....\n",
                           {kRead + "? st" + kHeader + "startWork...."},
                           1},
                BrokenCase{"TornBehindTheTag", "4 05:06 1 2 D ZUL_DEBUG: startWork....\n", {}, 1},
                BrokenCase{"LooksTornInAText",
                           kHeader + "dnam=" + kHeader + "startWork....\n",
                           {kRead + "dnam=" + kHeader + "startWork...."},
                           0},
                BrokenCase{"OtherBytes",
                           kHeader + std::string("dnam=\xff\0\x1b[31m", 11) + "\n",
                           {kRead + std::string("dnam=\xff\0\x1b[31m", 11)},
                           0},
                BrokenCase{"Overlong",
                           kHeader + "dnam=" + std::string(300000, 'a') + "\n" + kHeader +
                                   "startWork....\n",
                           {kRead + "dnam=" +
                                    std::string(LineReader::kLongestLine - kHeader.size() - 5, 'a'),
                            kRead + "startWork...."},
                           1},
                BrokenCase{"OverlongAtTheEnd", std::string(100000, 'a'), {}, 0}),
        [](const auto& info) { return info.param.name; });

TEST(LogFileTest, LinesAroundTheLongestOneAreWhole) {
    for (const size_t size :
         {LineReader::kLongestLine - 1, LineReader::kLongestLine, LineReader::kLongestLine + 1}) {
        for (const char* end : {"", "\n", "\nnext"}) {
            const TextFile file(std::string(size, 'x') + end);
            LineReader reader(file.fd());
            LineReader::Line line;
            ASSERT_TRUE(reader.next(line));
            EXPECT_EQ(line.text.size(), std::min(size, LineReader::kLongestLine));
            EXPECT_EQ(line.cut, size > LineReader::kLongestLine);
            EXPECT_EQ(reader.next(line), std::string(end) == "\nnext");
            if (std::string(end) == "\nnext") {
                EXPECT_EQ(line.text, "next");
            }
        }
    }
}

TEST(LogFileTest, TheLastLineNeedsNoLineEnd) {
    const TextFile file("a\nlonger than the one before");
    LineReader reader(file.fd());
    LineReader::Line line;
    EXPECT_TRUE(reader.next(line));
    EXPECT_TRUE(reader.next(line));
    EXPECT_EQ(line.text, "longer than the one before");
    EXPECT_FALSE(reader.next(line));
}

TEST(LogFileTest, TellsWhatCannotBeRead) {
    LineReader reader(-1);
    LineReader::Line line;
    EXPECT_FALSE(reader.next(line));
    EXPECT_EQ(reader.error(), EBADF);
}

}  // namespace

}  // namespace zulctl::test
