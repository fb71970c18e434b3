// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "tests/support/ZulctlTest.h"
#include "zulctl/store/Processes.h"

namespace zulctl::test {
namespace {

constexpr char kType[] = "/data/ZUL/0xffff/";
constexpr char kNameTime[] = "_%Y_%m_%d_%H_%M_%S_0";
constexpr char kLeft[] = "/data/ZUL/0xffff/0xffff0101_2025_03_04_05_06_07_8";

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

/** The device of the box itself, with an empty store. */
class CleanTest : public ZulctlTest {
  protected:
    CleanTest() : ZulctlTest("") {}

    /** The folder of a capture whose collector failed a while ago. */
    void leave(const std::string& path) const {
        write(path + "/inside/file", "1234567");
        age(path, 3600);
    }

    static void age(const std::string& path, time_t seconds) {
        const timespec times[2] = {{time(nullptr) - seconds, 0}, {time(nullptr) - seconds, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
    }

    /** A name of that tag for that many seconds ago. */
    static std::string nameOf(const std::string& tag, time_t age, const char* format = kNameTime) {
        const time_t when = time(nullptr) - age;
        tm local = {};
        localtime_r(&when, &local);
        char text[64];
        strftime(text, sizeof(text), format, &local);
        return tag + text;
    }
    /** An archive of that age, with a line of the history; its path. */
    std::string record(const std::string& folder, const std::string& tag, time_t seconds) {
        const std::string path = folder + nameOf(tag, seconds) + ".zul";
        write(path, "12345");
        age(path, seconds);
        mHistory += nameOf(tag + "|", seconds, "%Y-%m-%d %H:%M:%S|") + path + "|BUILD\n";
        write("/data/ZUL/zul_history", mHistory);
        return path;
    }

    std::string mHistory;
};

TEST_F(CleanTest, RefusesWhatIsNotClear) {
    leave(kLeft);
    const std::pair<std::vector<std::string>, const char*> calls[] = {
            {{"clean"}, "needs one of -n"},
            {{"clean", "-n", "-f"}, "needs one of -n"},
            {{"clean", "--left"}, "needs one of -n"},
            {{"--root=/data", "clean", "-f"}, "without --root"},
            {{"clean", "-f", "--to=1X"}, "no size"},
            {{"clean", "-f", "--to=1M", "--left"}, "all kinds"},
            {{"clean", "-f", "--older-than=1"}, "no age"},
            {{"clean", "-f", "--older-than=2025-03-05"}, "no age"},
            {{"clean", "-f", kLeft}, "too much"},
    };
    for (const auto& [arguments, reason] : calls) {
        const Result result = call(arguments);
        EXPECT_EQ(result.status, 2) << reason;
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_EQ(result.out, "");
    }
    EXPECT_TRUE(exists(kLeft));
}

TEST_F(CleanTest, RemovesWhatCollectorsLeftAndNothingThatRuns) {
    const std::string running = std::string(kType) + "0xffff0102_2025_03_04_05_06_08_9";
    const std::string packed = std::string(kType) + "0xffff0103_2025_03_04_05_06_09_10";
    const std::string logo = "/morvfs/stuck_logo/0xffffff06_2025_03_04_05_06_10_11";
    for (const std::string& path : {std::string(kLeft), running, packed, logo})
        leave(path);
    write(packed + ".zul", "12345");
    std::optional<Process> collector(running);

    EXPECT_THAT(call({"--state=running", "--json"}).out, HasSubstr("\"" + running + ".zul\""));
    const Result shown = call({"clean", "-n"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.out, HasSubstr("would be  left            7B  " + std::string(kLeft) + "\n"));
    EXPECT_THAT(shown.out, HasSubstr("would remove 0 archives and 3 folders, 21B\n"));
    EXPECT_TRUE(exists(kLeft));

    const Result removed = call({"clean", "-f", "--json"});
    EXPECT_EQ(removed.status, 0);
    EXPECT_THAT(removed.out,
                HasSubstr("{\"v\":1,\"device\":\"\",\"removed\":true,\"state\":\"left\","
                          "\"size\":7,\"path\":\"" +
                          logo + "\"}\n"));
    EXPECT_FALSE(exists(kLeft));
    EXPECT_FALSE(exists(packed));
    EXPECT_FALSE(exists(logo));
    EXPECT_TRUE(exists(packed + ".zul"));
    EXPECT_TRUE(exists(running + "/inside/file"));

    collector.reset();
    EXPECT_EQ(call({"clean", "-f"}).status, 0);
    EXPECT_FALSE(exists(running));
    EXPECT_EQ(call({"clean", "-f"}).status, 1);
}

/** "PATH STATE" of each capture, by the names of these. */
struct StateCase {
    const char* name;
    const char* folder;
    time_t age;
    const char* state;
};

TEST_F(CleanTest, TakesWhatARunningDaemonHasForgotten) {
    const StateCase cases[] = {
            {"0xffff0101", kType, 7200, "unlisted"},
            {"0xffff0102", "/data/ZUL/", 7200, "present"},
            {"0xffffff06", "/morvfs/stuck_logo/", 7200, "present"},
            // Of the future, as the process was started now.
            {"0xffff0103", kType, -5, "present"},
    };
    std::vector<std::string> paths;
    for (const StateCase& row : cases)
        paths.push_back(record(row.folder, row.name, row.age));
    const std::string unrecorded = kType + nameOf("0xffff0104", 7200) + ".zul";
    write(unrecorded);
    const auto unlisted = [](const std::vector<std::string>& options = {}) {
        std::vector<std::string> words = options;
        words.insert(words.end(), {"--json", "list", "--state=unlisted"});
        return call(words).out;
    };
    EXPECT_EQ(unlisted(), "") << "nobody runs";
    // The log knows when the daemon started that made it.
    const auto log = [this](const std::string& text) {
        write("/tmp/log", nameOf("", 3600, "%m-%d %H:%M:%S.000 5 5 D ZUL_DEBUG: ") + text + "\n");
        return std::vector<std::string>{"--log=/tmp/log"};
    };
    EXPECT_THAT(unlisted(log("ZUL  main start.")), HasSubstr(paths[0]));
    EXPECT_EQ(unlisted(log("startWork....")), "");
    {
        const Process other("/data/ZUL/zuld.sh");
        EXPECT_EQ(unlisted(), "");
    }
    const Process daemon("/system_ext/bin/zuld");
    for (size_t i = 0; i < std::size(cases); i++) {
        EXPECT_THAT(call({"--json", "list", cases[i].name}).out,
                    HasSubstr(std::string("\"state\":\"") + cases[i].state))
                << cases[i].name;
    }
    // Who came first tells more than who says so.
    EXPECT_THAT(unlisted(log("ZUL  main start.")), HasSubstr(paths[0]));
    const Result result = call({"clean", "-f", "--unlisted"});
    EXPECT_THAT(result.out, HasSubstr("removed 1 archive and 0 folders, 5B\n"));
    EXPECT_FALSE(exists(paths[0]));
    for (const std::string& path : {paths[1], paths[2], paths[3], unrecorded})
        EXPECT_TRUE(exists(path)) << path;
}

TEST_F(CleanTest, LeavesWhatAClockMakesDoubtful) {
    const std::string forgotten = record(kType, "0xffff0102", 2 * 86400);
    const std::string behind = record(kType, "0xffff0103", 4 * 86400);
    const std::string travelled = record(kType, "0xffff0101", 7200);
    const std::string touched = record(kType, "0xffff0104", 7200);
    const Process daemon("zuld");
    // Younger than the daemon, whatever their names say: a user came from another zone, a clock was set. The
    // second one says so nowhere but in the time of its last change.
    age(travelled, -1);
    age(touched, 7200);
    const Result result = call({"clean", "-f", "--unlisted"});
    EXPECT_THAT(result.out, HasSubstr("removed 1 archive and"));
    EXPECT_THAT(result.err, HasSubstr("the clock was set back: 1 archive may be known"));
    EXPECT_FALSE(exists(forgotten));
    for (const std::string& path : {behind, travelled, touched})
        EXPECT_TRUE(exists(path)) << path;
}

TEST_F(CleanTest, BringsAStoreBelowASize) {
    const std::string oldest = record(kType, "0xffff0101", 4000);
    const std::string middle = record(kType, "0xffff0102", 3000);
    const std::string newest = record(kType, "0xffff0103", 2000);
    const std::string running = kType + nameOf("0xffff0104", 5000);
    leave(running);
    const Process collector(running);
    EXPECT_EQ(call({"clean", "-n", "--to=22"}).status, 1);
    EXPECT_THAT(call({"clean", "-f", "--to=21"}).out, HasSubstr("removed 1 archive and 0 folders"));
    EXPECT_FALSE(exists(oldest));
    EXPECT_THAT(call({"clean", "-f", "--to=1K"}).out, HasSubstr("removed 0 archives"));
    EXPECT_THAT(call({"clean", "-f", "--to=0", "--older-than=1h"}).out,
                HasSubstr("removed 0 archives"));
    EXPECT_THAT(call({"clean", "-f", "--to=0"}).out, HasSubstr("removed 2 archives and 0 folders"));
    EXPECT_TRUE(exists(running + "/inside/file"));
    EXPECT_FALSE(exists(middle) || exists(newest));
}

TEST_F(CleanTest, LeavesWhatIsTooYoung) {
    const std::string young = kType + nameOf("0xffff0101", 3000);
    const std::string old = kType + nameOf("0xffff0102", 4200);
    leave(young);
    leave(old);
    EXPECT_THAT(call({"clean", "-f", "--left", "--older-than=1h"}).out,
                HasSubstr("removed 0 archives and 1 folder,"));
    EXPECT_TRUE(exists(young));
    EXPECT_FALSE(exists(old));
    // Its collector may be about to start.
    age(young, 28);
    EXPECT_THAT(call({"clean", "-f"}).err, HasSubstr("1 folder may be about to get a collector"));
    EXPECT_TRUE(exists(young));
    age(young, 31);
    EXPECT_EQ(call({"clean", "-f"}).status, 0);
    EXPECT_FALSE(exists(young));
}

TEST_F(CleanTest, TellsWhatACopyCouldLose) {
    leave("/tmp/copy/ZUL/0xffff/0xffff0101_2025_03_04_05_06_07_8");
    EXPECT_THAT(call({"--root=/tmp/copy", "clean", "-n"}).out,
                HasSubstr("would remove 0 archives and 1 folder, 7B\n"));
    const auto line = [](const std::string& thread, const std::string& message) {
        return "03-04 05:06:07.000 5 " + thread + " D ZUL_DEBUG: " + message + "\n";
    };
    const std::string begin = "sceneType===0xffff0101,sceneType.length()=10,mFlag=0x1";
    const std::string folder = "getZulBasePath:fileNum=8,folderName=" + std::string(kLeft);
    const std::string record = "recordZulHistory:allContent===0xffff0101|2025-03-04 05:06:07|" +
                               std::string(kLeft) + ".zul|B";
    const std::string first = line("6", begin) + line("6", folder);
    const std::string killed = line("6", record) + line("7", begin) + line("7", folder) +
                               line("7", record) + line("7", begin);
    // By the log its collector was at work when the copy was made, or an earlier one of its name.
    for (const std::string& log : {first, first + killed}) {
        write("/tmp/log", log);
        EXPECT_EQ(call({"--root=/tmp/copy", "--log=/tmp/log", "clean", "-n"}).status, 1) << log;
        EXPECT_THAT(call({"--root=/tmp/copy", "--log=/tmp/log", "list"}).out, HasSubstr("running"));
    }
}

TEST_F(CleanTest, TouchesNothingButNamesOfTheDaemons) {
    write("/tmp/outside/file");
    write("/tmp/outside/0xffff0101_2025_03_04_05_06_07_9/file");
    leave(kLeft);
    ASSERT_EQ(symlink("/tmp/outside", (std::string(kLeft) + "/inside/link").c_str()), 0);
    const std::string folder = kType;
    const std::string kept[] = {
            folder + "0xffff0101_2025_03_04_05_06_07_9/",  // a link, see below
            folder + "0xffff0101_2025_03_04_05_06_07_100/file",
            folder + "0xffff0101_2025_03_04_05_06_07_8.zul.part/file",
            folder + "0xfffe0101_2025_03_04_05_06_07_8/file",
            folder + "mine/file",
            "/data/ZUL/0xfffe/0xffff0101_2025_03_04_05_06_07_8/file",
            "/data/ZUL/other/0xffff0101_2025_03_04_05_06_07_8/file",
            "/data/ZUL/zul_history",
            "/data/ZUL/config",
    };
    for (const std::string& path : kept) {
        if (!path.ends_with('/')) write(path);
    }
    for (const char* link : {"0xffff/0xffff0101_2025_03_04_05_06_07_9", "0xfffd"})
        ASSERT_EQ(symlink("/tmp/outside", (std::string("/data/ZUL/") + link).c_str()), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator("/data/ZUL"))
        if (entry.is_directory() && !entry.is_symlink()) age(entry.path(), 3600);

    EXPECT_THAT(call({"clean", "-f"}).out, HasSubstr("removed 0 archives and 1 folder"));
    EXPECT_FALSE(exists(kLeft));
    for (const std::string& path : kept)
        EXPECT_TRUE(exists(path)) << path;
    EXPECT_TRUE(exists("/tmp/outside/file"));
    EXPECT_TRUE(exists("/tmp/outside/0xffff0101_2025_03_04_05_06_07_9/file"));
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
