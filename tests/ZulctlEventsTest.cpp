// SPDX-License-Identifier: Apache-2.0

#include "zulctl/log/Events.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "tests/support/LogText.h"
#include "tests/support/ZulctlTest.h"

namespace zulctl::test {

namespace {

/**
 * A log of lines "PROCESS/THREAD PRIORITY MESSAGE", 10 ms apart, which begins at 05:06:07 and has
 * its headers as the desktop's layer writes them, one for each row of a message. What tells no process is said by 5/6.
 */
std::string makeLog(const std::vector<std::string>& lines) {
    std::string text;
    int time = 0;
    for (const std::string& given : lines) {
        const std::string line = isdigit(given[0]) ? given : "5/6 " + given;
        const size_t slash = line.find('/');
        const size_t blank = line.find(' ');
        char clock[32];
        snprintf(clock, sizeof(clock), "03-04 05:06:%02d.%03d ", 7 + time / 1000, time % 1000);
        std::string header = clock + line.substr(0, slash) + line.substr(slash, blank + 3 - slash);
        header.replace(header.find('/'), 1, " ");
        header += "ZUL_DEBUG: ";
        std::istringstream rows(line.substr(blank + 3));
        for (std::string row; std::getline(rows, row);)
            text += header + row + "\n";
        time += 10;
    }
    return text;
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

/** TAG OUTCOME, and behind a colon REASON (DETAIL); the next one behind a semicolon. */
std::string describe(const std::vector<Event>& events) {
    std::string text;
    for (const Event& event : events) {
        text += (text.empty() ? "" : "; ") + event.tag + " " + outcomeName(event.outcome);
        if (event.reason[0] != '\0') text += std::string(": ") + event.reason;
        if (!event.detail.empty()) text += " (" + event.detail + ")";
    }
    return text;
}

using Lines = std::vector<std::string>;

Lines operator+(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Lines operator+(const Lines& first, const char* line) {
    return first + Lines{line};
}

/** What the engine describes, up to the point where it is let through. */
Lines begin(const std::string& tag = "0xffff01", const std::string& thread = "5/6") {
    return {thread + " D sceneType===" + tag + ",sceneType.length()=" + std::to_string(tag.size()) +
            ",mFlag=0x2c1"};
}

Lines prepare(const std::string& tag = "0xffff01", const std::string& thread = "5/6") {
    return {thread + " D prepare.....sceneType=" + tag +
                    ",flag=0x2c3,pid=77, mCompressFileCount=1, extraInfo=a text",
            thread + " D getZulBasePath:fileNum=0,folderName=/data/ZUL/0xffff/" + tag + "_1"};
}

Lines collect(const std::string& thread = "5/6") {
    return {thread + " D startWork....", "9/9 D sceneFlag===707, mPid===77"};
}

Lines end(const std::string& thread = "5/6") {
    return {thread + " D zuldump child normal exit..."};
}

Lines capture(const std::string& tag = "0xffff01", const std::string& thread = "5/6") {
    const Lines record = {thread + " D recordZulHistory:allContent===" + tag +
                                  "|2026-03-04 05:06:07|/data/ZUL/0xffff/" + tag + "_1.zul|build",
                          thread + " D write content to file!"};
    return begin(tag, thread) + prepare(tag, thread) + record + collect(thread) + end(thread);
}

const Lines kLookUp = {"D getZulInfoByTag tagId===0xffff01"};

Lines describedByTag(const std::string& text) {
    return kLookUp + "D sceneType===0xffff01,sceneType.length()=8" +
           "I startSimpZul flag = FLAG_ZUL_LOG" + "I log flagstr = FLAG_ZUL_LOG" +
           "I getZulInfo flagvalue = 0x200" +
           Lines{"I startSimpZul sceneType===0xffff01, flag = 0x200; mZulCmd = c; extraInfo = " +
                 text + "; mEventType = t; mEventSubType = s"};
}

const Lines kStart = {"5/5 D ZUL  main start.", "5/5 D mCompressFileCount=0"};

struct OutcomeCase {
    const char* name;
    Lines log;
    const char* events;
};

class OutcomeTest : public testing::TestWithParam<OutcomeCase> {};

TEST_P(OutcomeTest, IsToldWithItsReason) {
    EXPECT_EQ(describe(eventsOf(makeLog(GetParam().log))), GetParam().events);
}

const OutcomeCase kOutcomeCases[] = {
        {"Captured", kStart + capture(), "0xffff01 collected"},
        {"DescribedByTag", describedByTag("") + prepare() + collect() + end(),
         "0xffff01 collected"},
        {"LibraryMissing",
         kLookUp + "E libzulid_config dlopen fail" +
                 "D startSimpZul Illegal ZUL TAG 0xffff01,break",
         "0xffff01 refused: no tag library"},
        {"FunctionMissing",
         kLookUp + "D getZulInfoByTag Error: Failed to find function" +
                 "D startSimpZul Illegal ZUL TAG 0xffff01,break",
         "0xffff01 refused: tag library without getRowByKey"},
        {"UnknownToLibrary",
         kLookUp + "D getZulInfoByTag getRowByKey fail" +
                 "D startSimpMultiPidZul Illegal ZUL TAG 0xffff01,break",
         "0xffff01 refused: unknown to the tag library"},
        {"VendorDatabaseOfTheEngine",
         Lines{"E Unable to open filePath: /data/ZUL/db ",
               "E /data/vendor/aee_exp/db copy to /data/ZUL/db failed."} +
                 capture(),
         " refused: vendor database not copied (/data/ZUL/db); 0xffff01 collected"},
        {"VendorDatabaseOfNoKnownName",
         capture() + "E /data/vendor/aee_exp/x copy to /data/vendor/aee_exp/x failed.",
         "0xffff01 collected;  refused: vendor database not copied (/data/vendor/aee_exp/x)"},
        {"VendorDatabaseOfTheTag",
         describedByTag("/data/vendor/aee_exp/db") + "E Unable to open filePath: /data/ZUL/db " +
                 "E /data/vendor/aee_exp/db copy to /data/ZUL/db failed.",
         "0xffff01 refused: vendor database not copied (/data/ZUL/db)"},
        {"VendorDatabaseOfTheNextEvent",
         describedByTag("a text") + "E Unable to open filePath: /data/ZUL/db ",
         "0xffff01 passed: no debug lines tell more;  under-way: vendor database not copied "
         "(/data/ZUL/db)"},
        {"VendorDatabaseOfTheEventBehindACapture",
         Lines{"D prepare.....sceneType=a,flag=0x1,pid=1, mCompressFileCount=1, "
               "extraInfo=/data/vendor/aee_exp/x",
               "E Unable to open filePath: /y "},
         "a unknown: lines are missing;  under-way: vendor database not copied (/y)"},
        {"NoLegalTag", begin() + "D Illegal ZUL TAG 0xffff01,break",
         "0xffff01 refused: no legal tag"},
        {"OtherPackage",
         begin() + "D remoteConfig activity->transact error:-1,x" +
                 "D remoteConfig packageName is not com.x ,return",
         "0xffff01 refused: other package (com.x)"},
        {"UnknownScene", begin("0xffff1007") + "E unknow special scene type:7",
         "0xffff1007 refused: unknown trace scene (7)"},
        {"Updated",
         begin("0xffffffff") + "D remoteConfig.tag = a " + "D remoteConfig.flag = 4 " + begin(),
         "0xffffffff updated (a); 0xffff01 passed: no debug lines tell more"},
        {"UpdatedAndNotStored",
         begin("0xffffffff") + "E writeConfig: open file(/data/ZUL/config) fail",
         "0xffffffff updated: until the next start: not stored"},
        {"UpdateRefused", begin("0xffffffff") + "D Illegal ZUL TAG 0xffffffff,break",
         "0xffffffff refused: no legal tag"},
        {"ConfigurationAtStart", Lines{"5/5 D ZUL  main start.", "5/5 D remoteConfig.tag = a "},
         ""},
        {"Marked", kStart + begin("0xffff1001"), "0xffff1001 marked"},
        {"MarkedWithACollector", kStart + begin("0xffff1003") + collect() + end(),
         "0xffff1003 marked"},
        {"SceneThatIsCaptured", kStart + capture("0xffff1001"), "0xffff1001 collected"},
        {"NoScene", kStart + begin("0xffff10011"), "0xffff10011 under-way"},
        {"NoFolder",
         begin() + prepare() +
                 "E FolderOperation LOG folder create /data/ZUL/0xffff/x failed(No space left on "
                 "device)" +
                 "E createZulPath failure..." + collect() + end(),
         "0xffff01 no-folder: folder cannot be made (No space left on device)"},
        {"NoFolderAndNoWord", begin() + "E createZulPath failure..." + begin(),
         "0xffff01 no-folder: no folder; 0xffff01 passed: no debug lines tell more"},
        {"ShortTag",
         begin("a") + "E getZulBasePath sceneType info error!!" + "E createZulPath failure...",
         "a no-folder: tag makes no folder name"},
        {"LongTag",
         begin() + "E tag too long for a capture folder: 0xffff01" + "E createZulPath failure...",
         "0xffff01 no-folder: tag too long"},
        {"NoHistoryLine",
         begin() + prepare() + "E open /data/ZUL/zul_history failure:" + collect() + end(),
         "0xffff01 collected: no line in the history"},
        {"NoProcess", begin() + prepare() + "D startWork...." + "E *** fork fail" + begin(),
         "0xffff01 no-collector: no process for the collector; 0xffff01 under-way"},
        {"NotExecutedOfTheOneThatWaits",
         kStart + begin("a") + begin("0xffff01", "5/7") + prepare("0xffff01", "5/7") +
                 "5/7 D startWork...." + "9/9 E ret==-1,excel errno=2" + end("5/7"),
         "0xffff01 no-collector: collector cannot be executed (No such file or directory); a "
         "under-way"},
        {"NeitherFolderNorCollector",
         begin() + prepare() + "E createZulPath failure..." + collect() +
                 "9/9 E ret==-1,excel errno=2" + end(),
         "0xffff01 no-folder: no folder"},
        {"NotExecuted", begin() + prepare() + collect() + "9/9 E ret==-1,excel errno=2" + end(),
         "0xffff01 no-collector: collector cannot be executed (No such file or directory)"},
        {"NotExecutedWithoutDebugLines", begin() + "9/9 E ret==-1,excel errno=13",
         "0xffff01 no-collector: collector cannot be executed (Permission denied)"},
        {"NotExecutedAndNobodyKnowsWhose",
         begin() + begin("0xffff01", "5/7") + "9/9 E ret==-1,excel errno=13",
         "0xffff01 passed: no debug lines tell more; 0xffff01 passed: no debug lines tell more"},
        {"Killed", begin() + prepare() + collect() + capture(),
         "0xffff01 killed: collector did not end by itself; 0xffff01 collected"},
        {"UnderWay", begin() + prepare() + collect(), "0xffff01 under-way"},
        {"Interrupted", begin() + prepare() + "8/8 D ZUL  main start." + capture("0xffff01", "8/9"),
         "0xffff01 collected; 0xffff01 interrupted: daemon started anew"},
        {"InterruptedBySameProcess", begin() + prepare() + kStart,
         "0xffff01 interrupted: daemon started anew"},
        {"DumpedBeforeTheStartAlone", kStart + "5/5 D ZUL  main start." + begin(),
         "0xffff01 passed: no debug lines tell more"},
        {"StartOfAnotherThatIsNone", begin() + "8/8 D ZUL  main start." + prepare() + collect(),
         "0xffff01 under-way"},
        {"LinesMissing", kStart + begin() + capture(),
         "0xffff01 unknown: lines are missing; 0xffff01 collected"},
        {"LookUpAlone", kLookUp + begin("0xffff02"),
         "0xffff01 unknown: lines are missing; 0xffff02 passed: no debug lines tell more"},
        {"BeginningMissing", prepare() + collect() + end(), "0xffff01 collected"},
        {"AllButTheEndMissing", end() + "D startWork....", ""},
        {"EndWithoutACollector", begin() + end(), "0xffff01 under-way"},
        {"RefusalAlone", Lines{"D Illegal ZUL TAG a,break"}, "a refused: no legal tag"},
        {"RefusalOfAnother", begin() + "D Illegal ZUL TAG a,break",
         "0xffff01 passed: no debug lines tell more; a refused: no legal tag"},
        {"PreparedTwice", begin() + prepare() + prepare(),
         "0xffff01 unknown: lines are missing; 0xffff01 under-way"},
        {"TagOverTwoLines", begin("a\nb") + "D Illegal ZUL TAG a\nb,break",
         "a\nb refused: no legal tag"},
        {"TagOverTwoLinesDescribedByTag",
         Lines{"D getZulInfoByTag tagId===a\nb", "D sceneType===a\nb,sceneType.length()=3",
               "D Illegal ZUL TAG a\nb,break"},
         "a\nb refused: no legal tag"},
        {"EmptyTag", begin("") + "D Illegal ZUL TAG ,break", " refused: no legal tag"},
        {"OtherThreadsLinesAreNotItsOwn", begin() + prepare() + collect() + end("5/7") + end("4/6"),
         "0xffff01 under-way"},
};
INSTANTIATE_TEST_SUITE_P(Ends, OutcomeTest, testing::ValuesIn(kOutcomeCases), caseName);

TEST(EventsTest, TellsTimesAndWhatItWasAbout) {
    const auto events = eventsOf(makeLog(capture()));
    ASSERT_THAT(events, SizeIs(1));
    const Event& event = events[0];
    EXPECT_EQ(formatLogTime(event.start), "2026-03-04 05:06:07.000");
    EXPECT_TRUE(event.whole);
    EXPECT_EQ(event.preparationStart - event.start, 10);
    EXPECT_EQ(event.historyStart - event.start, 30);
    EXPECT_EQ(event.collectorStart - event.start, 50);
    EXPECT_EQ(event.end - event.start, 70);
    EXPECT_EQ(event.daemon, 5);
    EXPECT_EQ(event.thread, 6);
    EXPECT_EQ(event.collector, 9);
    EXPECT_EQ(event.mask, "2c3");
    EXPECT_EQ(event.processes, "77");
    EXPECT_EQ(event.text, "a text");
    EXPECT_EQ(event.folder, "/data/ZUL/0xffff/0xffff01_1");
    EXPECT_EQ(event.archive, "/data/ZUL/0xffff/0xffff01_1.zul");
    EXPECT_THAT(event.lines, IsEmpty());
}

TEST(EventsTest, TellsWhatIsMissing) {
    // No history line, no first line, and later no folder.
    const auto events = eventsOf(
            makeLog(prepare() + collect() + end() + prepare() + "E createZulPath failure..."));
    ASSERT_THAT(events, SizeIs(2));
    EXPECT_FALSE(events[0].whole);
    EXPECT_EQ(events[0].historyStart, Event::kNoTime);
    EXPECT_EQ(events[0].archive, "/data/ZUL/0xffff/0xffff01_1.zul");
    EXPECT_EQ(events[1].folder + events[1].archive, "");
    EXPECT_EQ(events[1].collectorStart, Event::kNoTime);
    EXPECT_FALSE(eventsOf(makeLog(begin()))[0].whole);
    std::string setBack = makeLog(capture());
    setBack.replace(setBack.rfind("05:06"), 5, "04:06");
    EXPECT_FALSE(eventsOf(setBack)[0].whole);
}

TEST(EventsTest, CollectorsAreToldApartByMaskAndProcess) {
    const Lines first = begin() + prepare() + "D startWork....";
    const Lines several = {
            "5/7 D multiPidPrepare.....sceneType=b,flag=0x8000000000000000,"
            "mMultiPid=3,4, mCompressFileCount=1, extraInfo=",
            "5/7 D startWork...."};
    const Lines later = prepare("c", "5/5") + "5/5 D startWork....";
    // Of other masks, of another process, and one more than there are events.
    const Lines collectors = {"11/11 D sceneFlag===1, mPid===77",
                              "12/12 D sceneFlag===707, mPid===3",
                              "9/9 D sceneFlag===-9223372036854775808, mPid===0",
                              "10/10 D sceneFlag===707, mPid===77",
                              "13/13 D sceneFlag===707, mPid===77",
                              "14/14 D sceneFlag===707, mPid===77",
                              "9/9 E ret==-1,excel errno=7"};
    const auto events = eventsOf(
            makeLog(first + several + later + collectors + end() + end("5/7") + end("5/5")));
    ASSERT_THAT(events, SizeIs(3));
    EXPECT_EQ(events[0].collector, 10);
    EXPECT_EQ(events[1].collector, 9);
    EXPECT_EQ(events[2].collector, 13);
    EXPECT_EQ(describe({events[1]}),
              "b no-collector: collector cannot be executed (Argument list too long)");
}

TEST(EventsTest, SeveralAtOnce) {
    Lines log = kStart;
    const Lines one = capture("a");
    const Lines two = capture("b", "5/7");
    for (size_t i = 0; i < one.size(); i++)
        log = log + Lines{two[i], one[i]};
    EXPECT_EQ(describe(eventsOf(makeLog(log))), "b collected; a collected");
}

TEST(EventsTest, KeepsTheLinesOfTheEventAndItsCollector) {
    const Lines other = {"5/7 D dnam=x"};
    const Lines lines = begin() + prepare() + collect() + end();
    const std::string log = makeLog(other + lines + other);
    const auto events = eventsOf(log, true);
    ASSERT_THAT(events, SizeIs(1));
    std::string kept;
    for (const std::string& line : events[0].lines)
        kept += line + "\n";
    const size_t first = makeLog(other).size();
    EXPECT_EQ(kept, log.substr(first, log.size() - 2 * first));

    Lines many = begin();
    many.resize(Events::kMostLines + 10, "D current file path is x");
    EXPECT_THAT(eventsOf(makeLog(many), true).at(0).lines, SizeIs(Events::kMostLines));
}

TEST(EventsTest, MemoryIsBoundedByWhatIsUnderWay) {
    Lines log;
    const size_t threads = 2 * Events::kMostOpen;
    for (size_t i = 1; i <= threads; i++)
        log.push_back(begin("tag", "5/" + std::to_string(i))[0]);
    const std::vector<Event> events = eventsOf(makeLog(log));
    EXPECT_THAT(events, SizeIs(threads));
    // Those longest silent were given up one by one, the others at the log's end.
    for (size_t i = 0; i < events.size(); i++)
        ASSERT_EQ(events[i].thread, static_cast<int32_t>(i + 1));
}

Result callEvents(const std::string& log, std::vector<std::string> arguments) {
    const TextFile file(log);
    arguments.insert(arguments.begin(),
                     {"--log=/proc/self/fd/" + std::to_string(file.fd()), "events"});
    return call(arguments);
}

const Lines kStory = capture() + begin("a\x1b[2J") + "D Illegal ZUL TAG a\x1b[2J,break" +
                     begin("b\xff", "5/7") + "5/7 D remoteConfig packageName is not com.x ,return";

TEST(EventsCommandTest, ShowsOneALineAndATotal) {
    const Result result = callEvents(makeLog(kStory), {});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const std::string day = result.out.substr(result.out.find('\n') + 1, 5);
    EXPECT_EQ(
            result.out.substr(result.out.find('\n') + 1),
            day + "03-04 05:06:07    0.070s  collected     0xffff01    77       0xffff01_1.zul\n" +
                    day +
                    "03-04 05:06:07    0.010s  refused       a\\x1b[2J             no legal tag\n" +
                    day +
                    "03-04 05:06:07    0.010s  refused       b\\xff                other package: "
                    "com.x\n"
                    "3 events: 1 collected, 2 refused (1 no legal tag, 1 other package)\n");
}

TEST(EventsCommandTest, ChoosesByTagAndByOutcome) {
    const auto lines = [](const Result& result) {
        return std::count(result.out.begin(), result.out.end(), '\n');
    };
    const std::string log = makeLog(kStory);
    EXPECT_EQ(lines(callEvents(log, {"--no-legend"})), 3);
    EXPECT_EQ(lines(callEvents(log, {"--no-legend", "--dropped"})), 2);
    EXPECT_EQ(lines(callEvents(log, {"--no-legend", "0xffff01"})), 1);
    EXPECT_EQ(callEvents(log, {"--no-legend", "0xffff01"}).status, 0);
    EXPECT_THAT(callEvents(makeLog(begin()), {}).out, HasSubstr("05:06:07            passed"));
    const Result none = callEvents(log, {"0xffff01", "--dropped"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.out, HasSubstr("\n0 events\n"));
}

TEST(EventsCommandTest, WritesOneObjectALine) {
    const Result result = callEvents(makeLog(kStory), {"--json"});
    EXPECT_THAT(result.out,
                MatchesRegex(R"(\{"v":1,"device":"","event":"capture","time":"[0-9]{4}-03-04 )"
                             R"(05:06:07\.000","tag":"0xffff01","outcome":"collected",)"
                             R"("dropped":false,"reason":"","detail":"",)"
                             R"("mask":"0x2c3","processes":"77","text":"a text",)"
                             R"("archive":"/data/ZUL/0xffff/0xffff01_1\.zul","took_ms":70,)"
                             R"("preparation_ms":20,"history_ms":20,"collector_ms":20,)"
                             R"("daemon":5,"thread":6\})"
                             "\n"
                             R"(\{.*"tag":"a\\u001b\[2J".*"took_ms":10,"preparation_ms":null.*\})"
                             "\n"
                             R"(\{.*"tag_hex":"62ff".*"detail":"com\.x".*\})"
                             "\n"));
}

TEST(EventsCommandTest, TellsOfDaemonAndEngineBetween) {
    const std::string log =
            makeLog(Lines{"5/5 D ZUL  main start."} + capture() +
                    Lines{"5/8 W engine is gone", "5/8 I engine is back, thread number=-1"});
    const std::string json = callEvents(log, {"--json"}).out;
    EXPECT_THAT(json, MatchesRegex(R"(\{.*"event":"daemon-start","time":"[0-9]{4}-03-04 )"
                                   R"(05:06:07\.000","daemon":5\})"
                                   "\n"
                                   R"(\{.*"event":"capture".*\})"
                                   "\n"
                                   R"(\{.*"event":"engine-gone","time":".*\.090","daemon":5\})"
                                   "\n"
                                   R"(\{.*"event":"engine-back",.*"thread_number":-1\})"
                                   "\n"));
    for (const char* choice : {"0xffff01", "--dropped"})
        EXPECT_THAT(callEvents(log, {"--json", choice}).out, Not(HasSubstr("daemon-start")));
}

TEST(EventsCommandTest, ShowsTheRestOfALogThatIsPartlyUnreadable) {
    EXPECT_THAT(callEvents(makeLog({"D dnam=a\nb\nzuldump child normal exit..."}), {}).err,
                StartsWith("zulctl: lines in the log that continue a text: 1; what looks"));
    const Result torn = callEvents(makeLog(kStory) + "03-0 x ZUL_DEBUG: y\n", {"--no-legend"});
    EXPECT_EQ(torn.status, 3);
    EXPECT_EQ(torn.err, "zulctl: torn lines in the log: 1\n");
    EXPECT_THAT(torn.out, HasSubstr("collected"));
    EXPECT_EQ(call({"events"}).status, 2);
    const Result missing = call({"--log=/nowhere", "events"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_THAT(missing.err, HasSubstr("/nowhere: No such file"));
    EXPECT_EQ(call({"--log=/tmp", "events"}).status, 3);
}

constexpr char kName[] = "0xffff01_2025_03_04_05_06_07_0";
constexpr char kPath[] = "/data/ZUL/0xffff/0xffff01_2025_03_04_05_06_07_0";

/** An event of the capture above, up to the collector's start. */
Lines started(const std::string& thread = "5/6") {
    Lines lines = begin("0xffff01", thread) + prepare("0xffff01", thread);
    lines.back() = thread + " D getZulBasePath:fileNum=0,folderName=" + kPath;
    return lines + collect(thread);
}

/** What lies in the store: an archive, a folder, and lines of the history. */
struct JoinCase {
    const char* name;
    Lines log;
    bool archive;
    bool folder;
    int lines;
    const char* outcomes;
};

class JoinTest : public ZulctlTest, public testing::WithParamInterface<JoinCase> {};

TEST_P(JoinTest, WhatLiesOnDiskDecides) {
    const JoinCase& c = GetParam();
    if (c.archive) write(std::string(kPath) + ".zul");
    if (c.folder) makeFolder(kPath);
    std::string history;
    for (int i = 0; i < c.lines; i++)
        history += std::string("0xffff01|2025-03-04 05:06:07|") + kPath + ".zul|B\n";
    write("/data/ZUL/zul_history", history);
    write("/log", makeLog(c.log));
    const Result result = onCopy({"--log=" + at("/log"), "--no-legend", "events"});
    std::string outcomes;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
        const std::string reason = line.substr(std::min(line.size(), size_t{66}));
        outcomes += (outcomes.empty() ? "" : "; ") + line.substr(31, line.find(' ', 31) - 31) +
                    (reason.empty() || reason.starts_with(kName) ? "" : " " + reason);
    }
    EXPECT_EQ(outcomes, c.outcomes);
}

const Lines kRestart = {"8/8 D ZUL  main start."};
const JoinCase kJoinCases[] = {
        {"Archive", started() + end(), true, false, 1, "captured"},
        {"Nothing", started() + end(), false, false, 1, "captured gone since: pruned, or removed"},
        {"Folder", started() + end(), false, true, 1, "failed collector made no archive"},
        {"FolderBesideAnEarlierArchive", started() + end(), true, true, 1,
         "failed collector made no archive"},
        {"OfTwoTheLastHasTheFolder", started() + end() + started() + end(), true, true, 2,
         "captured; failed collector made no archive"},
        {"OfTwoNoneHasAnArchive", started() + end() + started() + end(), false, true, 2,
         "failed collector made no archive; failed collector made no archive"},
        {"WithoutALineOfTheHistory", started() + end(), true, false, 0, "captured"},
        {"KilledAndThere", started() + started() + end(), true, false, 1, "captured; captured"},
        {"Killed", started() + begin("x") + "D Illegal ZUL TAG x,break", false, true, 1,
         "killed collector did not end by itself; refused no legal tag"},
        {"DaemonDiedAndTheCollectorWentOn", started() + kRestart, true, false, 1, "captured"},
        {"DaemonDiedAndTheCollectorDidNot", started() + kRestart, false, true, 1,
         "interrupted daemon started anew"},
        {"WentOnAndWasPruned",
         started() + kRestart + Lines{std::string("8/9 D createZulPath:erase ") + kPath + ".zul"},
         false, false, 1, "captured gone since: pruned, or removed"},
        {"PruningOfAnotherSaysNothing",
         started() + kRestart + "8/9 D createZulPath:erase /data/ZUL/x.zul", false, true, 1,
         "interrupted daemon started anew"},
        {"UnderWayInACopy", started(), false, true, 1, "under-way"},
        {"NoCollectorStays", started() + "9/9 E ret==-1,excel errno=2" + end(), false, true, 1,
         "no-collector collector cannot be executed: No such file or directory"},
        {"LinesMissing", begin() + prepare() + "D startWork...." + begin("0xffffffff"), false,
         false, 0, "unknown lines are missing; updated"},
};
INSTANTIATE_TEST_SUITE_P(Disk, JoinTest, testing::ValuesIn(kJoinCases), caseName);

TEST_F(ZulctlTest, EventsOfSeveralDevicesAndTimes) {
    write("/one/ZUL/zul_history");
    write("/two/ZUL/zul_history");
    const std::string log = makeLog(begin("a") + "D Illegal ZUL TAG a,break" + begin("b") +
                                    "D remoteConfig packageName is not com.x ,return");
    write("/log", log);
    const auto events = [&](std::vector<std::string> options) {
        options.insert(options.begin(),
                       {"--root=" + at("/one"), "--log=" + at("/log"), "events", "--no-legend"});
        return call(options).out;
    };
    const auto tags = [](const std::string& out) {
        std::string tags;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);)
            tags += line.substr(line.find("refused") + 14, 1);
        return tags;
    };
    const std::pair<std::vector<std::string>, const char*> cases[] = {
            {{}, "ab"},
            {{"-n1"}, "b"},
            {{"-n0"}, ""},
            {{"-g", "com.x"}, "b"},
            {{"-g", "legal"}, "a"},
            {{"-g", "com.y"}, ""},
            {{"a", "b"}, "ab"},
            {{"-S1970-01-01"}, "ab"},
            {{"-U1970-01-01"}, ""},
    };
    for (const auto& [options, expected] : cases)
        EXPECT_EQ(tags(events(options)), expected) << (options.empty() ? "" : options.back());
    EXPECT_THAT(events({"--root=" + at("/two"), "--log=" + at("/log"), "-n1"}),
                AllOf(StartsWith("one "), HasSubstr("\ntwo ")));
    EXPECT_EQ(call({"--root=" + at("/one"), "events"}).status, 2);
    EXPECT_EQ(call({"--root=" + at("/one"), "--root=" + at("/two"), "events", "-f"}).status, 2);
}

