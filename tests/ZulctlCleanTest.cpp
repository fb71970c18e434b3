// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <list>
#include <optional>

#include "base/Text.h"
#include "tests/support/ZulctlTest.h"
#include "zulctl/WallTime.h"
#include "zulctl/store/Processes.h"

namespace zulctl::test {
namespace {

/** A process with this as its argument 0, for as long as this object. */
class Process {
  public:
    explicit Process(std::string argument0) {
        char seconds[] = "1000";
        char* const arguments[] = {argument0.data(), seconds, nullptr};
        // Of a later one of the kernel's ticks than all that was made before.
        usleep(20000);
        EXPECT_EQ(posix_spawn(&mId, "/bin/sleep", nullptr, nullptr, arguments, nullptr), 0);
        // The kernel shows its arguments a moment later.
        const auto commandLine = "/proc/" + std::to_string(mId) + "/cmdline";
        for (std::string text; text != argument0;)
            std::getline(std::ifstream(commandLine), text, '\0');
    }
    ~Process() {
        kill(mId, SIGKILL);
        waitpid(mId, nullptr, 0);
    }

  private:
    pid_t mId = 0;
};

std::string ago(time_t age) {
    return formatWallTime(wallTimeNow() - age);
}

void touch(const std::string& path, time_t age) {
    const timespec times[2] = {{time(nullptr) - age, 0}, {time(nullptr) - age, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

/** The device of the box itself, with an empty store. */
class CleanTest : public ZulctlTest {
  protected:
    CleanTest() : ZulctlTest("") {}

    /** Makes a capture of that age with a collector for R. Its path. */
    std::string makeOld(const std::string& kinds, time_t age) {
        const std::string tag = "0xffff010" + std::to_string(++mCaptures);
        const std::string path = make(kinds, tag, ago(age));
        if (zul::contains(kinds, "A")) touch(path + ".zul", age);
        if (zul::contains(kinds, "F")) touch(path, age);
        if (zul::contains(kinds, "R")) mCollectors.emplace_back(path);
        return path;
    }

    int mCaptures = 0;
    std::list<Process> mCollectors;
};

struct CleanCase {
    const char* name;
    /** KINDS AGE STAYS, with A and F for what stays; behind it, the age that it has got since the daemon's start. */
    const char* captures;
    const char* options = "";
    /** Argument 0 of the daemon; "" for none. */
    const char* daemon = "";
    const char* err = "";
    /** What it has said an hour ago. */
    const char* log = "";
};

class CleanedTest : public CleanTest, public testing::WithParamInterface<CleanCase> {};

TEST_P(CleanedTest, OfAllThatWasAskedFor) {
    std::vector<std::vector<std::string>> captures;
    std::vector<std::string> paths;
    for (const std::string& text : zul::split(GetParam().captures, ", ")) {
        const auto& words = captures.emplace_back(zul::split(text, " "));
        paths.push_back(makeOld(words[0], stol(words[1])));
    }
    std::optional<Process> daemon;
    if (*GetParam().daemon != '\0') daemon.emplace(GetParam().daemon);
    write("/tmp/log", ago(3600).substr(5) + ".000 5 5 D ZUL_DEBUG: " + GetParam().log + "\n");
    bool removes = false;
    for (size_t i = 0; i < paths.size(); i++) {
        const bool isArchive = zul::contains(captures[i][0], "A");
        if (captures[i].size() > 3)
            touch(paths[i] + (isArchive ? ".zul" : ""), stol(captures[i][3]));
        removes = removes || captures[i][2] == "-" || captures[i][0] == "AF";
    }
    const std::string log = *GetParam().log != '\0' ? "--log=/tmp/log " : "";
    expectCalls(
            {{log + "clean -f" + GetParam().options, removes ? 0 : 1, "removed ", GetParam().err}});
    for (size_t i = 0; i < paths.size(); i++) {
        std::string stays = exists(paths[i] + ".zul") ? "A" : "";
        if (exists(paths[i] + "/inside/file")) stays += "F";
        EXPECT_EQ(stays.empty() ? "-" : stays, captures[i][2]) << i;
    }
}

const CleanCase kCleanCases[] = {
        {"WhatCollectorsLeft", "F 3600 -, FR 3600 F, AF 3600 A, FS 3600 -"},
        {"WhatTheDaemonHasForgotten",
         "LA 7200 -, LAD 7200 A, LAS 7200 A, LA -5 A, A 7200 A, F 7200 F", " --unlisted", "zuld"},
        {"NothingThatNobodyHasForgotten", "LA 7200 A"},
        {"NothingForAnotherProgram", "LA 7200 A", "", "/data/ZUL/zuld.sh"},
        // The log knows when the daemon started that made it.
        {"WhatALogsDaemonHasForgotten", "LA 7200 -, LA 3000 A", "", "", "", "ZUL  main start."},
        {"NothingWithoutItsStart", "LA 7200 A", "", "", "", "startWork...."},
        {"WhatTheFirstStartForgot", "LA 7200 -, LA 3000 A", "", "/system_ext/bin/zuld", "",
         "ZUL  main start."},
        {"WhatIsLeftAlone", "LA 7200 A, F 7200 -", " --left", "zuld"},
        {"Both", "LA 7200 -, F 7200 -", "", "zuld"},
        // Younger than the daemon, whatever their names say: a user came from another zone, a clock was set. The
        // last one says so nowhere but in the time of its last change.
        {"NothingThatAClockMakesDoubtful", "LA 172800 -, LA 345600 A, LA 7200 A -1, LA 7200 A 7200",
         " --unlisted", "zuld", "the clock was set back: 1 archive may be known"},
        {"ForASizeDoubtfulOnesToo", "LA 172800 -, LA 345600 -", " --to=0", "zuld"},
        {"NothingAtTheSize", "LA 4000 A, LA 3000 A, FR 5000 F", " --to=17"},
        {"TheOldestAboveTheSize", "LA 4000 -, LA 3000 A, FR 5000 F", " --to=16"},
        {"NothingBelowASizeInUnits", "LA 4000 A", " --to=1K"},
        {"ForASizeWhatIsOldEnough", "LA 4000 -, LA 3000 A", " --to=0 --older-than=1h"},
        {"WhatIsOldEnough", "F 3000 F, F 4200 -", " --left --older-than=1h"},
        {"NothingWhoseCollectorMayStart", "F 60 F 28", "", "",
         "1 folder may be about to get a collector"},
        {"WhatIsSettled", "F 60 - 31"},
};
INSTANTIATE_TEST_SUITE_P(Stores, CleanedTest, testing::ValuesIn(kCleanCases), caseName);

TEST_F(CleanTest, ADeviceKnowsWhatATagIsAbout) {
    makeOld("A", 3600);
    expectCalls({{"list", 0, "  memory/leak\n"},
                 {"list --json -gleak", 0, R"("type":"memory","subtype":"leak"})"},
                 {"info 0xffff0101", 0,
                  "tag's type  memory\ntag's kind  leak\n"
                  "tag's flags FLAG_ZUL_PROC_MEM|FLAG_ZUL_SYS_MEM|FLAG_ZUL_HPROF\n"
                  "tag's cmd   ps -A -o pid,rss,name\n"},
                 {"info 0xffff0101", 0, "took        ~"}});
}

TEST_F(CleanTest, TellsWhatItRemoves) {
    const std::string left = makeOld("F", 3600);
    const std::string running = makeOld("FR", 3600);
    const std::string forgotten = makeOld("LA", 3600);
    const Process daemon("zuld");
    EXPECT_EQ(told("clean -n"),
              "REMOVED   STATE         SIZE  PATH\n"
              "would be  left            7B  " +
                      left + "\n" + "would be  unlisted        5B  " + forgotten + ".zul\n" +
                      "would remove 1 archive and 1 folder, 12B\n");
    expectCalls({{"list --json --state=running", 0, running},
                 {"list --json --state=unlisted", 0, forgotten},
                 {"clean -f --json --left", 0,
                  R"({"v":1,"device":"","removed":true,"state":"left","size":7,"path":")" + left +
                          "\"}\n"}});
    EXPECT_EQ(told("clean -f --no-legend"),
              "removed   unlisted        5B  " + forgotten + ".zul\n");
    EXPECT_EQ(told("clean -f --no-legend"), "[1]\n");
}

TEST_F(CleanTest, TellsWhatACopyCouldLose) {
    make("F", "0xffff0101", "05:06:07");
    std::filesystem::copy("/data", "/tmp/copy", std::filesystem::copy_options::recursive);
    expectCalls({{"--root=/tmp/copy clean -n", 0, "would remove 0 archives and 1 folder, 7B\n"}});
    // By the log its collector was at work when the copy was made, or an earlier one of its name.
    for (const char* story : {"begin > prepare",
                              "begin > prepare > record > begin - 5/7 > "
                              "prepare - 5/7 > record - 5/7 > begin - 5/7"}) {
        write("/tmp/log", makeLog(story, "0xffff0101"));
        expectCalls({{"--root=/tmp/copy --log=/tmp/log clean -n", 1, "would remove 0"},
                     {"--root=/tmp/copy --log=/tmp/log list", 0, "running"}});
    }
}

TEST_F(CleanTest, FollowsNoLink) {
    const std::string left = makeOld("F", 3600);
    EXPECT_EQ(sh("cd tmp && mkdir -p outside/0xfffd0101_2025_03_04_05_06_07_0 && "
                 "ln -s /tmp/outside /data/ZUL/0xfffd && ln -s /tmp/outside " +
                 left +
                 "/link && "
                 "ln -s /tmp/outside /data/ZUL/0xffff/0xffff0101_2025_03_04_05_06_07_0"),
              "");
    touch(left, 3600);
    expectCalls({{"clean -f", 0, "removed 0 archives and 1 folder"}});
    EXPECT_EQ(sh("ls /data/ZUL/0xffff /tmp/outside"),
              "/data/ZUL/0xffff:\n0xffff0101_2025_03_04_05_06_07_0\n\n"
              "/tmp/outside:\n0xfffd0101_2025_03_04_05_06_07_0\n");
}

TEST_F(ZulctlTest, WhereTheFirstProcessIsHiddenAllMayBe) {
    const std::string behind = ") S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 ";
    const std::pair<const char*, std::string> files[] = {
            {"1/cmdline", std::string("init\0second\0", 12)},
            {"77/cmdline", "/data/ZUL/x"},
            {"78/cmdline", ""},
            {"79/empty", ""},
            {"self/cmdline", "not a number"},
            {"82/cmdline", "/system_ext/bin/zuld"},
            {"82/stat", "82 (a) b" + behind + "500 20\n"},
            {"83/cmdline", "zuld"},
            {"83/stat", "83 (zuld" + behind + "300 20\n"},
            {"84/cmdline", "zuld"},
            {"84/stat", "84 (zuld" + behind},
    };
    for (const auto& [path, text] : files)
        write(std::string("/proc/") + path, text);
    const auto look = [this](uid_t user) { return Processes::look(at("/proc").c_str(), user); };
    const Processes all = look(getuid());
    EXPECT_TRUE(all.seen());
    EXPECT_TRUE(all.has("init"));
    EXPECT_TRUE(all.has("/data/ZUL/x"));
    EXPECT_FALSE(all.has("second"));
    EXPECT_FALSE(all.has("not a number"));
    timespec sinceBoot = {};
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    ASSERT_TRUE(all.daemonStart());
    EXPECT_NEAR(*all.daemonStart(), static_cast<double>(time(nullptr) - sinceBoot.tv_sec + 3), 1);
    // The clock has been set since: its folder is of the time before.
    touch(at("/proc/82"), time(nullptr) - 1000);
    EXPECT_EQ(look(getuid()).daemonStart(), 1000);
    EXPECT_TRUE(look(getuid() + 1).seen());
    EXPECT_FALSE(look(getuid() + 1).has("init"));

    // Neither a file nor nothing: cannot be read.
    makeFolder("/proc/80/cmdline");
    EXPECT_FALSE(look(getuid()).seen());
    std::filesystem::remove_all(at("/proc/80"));
    std::filesystem::remove_all(at("/proc/1"));
    EXPECT_FALSE(look(getuid()).seen());
}

}  // namespace
}  // namespace zulctl::test
