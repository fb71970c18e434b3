// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogFile.h"

#include <fstream>
#include <sstream>

#include "base/Text.h"
#include "tests/support/LogText.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/WallTime.h"

namespace zulctl::test {

namespace {

TEST(LogPatternsTest, AreThoseOfTheReference) {
    std::stringstream reference;
    reference << std::ifstream("/src/docs/REFERENCE.md").rdbuf();
    const std::string text = reference.str();
    size_t at = 0;
    for (const LogPattern& pattern : logPatterns()) {
        const std::string format = replaceAll(std::string(pattern.format), "\n", "\\n");
        const std::string row = std::string("\n| ") + pattern.priority + " | `" + format + "` | ";
        at = text.find(row, at);
        ASSERT_NE(at, std::string::npos) << row;
        EXPECT_EQ(text.compare(at + row.size(), 6, "*dump*") == 0, pattern.isDump()) << row;
    }
    size_t documented = 0;
    for (const std::string& line : zul::split(text, "\n"))
        documented += line.size() > 6 && line.substr(3, 4) == " | `" ? 1 : 0;
    EXPECT_EQ(documented, logPatterns().size());
}

TEST(LogPatternsTest, MessagesHaveFields) {
    // Of a priority and a message, the format, a colon, and the fields in brackets. $L is as much of a
    // text as the platform's log takes behind "Illegal ZUL TAG ".
    expectRows(R"(
D startWork.... => startWork...:
E *** fork fail => *** fork fai:
E Unable to open filePath: /a b  => Unable to op:[/a b]
D prepare.....sceneType=a,flag=0x2c1,pid=-7, mCompressFileCount=3, extraInfo=a, extraInfo=b
 => prepare.....:[a][2c1][-7][3][a, extraInfo=b]
D prepare.....sceneType=,flag=0x0,pid=0, mCompressFileCount=0, extraInfo= => prepare.....:[][0][0][0][]
D sceneType===a,sceneType.length()=1 => sceneType===:[a][1]
D sceneType===,sceneType.length()=0,mFlag=0x8000000000000000 => sceneType===:[][0][8000000000000000]
D sceneType===a,sceneType.length()=1,sceneType.length()=22,mFlag=0x1
 => sceneType===:[a,sceneType.length()=1][22][1]
D sceneType===a\nb,sceneType.length()=3 => sceneType===:[a\nb][3]
E /a;/b copy to /c failed. => %s copy to %:[/a;/b][/c]
D Illegal ZUL TAG a Illegal ZUL TAG b,break => Illegal ZUL :[a Illegal ZUL TAG b]
E tag too long for a capture folder: a copy to b failed. => tag too long:[a copy to b failed.]
D startZul Illegal ZUL TAG a,break => %s Illegal Z:[startZul][a]
I startZul extraInfo = Illegal ZUL TAG a,break => %s extraInfo:[startZul][Illegal ZUL TAG a,break]
I s sceneType===a, flag = 0x1; mZulCmd = b flag = c; extraInfo = d; mEventType = e; mEventSubType = f
 => %s sceneType:[s][a][1][b flag = c][d][e][f]
D remoteConfig.cmds = x Illegal ZUL TAG a,break  => remoteConfig:[cmds][x Illegal ZUL TAG a,break]
E unknow special scene type:\xff => unknow speci:[\xff]
D sceneFlag===-1, mPid===7 => sceneFlag===:[-1][7]
D Illegal ZUL TAG $La => Illegal ZUL :[$La]
D Illegal ZUL TAG $L =>
E a$L$L =>
D startWork..... =>
E startWork.... =>
D  =>
E Unable to open filePath: /a =>
D sceneFlag===1, mPid===- =>
D sceneType===a,sceneType.length()=1,mFlag=0x =>
D sceneType===a,sceneType.length()=1,mFlag=0xA =>
D sceneType===a,sceneType.length()=1,mFlag=0x1g =>
D sceneType===ab,sceneType.length()=3 =>
I a sceneType===b =>
E unknow special scene type: =>
)",
               [](const std::string& row) {
                   const std::string most(1022 - 16, 'a');
                   const std::string line = replaceAll(row, "$L", most);
                   LineFields fields;
                   const auto* pattern =
                           matchLogLine(line[0], std::string_view(line).substr(2), fields);
                   std::string match;
                   if (pattern != nullptr) match = std::string(pattern->format.substr(0, 12)) + ":";
                   for (const std::string_view field : fields) {
                       if (field.data() != nullptr) match += "[" + std::string(field) + "]";
                   }
                   return replaceAll(match, most, "$L");
               });
}

/**
 * What LogFile makes of a text: time, process, thread, priority, message, and "?" for unknown ones,
 * with a line break between two lines; behind them, how many are torn.
 */
std::string read(const std::string& text, LogTime newest = kNewest) {
    std::string lines;
    const TextFile file(text);
    LogFile log(file.fd(), newest);
    for (LogLine line; log.next(line);) {
        lines += (lines.empty() ? "" : "\n") + formatLogTime(line.time) + " " +
                 std::to_string(line.process) + " " + std::to_string(line.thread) + " " +
                 line.priority + " " + (line.pattern == nullptr ? "? " : "") +
                 std::string(line.message);
    }
    EXPECT_EQ(log.error(), 0);
    return log.unreadable() == 0 ? lines : lines + "\ntorn: " + std::to_string(log.unreadable());
}

TEST(LogFileTest, HeadersAreRead) {
    setenv("TZ", "EAST-3", 1);
    tzset();
    // @ is the time of day of 03-04.
    expectRows(R"(
@ 12 34 D ZUL_DEBUG: startWork.... => @ 12 34 D startWork....
@    12    34 D ZUL_DEBUG   : startWork....\x0d => @ 12 34 D startWork....
2019-12-31 23:59:59.999 1 2 I ZUL_DEBUG: x => 2019-12-31 23:59:59.999 1 2 I ? x
      1741053967.089  1 2 W ZUL_DEBUG: x => 2025-@ 1 2 W ? x
2025-@456 +0300  1 2 E ZUL_DEBUG: x => 2025-@ 1 2 E ? x
@ -0300 1 2 E ZUL_DEBUG: x => @ 1 2 E ? x
@ root    12    34 D ZUL_DEBUG: x => @ 12 34 D ? x
@ 10123    12    34 D ZUL_DEBUG: x => @ 12 34 D ? x
\x1b[38;5;40m@ 1 2 I ZUL_DEBUG: x\x1b[0m => @ 1 2 I ? x
@ D/ZUL_DEBUG(   12): startWork.... => @ 12 12 D startWork....
[ @    12:   34 D/ZUL_DEBUG ]\nstartWork....\n => @ 12 34 D startWork....
[ @ 12: 34 D/ZUL_DEBUG ]\nIllegal ZUL TAG a\nb,break\n\nx\n[ @ 12: 34 D/OTHER ]\nstartWork....
 => @ 12 34 D ? Illegal ZUL TAG a\n@ 12 34 D b,break
[ @ 12: 34 D/ZUL_DEBUG ]\na[ @ 12: 34 D/ZUL_DEBUG ] => @ 12 34 D ? a[ @ 12: 34 D/ZUL_DEBUG ]
[ @ 12: 34 D/ZUL_DEBUG ]\nx\nstartWork.... => @ 12 34 D ? x\n@ 12 34 D ? startWork....
@ 1 2 I ZUL_DEBUG: x\n[ @ 12: 34 D/ZUL_DEBUG ]\ny => @ 1 2 I ? x\ntorn: 1
@ 1 2 D ZUL_DEBUG: => @ 1 2 D ?\x20
@ 1 2 D ZUL_DEBUG:  x  => @ 1 2 D ?  x\x20
@ D/ZUL(   12): x =>
@ 1 2 D ZUL_DEBUGS: x =>
@ 1 2 D App: ZUL_DEBUG: x =>
--------- x =>
13-04 05:06:07.089 1 2 D ZUL_DEBUG: x => \ntorn: 1
@ 1 D ZUL_DEBUG: x => \ntorn: 1
@ a 2 D ZUL_DEBUG: x => \ntorn: 1
@ 4294967297 2 D ZUL_DEBUG: x => \ntorn: 1
@ 1 2 X ZUL_DEBUG: x => \ntorn: 1
)",
               [](const std::string& row) {
                   const std::string lines =
                           read(replaceAll(row, "@", "03-04 05:06:07.089") + "\n");
                   return replaceAll(replaceAll(lines, "03-04 05:06:07.089", "@"), "2026-", "");
               });
    unsetenv("TZ");
    tzset();
}

TEST(LogFileTest, YearsGoOnAtTheEndOfOne) {
    const LogTime newest = *parseRecordTime("2026-01-02 00:00:00") * 1000;
    EXPECT_EQ(read("12-31 23:59:59.000 1 1 D ZUL_DEBUG: a\n"
                   "01-01 00:00:00.000 1 1 D ZUL_DEBUG: b\n"
                   "12-31 23:59:59.999 1 1 D ZUL_DEBUG: late\n"
                   "01-01 00:00:01.000 1 1 D ZUL_DEBUG: c\n",
                   newest),
              "2025-12-31 23:59:59.000 1 1 D ? a\n2026-01-01 00:00:00.000 1 1 D ? b\n"
              "2025-12-31 23:59:59.999 1 1 D ? late\n2026-01-01 00:00:01.000 1 1 D ? c");
    EXPECT_EQ(read("02-01 00:00:00.000 1 1 D ZUL_DEBUG: a\n"
                   "07-15 00:00:00.000 1 1 D ZUL_DEBUG: b\n"
                   "01-10 00:00:00.000 1 1 D ZUL_DEBUG: c\n",
                   newest),
              "2025-02-01 00:00:00.000 1 1 D ? a\n2025-07-15 00:00:00.000 1 1 D ? b\n"
              "2026-01-10 00:00:00.000 1 1 D ? c");
    // A clock that is a little ahead is not one that is a year behind.
    EXPECT_EQ(read("01-02 12:00:00.000 1 1 D ZUL_DEBUG: a\n", newest),
              "2026-01-02 12:00:00.000 1 1 D ? a");
}

TEST(LogFileTest, TheYearIsThatOfTheCaptures) {
    using Lines = std::vector<std::pair<std::string, std::string>>;
    const std::string name = "0xffff01_2019_12_31_23_59_59_0";
    const std::pair<Lines, const char*> cases[] = {
            {{{"12-31", ""}}, "2026 "},
            {{{"12-31", ""}, {"12-31", name}}, "2019 2019 "},
            {{{"01-01", ""}, {"12-31", name}}, "2020 2019 "},
            {{{"12-30", ""}, {"12-31", "0xffff01_2020_01_01_00_00_00_0"}, {"01-01", ""}},
             "2019 2019 2020 "},
            {{{"12-31", "nonsense"}, {"12-31", ""}}, "2026 2026 "},
            // Too far ahead to be seen before, it counts from there on.
            {{{"12-31", std::string(100000, 'x')}, {"12-31", name}}, "2026 2019 torn "},
    };
    for (const auto& [lines, expected] : cases) {
        std::string text;
        for (const auto& [day, folder] : lines)
            text += day + " 23:59:59.000 1 1 D ZUL_DEBUG: getZulBasePath:fileNum=0,folderName=/" +
                    folder + "\n";
        std::string years;
        for (const std::string& line : zul::split(read(text), "\n"))
            years += line.substr(0, 5).replace(4, 1, " ");
        EXPECT_EQ(years, expected);
    }
}

TEST(LogFileTest, OtherFormatsAreAProblem) {
    const std::pair<std::string, const char*> cases[] = {
            {"", ""},
            {"--------- beginning of main\n", ""},
            {"03-04 05:06:07.089 1 2 D App: x\nD/App: x\n", ""},
            {"--------- beginning of main\nD/ZUL_DEBUG( 1234): x\n",
             "logcat -v brief, without times; a log as it is needed comes from logcat -d -v "
             "threadtime"},
            {"D( 1234) x  (ZUL_DEBUG)\n", "logcat -v process,"},
            {"D( 1234: 1235) x\n", "logcat -v thread,"},
            {"D/ZUL_DEBUG: x\n", "logcat -v tag,"},
            {"x/ZUL_DEBUG: x\n", "logcat -v raw,"},
            {"\x1f\x8b\x08", "compressed (zcat FILE | zulctl --log=-)"},
            {std::string("\xff\xfe"
                         "0\0",
                         4),
             "UTF-16 text (iconv -f UTF-16 -t UTF-8 FILE | zulctl --log=-)"},
    };
    for (const auto& [text, format] : cases) {
        const TextFile file(text);
        const Result result = call({"--log=/proc/self/fd/" + std::to_string(file.fd()), "events"});
        const bool isLog = *format == '\0';
        EXPECT_EQ(result.status, isLog ? 1 : 3) << text;
        EXPECT_THAT(result.err, HasSubstr(isLog ? "" : std::string("looks like ") + format));
    }
}

TEST(LogFileTest, BrokenLinesLoseNothingElse) {
    // In both texts @ is the header of a line, $S a long text and $L the longest that one has room for.
    expectRows(R"(
@startWork.... => @startWork....
@Illegal ZUL TAG a\n\nb,break\n => @? Illegal ZUL TAG a\n@? \n@b,break
@Illegal ZUL TAG a\n@b,break\n => @? Illegal ZUL TAG a\n@b,break
@Illegal ZUL TAG a\n03-04 05:06:07.089 1 3 D ZUL_DEBUG: x\n@b,break\n
 => @? Illegal ZUL TAG a\n2026-03-04 05:06:07.089 1 3 D ? x\n@? b,break
@Illegal ZUL TAG a\n03-04 05:06:07.089 1 2 D App: x\nb,break\n => @? Illegal ZUL TAG a
@Illegal ZUL TAG a\nb,break\n@b,break\n => @? Illegal ZUL TAG a\n@b,break\n@? b,break
@Illegal ZUL TAG a\n@startWork....\n@b,break\n => @? Illegal ZUL TAG a\n@startWork....\n@? b,break
@Illegal ZUL TAG a\n03-04 05:06:07.090 1 2 D ZUL_DEBUG: b,break\n
 => @? Illegal ZUL TAG a\n2026-03-04 05:06:07.090 1 2 D ? b,break
@a\n$S\n$S\nd Illegal ZUL TAG e,break\n => @? a\n@? $S\n@? $S\n@? d Illegal ZUL TAG e,break
@startWork....\nstartWork....\n => @startWork....\n@? startWork....
@startWork....\nIllegal ZUL TAG a\nb,break\n => @startWork....\n@? Illegal ZUL TAG a\n@? b,break
@startW@startWork....\n => @startWork....\ntorn: 1
03-04 05:0@startWork....\n => @startWork....\ntorn: 1
03-04 05:06:07.089 1 2 D@startWork....\n => @startWork....\ntorn: 1
03-04 05:06:07.089 1@startWork....\n => @startWork....\ntorn: 1
03-04 05:06:07.089 D/ZUL_DEBUG( 1)@startWork....\n => \ntorn: 1
@st@st@startWork....\n => @? st@startWork....\ntorn: 1
4 05:06 1 2 D ZUL_DEBUG: startWork....\n => \ntorn: 1
@dnam=@startWork....\n => @dnam=@startWork....
@dnam=\xff\x00\x1b[31m\n => @dnam=\xff\x00\x1b[31m
@dnam=$L$L$L$L$L$L$L$L$L\n@startWork....\n => @dnam=$L\n@startWork....\ntorn: 1
@dnam=$La\n@startWork....\n => @dnam=$L\n@startWork....\ntorn: 1
@dnam=$L\n@startWork....\n => @dnam=$L\n@startWork....
@dnam=$L => @dnam=$L
$L$L$L$L$L$L$L$L$L =>
)",
               [](const std::string& row) {
                   const std::string header = "03-04 05:06:07.089 1 2 D ZUL_DEBUG: ";
                   const std::string large(8000, 'b');
                   const std::string longest(LineReader::kLongestLine - header.size() - 5, 'a');
                   std::string text = replaceAll(replaceAll(row, "$L", longest), "$S", large);
                   text = read(replaceAll(text, "@", header));
                   text = replaceAll(text, "2026-03-04 05:06:07.089 1 2 D ", "@");
                   text = replaceAll(replaceAll(text, header, "@"), longest, "$L");
                   return replaceAll(text, large, "$S");
               });
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

}  // namespace

}  // namespace zulctl::test
