// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/Events.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "base/Text.h"
#include "tests/support/LogText.h"
#include "tests/support/ZulctlTest.h"

namespace zulctl::test {

namespace {

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

/** TAG OUTCOME, and where it is not the usual one, : REASON (DETAIL); the next one behind a semicolon. */
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
capture > copyFailed
 => a collected; a nameless refused: vendor database not copied (/data/vendor/aee_exp/db)
lookUp > describe > noCopy > copyFailed => a refused: vendor database not copied (/db)
begin > noCopy => a passed; a nameless under-way: vendor database not copied (/db)
lookUp > describe > prepare > noCopy
 => a unknown; a nameless under-way: vendor database not copied (/db)
begin 0xffffffff > D remoteConfig.tag = a  > D remoteConfig.flag = 4  > D remoteConfig.tag = b  > begin
 => 0xffffffff updated (a, b); a passed
begin 0xffffffff > E writeConfig: open file(/c) fail => 0xffffffff updated: until the next start: not stored
begin 0xffffffff > refused 0xffffffff => 0xffffffff refused: no legal tag
restart > 8/8 D remoteConfig.tag = a  =>
start > begin 0xffff1001 => 0xffff1001 marked
start > begin 0xffff1003 > collect > end => 0xffff1003 marked
start > capture 0xffff1001 => 0xffff1001 collected
start > begin 0xffff10011 => 0xffff10011 under-way
begin > prepare > E FolderOperation LOG folder create /x failed(No space) > noFolder > collect
 => a no-folder: folder cannot be made (No space)
begin > noFolder > begin => a no-folder: no folder; a passed
begin > E tag too long for a capture folder: a > noFolder => a no-folder: tag too long
begin > prepare > E open /h failure: > collect > end => a collected: no line in the history
begin > prepare > work > E *** fork fail > begin
 => a no-collector: no process for the collector; a under-way
start > begin > begin b 5/7 > prepare b 5/7 > work - 5/7 > notExecuted > end - 5/7
 => b no-collector: collector cannot be executed (No such file or directory); a under-way
begin > 9/9 E ret==-1,excel errno=13
 => a no-collector: collector cannot be executed (Permission denied)
begin > begin b 5/7 > notExecuted => a passed; b passed
begin > prepare > collect > capture => a killed; a collected
begin > prepare > collect => a under-way
begin > prepare > restart > capture b 8/9 => b collected; a interrupted
begin > prepare > start => a interrupted
start > 5/5 D ZUL  main start. > begin => a passed
begin > restart > prepare > collect => a under-way
start > begin > capture => a unknown; a collected
lookUp > begin b => a unknown; b passed
prepare > collect > end => a collected
end > work =>
begin > end => a under-way
begin > refused b => a passed; b refused: no legal tag
begin > prepare > prepare => a unknown; a under-way
begin a\nb > refused a\nb => a\nb refused: no legal tag
lookUp a\nb > refused a\nb => a\nb refused: no legal tag
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
    std::string story;
    for (size_t thread = 2 * Events::kMostOpen; thread > 0; thread--)
        story += "begin - 5/" + std::to_string(thread) + " > ";
    // Those longest silent are given up, as many as there is no room for; at the end all the rest.
    const auto events = eventsOf(makeLog(story));
    ASSERT_THAT(events, SizeIs(2 * Events::kMostOpen));
    for (size_t i = 0; i < Events::kMostOpen; i++) {
        EXPECT_EQ(static_cast<size_t>(events[i].thread), 2 * Events::kMostOpen - i);
        EXPECT_EQ(static_cast<size_t>(events[Events::kMostOpen + i].thread), i + 1);
    }

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
        "5/7 > 5/8 W engine is gone > 5/8 I engine is back, thread number=-1";

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

/** JSON in lines of a handy length, without what all objects begin with. */
std::string unwrapped(const std::string& json, const std::string& start) {
    return replaceAll(replaceAll(json, ",\n", ","), "{", start);
}

TEST(EventsCommandTest, WritesOneObjectALine) {
    const std::string start = R"({"v":1,"device":"","event":)";
    EXPECT_EQ(callEvents(makeLog(kStory), {"--json"}).out,
              unwrapped(R"({"daemon-start","time":"2025-03-04 05:06:07.000","daemon":8}
{"capture","time":"2025-03-04 05:06:07.010","tag":"0xffff01","outcome":"collected",
"dropped":false,"reason":"","detail":"","mask":"0x2c3","processes":"77","text":"a text",
"archive":"/data/ZUL/0xffff/0xffff01_2025_03_04_05_06_07_0.zul","took_ms":70,
"preparation_ms":20,"history_ms":20,"collector_ms":20,"daemon":5,"thread":6}
{"capture","time":"2025-03-04 05:06:07.090","tag":"a\u001b[2J","outcome":"refused",
"dropped":true,"reason":"no legal tag","detail":"","mask":"0x2c1","processes":"","text":"",
"archive":"","took_ms":10,
"preparation_ms":null,"history_ms":null,"collector_ms":null,"daemon":5,"thread":6}
{"capture","time":"2025-03-04 05:06:07.110","tag_hex":"62ff","outcome":"refused",
"dropped":true,"reason":"other package","detail":"com.x","mask":"0x2c1","processes":"","text":"",
"archive":"","took_ms":10,
"preparation_ms":null,"history_ms":null,"collector_ms":null,"daemon":5,"thread":7}
{"engine-gone","time":"2025-03-04 05:06:07.130","daemon":5}
{"engine-back","time":"2025-03-04 05:06:07.140","daemon":5,"thread_number":-1}
)",
                        start));
    for (const char* choice : {"a", "--dropped", "-n9", "-gx"})
        EXPECT_THAT(callEvents(makeLog(kStory), {"--json", choice}).out,
                    Not(HasSubstr("daemon-start")));
}

TEST(EventsCommandTest, TellsNoTimeThatTheLogDoesNot) {
    std::string setBack = makeLog("capture");
    setBack.replace(setBack.rfind("05:06"), 5, "04:06");
    const std::pair<std::string, const char*> cases[] = {
            {makeLog("capture"), R"("took_ms":70,"preparation_ms":20,"history_ms":20,"coll)"},
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
    EXPECT_EQ(call({"events"}).status, 2);
}

TEST_F(ZulctlTest, WhatLiesOnDiskDecides) {
    const std::string name = nameOf("0xffff01", "05:06:07");
    // Each behind an archive, a folder, and lines of the history.
    expectRows(R"(
AFLL started > record > restart > started 0xffff01 8/9 > record 0xffff01 8/9 > end - 8/9
 => failed collector made no archive; captured
AL started > end => captured
L started > end => captured gone since: pruned, or removed
FL started > end => failed collector made no archive
AFL started > end => failed collector made no archive
AFLL started > end > started > end => captured; failed collector made no archive
FLL started > end > started > end => failed collector made no archive; failed collector made no archive
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
                   std::filesystem::remove_all(at("/data"));
                   makeFolder("/data/ZUL");
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
    const std::string one =
            "--root=" + at("/one") + " --log=" + at("/log") + " events --no-legend ";
    const std::pair<const char*, const char*> cases[] = {
            {"", "ab"},          {"-n1", "b"},           {"-n0", ""},          {"-gcom.x", "b"},
            {"-glegal", "a"},    {"-gcom.y", ""},        {"a b", "ab"},        {"b", "b"},
            {"--dropped", "ab"}, {"-S1970-01-01", "ab"}, {"-U1970-01-01", ""},
    };
    for (const auto& [options, expected] : cases) {
        std::string tags;
        for (const std::string& line : zul::split(call(zul::split(one + options, " ")).out, "\n"))
            tags += line.substr(line.find("refused") + 14, 1);
        EXPECT_EQ(tags, expected) << options;
    }
    const std::string two = "--root=@/one --log=@/log --root=@/two --log=@/log ";
    expectCalls({{two + "events --no-legend -n1", 0, "one "},
                 {two + "events -n1", 0, "\ntwo "},
                 {two + "events -f", 2, "", "follows one log alone"},
                 {"--root=@/one events", 2, "WHEN ", "zulctl: one: no log\nzulctl: events needs"},
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
