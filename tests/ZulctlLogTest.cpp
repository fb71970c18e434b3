// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/LogFile.h"

#include <fstream>

#include "base/Text.h"
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

TEST(LogPatternsTest, MessagesHaveFields) {
    const std::string longTag(1023 - 16, 'a');
    // Of a priority and a message, the format, a colon, and the fields in brackets.
    const std::pair<std::string, std::string> cases[] = {
            {"D startWork....", "startWork...:"},
            {"E *** fork fail", "*** fork fai:"},
            // A blank belongs to the format.
            {"E Unable to open filePath: /a b ", "Unable to op:[/a b]"},
            {"D prepare.....sceneType=a,flag=0x2c1,pid=-7, mCompressFileCount=3, extraInfo=a, "
             "extraInfo=b",
             "prepare.....:[a][2c1][-7][3][a, extraInfo=b]"},
            {"D prepare.....sceneType=,flag=0x0,pid=0, mCompressFileCount=0, extraInfo=",
             "prepare.....:[][0][0][0][]"},
            // The length tells where a tag ends.
            {"D sceneType===a,sceneType.length()=1", "sceneType===:[a][1]"},
            {"D sceneType===,sceneType.length()=0,mFlag=0x8000000000000000",
             "sceneType===:[][0][8000000000000000]"},
            {"D sceneType===a,sceneType.length()=1,sceneType.length()=22,mFlag=0x1",
             "sceneType===:[a,sceneType.length()=1][22][1]"},
            {"D sceneType===a\nb,sceneType.length()=3", "sceneType===:[a\nb][3]"},
            // Texts of others that look like a message.
            {"E /a;/b copy to /c failed.", "%s copy to %:[/a;/b][/c]"},
            {"D Illegal ZUL TAG a Illegal ZUL TAG b,break", "Illegal ZUL :[a Illegal ZUL TAG b]"},
            {"E tag too long for a capture folder: a copy to b failed.",
             "tag too long:[a copy to b failed.]"},
            {"D startZul Illegal ZUL TAG a,break", "%s Illegal Z:[startZul][a]"},
            {"I startZul extraInfo = Illegal ZUL TAG a,break",
             "%s extraInfo:[startZul][Illegal ZUL TAG a,break]"},
            {"I startZul sceneType===a, flag = 0x1; mZulCmd = b flag = c; extraInfo = d; "
             "mEventType = e; mEventSubType = f",
             "%s sceneType:[startZul][a][1][b flag = c][d][e][f]"},
            {"D remoteConfig.cmds = x Illegal ZUL TAG a,break ",
             "remoteConfig:[cmds][x Illegal ZUL TAG a,break]"},
            {"E unknow special scene type:\xff", "unknow speci:[\xff]"},
            {"D sceneFlag===-1, mPid===7", "sceneFlag===:[-1][7]"},
            // The log's limit cuts.
            {"D Illegal ZUL TAG " + longTag, "Illegal ZUL :[" + longTag + "]"},
            {"D Illegal ZUL TAG " + longTag.substr(1), ""},
            {"E " + std::string(2000, 'a'), ""},
    };
    for (const auto& [line, expected] : cases) {
        LineFields fields;
        const LogPattern* pattern = matchLogLine(line[0], std::string_view(line).substr(2), fields);
        std::string match;
        if (pattern != nullptr) match = std::string(pattern->format.substr(0, 12)) + ":";
        for (const std::string_view field : fields) {
            if (field.data() != nullptr) match += "[" + std::string(field) + "]";
        }
        EXPECT_EQ(match, expected) << line;
    }
    for (const std::string_view line :
         {"D startWork.....", "E startWork....", "D ", "E Unable to open filePath: /a",
          "D prepare.....sceneType=a,flag=0x,pid=1, mCompressFileCount=3, extraInfo=",
          "D prepare.....sceneType=a,flag=0x1,pid=-, mCompressFileCount=3, extraInfo=",
          "D sceneType===a,sceneType.length()=1,mFlag=0xA",
          "D sceneType===a,sceneType.length()=1,mFlag=0x1g",
          "D sceneType===ab,sceneType.length()=3", "I a sceneType===b",
          "E unknow special scene type:"}) {
        LineFields fields;
        EXPECT_EQ(matchLogLine(line[0], line.substr(2), fields), nullptr) << line;
    }
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
    const std::string time = "03-04 05:06:07.089 ";
    const std::pair<std::string, std::string> cases[] = {
            {time + "12 34 D ZUL_DEBUG: startWork....", time + "12 34 D startWork...."},
            {time + "   12    34 D ZUL_DEBUG   : startWork....\r", time + "12 34 D startWork...."},
            {"2019-12-31 23:59:59.999 1 2 I ZUL_DEBUG: x", "2019-12-31 23:59:59.999 1 2 I ? x"},
            {"      1741053967.123  1 2 W ZUL_DEBUG: x", "2025-03-04 05:06:07.123 1 2 W ? x"},
            {"2025-03-04 05:06:07.123456 +0300  1 2 E ZUL_DEBUG: x",
             "2025-03-04 05:06:07.123 1 2 E ? x"},
            {time + "-0300 1 2 E ZUL_DEBUG: x", time + "1 2 E ? x"},
            {time + "root    12    34 D ZUL_DEBUG: x", time + "12 34 D ? x"},
            {time + "10123    12    34 D ZUL_DEBUG: x", time + "12 34 D ? x"},
            {"\x1b[38;5;40m" + time + "1 2 I ZUL_DEBUG: x\x1b[0m", time + "1 2 I ? x"},
            {time + "D/ZUL_DEBUG(   12): startWork....", time + "12 12 D startWork...."},
            {"[ " + time + "   12:   34 D/ZUL_DEBUG ]\nstartWork....\n",
             time + "12 34 D startWork...."},
            {"[ " + time + "12: 34 D/ZUL_DEBUG ]\nIllegal ZUL TAG a\nb,break\n\nx\n[ " + time +
                     "12: 34 D/OTHER ]\nstartWork....\n",
             time + "12 34 D ? Illegal ZUL TAG a\n" + time + "12 34 D b,break"},
            {"[ " + time + "12: 34 D/ZUL_DEBUG ]\na[ " + time + "12: 34 D/ZUL_DEBUG ]\n",
             time + "12 34 D ? a[ " + time + "12: 34 D/ZUL_DEBUG ]"},
            {"[ " + time + "12: 34 D/ZUL_DEBUG ]\nx\nstartWork....\n",
             time + "12 34 D ? x\n" + time + "12 34 D ? startWork...."},
            {time + "1 2 I ZUL_DEBUG: x\n[ " + time + "12: 34 D/ZUL_DEBUG ]\ny",
             time + "1 2 I ? x\ntorn: 1"},
            {time + "1 2 D ZUL_DEBUG:", time + "1 2 D ? "},
            {time + "1 2 D ZUL_DEBUG:  x ", time + "1 2 D ?  x "},
    };
    setenv("TZ", "EAST-3", 1);
    tzset();
    for (const auto& [line, expected] : cases)
        EXPECT_EQ(replaceAll(read(line + "\n"), "2026-", ""), expected) << line;
    for (const std::string& line : {time + "D/ZUL(   12): x", time + "1 2 D ZUL_DEBUGS: x",
                                    time + "1 2 D App: ZUL_DEBUG: x", std::string("--------- x")})
        EXPECT_EQ(read(line + "\n"), "") << line;
    for (const std::string& header :
         {std::string("13-04 05:06:07.089 1 2 D"), std::string("03-32 05:06:07.089 1 2 D"),
          std::string("03-04 24:06:07.089 1 2 D"), time + "1 D", time + "a 2 D",
          time + "4294967297 2 D", time + "1 2 X"})
        EXPECT_EQ(read(header + " ZUL_DEBUG: x\n"), "\ntorn: 1") << header;
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
    const std::string header = "03-04 05:06:07.089 1 2 D ZUL_DEBUG: ";
    const std::string shown = "2026-03-04 05:06:07.089 1 2 D ";
    const std::string large(8000, 'b');
    const std::string longest(LineReader::kLongestLine - header.size() - 5, 'a');
    // In both texts "@" stands for the header of a line.
    const std::pair<std::string, std::string> cases[] = {
            {"@startWork....", "@startWork...."},
            // A message over several lines, with a header each or without.
            {"@Illegal ZUL TAG a\n\nb,break\n", "@? Illegal ZUL TAG a\n@? \n@b,break"},
            {"@Illegal ZUL TAG a\n@b,break\n", "@? Illegal ZUL TAG a\n@b,break"},
            {"@Illegal ZUL TAG a\n03-04 05:06:07.089 1 3 D ZUL_DEBUG: x\n@b,break\n",
             "@? Illegal ZUL TAG a\n2026-03-04 05:06:07.089 1 3 D ? x\n@? b,break"},
            {"@Illegal ZUL TAG a\n03-04 05:06:07.089 1 2 D App: x\nb,break\n",
             "@? Illegal ZUL TAG a"},
            {"@Illegal ZUL TAG a\nb,break\n@b,break\n",
             "@? Illegal ZUL TAG a\n@b,break\n@? b,break"},
            {"@Illegal ZUL TAG a\n@startWork....\n@b,break\n",
             "@? Illegal ZUL TAG a\n@startWork....\n@? b,break"},
            {"@Illegal ZUL TAG a\n03-04 05:06:07.090 1 2 D ZUL_DEBUG: b,break\n",
             "@? Illegal ZUL TAG a\n2026-03-04 05:06:07.090 1 2 D ? b,break"},
            {"@a\n" + large + "\n" + large + "\nd Illegal ZUL TAG e,break\n",
             "@? a\n@? " + large + "\n@? " + large + "\n@? d Illegal ZUL TAG e,break"},
            // A text that looks like a message.
            {"@startWork....\nstartWork....\n", "@startWork....\n@? startWork...."},
            {"@startWork....\nIllegal ZUL TAG a\nb,break\n",
             "@startWork....\n@? Illegal ZUL TAG a\n@? b,break"},
            // Torn by another line.
            {"@startW@startWork....\n", "@startWork....\ntorn: 1"},
            {"03-04 05:0@startWork....\n", "@startWork....\ntorn: 1"},
            {"03-04 05:06:07.089 1 2 D@startWork....\n", "@startWork....\ntorn: 1"},
            {"03-04 05:06:07.089 1@startWork....\n", "@startWork....\ntorn: 1"},
            {"03-04 05:06:07.089 D/ZUL_DEBUG( 1)@startWork....\n", "\ntorn: 1"},
            {"@st@st@startWork....\n", "@? st@startWork....\ntorn: 1"},
            {"4 05:06 1 2 D ZUL_DEBUG: startWork....\n", "\ntorn: 1"},
            {"@dnam=@startWork....\n", "@dnam=@startWork...."},
            {std::string("@dnam=\xff\0\x1b[31m\n", 14), std::string("@dnam=\xff\0\x1b[31m", 13)},
            // Longer than any line.
            {"@dnam=" + std::string(300000, 'a') + "\n@startWork....\n",
             "@dnam=" + longest + "\n@startWork....\ntorn: 1"},
            {"@dnam=" + longest + "a\n@startWork....\n",
             "@dnam=" + longest + "\n@startWork....\ntorn: 1"},
            {"@dnam=" + longest + "\n@startWork....\n", "@dnam=" + longest + "\n@startWork...."},
            {"@dnam=" + longest, "@dnam=" + longest},
            {std::string(100000, 'a'), ""},
    };
    for (const auto& [text, expected] : cases) {
        const std::string lines = replaceAll(read(replaceAll(text, "@", header)), shown, "@");
        EXPECT_EQ(replaceAll(lines, header, "@"), expected);
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

}  // namespace

}  // namespace zulctl::test
