// SPDX-License-Identifier: Apache-2.0

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "store/ShellRemoval.h"
#include "tests/support/FakeProgram.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

class ShellRemovalTest : public ServiceTest {
  protected:
    ~ShellRemovalTest() override {
        std::filesystem::permissions("/data/ZUL", std::filesystem::perms(0755));
        std::filesystem::remove("/data/calls");
    }
};

constexpr char kShell[] = "/system/bin/sh";
/** Only tells how it was called, and who may write in the folder. */
constexpr char kTelling[] =
        "printf '%s|' \"$#\" \"$@\" >>/data/calls\n"
        "stat -c %a /data/ZUL /data/ZUL/a_1 /data/ZUL/a_1/inner 2>/dev/null >>/data/calls\n"
        "exit 3\n";

TEST_F(ShellRemovalTest, RunsTheExactCommandOfEitherOperation) {
    const FakeProgram shell(kShell, kTelling);
    std::filesystem::permissions("/data/ZUL", std::filesystem::perms(0755));
    std::filesystem::create_directories("/data/ZUL/a_1/inner");
    std::string folder = "/data/ZUL/a_1";
    ZulService::deleteOldDir(folder);
    ZulService::removeFilePath(folder.data());
    EXPECT_EQ(readFile("/data/calls"),
              "2|-c| rm -rf /data/ZUL/a_1;|755\n700\n700\n"
              "2|-c| rm -rf /data/ZUL/a_1|755\n700\n700\n");
    EXPECT_THAT(mLog.take(), ElementsAre("D child normal exit...."));
}

TEST_F(ShellRemovalTest, OnlyASignalToTheShellIsNoNormalExit) {
    const InterruptingSignal interrupting;
    {
        const FakeProgram shell(kShell, kInterrupting);
        EXPECT_TRUE(removeWithShell("/data/ZUL/a_1", ";"));
    }
    const FakeProgram shell(kShell, "kill -9 $$\n");
    EXPECT_FALSE(removeWithShell("/data/ZUL/a_1", ";"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(ShellRemovalTest, NobodyReachesTheNameWhereOthersCanWrite) {
    const FakeProgram shell(kShell, kTelling);
    for (const auto mode : {0777, 0775, 0757}) {
        std::filesystem::permissions("/data/ZUL", std::filesystem::perms(mode));
        // Also where there is nothing: somebody might put it there.
        std::string folder = "/data/ZUL/a_1";
        ZulService::deleteOldDir(folder);
        EXPECT_EQ(std::filesystem::status("/data/ZUL").permissions(), std::filesystem::perms(mode));
    }
    EXPECT_THAT(readFile("/data/calls"),
                testing::MatchesRegex(
                        "(2\\|-c\\| rm -rf /proc/self/fd/[0-9]+/a_1;\\|17[0-9]+\n700\n)*"));
    EXPECT_THAT(mLog.take(), IsEmpty());
}

TEST_F(ShellRemovalTest, NoLinkOnTheWayIsFollowed) {
    std::filesystem::create_directories("/data/ZUL/victim/inner");
    std::filesystem::permissions("/data/ZUL", std::filesystem::perms(0755));
    std::filesystem::create_directory_symlink("victim", "/data/ZUL/link");
    EXPECT_FALSE(removeWithShell("/data/ZUL/link/inner", ";"));
    EXPECT_TRUE(exists("/data/ZUL/victim/inner"));
    EXPECT_THAT(mLog.take(),
                ElementsAre("E not removed, no folder without links: /data/ZUL/link/inner"));
    for (const char* link : {"/data/ZUL/link", "/data/ZUL/link/", "/data/ZUL/link/."}) {
        EXPECT_TRUE(removeWithShell(link, ";")) << link;
        EXPECT_THAT(list("/data/ZUL"), ElementsAre("victim")) << link;
        EXPECT_TRUE(exists("/data/ZUL/victim/inner")) << link;
        std::filesystem::create_directory_symlink("victim", "/data/ZUL/link");
    }
}

struct RefusedCase {
    const char* name;
    std::string path;
};

using RefusedRemovalTest = TableTest<RefusedCase>;

TEST_P(RefusedRemovalTest, TouchesNothing) {
    std::filesystem::create_directories("/data/ZUL/victim/inner");
    writeFile("/data/ZUL/victim/file", "");
    ASSERT_EQ(chdir("/data/ZUL"), 0);
    std::string path = GetParam().path;
    ZulService::deleteOldDir(path);
    ZulService::removeFilePath(path.data());
    EXPECT_THAT(list("/data/ZUL"), ElementsAre("victim"));
    EXPECT_THAT(list("/data/ZUL/victim"), ElementsAre("file", "inner"));
    EXPECT_THAT(mLog.take(), ElementsAre("E not removed, no plain path: " + path,
                                         "E not removed, no plain path: " + path));
    ASSERT_EQ(chdir("/"), 0);
}

const RefusedCase kRefusedCases[] = {
        {"Empty", ""},
        {"Root", "/"},
        {"RootAgain", "/./"},
        {"Relative", "victim"},
        {"Option", "-rf"},
        {"Blank", "/data/ZUL/a /data/ZUL/victim"},
        {"Tab", "/data/ZUL/a\t/data/ZUL/victim"},
        {"LineBreak", "/data/ZUL/a\nrm -rf /data/ZUL/victim"},
        {"Semicolon", "/data/ZUL/a;rm -rf victim"},
        {"Ampersand", "/data/ZUL/a&rm${IFS}victim"},
        {"Pipe", "/data/ZUL/a|rm"},
        {"Substitution", "/data/ZUL/$(rm -rf victim)"},
        {"Backquotes", "/data/ZUL/`rm -rf victim`"},
        {"Variable", "/data/ZUL/$PWD"},
        {"SingleQuote", "/data/ZUL/vic'tim'"},
        {"DoubleQuote", "/data/ZUL/\"victim\""},
        {"Backslash", "/data/ZUL/vic\\tim"},
        {"Glob", "/data/ZUL/vic*"},
        {"QuestionMark", "/data/ZUL/victi?"},
        {"Brackets", "/data/ZUL/victi[m]"},
        {"Braces", "/data/ZUL/{victim,b}"},
        {"Redirection", "/data/ZUL/a>victim/file"},
        {"Upwards", "/data/ZUL/a/../victim"},
        {"UpwardsAtTheEnd", "/data/ZUL/a/.."},
};
INSTANTIATE_TEST_SUITE_P(Paths, RefusedRemovalTest, testing::ValuesIn(kRefusedCases), caseName);

TEST_F(ShellRemovalTest, PlainPathsGoWhole) {
    for (const std::string path : {"/data/ZUL/a_2025_03_04_-5.zul", "/data/ZUL/\xc3\xa4_1",
                                   "/data/ZUL/..a/-rf", "/data/ZUL/#~!^+:,@%="}) {
        std::filesystem::create_directories(path + "/inner");
        EXPECT_TRUE(removeWithShell(path, ";")) << path;
        EXPECT_FALSE(exists(path)) << path;
    }
    EXPECT_THAT(mLog.take(), IsEmpty());
}

}  // namespace
}  // namespace zul::test
