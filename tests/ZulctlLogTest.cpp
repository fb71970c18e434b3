// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogFile.h"

#include <fstream>
#include <sstream>

#include "tests/support/LogText.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/WallTime.h"

namespace zulctl::test {

namespace {

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
        known.push_back(row(pattern.priority, format, pattern.isDump()));
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

const MatchCase kMatchCases[] = {
        {"NoField", 'D', "startWork....", "startWork...:"},
        {"TextBehind", 'D', "startWork.....", ""},
        {"OtherPriority", 'E', "startWork....", ""},
        {"LineEndIsNone", 'E', "*** fork fail", "*** fork fai:"},
        {"BlankAtTheEnd", 'E', "Unable to open filePath: /a b ", "Unable to op:[/a b]"},
        {"BlankMissing", 'E', "Unable to open filePath: /a", ""},
        {"Prepare", 'D',
         "prepare.....sceneType=0xffff01,flag=0x2c1,pid=-7, mCompressFileCount=3, "
         "extraInfo=a, extraInfo=b",
         "prepare.....:[0xffff01][2c1][-7][3][a, extraInfo=b]"},
        {"EmptyTexts", 'D',
         "prepare.....sceneType=,flag=0x0,pid=0, mCompressFileCount=0, extraInfo=",
         "prepare.....:[][0][0][0][]"},
        {"NoNumber", 'D',
         "prepare.....sceneType=a,flag=0x,pid=1, mCompressFileCount=3, extraInfo=", ""},
        {"UpperCaseIsNoNumber", 'D', "sceneType===a,sceneType.length()=1,mFlag=0xA", ""},
        {"LetterIsNoDigit", 'D', "sceneType===a,sceneType.length()=1,mFlag=0x1g", ""},
        {"Described", 'D', "sceneType===a,sceneType.length()=1", "sceneType===:[a][1]"},
        {"Begin", 'D', "sceneType===,sceneType.length()=0,mFlag=0x8000000000000000",
         "sceneType===:[][0][8000000000000000]"},
        {"TagThatLooksLikeTheRest", 'D',
         "sceneType===a,sceneType.length()=1,sceneType.length()=22,mFlag=0x1",
         "sceneType===:[a,sceneType.length()=1][22][1]"},
        {"LengthDoesNotFit", 'D', "sceneType===ab,sceneType.length()=3", ""},
        {"LineBreakInTheTag", 'D', "sceneType===a\nb,sceneType.length()=3",
         "sceneType===:[a\nb][3]"},
        {"TextFirst", 'E', "/a;/b copy to /c failed.", "%s copy to %:[/a;/b][/c]"},
        {"TextFirstIsLast", 'D', "Illegal ZUL TAG a Illegal ZUL TAG b,break",
         "Illegal ZUL :[a Illegal ZUL TAG b]"},
        {"TextFirstInAText", 'E', "tag too long for a capture folder: a copy to b failed.",
         "tag too long:[a copy to b failed.]"},
        {"BrokenOff", 'I', "a sceneType===b", ""},
        {"Request", 'D', "startSimpZul Illegal ZUL TAG a,break", "%s Illegal Z:[startSimpZul][a]"},
        {"RefusalInAText", 'I', "startSimpZul extraInfo = Illegal ZUL TAG a,break",
         "%s extraInfo:[startSimpZul][Illegal ZUL TAG a,break]"},
        {"FieldsInAText", 'I',
         "startSimpZul sceneType===a, flag = 0x1; mZulCmd = b flag = c; extraInfo "
         "= d; "
         "mEventType = e; mEventSubType = f",
         "%s sceneType:[startSimpZul][a][1][b flag = c][d][e][f]"},
        {"RefusalInAConfiguration", 'D', "remoteConfig.cmds = x Illegal ZUL TAG a,break ",
         "remoteConfig:[cmds][x Illegal ZUL TAG a,break]"},
        {"Character", 'E', "unknow special scene type:\xff", "unknow speci:[\xff]"},
        {"NoCharacter", 'E', "unknow special scene type:", ""},
        {"Child", 'D', "sceneFlag===-1, mPid===7", "sceneFlag===:[-1][7]"},
        {"CutAtTheLogsLimit", 'D', "Illegal ZUL TAG " + std::string(1023 - 16, 'a'),
         "Illegal ZUL :[" + std::string(1023 - 16, 'a') + "]"},
        {"ShorterThanThat", 'D', "Illegal ZUL TAG " + std::string(1022 - 16, 'a'), ""},
        {"LongAndOfOthers", 'E', std::string(2000, 'a'), ""},
        {"Nothing", 'D', "", ""},
};
INSTANTIATE_TEST_SUITE_P(Messages, MatchTest, testing::ValuesIn(kMatchCases), caseName);

/**
 * What LogFile makes of a text: time, process, thread, priority, message, and "?" for unknown ones,
 * with a line break between two lines.
 */
std::string read(const std::string& text, LogTime newest = kNewest,
                 uint64_t* unreadable = nullptr) {
    std::string lines;
    const TextFile file(text);
    LogFile log(file.fd(), newest);
    LogLine line;
    while (log.next(line)) {
        lines += (lines.empty() ? "" : "\n") + formatLogTime(line.time) + " " +
                 std::to_string(line.process) + " " + std::to_string(line.thread) + " " +
                 line.priority + " " + (line.pattern == nullptr ? "? " : "") +
                 std::string(line.message);
    }
    EXPECT_EQ(log.error(), 0);
    if (unreadable != nullptr) *unreadable = log.unreadable();
    return lines;
}

struct HeaderCase {
    const char* name;
    const char* line;
    /** Nothing: it is no line of the daemon's. */
    const char* read;
};

class HeaderTest : public testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderTest, IsRead) {
    setenv("TZ", "EAST-3", 1);
    tzset();
    EXPECT_EQ(read(std::string(GetParam().line) + "\n"), GetParam().read);
    unsetenv("TZ");
    tzset();
}

const HeaderCase kHeaderCases[] = {
        {"Desktop", "03-04 05:06:07.089 12 34 D ZUL_DEBUG: startWork....",
         "2026-03-04 05:06:07.089 12 34 D startWork...."},
        {"Threadtime", "03-04 05:06:07.089    12    34 D ZUL_DEBUG: startWork....\r",
         "2026-03-04 05:06:07.089 12 34 D startWork...."},
        {"PaddedTag", "03-04 05:06:07.089 1 2 D ZUL_DEBUG   : startWork....",
         "2026-03-04 05:06:07.089 1 2 D startWork...."},
        {"Year", "2019-12-31 23:59:59.999 1 2 I ZUL_DEBUG: x", "2019-12-31 23:59:59.999 1 2 I ? x"},
        {"Epoch", "      1741053967.123  1 2 W ZUL_DEBUG: x", "2025-03-04 05:06:07.123 1 2 W ? x"},
        {"MicrosecondsAndZone", "2025-03-04 05:06:07.123456 +0300  1 2 E ZUL_DEBUG: x",
         "2025-03-04 05:06:07.123 1 2 E ? x"},
        {"User", "03-04 05:06:07.089 root    12    34 D ZUL_DEBUG: x",
         "2026-03-04 05:06:07.089 12 34 D ? x"},
        {"UserNumber", "03-04 05:06:07.089 10123    12    34 D ZUL_DEBUG: x",
         "2026-03-04 05:06:07.089 12 34 D ? x"},
        {"Color", "\x1b[38;5;40m03-04 05:06:07.089 1 2 I ZUL_DEBUG: x\x1b[0m",
         "2026-03-04 05:06:07.089 1 2 I ? x"},
        {"Time", "03-04 05:06:07.089 D/ZUL_DEBUG(   12): startWork....",
         "2026-03-04 05:06:07.089 12 12 D startWork...."},
        {"TimeOfAnotherTag", "03-04 05:06:07.089 D/ZUL(   12): startWork....", ""},
        {"Long", "[ 03-04 05:06:07.089    12:   34 D/ZUL_DEBUG ]\nstartWork....\n",
         "2026-03-04 05:06:07.089 12 34 D startWork...."},
        {"LongOverLines",
         "[ 03-04 05:06:07.089 12: 34 D/ZUL_DEBUG ]\nIllegal ZUL TAG a\nb,break\n\nx\n"
         "[ 03-04 05:06:07.089 12: 34 D/OTHER ]\nstartWork....\n",
         "2026-03-04 05:06:07.089 12 34 D ? Illegal ZUL TAG a\n"
         "2026-03-04 05:06:07.089 12 34 D b,break"},
        {"TextInALongOneThatLooksLikeAMessage",
         "[ 03-04 05:06:07.089 12: 34 D/ZUL_DEBUG ]\nx\nstartWork....\n",
         "2026-03-04 05:06:07.089 12 34 D ? x\n2026-03-04 05:06:07.089 12 34 D ? startWork...."},
        {"LongInAnother",
         "03-04 05:06:07.089 1 2 I ZUL_DEBUG: x\n[ 03-04 05:06:07.089 12: 34 D/ZUL_DEBUG ]\ny",
         "2026-03-04 05:06:07.089 1 2 I ? x"},
        {"EmptyMessage", "03-04 05:06:07.089 1 2 D ZUL_DEBUG:", "2026-03-04 05:06:07.089 1 2 D ? "},
        {"BlanksBelongToTheMessage", "03-04 05:06:07.089 1 2 D ZUL_DEBUG:  x ",
         "2026-03-04 05:06:07.089 1 2 D ?  x "},
        {"OtherTag", "03-04 05:06:07.089 1 2 D ZUL_DEBUGS: x", ""},
        {"OtherTagSaysOurs", "03-04 05:06:07.089 1 2 D App: ZUL_DEBUG: x", ""},
        {"NoSuchMonth", "13-04 05:06:07.089 1 2 D ZUL_DEBUG: x", ""},
        {"NoSuchDay", "03-32 05:06:07.089 1 2 D ZUL_DEBUG: x", ""},
        {"NoSuchHour", "03-04 24:06:07.089 1 2 D ZUL_DEBUG: x", ""},
        {"NoThread", "03-04 05:06:07.089 1 D ZUL_DEBUG: x", ""},
        {"ProcessOfLetters", "03-04 05:06:07.089 a 2 D ZUL_DEBUG: x", ""},
        {"HugeProcess", "03-04 05:06:07.089 4294967297 2 D ZUL_DEBUG: x", ""},
        {"Marker", "--------- beginning of main", ""},
        {"Blank", "", ""},
};
INSTANTIATE_TEST_SUITE_P(Headers, HeaderTest, testing::ValuesIn(kHeaderCases), caseName);

TEST(LogFileTest, YearsGoOnAtTheEndOfOne) {
    const LogTime newest = *parseRecordTime("2026-01-02 00:00:00") * 1000;
    EXPECT_EQ(read("12-31 23:59:59.000 1 1 D ZUL_DEBUG: a\n"
                   "01-01 00:00:00.000 1 1 D ZUL_DEBUG: b\n"
                   "12-31 23:59:59.999 1 1 D ZUL_DEBUG: late\n"
                   "01-01 00:00:01.000 1 1 D ZUL_DEBUG: c\n",
                   newest),
              "2025-12-31 23:59:59.000 1 1 D ? a\n2026-01-01 00:00:00.000 1 1 D ? b\n"
              "2025-12-31 23:59:59.999 1 1 D ? late\n2026-01-01 00:00:01.000 1 1 D ? c");
    // A clock that is a little ahead is not one that is a year behind.
    EXPECT_EQ(read("01-02 12:00:00.000 1 1 D ZUL_DEBUG: a\n", newest),
              "2026-01-02 12:00:00.000 1 1 D ? a");
}

TEST(LogFileTest, TheYearIsThatOfTheCaptures) {
    const auto line = [](const char* day, const std::string& name) {
        return std::string(day) + " 23:59:59.000 1 1 D ZUL_DEBUG: " +
               (name.empty() ? "x"
                             : "getZulBasePath:fileNum=0,folderName=/data/ZUL/0xffff/" + name) +
               "\n";
    };
    const auto years = [](const std::string& text) {
        std::string years;
        std::istringstream lines(read(text));
        for (std::string line; std::getline(lines, line);)
            years += (years.empty() ? "" : " ") + line.substr(0, 4);
        return years;
    };
    const std::string name = "0xffff01_2019_12_31_23_59_59_0";
    EXPECT_EQ(years(line("12-31", "")), "2026");
    EXPECT_EQ(years(line("12-31", "") + line("12-31", name)), "2019 2019");
    EXPECT_EQ(years(line("01-01", "") + line("12-31", name)), "2020 2019");
    EXPECT_EQ(years(line("12-30", "") + line("12-31", "0xffff01_2020_01_01_00_00_00_0") +
                    line("01-01", "")),
              "2019 2019 2020");
    EXPECT_EQ(years(line("12-31", "nonsense") + line("12-31", "")), "2026 2026");
    // Too far ahead to be seen before, it counts from there on.
    EXPECT_EQ(years(line("12-31", std::string(100000, 'x')) + line("12-31", name)), "2026 2019");
}

struct FormatCase {
    const char* name;
    std::string text;
    const char* format;
};

class FormatTest : public testing::TestWithParam<FormatCase> {};

TEST_P(FormatTest, IsToldFromOthers) {
    const TextFile file(GetParam().text);
    LogFile log(file.fd(), kNewest);
    LogLine line;
    while (log.next(line)) {
    }
    EXPECT_EQ(log.otherFormat().substr(0, log.otherFormat().find(',')), GetParam().format);
}

const FormatCase kFormatCases[] = {
        {"Nothing", "", ""},
        {"NothingButMarkers", "--------- beginning of main\n", ""},
        {"OthersAlone", "03-04 05:06:07.089 1 2 D App: x\n", ""},
        {"Brief", "--------- beginning of main\nD/ZUL_DEBUG( 1234): x\n", "logcat -v brief"},
        {"Process", "D( 1234) x  (ZUL_DEBUG)\n", "logcat -v process"},
        {"Thread", "D( 1234: 1235) x\n", "logcat -v thread"},
        {"Tag", "D/ZUL_DEBUG: x\n", "logcat -v tag"},
        {"Raw", "startWork....\n", "logcat -v raw"},
        {"Gzip", "\x1f\x8b\x08", "compressed (zcat FILE | zulctl --log=-)"},
        {"Utf16",
         std::string("\xff\xfe"
                     "0\0",
                     4),
         "UTF-16 text (iconv -f UTF-16 -t UTF-8 FILE | zulctl --log=-)"},
};
INSTANTIATE_TEST_SUITE_P(Logs, FormatTest, testing::ValuesIn(kFormatCases), caseName);

TEST(LogFileTest, AnotherFormatIsAProblem) {
    const TextFile file("D/ZUL_DEBUG( 1): x\n");
    const Result result = call({"--log=/proc/self/fd/" + std::to_string(file.fd()), "events"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("looks like logcat -v brief, without times; a log as it is "
                                      "needed comes from logcat -d -v threadtime"));
}

const std::string kHeader = "03-04 05:06:07.089 1 2 D ZUL_DEBUG: ";
const std::string kRead = "2026-03-04 05:06:07.089 1 2 D ";

std::string replaceAll(std::string text, const std::string& what, const std::string& by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

/** In both texts "@" stands for the header of a line. */
struct BrokenCase {
    const char* name;
    std::string text;
    std::string read;
    uint64_t unreadable = 0;
};

class BrokenTest : public testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenTest, LosesNothingElse) {
    uint64_t unreadable = 0;
    std::string lines = read(replaceAll(GetParam().text, "@", kHeader), kNewest, &unreadable);
    lines = replaceAll(replaceAll(lines, kRead, "@"), kHeader, "@");
    EXPECT_EQ(lines, GetParam().read);
    EXPECT_EQ(unreadable, GetParam().unreadable);
}

const std::string kLong(8000, 'b');

const BrokenCase kBrokenCases[] = {
        {"NoLineEnd", "@startWork....", "@startWork...."},
        {"MessageOverLines", "@Illegal ZUL TAG a\n\nb,break\n",
         "@? Illegal ZUL TAG a\n@? \n@b,break"},
        {"MessageOverLinesOfOneHeader", "@Illegal ZUL TAG a\n@b,break\n",
         "@? Illegal ZUL TAG a\n@b,break"},
        {"OtherThreadBetween",
         "@Illegal ZUL TAG a\n03-04 05:06:07.089 1 3 D ZUL_DEBUG: x\n@b,break\n",
         "@? Illegal ZUL TAG a\n2026-03-04 05:06:07.089 1 3 D ? x\n@? b,break"},
        {"OtherTagBetween", "@Illegal ZUL TAG a\n03-04 05:06:07.089 1 2 D App: x\nb,break\n",
         "@? Illegal ZUL TAG a"},
        {"TextThatLooksLikeAMessage", "@startWork....\nstartWork....\n",
         "@startWork....\n@? startWork...."},
        {"TextThatLooksLikeAMessageOverLines", "@startWork....\nIllegal ZUL TAG a\nb,break\n",
         "@startWork....\n@? Illegal ZUL TAG a\n@? b,break"},
        {"MessageEndsWhereItIsKnown", "@Illegal ZUL TAG a\nb,break\n@b,break\n",
         "@? Illegal ZUL TAG a\n@b,break\n@? b,break"},
        {"KnownMessageBetween", "@Illegal ZUL TAG a\n@startWork....\n@b,break\n",
         "@? Illegal ZUL TAG a\n@startWork....\n@? b,break"},
        {"LaterMessageOfTheThread",
         "@Illegal ZUL TAG a\n03-04 05:06:07.090 1 2 D ZUL_DEBUG: b,break\n",
         "@? Illegal ZUL TAG a\n2026-03-04 05:06:07.090 1 2 D ? b,break"},
        {"MessageWithoutAnEnd", "@a\n" + kLong + "\n" + kLong + "\nd Illegal ZUL TAG e,break\n",
         "@? a\n@? " + kLong + "\n@? " + kLong + "\n@? d Illegal ZUL TAG e,break"},
        {"TornInTheMessage", "@startW@startWork....\n", "@startWork....", 1},
        {"TornInTheHeader", "03-04 05:0@startWork....\n", "@startWork....", 1},
        {"TornTwice", "@st@st@startWork....\n", "@? st@startWork....", 1},
        {"TornBehindTheTag", "4 05:06 1 2 D ZUL_DEBUG: startWork....\n", "", 1},
        {"LooksTornInAText", "@dnam=@startWork....\n", "@dnam=@startWork...."},
        {"OtherBytes", std::string("@dnam=\xff\0\x1b[31m\n", 14),
         std::string("@dnam=\xff\0\x1b[31m", 13)},
        {"Overlong", "@dnam=" + std::string(300000, 'a') + "\n@startWork....\n",
         "@dnam=" + std::string(LineReader::kLongestLine - kHeader.size() - 5, 'a') +
                 "\n@startWork....",
         1},
        {"OverlongAtTheEnd", std::string(100000, 'a'), ""},
};
INSTANTIATE_TEST_SUITE_P(Logs, BrokenTest, testing::ValuesIn(kBrokenCases), caseName);

TEST(LogFileTest, LinesAroundTheLongestOneAreWhole) {
    const size_t longest = LineReader::kLongestLine;
    for (const size_t size : {size_t{1}, longest - 1, longest, longest + 1}) {
        for (const std::string end : {"", "\n", "\nlonger than the first one"}) {
            const TextFile file(std::string(size, 'x') + end);
            LineReader reader(file.fd());
            LineReader::Line line;
            ASSERT_TRUE(reader.next(line));
            EXPECT_EQ(line.text.size(), std::min(size, longest));
            EXPECT_EQ(line.cut, size > longest);
            EXPECT_EQ(reader.next(line) ? "\n" + std::string(line.text) : "",
                      end.size() > 1 ? end : "");
            EXPECT_FALSE(reader.next(line));
        }
    }
}

TEST(LogFileTest, WaitsAtTheEndForAsLongAsItIsToldTo) {
    const TextFile file("a\n");
    int waits = 0;
    LineReader reader(file.fd(),
                      [&] { return ++waits == 1 && pwrite(file.fd(), "b\n", 2, 2) == 2; });
    LineReader::Line line;
    for (const char* text : {"a", "b"}) {
        ASSERT_TRUE(reader.next(line));
        EXPECT_EQ(line.text, text);
    }
    EXPECT_FALSE(reader.next(line));
    EXPECT_EQ(waits, 2);
}

TEST(LogFileTest, TellsWhatCannotBeRead) {
    LineReader reader(-1);
    LineReader::Line line;
    EXPECT_FALSE(reader.next(line));
    EXPECT_EQ(reader.error(), EBADF);
}

}  // namespace

}  // namespace zulctl::test
