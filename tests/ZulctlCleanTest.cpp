// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/ZulctlTest.h"
#include "zulctl/store/Processes.h"

namespace zulctl::test {
namespace {

constexpr char kType[] = "/data/ZUL/0xffff/";
constexpr char kLeft[] = "/data/ZUL/0xffff/0xffff0101_2025_03_04_05_06_07_8";

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

    /** More archives of a tag than it may keep; the path of the one with that number. */
    static std::string archive(const std::string& tag, int number) {
        char time[32];
        snprintf(time, sizeof(time), "_2025_03_04_05_00_%02d_", number);
        return kType + tag + time + std::to_string(number) + ".zul";
    }
    void fill(const std::string& tag, int archives) const {
        for (int i = 0; i < archives; i++)
            write(archive(tag, i), "12345");
    }
};

TEST_F(CleanTest, RefusesWhatIsNotClear) {
    leave(kLeft);
    const std::pair<std::vector<std::string>, const char*> calls[] = {
            {{"clean"}, "needs one of -n"},
            {{"clean", "-n", "-f"}, "needs one of -n"},
            {{"clean", "--left"}, "needs one of -n"},
            {{"--root=/data", "clean", "-f"}, "without --root"},
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
    pid_t collector = 0;
    std::string argument0 = running;
    char seconds[] = "1000";
    char* const arguments[] = {argument0.data(), seconds, nullptr};
    ASSERT_EQ(posix_spawn(&collector, "/bin/sleep", nullptr, nullptr, arguments, nullptr), 0);
    // The kernel shows its arguments a moment later.
    const auto commandLine = "/proc/" + std::to_string(collector) + "/cmdline";
    while (std::ifstream(commandLine).peek() == EOF) {
    }

    EXPECT_THAT(call({"--state=running", "--json"}).out, HasSubstr("\"" + running + ".zul\""));
    const Result shown = call({"clean", "-n"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.out, HasSubstr("would remove  left      7  " + std::string(kLeft) + "\n"));
    EXPECT_THAT(shown.out, HasSubstr("would remove 0 archives and 3 folders, 21\n"));
    EXPECT_TRUE(exists(kLeft));

    const Result removed = call({"clean", "-f", "--json"});
    EXPECT_EQ(removed.status, 0);
    EXPECT_THAT(removed.out, HasSubstr("{\"v\":1,\"device\":\"\",\"path\":\"" + logo +
                                       "\",\"state\":\"left\",\"size\":7,\"removed\":true}\n"));
    EXPECT_FALSE(exists(kLeft));
    EXPECT_FALSE(exists(packed));
    EXPECT_FALSE(exists(logo));
    EXPECT_TRUE(exists(packed + ".zul"));
    EXPECT_TRUE(exists(running + "/inside/file"));

    kill(collector, SIGKILL);
    waitpid(collector, nullptr, 0);
    EXPECT_EQ(call({"clean", "-f"}).status, 0);
    EXPECT_FALSE(exists(running));
    EXPECT_EQ(call({"clean", "-f"}).status, 1);
}

TEST_F(CleanTest, RemovesWhatTheKeepRuleWouldHaveTaken) {
    fill("0xffff0101", 23);
    fill("0xffffff07", 21);
    leave(kLeft);
    const Result result = call({"clean", "-f", "--unlisted"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("removed 4 archives and 0 folders, 20\n"));
    EXPECT_TRUE(exists(kLeft));
    for (int i = 0; i < 23; i++)
        EXPECT_EQ(exists(archive("0xffff0101", i)), i < 1 || i > 3) << i;
    for (int i = 0; i < 21; i++)
        EXPECT_EQ(exists(archive("0xffffff07", i)), i > 0) << i;
    EXPECT_EQ(call({"clean", "-f", "--unlisted"}).status, 1);
}

TEST_F(CleanTest, LeavesWhatIsTooYoung) {
    const auto nameOfNow = [](const std::string& tag, time_t age) {
        const time_t when = time(nullptr) - age;
        tm local = {};
        localtime_r(&when, &local);
        char text[64];
        strftime(text, sizeof(text), "_%Y_%m_%d_%H_%M_%S_0", &local);
        return kType + tag + text;
    };
    const std::string young = nameOfNow("0xffff0101", 3000);
    const std::string old = nameOfNow("0xffff0102", 4200);
    leave(young);
    leave(old);
    EXPECT_THAT(call({"clean", "-f", "--left", "--older-than=1h"}).out,
                HasSubstr("removed 0 archives and 1 folder,"));
    EXPECT_TRUE(exists(young));
    EXPECT_FALSE(exists(old));
}

TEST_F(CleanTest, WaitsForACollectorThatMayBeAboutToStart) {
    leave(kLeft);
    age(kLeft, 28);
    const time_t start = time(nullptr);
    const Result result = call({"clean", "-f"});
    EXPECT_THAT(result.err, HasSubstr("waits "));
    EXPECT_GE(time(nullptr) - start, 1);
    EXPECT_FALSE(exists(kLeft));
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
    const Processes all = Processes::look(at("/proc").c_str());
    EXPECT_TRUE(all.seen());
    EXPECT_TRUE(all.has("init"));
    EXPECT_TRUE(all.has("/data/ZUL/x"));
    EXPECT_FALSE(all.has("second"));
    EXPECT_FALSE(all.has("not a number"));

    // Neither a file nor nothing: cannot be read.
    makeFolder("/proc/80/cmdline");
    EXPECT_FALSE(Processes::look(at("/proc").c_str()).seen());
    std::filesystem::remove_all(at("/proc/80"));
    std::filesystem::remove_all(at("/proc/1"));
    EXPECT_FALSE(Processes::look(at("/proc").c_str()).seen());
    EXPECT_FALSE(Processes::look(at("/nowhere").c_str()).seen());
}

}  // namespace
}  // namespace zulctl::test
