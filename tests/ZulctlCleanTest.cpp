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

/** That many seconds ago. */
std::string timeText(time_t age, const char* format) {
    const time_t when = time(nullptr) - age;
    tm local = {};
    localtime_r(&when, &local);
    char text[64];
    strftime(text, sizeof(text), format, &local);
    return text;
}

void touch(const std::string& path, time_t age) {
    const timespec times[2] = {{time(nullptr) - age, 0}, {time(nullptr) - age, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

/** The device of the box itself, with an empty store. */
class CleanTest : public ZulctlTest {
  protected:
    CleanTest() : ZulctlTest("") {}

    /**
     * Makes a capture of that age with L, A, F and R for its line, archive, folder and collector, in the
     * folder of its type, with D in /data/ZUL itself and with S beside. Its path.
     */
    std::string make(const std::string& kinds, time_t age) {
        const auto has = [&](const char* kind) { return zul::contains(kinds, kind); };
        const std::string tag = "0xffff010" + std::to_string(++mCaptures);
        const std::string path = (has("S")   ? "/morvfs/stuck_logo/"
                                  : has("D") ? "/data/ZUL/"
                                             : kType) +
                                 tag + timeText(age, "_%Y_%m_%d_%H_%M_%S_0");
        if (has("A")) write(path + ".zul", "12345");
        if (has("F")) write(path + "/inside/file", "1234567");
        if (has("A")) touch(path + ".zul", age);
        if (has("F")) touch(path, age);
        if (has("L")) {
            mHistory += tag + timeText(age, "|%Y-%m-%d %H:%M:%S|") + path + ".zul|BUILD\n";
            write("/data/ZUL/zul_history", mHistory);
        }
        if (has("R")) mCollectors.emplace_back(path);
        return path;
    }

    std::string mHistory;
    int mCaptures = 0;
    std::list<Process> mCollectors;
};

struct CleanCase {
    const char* name;
    /** Argument 0 of the daemon; "" for none. */
    const char* daemon;
    /** KINDS AGE STAYS, with A and F for what stays; behind it, the age that it has got since the daemon's start. */
    std::string captures;
    const char* call;
    int status;
    const char* out;
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
        paths.push_back(make(words[0], stol(words[1])));
    }
    std::optional<Process> daemon;
    if (*GetParam().daemon != '\0') daemon.emplace(GetParam().daemon);
    write("/tmp/log",
          timeText(3600, "%m-%d %H:%M:%S.000 5 5 D ZUL_DEBUG: ") + GetParam().log + "\n");
    for (size_t i = 0; i < paths.size(); i++) {
        const bool isArchive = zul::contains(captures[i][0], "A");
        if (captures[i].size() > 3)
            touch(paths[i] + (isArchive ? ".zul" : ""), stol(captures[i][3]));
    }
    expectCalls({{GetParam().call, GetParam().status, GetParam().out, GetParam().err}});
    for (size_t i = 0; i < paths.size(); i++) {
        std::string stays = exists(paths[i] + ".zul") ? "A" : "";
        if (exists(paths[i] + "/inside/file")) stays += "F";
        EXPECT_EQ(stays.empty() ? "-" : stays, captures[i][2]) << i;
    }
}

const CleanCase kCleanCases[] = {
        {"WhatCollectorsLeft", "", "F 3600 -, FR 3600 F, AF 3600 A, FS 3600 -", "clean -f", 0,
         "removed 0 archives and 3 folders, 21B\n"},
        {"NothingInADryRun", "", "F 3600 F", "clean -n", 0,
         "would remove 0 archives and 1 folder, 7B\n"},
        {"WhatTheDaemonHasForgotten", "zuld",
         "LA 7200 -, LAD 7200 A, LAS 7200 A, LA -5 A, A 7200 A, F 7200 F", "clean -f --unlisted", 0,
         "removed 1 archive and 0 folders, 5B\n"},
        {"NothingThatNobodyHasForgotten", "", "LA 7200 A", "clean -f", 1, "removed 0"},
        {"NothingForAnotherProgram", "/data/ZUL/zuld.sh", "LA 7200 A", "clean -f", 1, "removed 0"},
        // The log knows when the daemon started that made it.
        {"WhatALogsDaemonHasForgotten", "", "LA 7200 -, LA 3000 A", "--log=/tmp/log clean -f", 0,
         "removed 1 archive and", "", "ZUL  main start."},
        {"NothingWithoutItsStart", "", "LA 7200 A", "--log=/tmp/log clean -f", 1, "removed 0", "",
         "startWork...."},
        {"WhatTheFirstStartForgot", "/system_ext/bin/zuld", "LA 7200 -, LA 3000 A",
         "--log=/tmp/log clean -f", 0, "removed 1 archive and", "", "ZUL  main start."},
        {"WhatIsLeftAlone", "zuld", "LA 7200 A, F 7200 -", "clean -f --left", 0,
         "removed 0 archives and 1 folder, 7B\n"},
        {"Both", "zuld", "LA 7200 -, F 7200 -", "clean -f", 0,
         "removed 1 archive and 1 folder, 12B\n"},
        // Younger than the daemon, whatever their names say: a user came from another zone, a clock was set. The
        // last one says so nowhere but in the time of its last change.
        {"NothingThatAClockMakesDoubtful", "zuld",
         "LA 172800 -, LA 345600 A, LA 7200 A -1, LA 7200 A 7200", "clean -f --unlisted", 0,
         "removed 1 archive and", "the clock was set back: 1 archive may be known"},
        {"ForASizeDoubtfulOnesToo", "zuld", "LA 172800 -, LA 345600 -", "clean -f --to=0", 0,
         "removed 2 archives"},
        {"NothingAtTheSize", "", "LA 4000 A, LA 3000 A, FR 5000 F", "clean -f --to=17", 1,
         "removed 0 archives"},
        {"TheOldestAboveTheSize", "", "LA 4000 -, LA 3000 A, FR 5000 F", "clean -f --to=16", 0,
         "removed 1 archive and 0 folders"},
        {"AllButWhatRuns", "", "LA 4000 -, LA 3000 -, FR 5000 F", "clean -f --to=0", 0,
         "removed 2 archives and 0 folders"},
        {"NothingBelowASizeInUnits", "", "LA 4000 A", "clean -f --to=1K", 1, "removed 0 archives"},
        {"ForASizeWhatIsOldEnough", "", "LA 4000 -, LA 3000 A", "clean -f --to=0 --older-than=1h",
         0, "removed 1 archive"},
        {"WhatIsOldEnough", "", "F 3000 F, F 4200 -", "clean -f --left --older-than=1h", 0,
         "removed 0 archives and 1 folder,"},
        {"NothingWhoseCollectorMayStart", "", "F 60 F 28", "clean -f", 1, "removed 0",
         "1 folder may be about to get a collector"},
        {"WhatIsSettled", "", "F 60 - 31", "clean -f", 0, "removed 0 archives and 1 folder"},
};
INSTANTIATE_TEST_SUITE_P(Stores, CleanedTest, testing::ValuesIn(kCleanCases), caseName);

TEST_F(CleanTest, ADeviceKnowsWhatATagIsAbout) {
    make("A", 3600);
    expectCalls({{"list", 0, "  memory/leak\n"},
                 {"list --json -gleak", 0, R"("type":"memory","subtype":"leak"})"},
                 {"info 0xffff0101", 0,
                  "tag's type  memory\ntag's kind  leak\n"
                  "tag's flags FLAG_ZUL_PROC_MEM|FLAG_ZUL_SYS_MEM|FLAG_ZUL_HPROF\n"
                  "tag's cmd   ps -A -o pid,rss,name\n"},
                 {"info 0xffff0101", 0, "took        ~"}});
}

TEST_F(CleanTest, TellsWhatItRemoves) {
    const std::string left = make("F", 3600);
    const std::string running = make("FR", 3600);
    const std::string forgotten = make("LA", 3600);
    const Process daemon("zuld");
    expectCalls({{"clean -n", 0, "would be  left            7B  " + left + "\n"},
                 {"clean -n", 0, "would be  unlisted        5B  " + forgotten + ".zul\n"},
                 {"list --json --state=running", 0, running},
                 {"list --json --state=unlisted", 0, forgotten},
                 {"clean -f --json", 0,
                  R"({"v":1,"device":"","removed":true,"state":"left","size":7,"path":")" + left +
                          "\"}\n"},
                 {"clean -f", 1, "removed 0 archives and 0 folders"}});
}

TEST_F(CleanTest, TellsWhatACopyCouldLose) {
    const std::string path = kType + nameOf("0xffff0101", "05:06:07");
    write("/tmp/copy" + path.substr(5) + "/inside/file", "1234567");
    expectCalls({{"--root=/tmp/copy clean -n", 0, "would remove 0 archives and 1 folder, 7B\n"}});
    const std::string begin = " D sceneType===0xffff0101,sceneType.length()=10,mFlag=0x1";
    const std::string folder = " D getZulBasePath:fileNum=0,folderName=" + path;
    const std::string record =
            " D recordZulHistory:allContent===0xffff0101|2025-03-04 05:06:07|" + path + ".zul|B";
    const std::string first = logOf({"5/6" + begin, "5/6" + folder});
    const std::string killed =
            logOf({"5/6" + record, "5/7" + begin, "5/7" + folder, "5/7" + record, "5/7" + begin});
    // By the log its collector was at work when the copy was made, or an earlier one of its name.
    for (const std::string& log : {first, first + killed}) {
        write("/tmp/log", log);
        expectCalls({{"--root=/tmp/copy --log=/tmp/log clean -n", 1, "would remove 0"},
                     {"--root=/tmp/copy --log=/tmp/log list", 0, "running"}});
    }
}

TEST_F(CleanTest, FollowsNoLink) {
    write("/tmp/outside/file");
    const std::string left = make("F", 3600);
    const std::string link = kType + nameOf("0xffff0101", "05:06:07");
    for (const std::string& path : {left + "/inside/link", link, std::string("/data/ZUL/0xfffd")})
        ASSERT_EQ(symlink("/tmp/outside", path.c_str()), 0);
    write("/tmp/outside/" + nameOf("0xfffd0101", "05:06:07") + "/file");
    touch(left, 3600);
    expectCalls({{"clean -f", 0, "removed 0 archives and 1 folder"}});
    EXPECT_FALSE(exists(left));
    for (const std::string& path : {link, std::string("/tmp/outside/file"),
                                    "/tmp/outside/" + nameOf("0xfffd0101", "05:06:07") + "/file"})
        EXPECT_TRUE(exists(path)) << path;
}

TEST_F(ZulctlTest, WhereTheFirstProcessIsHiddenAllMayBe) {
    write("/proc/1/cmdline", std::string("init\0second\0", 12));
    write("/proc/77/cmdline", "/data/ZUL/x");
    write("/proc/78/cmdline");
    makeFolder("/proc/79");
    write("/proc/self/cmdline", "not a number");
    write("/proc/82/cmdline", "/system_ext/bin/zuld");
    write("/proc/82/stat", "82 (a) b) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 500 20\n");
    write("/proc/83/cmdline", "zuld");
    write("/proc/83/stat", "83 (zuld) S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 300 20\n");
    write("/proc/84/cmdline", "zuld");
    write("/proc/84/stat", "84 (zuld) S 1 2\n");
    const auto look = [this](const char* proc) {
        return Processes::look(at(proc).c_str(), getuid());
    };
    const Processes all = look("/proc");
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
    const timespec times[2] = {{1000, 0}, {1000, 0}};
    utimensat(AT_FDCWD, at("/proc/82").c_str(), times, 0);
    EXPECT_EQ(look("/proc").daemonStart(), 1000);
    EXPECT_TRUE(Processes::look(at("/proc").c_str(), getuid() + 1).seen());
    EXPECT_FALSE(Processes::look(at("/proc").c_str(), getuid() + 1).has("init"));

    // Neither a file nor nothing: cannot be read.
    makeFolder("/proc/80/cmdline");
    EXPECT_FALSE(look("/proc").seen());
    std::filesystem::remove_all(at("/proc/80"));
    std::filesystem::remove_all(at("/proc/1"));
    EXPECT_FALSE(look("/proc").seen());
    EXPECT_FALSE(look("/nowhere").seen());
}

}  // namespace
}  // namespace zulctl::test