TEST_F(ZulctlTest, FollowsALogThatGrows) {
    ASSERT_EQ(mkfifo(at("/log").c_str(), 0600), 0);
    FILE* shown = popen(("zulctl --no-legend --log=" + at("/log") + " events -f").c_str(), "r");
    std::ofstream log(at("/log"));
    char line[200] = {};
    log << makeLog(capture("a")) << std::flush;
    EXPECT_THAT(fgets(line, sizeof(line), shown), HasSubstr("  a  "));
    log << makeLog(capture("b") + capture("c")) << std::flush;
    for (const char* tag : {"  b  ", "  c  "})
        EXPECT_THAT(fgets(line, sizeof(line), shown), HasSubstr(tag));
    log.close();
    EXPECT_EQ(fgets(line, sizeof(line), shown), nullptr);
    EXPECT_EQ(pclose(shown), 0);
}

TEST_F(ZulctlTest, ALogThatTellsNoYearIsOfItsFiles) {
    write("/log", makeLog(begin()));
    const timespec times[2] = {{1600000000, 0}, {1600000000, 0}};  // 2020-09-13
    ASSERT_EQ(utimensat(AT_FDCWD, at("/log").c_str(), times, 0), 0);
    EXPECT_THAT(call({"--log=" + at("/log"), "--no-legend", "events"}).out,
                StartsWith("2020-03-04"));
}

