// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/Events.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "base/Text.h"
#include "tests/support/LogText.h"
#include "tests/support/ZulctlTest.h"

namespace zulctl::test {

namespace {

/** What a word of a story stands for: T is the event's tag, L its length. */
const std::map<std::string, std::string> kWords = {
        {"start", "5/5 D ZUL  main start. > 5/5 D mCompressFileCount=0"},
        {"restart", "8/8 D ZUL  main start."},
        {"lookUp",
         "D getZulInfoByTag tagId===$T > D sceneType===$T,sceneType.length()=$L > "
         "I log flagstr = FLAG_ZUL_LOG"},
        {"describe",
         "I startZul sceneType===$T, flag = 0x200; mZulCmd = c; extraInfo = "
         "/data/vendor/aee_exp/db; mEventType = t; mEventSubType = s"},
        {"noCopy", "E Unable to open filePath: /db "},
        {"copyFailed", "E /data/vendor/aee_exp/db copy to /db failed."},
        {"refused", "D Illegal ZUL TAG $T,break"},
        {"unknown", "D startZul Illegal ZUL TAG $T,break"},
        {"otherPackage", "D remoteConfig packageName is not com.x ,return"},
        {"begin", "D sceneType===$T,sceneType.length()=$L,mFlag=0x2c1"},
        {"prepare",
         "D prepare.....sceneType=$T,flag=0x2c3,pid=77, mCompressFileCount=1, "
         "extraInfo=a text > D getZulBasePath:fileNum=0,folderName=/data/ZUL/$T_1"},
        {"noFolder", "E createZulPath failure..."},
        {"record",
         "D recordZulHistory:allContent===$T|2026-03-04 05:06:07|/data/ZUL/$T_1.zul|build "
         "> D write content to file!"},
        {"work", "D startWork...."},
        {"collect", "work > 9/9 D sceneFlag===707, mPid===77"},
        {"notExecuted", "9/9 E ret==-1,excel errno=2"},
        {"end", "D zuldump child normal exit..."},
        {"capture", "begin $T > prepare $T > record $T > collect > end"},
        {"started",
         "begin > prepare > D getZulBasePath:fileNum=0,folderName=/data/ZUL/0xffff/"
         "0xffff01_2025_03_04_05_06_07_0 > collect"},
};

/** The messages of a story "WORD TAG PROCESS/THREAD > PROCESS/THREAD PRIORITY MESSAGE"; 5/6 says what nobody does. */
std::vector<std::string> tell(const std::string& story, const std::string& outer = "5/6") {
    std::vector<std::string> messages;
    for (const std::string& part : zul::split(story, " > ")) {
        const std::vector<std::string> words = zul::split(part, " ");
        const auto word = kWords.find(words[0]);
        if (word == kWords.end()) {
            messages.push_back(isdigit(part[0]) ? part : outer + " " + part);
            continue;
        }
        const std::string tag = words.size() > 1 ? words[1] : "a";
        const std::string text = replaceAll(word->second, "$L", std::to_string(tag.size()));
        for (const std::string& message :
             tell(replaceAll(text, "$T", tag), words.size() > 2 ? words[2] : outer))
            messages.push_back(message);
    }
    return messages;
}

std::string makeLog(const std::string& story) {
    return logOf(tell(story));
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

/** TAG OUTCOME, and where it is not the usual one, : REASON (DETAIL); the next one behind a semicolon. */
std::string describe(const std::vector<Event>& events) {
    std::string text;
    for (const Event& event : events) {
        text += (text.empty() ? "" : "; ") + event.tag + " " + outcomeName(event.outcome);
        const std::string reason = event.reason;
        if (reason != reasonOf(event.outcome)) text += ": " + reason;
        if (!event.detail.empty()) text += " (" + event.detail + ")";
    }
    return text;
}

TEST(EventsTest, OutcomesAreToldWithTheirReasons) {
    const std::pair<const char*, const char*> cases[] = {
            {"start > capture", "a collected"},
            {"lookUp > describe > prepare > collect > end", "a collected"},
            {"lookUp > E libzulid_config dlopen fail > unknown", "a refused: no tag library"},
            {"lookUp > D getZulInfoByTag Error: Failed to find function > unknown",
             "a refused: tag library without getRowByKey"},
            {"lookUp > D getZulInfoByTag getRowByKey fail > unknown",
             "a refused: unknown to the tag library"},
            {"unknown", "a refused: unknown to the tag library"},
            // The vendor database of an event that the engine describes, of a tag, and of the next event.
            {"noCopy > copyFailed > capture",
             " refused: vendor database not copied (/db); a collected"},
            {"capture > copyFailed",
             "a collected;  refused: vendor database not copied (/data/vendor/aee_exp/db)"},
            {"lookUp > describe > noCopy > copyFailed",
             "a refused: vendor database not copied (/db)"},
            {"begin > noCopy", "a passed;  under-way: vendor database not copied (/db)"},
            {"lookUp > describe > prepare > noCopy",
             "a unknown;  under-way: vendor database not copied (/db)"},
            {"begin > refused", "a refused: no legal tag"},
            {"begin > D remoteConfig activity->transact error:-1,x > otherPackage",
             "a refused: other package (com.x)"},
            {"begin 0xffff1007 > E unknow special scene type:7",
             "0xffff1007 refused: unknown trace scene (7)"},
            {"begin 0xffffffff > D remoteConfig.tag = a  > D remoteConfig.flag = 4  > "
             "D remoteConfig.tag = b  > begin",
             "0xffffffff updated (a, b); a passed"},
            {"begin 0xffffffff > E writeConfig: open file(/data/ZUL/config) fail",
             "0xffffffff updated: until the next start: not stored"},
            {"begin 0xffffffff > refused 0xffffffff", "0xffffffff refused: no legal tag"},
            {"restart > 8/8 D remoteConfig.tag = a ", ""},
            {"start > begin 0xffff1001", "0xffff1001 marked"},
            {"start > begin 0xffff1003 > collect > end", "0xffff1003 marked"},
            {"start > capture 0xffff1001", "0xffff1001 collected"},
            {"start > begin 0xffff10011", "0xffff10011 under-way"},
            {"begin > prepare > E FolderOperation LOG folder create /x failed(No space) > noFolder "
             "> collect > notExecuted > end",
             "a no-folder: folder cannot be made (No space)"},
            {"begin > noFolder > begin", "a no-folder: no folder; a passed"},
            {"begin > E getZulBasePath sceneType info error!! > noFolder",
             "a no-folder: tag makes no folder name"},
            {"begin > E tag too long for a capture folder: a > noFolder",
             "a no-folder: tag too long"},
            {"begin > prepare > E open /data/ZUL/zul_history failure: > collect > end",
             "a collected: no line in the history"},
            {"begin > prepare > work > E *** fork fail > begin",
             "a no-collector: no process for the collector; a under-way"},
            // Whose collector it was: the one that waits, and without debug lines the only one.
            {"start > begin > begin b 5/7 > prepare b 5/7 > work - 5/7 > notExecuted > end - 5/7",
             "b no-collector: collector cannot be executed (No such file or directory); a "
             "under-way"},
            {"begin > 9/9 E ret==-1,excel errno=13",
             "a no-collector: collector cannot be executed (Permission denied)"},
            {"begin > begin b 5/7 > notExecuted", "a passed; b passed"},
            {"begin > prepare > collect > capture", "a killed; a collected"},
            {"begin > prepare > collect", "a under-way"},
            {"begin > prepare > restart > capture b 8/9", "b collected; a interrupted"},
            {"begin > prepare > start", "a interrupted"},
            {"start > 5/5 D ZUL  main start. > begin", "a passed"},
            {"begin > restart > prepare > collect", "a under-way"},
            // Lines are missing.
            {"start > begin > capture", "a unknown; a collected"},
            {"lookUp > begin b", "a unknown; b passed"},
            {"prepare > collect > end", "a collected"},
            {"end > work", ""},
            {"begin > end", "a under-way"},
            {"begin > refused b", "a passed; b refused: no legal tag"},
            {"begin > prepare > prepare", "a unknown; a under-way"},
            // Odd tags.
            {"begin a\nb > refused a\nb", "a\nb refused: no legal tag"},
            {"lookUp a\nb > refused a\nb", "a\nb refused: no legal tag"},
            {"lookUp > describe b > noFolder", "a no-folder: no folder"},
            {"D sceneType===,sceneType.length()=0,mFlag=0x1 > D Illegal ZUL TAG ,break",
             " refused: no legal tag"},
            // Several threads.
            {"begin > prepare > collect > end - 5/7 > end - 4/6", "a under-way"},
            {"start > begin > begin b 5/7 > prepare b 5/7 > prepare > work - 5/7 > work > end - "
             "5/7 > end",
             "b collected; a collected"},
    };
    for (const auto& [story, events] : cases)
        EXPECT_EQ(describe(eventsOf(makeLog(story))), events) << story;
}

TEST(EventsTest, TellsWhatIsMissing) {
    // No history line, no first line, and later no folder.
    const auto events =
            eventsOf(makeLog("prepare > collect > end > prepare > E createZulPath failure..."));
    ASSERT_THAT(events, SizeIs(2));
    EXPECT_FALSE(events[0].whole);
    EXPECT_EQ(events[0].historyStart, Event::kNoTime);
    EXPECT_EQ(events[0].archive, "/data/ZUL/a_1.zul");
    EXPECT_EQ(events[1].folder + events[1].archive, "");
    EXPECT_EQ(events[1].collectorStart, Event::kNoTime);
    EXPECT_FALSE(eventsOf(makeLog("begin"))[0].whole);
    EXPECT_TRUE(eventsOf(makeLog("capture"))[0].whole);
    std::string setBack = makeLog("capture");
    setBack.replace(setBack.rfind("05:06"), 5, "04:06");
    EXPECT_FALSE(eventsOf(setBack)[0].whole);
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

TEST(EventsTest, KeepsTheLinesOfTheEventAndItsCollector) {
    const std::string other = "5/7 D dnam=x";
    const std::string log = makeLog(other + " > begin > prepare > collect > end > " + other);
    const auto events = eventsOf(log, true);
    ASSERT_THAT(events, SizeIs(1));
    std::string kept;
    for (const std::string& line : events[0].lines)
        kept += line + "\n";
    const size_t first = makeLog(other).size();
    EXPECT_EQ(kept, log.substr(first, log.size() - 2 * first));

    std::vector<std::string> many = tell("begin");
    many.resize(Events::kMostLines + 10, "5/6 D current file path is x");
    EXPECT_THAT(eventsOf(logOf(many), true).at(0).lines, SizeIs(Events::kMostLines));
}

TEST(EventsTest, MemoryIsBoundedByWhatIsUnderWay) {
    std::vector<std::string> log;
    for (size_t i = 1; i <= 2 * Events::kMostOpen; i++)
        log.push_back(tell("begin - 5/" + std::to_string(i))[0]);
    const TextFile file(logOf(log));
    LogFile lines(file.fd(), kNewest);
    std::vector<int32_t> threads;
    Events events([&](Event& event) { threads.push_back(event.thread); });
    for (LogLine line; lines.next(line);)
        events.add(line);
    // Those longest silent are given up, as many as there is no room for.
    EXPECT_THAT(threads, SizeIs(Events::kMostOpen));
    EXPECT_TRUE(std::is_sorted(threads.begin(), threads.end()));
    EXPECT_EQ(threads.back(), static_cast<int32_t>(Events::kMostOpen));

    std::string collectors = "start > capture";
    for (size_t i = 0; i < Events::kMostOpen; i++)
        collectors += " > " + std::to_string(100 + i) + "/1 D sceneFlag===1, mPid===1";
    EXPECT_EQ(
            describe(eventsOf(makeLog(collectors + " > 6/6 D ZUL  main start. > 6/6 D "
                                                   "mCompressFileCount=0 > begin 0xffff1001 6/7"))),
            "a collected; 0xffff1001 marked");
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
    const std::string rows = result.out.substr(result.out.find('\n') + 1);
    const std::string time = rows.substr(0, 5) + "03-04 05:06:07    ";
    EXPECT_EQ(rows, time + "0.070s  collected     a           77       a_1.zul\n" + time +
                            "0.010s  refused       a\\x1b[2J             no legal tag\n" + time +
                            "0.010s  refused       b\\xff                other package: com.x\n"
                            "3 events: 1 collected, 2 refused (1 no legal tag, 1 other package)\n");
    EXPECT_THAT(callEvents(makeLog("begin"), {}).out, HasSubstr("05:06:07            passed"));
    const Result none = callEvents(makeLog(kStory), {"a", "--dropped"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.out, HasSubstr("\n0 events\n"));
}

TEST(EventsCommandTest, WritesOneObjectALine) {
    EXPECT_THAT(callEvents(makeLog(kStory), {"--json"}).out,
                MatchesRegex(R"(\{"v":1,"device":"","event":"daemon-start","time":"[0-9]{4}-03-04 )"
                             R"(05:06:07\.000","daemon":8\})"
                             "\n"
                             R"(\{"v":1,"device":"","event":"capture","time":"[0-9]{4}-03-04 )"
                             R"(05:06:07\.010","tag":"a","outcome":"collected",)"
                             R"("dropped":false,"reason":"","detail":"",)"
                             R"("mask":"0x2c3","processes":"77","text":"a text",)"
                             R"("archive":"/data/ZUL/a_1\.zul","took_ms":70,)"
                             R"("preparation_ms":20,"history_ms":20,"collector_ms":20,)"
                             R"("daemon":5,"thread":6\})"
                             "\n"
                             R"(\{.*"tag":"a\\u001b\[2J".*"took_ms":10,"preparation_ms":null.*\})"
                             "\n"
                             R"(\{.*"tag_hex":"62ff".*"detail":"com\.x".*\})"
                             "\n"
                             R"(\{.*"event":"engine-gone","time":".*\.130","daemon":5\})"
                             "\n"
                             R"(\{.*"event":"engine-back",.*"thread_number":-1\})"
                             "\n"));
    for (const char* choice : {"a", "--dropped"})
        EXPECT_THAT(callEvents(makeLog(kStory), {"--json", choice}).out,
                    Not(HasSubstr("daemon-start")));
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
    struct Case {
        const char* story;
        /** An archive, a folder, and lines of the history. */
        std::string disk;
        const char* outcomes;
    };
    const std::string name = "0xffff01_2025_03_04_05_06_07_0";
    const std::string path = "/data/ZUL/0xffff/" + name;
    const std::string erase = "started > restart > 8/9 D createZulPath:erase " + path + ".zul";
    const std::string record =
            "D recordZulHistory:allContent===0xffff01|2025-03-04 05:06:07|" + path + ".zul|B";
    const std::string overtaken = "started > " + record + " > restart > started a 8/9 > 8/9 " +
                                  record + " > 8/9 D zuldump child normal exit...";
    const Case cases[] = {
            {overtaken.c_str(), "archive folder line line",
             "failed collector made no archive; captured"},
            {"started > end", "archive line", "captured"},
            {"started > end", "line", "captured gone since: pruned, or removed"},
            {"started > end", "folder line", "failed collector made no archive"},
            {"started > end", "archive folder line", "failed collector made no archive"},
            {"started > end > started > end", "archive folder line line",
             "captured; failed collector made no archive"},
            {"started > end > started > end", "folder line line",
             "failed collector made no archive; failed collector made no archive"},
            {"started > end", "archive", "captured"},
            {"started > started > end", "archive line", "captured; captured"},
            {"started > begin", "folder line", "killed collector did not end by itself; under-way"},
            {"started > restart", "archive line", "captured"},
            {"started > restart", "folder line", "interrupted daemon started anew"},
            {erase.c_str(), "line", "captured gone since: pruned, or removed"},
            {"started > restart > 8/9 D createZulPath:erase /x.zul", "folder line",
             "interrupted daemon started anew"},
            {"started", "folder line", "under-way"},
            {"started > notExecuted > end", "folder line",
             "no-collector collector cannot be executed: No such file or directory"},
            {"begin > prepare > work > begin", "", "unknown lines are missing; under-way"},
    };
    for (const Case& c : cases) {
        std::filesystem::remove_all(at("/data"));
        std::string history;
        for (const std::string& what : zul::split(c.disk, " ")) {
            if (what == "archive") write(path + ".zul");
            if (what == "folder") makeFolder(path);
            if (what == "line") history += "0xffff01|2025-03-04 05:06:07|" + path + ".zul|B\n";
        }
        write("/data/ZUL/zul_history", history);
        write("/log", makeLog(c.story));
        std::string outcomes;
        for (const std::string& line :
             zul::split(onCopy({"--log=" + at("/log"), "--no-legend", "events"}).out, "\n")) {
            const std::string reason = line.substr(std::min(line.size(), size_t{66}));
            outcomes += (outcomes.empty() ? "" : "; ") + line.substr(31, line.find(' ', 31) - 31) +
                        (reason.empty() || reason.starts_with(name) ? "" : " " + reason);
        }
        EXPECT_EQ(outcomes, c.outcomes) << c.story << c.disk;
    }
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
                 {"--root=@/one events", 2, "", "events"},
                 {"--root=@/one --log=@/nowhere events", 3, "", "/nowhere: No such file"},
                 {"--root=@/one --log=@/one events", 3, "", "/one: "}});
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
    const timespec times[2] = {{1600000000, 0}, {1600000000, 0}};  // 2020-09-13
    ASSERT_EQ(utimensat(AT_FDCWD, at("/log").c_str(), times, 0), 0);
    expectCalls({{"--log=@/log events", 0, "\n2020-03-04"}});
}

TEST_F(ZulctlTest, OnADeviceLogcatIsAsked) {
    write("/bin/logcat", "#!/bin/sh\necho \"$@\" >" + at("/asked") + "\ncat " + at("/log") + "\n");
    write("/log", makeLog("capture a"));
    chmod(at("/bin/logcat").c_str(), 0755);
    const std::string path = getenv("PATH");
    setenv("PATH", (at("/bin") + ":" + path).c_str(), 1);
    EXPECT_THAT(call({"events"}).out, HasSubstr("1 event: 1 c"));
    std::string asked;
    std::getline(std::ifstream(at("/asked")), asked);
    EXPECT_EQ(asked, "-v threadtime -v year -s ZUL_DEBUG -d");
    setenv("PATH", path.c_str(), 1);
}

}  // namespace

}  // namespace zulctl::test
