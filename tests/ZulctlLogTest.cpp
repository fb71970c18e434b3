// SPDX-License-Identifier: Apache-2.0

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "base/Text.h"
#include "tests/support/Files.h"
#include "tests/support/LogText.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/WallTime.h"
#include "zulctl/log/Events.h"
#include "zulctl/log/LogFile.h"

namespace zulctl::test {
namespace {

TEST(LogPatternsTest, AreThoseOfTheReference) {
    const std::string text = zul::test::readFile("/src/docs/REFERENCE.md");
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
    // Of a priority and a message, the format, a colon, and the fields in brackets. $L is one byte
    // less than the platform's log takes behind "Illegal ZUL TAG ".
    expectRows(R"(
D startWork.... => startWork...:
E *** fork fail => *** fork fai:
E Unable to open filePath: /a b  => Unable to op:[/a b]
D prepare.....sceneType=a,flag=0x2c1,pid=-7, mCompressFileCount=3, extraInfo=a, extraInfo=b
 => prepare.....:[a][2c1][-7][3][a, extraInfo=b]
D sceneType===a,sceneType.length()=1 => sceneType===:[a][1]
D sceneType===a,sceneType.length()=1,sceneType.length()=22,mFlag=0x1
 => sceneType===:[a,sceneType.length()=1][22][1]
D sceneType===a\nb,sceneType.length()=3 => sceneType===:[a\nb][3]
E /a;/b copy to /c failed. => %s copy to %:[/a;/b][/c]
D Illegal ZUL TAG a Illegal ZUL TAG b,break => Illegal ZUL :[a Illegal ZUL TAG b]
E tag too long for a capture folder: a copy to b failed. => tag too long:[a copy to b failed.]
I startZul extraInfo = Illegal ZUL TAG a,break => %s extraInfo:[startZul][Illegal ZUL TAG a,break]
I s sceneType===a, flag = 0x1; mZulCmd = flag = c; extraInfo = d; mEventType = e; mEventSubType = f
 => %s sceneType:[s][a][1][flag = c][d][e][f]
E unknow special scene type:\xff => unknow speci:[\xff]
D sceneFlag===-1, mPid===7 => sceneFlag===:[-1][7]
D Illegal ZUL TAG $La => Illegal ZUL :[$La]
D Illegal ZUL TAG $L =>
E startWork.... =>
D  =>
D sceneFlag===1, mPid===- =>
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
@ 10123    12    34 D ZUL_DEBUG: x => @ 12 34 D ? x
\x1b[38;5;40m@ 1 2 I ZUL_DEBUG: x\x1b[0m => @ 1 2 I ? x
@ D/ZUL_DEBUG(   12): startWork.... => @ 12 12 D startWork....
[ @    12:   34 D/ZUL_DEBUG ]\nstartWork....\n => @ 12 34 D startWork....
[ @ 12: 34 D/ZUL_DEBUG ]\nIllegal ZUL TAG a\nb,break\n\nx\n[ @ 12: 34 D/OTHER ]\nstartWork....
 => @ 12 34 D ? Illegal ZUL TAG a\n@ 12 34 D b,break
[ @ 12: 34 D/ZUL_DEBUG ]\nx\nstartWork.... => @ 12 34 D ? x\n@ 12 34 D ? startWork....
@ 1 2 I ZUL_DEBUG: x\n[ @ 12: 34 D/ZUL_DEBUG ]\ny => @ 1 2 I ? x\ntorn: 1
@ 1 2 D ZUL_DEBUG: => @ 1 2 D ?\x20
@ 1 2 D ZUL_DEBUG:  x  => @ 1 2 D ?  x\x20
@ D/ZUL(   12): x =>
@ 1 2 D ZUL_DEBUGS: x =>
@ 1 2 D App: ZUL_DEBUG: x =>
13-04 05:06:07.089 1 2 D ZUL_DEBUG: x => \ntorn: 1
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

TEST(LogFileTest, YearsAreThoseOfTheCapturesAndGoOn) {
    // Days, with the names of folders, in a log of 2026-01-02, of which the clock may be a little
    // ahead. What is behind $N is too far ahead to be seen before, and counts from there on.
    expectRows(R"(
12-31 01-01 12-31 01-01 => 2025 2026 2025 2026
02-01 07-15 01-10 => 2025 2025 2026
01-02 => 2026
12-31 12-31/0xffff01_2019_12_31_23_59_59_0 => 2019 2019
01-01 12-31/0xffff01_2019_12_31_23_59_59_0 => 2020 2019
12-30 12-31/0xffff01_2020_01_01_00_00_00_0 01-01 => 2019 2019 2020
12-31/nonsense 12-31 => 2025 2025
12-31/$N 12-31/0xffff01_2019_12_31_23_59_59_0 => 2025 2019 torn
)",
               [](const std::string& row) {
                   std::string text;
                   for (const std::string& day : zul::split(row, " "))
                       text += day.substr(0, 5) + " 23:59:59.000 1 1 D ZUL_DEBUG: " +
                               "getZulBasePath:fileNum=0,folderName=" + day.substr(5) + "\n";
                   text = replaceAll(text, "$N", std::string(100000, 'x'));
                   std::string years;
                   for (const std::string& line : zul::split(
                                read(text, *parseRecordTime("2026-01-02 00:00:00") * 1000), "\n"))
                       years += (years.empty() ? "" : " ") + line.substr(0, 4);
                   return years;
               });
}

TEST(LogFileTest, OtherFormatsAreAProblem) {
    expectRows(R"(
03-04 05:06:07.089 1 2 D App: x\nD/App: x\n =>
--------- beginning of main\nD/ZUL_DEBUG( 1234): x\n => logcat -v brief, without times
D( 1234) x  (ZUL_DEBUG)\n => logcat -v process, without times and tags
D( 1234: 1235) x\n => logcat -v thread, without times and tags
D/ZUL_DEBUG: x\n => logcat -v tag, without times and processes
x/ZUL_DEBUG: x\n => logcat -v raw, or no log
\x1f\x8b\x08 => compressed (zcat FILE | zulctl --log=-)
\xff\xfe0\x00 => UTF-16 text (iconv -f UTF-16 -t UTF-8 FILE | zulctl --log=-)
)",
               [](const std::string& text) {
                   const TextFile file(text);
                   LogFile log(file.fd(), kNewest);
                   for (LogLine line; log.next(line);)
                       ADD_FAILURE() << line.raw;
                   return log.otherFormat();
               });
}

TEST(LogFileTest, BrokenLinesLoseNothingElse) {
    // On both sides @ is the header of a line, $S a long text and $L the longest one for a line.
    expectRows(R"(
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
@startW@startWork....\n => @startWork....\ntorn: 1
03-04 05:0@startWork....\n => @startWork....\ntorn: 1
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

std::vector<Event> eventsOf(const std::string& log, bool keepLines = false) {
    const TextFile file(log);
    LogFile lines(file.fd(), kNewest);
    std::vector<Event> all;
    Events events([&](Event& event) { all.push_back(std::move(event)); }, keepLines);
    for (LogLine line; lines.next(line);)
        events.add(line);
    events.finish();
    return all;
}

/** TAG OUTCOME, and unless it is the usual one, : REASON (DETAIL); the next one behind "; ". */
std::string describe(const std::vector<Event>& events) {
    std::string text;
    for (const Event& event : events) {
        text += (text.empty() ? "" : "; ") + (event.tag.empty() ? "a nameless" : event.tag) + " " +
                outcomeName(event.outcome);
        const std::string reason = event.reason;
        if (reason != reasonOf(event.outcome)) text += ": " + reason;
        if (!event.detail.empty()) text += " (" + event.detail + ")";
    }
    return text;
}

TEST(EventsTest, OutcomesAreToldWithTheirReasons) {
    expectRows(R"(
lookUp > describe > prepare > collect > end => a collected
lookUp > E libzulid_config dlopen fail > unknown => a refused: no tag library
unknown => a refused: unknown to the tag library
noCopy > copyFailed > capture => a nameless refused: vendor database not copied (/db); a collected
lookUp > describe > noCopy > copyFailed => a refused: vendor database not copied (/db)
begin > noCopy => a passed; a nameless under-way: vendor database not copied (/db)
lookUp > describe > prepare > noCopy
 => a unknown; a nameless under-way: vendor database not copied (/db)
begin 0xffffffff > D remoteConfig.tag = a  > D remoteConfig.flag = 4  > D remoteConfig.tag = b\x20
 => 0xffffffff updated (a, b)
restart > 8/8 D remoteConfig.tag = a  =>
start > begin 0xffff1001 => 0xffff1001 marked
start > begin 0xffff1003 > collect > end => 0xffff1003 marked
start > capture 0xffff1001 => 0xffff1001 collected
begin > prepare > E FolderOperation LOG folder create /x failed(No space) > noFolder > collect
 => a no-folder: folder cannot be made (No space)
begin > prepare > E open /h failure: > collect > end => a collected: no line in the history
begin > prepare > work > E *** fork fail > begin
 => a no-collector: no process for the collector; a under-way
start > begin > begin b 5/7 > prepare b 5/7 > work - 5/7 > notExecuted > end - 5/7
 => b no-collector: collector cannot be executed (No such file or directory); a under-way
begin > 9/9 E ret==-1,excel errno=13
 => a no-collector: collector cannot be executed (Permission denied)
begin > begin b 5/7 > notExecuted => a passed; b passed
begin > prepare > collect > capture => a killed; a collected
begin > prepare > restart > capture b 8/9 => b collected; a interrupted
begin > prepare > start => a interrupted
start > 5/5 D ZUL  main start. > begin => a passed
begin > restart > prepare > collect => a under-way
start > begin > capture => a unknown; a collected
prepare > collect > end => a collected
end > work =>
begin > end => a under-way
begin > refused b => a passed; b refused: no legal tag
begin > prepare > prepare => a unknown; a under-way
begin a\nb > refused a\nb => a\nb refused: no legal tag
lookUp > describe b > noFolder => a no-folder: no folder
D sceneType===,sceneType.length()=0,mFlag=0x1 > D Illegal ZUL TAG ,break
 => a nameless refused: no legal tag
begin > prepare > collect > end - 5/7 > end - 4/6 => a under-way
start > begin > begin b 5/7 > prepare b 5/7 > prepare > work - 5/7 > work > end - 5/7 > end
 => b collected; a collected
)",
               [](const std::string& story) { return describe(eventsOf(makeLog(story, "a"))); });
}

TEST(EventsTest, CollectorsAreToldApartByMaskAndProcess) {
    // Of other masks, of another process, and one more than there are events.
    const auto events = eventsOf(makeLog(
            "begin > prepare > D startWork.... > 5/7 D "
            "multiPidPrepare.....sceneType=b,flag=0x8000000000000000,mMultiPid=3,4, "
            "mCompressFileCount=1, extraInfo= > 5/7 D startWork.... > prepare c 5/5 > 5/5 D "
            "startWork.... > 11/11 D sceneFlag===1, mPid===77 > 12/12 D sceneFlag===707, mPid===3 "
            "> 9/9 D sceneFlag===-9223372036854775808, mPid===0 > 10/10 D sceneFlag===707, "
            "mPid===77 > 13/13 D sceneFlag===707, mPid===77 > 14/14 D sceneFlag===707, mPid===77 > "
            "9/9 E ret==-1,excel errno=7 > end > end - 5/7 > end - 5/5"));
    ASSERT_THAT(events, SizeIs(3));
    EXPECT_THAT((std::vector{events[0].collector, events[1].collector, events[2].collector}),
                ElementsAre(10, 9, 13));
    EXPECT_EQ(describe({events[1]}),
              "b no-collector: collector cannot be executed (Argument list too long)");
}

TEST(EventsTest, MemoryIsBoundedByWhatIsUnderWay) {
    constexpr int kMost = Events::kMostOpen;
    std::string story;
    for (int thread = 2 * kMost; thread > 0; thread--)
        story += "begin - 5/" + std::to_string(thread) + " > ";
    const auto events = eventsOf(makeLog(story));
    ASSERT_THAT(events, SizeIs(2 * kMost));
    // Those longest silent are given up, as many as there is no room for; at the end all the rest.
    for (int i = 0; i < 2 * kMost; i++)
        EXPECT_EQ(events[i].thread, i < kMost ? 2 * kMost - i : i - kMost + 1);

    story = "begin";
    for (size_t i = 0; i < Events::kMostLines + 10; i++)
        story += " > D current file path is x";
    EXPECT_THAT(eventsOf(makeLog(story), true).at(0).lines, SizeIs(Events::kMostLines));
}

Result callEvents(const std::string& log, std::vector<std::string> arguments) {
    const TextFile file(log);
    arguments.insert(arguments.begin(),
                     {"--log=/proc/self/fd/" + std::to_string(file.fd()), "events"});
    return call(arguments);
}

const std::string kStory =
        "restart > capture > begin a\x1b[2J > refused a\x1b[2J > begin b\xff 5/7 > otherPackage - "
        "5/7";

TEST(EventsCommandTest, ShowsOneALineAndATotal) {
    const Result result = callEvents(makeLog(kStory), {});
    EXPECT_EQ(std::to_string(result.status) + result.err, "0");
    EXPECT_EQ(result.out,
              R"(WHEN                     TOOK  OUTCOME       TAG         PROCESS  RESULT
2025-03-04 05:06:07    0.070s  collected     0xffff01    77       0xffff01_2025_03_04_05_06_07_0.zul
2025-03-04 05:06:07    0.010s  refused       a\x1b[2J             no legal tag
2025-03-04 05:06:07    0.010s  refused       b\xff                other package: com.x
3 events: 1 collected, 2 refused (1 no legal tag, 1 other package)
)");
    EXPECT_THAT(callEvents(makeLog("begin"), {}).out, HasSubstr("05:06:07            passed"));
    const Result none = callEvents(makeLog(kStory), {"0xffff01", "--dropped"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.out, HasSubstr("\n0 events\n"));
}

TEST(EventsCommandTest, WritesOneObjectALine) {
    const std::string start = R"({"v":1,"device":"","event":)";
    const std::string story =
            "restart > capture > begin b\xff 5/7 > otherPackage - 5/7 > 5/8 W engine "
            "is gone > 5/8 I engine is back, thread number=-1";
    EXPECT_EQ(callEvents(makeLog(story), {"--json"}).out,
              replaceAll(unwrapped(R"({"daemon-start","time":"2025-03-04 05:06:07.000","daemon":8}
{"capture","time":"2025-03-04 05:06:07.010","tag":"0xffff01","outcome":"collected",
"dropped":false,"reason":"","detail":"","mask":"0x2c3","processes":"77","text":"a text",
"archive":"/data/ZUL/0xffff/0xffff01_2025_03_04_05_06_07_0.zul","took_ms":70,
"preparation_ms":20,"history_ms":20,"collector_ms":20,"daemon":5,"thread":6}
{"capture","time":"2025-03-04 05:06:07.090","tag_hex":"62ff","outcome":"refused",
"dropped":true,"reason":"other package","detail":"com.x","mask":"0x2c1","processes":"","text":"",
"archive":"","took_ms":10,
"preparation_ms":null,"history_ms":null,"collector_ms":null,"daemon":5,"thread":7}
{"engine-gone","time":"2025-03-04 05:06:07.110","daemon":5}
{"engine-back","time":"2025-03-04 05:06:07.120","daemon":5,"thread_number":-1}
)"),
                         "{", start));
    for (const char* choice : {"a", "--dropped", "-n9", "-gx"})
        EXPECT_THAT(callEvents(makeLog(kStory), {"--json", choice}).out,
                    Not(HasSubstr("daemon-start")));
}

TEST(EventsCommandTest, TellsNoTimeThatTheLogDoesNot) {
    std::string setBack = makeLog("capture");
    setBack.replace(setBack.rfind("05:06"), 5, "04:06");
    const std::pair<std::string, const char*> cases[] = {
            {makeLog("begin"), R"("took_ms":null,"preparation_ms":null,)"},
            {makeLog("prepare > record > collect > end"), R"("took_ms":null,"preparation_ms":20,)"},
            {makeLog("begin > prepare > collect > end"),
             R"(_0.zul","took_ms":50,"preparation_ms":20,"history_ms":null,"collector_ms":20)"},
            {makeLog("begin > prepare > noFolder > collect > end"), R"("archive":"","took_ms":60)"},
            {setBack, R"("took_ms":null,"preparation_ms":20,"history_ms":20,"collector_ms":null)"},
    };
    for (const auto& [log, times] : cases)
        EXPECT_THAT(callEvents(log, {"--json"}).out, HasSubstr(times));
}

TEST(EventsCommandTest, ShowsTheRestOfALogThatIsPartlyUnreadable) {
    EXPECT_THAT(callEvents(makeLog("D dnam=a\nb\nend"), {}).err,
                StartsWith("zulctl: lines in the log that continue a text: 1; what looks"));
    const Result torn = callEvents(makeLog(kStory) + "03-0 x ZUL_DEBUG: y\n", {"--no-legend"});
    EXPECT_EQ(torn.status, 3);
    EXPECT_EQ(torn.err, "zulctl: torn lines in the log: 1\n");
    EXPECT_THAT(torn.out, HasSubstr("collected"));
    const Result brief = callEvents("D/ZUL_DEBUG( 1): x\n", {});
    EXPECT_EQ(brief.status, 3);
    EXPECT_THAT(brief.err, HasSubstr(": looks like logcat -v brief, without times; a log as it is "
                                     "needed comes from logcat -d -v threadtime -s ZUL_DEBUG\n"));
    EXPECT_EQ(call({"events"}).status, 2);
}

TEST_F(ZulctlTest, WhatLiesOnDiskDecides) {
    const std::string name = nameOf("0xffff01", "05:06:07");
    // Each behind an archive, a folder, and lines of the history.
    expectRows(R"(
AFLL started > record > restart > started 0xffff01 8/9 > record 0xffff01 8/9 > end - 8/9
 => failed collector made no archive; captured
L started > end => captured gone since: pruned, or removed
FL started > end => failed collector made no archive
AFL started > end => failed collector made no archive
AFLL started > end > started > end => captured; failed collector made no archive
FLL started > end > started > end
 => failed collector made no archive; failed collector made no archive
A started > end => captured
AL started > started > end => captured; captured
FL started > begin => killed collector did not end by itself; under-way
AL started > restart => captured
FL started > restart => interrupted daemon started anew
L started > restart > 8/9 D createZulPath:erase /data/ZUL/0xffff/0xffff01_2025_03_04_05_06_07_0.zul
 => captured gone since: pruned, or removed
FL started > restart > 8/9 D createZulPath:erase /x.zul => interrupted daemon started anew
FL started => under-way
FL started > notExecuted > end
 => no-collector collector cannot be executed: No such file or directory
AL started > notExecuted > end
 => no-collector collector cannot be executed: No such file or directory
- begin > prepare > work > begin => unknown lines are missing; under-way
)",
               [&](const std::string& row) {
                   sh("rm -rf data/ZUL/*");
                   mHistory = "";
                   for (const char kind : row.substr(0, row.find(' ')))
                       make({kind}, "0xffff01", "05:06:07");
                   write("/log", makeLog(row.substr(row.find(' ') + 1)));
                   std::string outcomes;
                   const std::string shown = told("--log=@/log --no-legend events");
                   for (const std::string& line : zul::split(shown, "\n")) {
                       const std::string reason = line.substr(std::min(line.size(), size_t{66}));
                       outcomes += (outcomes.empty() ? "" : "; ") +
                                   line.substr(31, line.find(' ', 31) - 31) +
                                   (reason == "" || reason.starts_with(name) ? "" : " " + reason);
                   }
                   return outcomes;
               });
}

TEST_F(ZulctlTest, EventsOfSeveralDevicesAndTimes) {
    write("/one/ZUL/zul_history");
    write("/two/ZUL/zul_history");
    write("/log", makeLog("begin a > refused a > begin b > otherPackage"));
    const std::string one = "--root=@/one --log=@/log events --no-legend ";
    const std::pair<const char*, const char*> cases[] = {
            {"", "ab"},          {"-n1", "b"},           {"-n0", ""},          {"-gcom.x", "b"},
            {"-glegal", "a"},    {"-gcom.y", ""},        {"a b", "ab"},        {"b", "b"},
            {"--dropped", "ab"}, {"-U2099-01-01", "ab"}, {"-U1970-01-01", ""},
    };
    for (const auto& [options, expected] : cases) {
        std::string tags;
        for (const std::string& line : zul::split(run(one + options).out, "\n"))
            tags += line.substr(line.find("refused") + 14, 1);
        EXPECT_EQ(tags, expected) << options;
    }
    const std::string two = "--root=@/one --log=@/log --root=@/two --log=@/log ";
    expectCalls({{two + "events --no-legend -n1", 0, "one "},
                 {two + "events -n1", 0, "\ntwo "},
                 {two + "events -f", 2, "", "follows one log alone"},
                 {"--root=@/one events", 2, "WHEN ", "zulctl: one: no log\nzulctl: events needs"},
                 {"--root=@/one events -f", 2, "WHEN ", "zulctl: one: no log\n"},
                 {"--root=@/one --log=@/nowhere events", 3, "0 events", "/nowhere: No such file"},
                 {"--root=@/one --log=@/one events", 3, "0 events", "/one: Is a directory"}});
}

TEST_F(ZulctlTest, FollowsALogThatGrows) {
    ASSERT_EQ(mkfifo(at("/log").c_str(), 0600), 0);
    FILE* shown = popen(("zulctl --no-legend --log=" + at("/log") + " events -f").c_str(), "r");
    std::ofstream log(at("/log"));
    char line[200] = {};
    log << makeLog("capture a") << std::flush;
    EXPECT_THAT(fgets(line, sizeof(line), shown), HasSubstr("  a  "));
    log << makeLog("capture b > capture c") << std::flush;
    for (const char* tag : {"  b  ", "  c  "})
        EXPECT_THAT(fgets(line, sizeof(line), shown), HasSubstr(tag));
    log.close();
    EXPECT_EQ(fgets(line, sizeof(line), shown), nullptr);
    EXPECT_EQ(pclose(shown), 0);
}

TEST_F(ZulctlTest, ALogThatTellsNoYearIsOfItsFiles) {
    write("/log", makeLog("begin"));
    sh("touch -d 2020-09-13 log");
    expectCalls({{"--log=@/log events", 0, "\n2020-03-04"}});
}

TEST_F(ZulctlTest, OnADeviceLogcatIsAsked) {
    write("/log", makeLog("capture"));
    write("/bin/logcat", "#!/bin/sh\necho $@ >" + at("/asked") + "\ncat " + at("/log"));
    sh("chmod 755 bin/logcat");
    const std::string path = getenv("PATH");
    setenv("PATH", (at("/bin:") + path).c_str(), 1);
    EXPECT_THAT(call({"events"}).out, HasSubstr("1 event: 1 c"));
    EXPECT_EQ(sh("cat asked"), "-v threadtime -v year -s ZUL_DEBUG -d\n");
    setenv("PATH", path.c_str(), 1);
}

}  // namespace
}  // namespace zulctl::test