TEST_F(ZulctlTest, OnADeviceLogcatIsAsked) {
    write("/bin/logcat", "#!/bin/sh\necho \"$@\" >" + at("/asked") + "\ncat " + at("/log") + "\n");
    write("/log", makeLog(capture("a")));
    chmod(at("/bin/logcat").c_str(), 0755);
    const std::string path = getenv("PATH");
    setenv("PATH", (at("/bin") + ":" + path).c_str(), 1);
    EXPECT_THAT(call({"events"}).out, HasSubstr("1 event: 1 c"));
    std::string asked;
    std::getline(std::ifstream(at("/asked")), asked);
    EXPECT_EQ(asked, "-v threadtime -v year -s ZUL_DEBUG -d");
    setenv("PATH", path.c_str(), 1);
}

TEST(EventsTest, KnowsADaemonThatDumpsBehindManyCollectors) {
    Lines log = kStart + capture();
    for (size_t i = 0; i < Events::kMostOpen; i++)
        log.push_back(std::to_string(100 + i) + "/1 D sceneFlag===1, mPid===1");
    log = log + "6/6 D ZUL  main start." + "6/6 D mCompressFileCount=0" +
          begin("0xffff1001", "6/7");
    EXPECT_EQ(describe(eventsOf(makeLog(log))), "0xffff01 collected; 0xffff1001 marked");
}

TEST(EventsTest, DroppedAreThoseOfWhichNothingWasKept) {
    std::string dropped;
    for (int i = 0; i <= static_cast<int>(Outcome::INTERRUPTED); i++) {
        if (isDropped(static_cast<Outcome>(i)))
            dropped += std::string(outcomeName(static_cast<Outcome>(i))) + " ";
    }
    EXPECT_EQ(dropped, "failed refused no-folder no-collector killed interrupted ");
}

}  // namespace

}  // namespace zulctl::test
