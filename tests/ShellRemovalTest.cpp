// SPDX-License-Identifier: Apache-2.0

#include <ctype.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "base/Files.h"
#include "store/ShellRemoval.h"
#include "tests/support/FakeProgram.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

namespace fs = std::filesystem;

class ShellRemovalTest : public ServiceTest {
  protected:
    ~ShellRemovalTest() override { fs::remove("/data/calls"); }
};

constexpr char kShell[] = "/system/bin/sh";
/** Only tells how it was called, what is in the folder, and who may write where. */
constexpr char kTelling[] =
        "printf '%s|' \"$#\" \"$@\" >>/data/calls\n"
        "stat -c %a /data/ZUL /data/ZUL/type /data/ZUL/type/a_1 >>/data/calls\n"
        "ls /data/ZUL/type/a_1 >>/data/calls\n"
        "exit 3\n";

TEST_F(ShellRemovalTest, RunsTheExactCommandWhileNobodyElseReachesThePath) {
    const FakeProgram shell(kShell, kTelling);
    fs::create_directories("/data/ZUL/type/a_1/inner");
    for (const char* folder : {"/data/ZUL", "/data/ZUL/type", "/data/ZUL/type/a_1"})
        fs::permissions(folder, fs::perms(0777));
    std::string folder = "/data/ZUL/type/a_1";
    ZulService::deleteOldDir(folder);
    // Also where there is nothing: somebody might put it there.
    fs::remove_all(folder);
    // As a daemon leaves it that is killed now.
    fs::permissions("/data/ZUL/type", fs::perms(01777));
    ZulService::removeFilePath(folder.data());
    EXPECT_EQ(readFile("/data/calls"),
              "2|-c| rm -rf /data/ZUL/type/a_1;|1777\n1777\n700\n"
              "2|-c| rm -rf /data/ZUL/type/a_1|1777\n1777\n700\n");
    for (const char* held : {"/data/ZUL", "/data/ZUL/type"})
        EXPECT_EQ(fs::status(held).permissions(), fs::perms(0777)) << held;
    EXPECT_THAT(mLog.take(), ElementsAre("D child normal exit...."));
}

TEST_F(ShellRemovalTest, WhatOnlyRootCanWriteInIsLeftAlone) {
    const FakeProgram shell(kShell, "stat -c %a /data/ZUL >>/data/calls\n");
    fs::permissions("/data/ZUL", fs::perms(0755));
    removeWithShell("/data/ZUL/a_1", ";");
    EXPECT_EQ(readFile("/data/calls"), "755\n");
}

TEST_F(ShellRemovalTest, StickyFoldersAboveTheStoreStaySo) {
    const auto before = fs::status("/morvfs").permissions();
    fs::permissions("/morvfs", fs::perms(01777));
    ASSERT_EQ(chmod("/data", 0755), 0);
    fs::create_directory_symlink("/morvfs", "/data/link");
    for (const char* top : {"/morvfs", "/data/link"}) {
        EXPECT_EQ(removeWithShell(std::string(top) + "/stuck_logo/a_1", ";"),
                  Removal::SHELL_EXITED);
        EXPECT_EQ(fs::status("/morvfs").permissions(), fs::perms(01777)) << top;
    }
    fs::remove("/data/link");
    fs::permissions("/morvfs", before);
}

TEST_F(ShellRemovalTest, SeveralKeepAFolderStickyUntilTheLastEnds) {
    const FakeProgram shell(kShell, "case \"$2\" in *a_1*) read x </data/ZUL/wait;; esac\n");
    ASSERT_EQ(mkfifo("/data/ZUL/wait", 0600), 0);
    fs::permissions("/data/ZUL", fs::perms(0777));
    std::thread first([] { removeWithShell("/data/ZUL/a_1", ";"); });
    // Opens when the first shell does.
    const ScopedFd wait(open("/data/ZUL/wait", O_WRONLY | O_CLOEXEC));
    removeWithShell("/data/ZUL/b_1", ";");
    EXPECT_EQ(fs::status("/data/ZUL").permissions(), fs::perms(01777));
    ASSERT_EQ(write(wait.get(), "\n", 1), 1);
    first.join();
    EXPECT_EQ(fs::status("/data/ZUL").permissions(), fs::perms(0777));
}

TEST_F(ShellRemovalTest, OnlyASignalToTheShellIsNoNormalExit) {
    const InterruptingSignal interrupting;
    {
        const FakeProgram shell(kShell, kInterrupting);
        EXPECT_EQ(removeWithShell("/data/ZUL/a_1", ";"), Removal::SHELL_EXITED);
    }
    const FakeProgram shell(kShell, "kill -9 $$\n");
    EXPECT_EQ(removeWithShell("/data/ZUL/a_1", ";"), Removal::DONE);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(ShellRemovalTest, NoLinkOfOthersIsFollowed) {
    fs::create_directories("/data/ZUL/victim/inner");
    fs::permissions("/data/ZUL", fs::perms(0777));
    fs::create_directory_symlink("victim", "/data/ZUL/link");
    EXPECT_EQ(removeWithShell("/data/ZUL/link/inner", ";"), Removal::REFUSED);
    EXPECT_THAT(mLog.take(),
                ElementsAre("E not removed, a link leads there: /data/ZUL/link/inner"));
    for (const char* link : {"/data/ZUL/link", "/data/ZUL/link/"}) {
        EXPECT_EQ(removeWithShell(link, ";"), Removal::SHELL_EXITED) << link;
        EXPECT_THAT(list("/data/ZUL"), ElementsAre("victim")) << link;
        EXPECT_TRUE(exists("/data/ZUL/victim/inner")) << link;
        fs::create_directory_symlink("victim", "/data/ZUL/link");
    }
    EXPECT_EQ(removeWithShell("/data/ZUL/missing/a_1", ";"), Removal::DONE);
    EXPECT_THAT(mLog.take(), IsEmpty());
}

TEST_F(ShellRemovalTest, DeepTreesGoWithFewDescriptors) {
    fs::permissions("/data/ZUL", fs::perms(0777));
    std::string deep = "/data/ZUL/deep";
    for (int i = 0; i < 200; i++)
        deep += "/d";
    fs::create_directories(deep);
    writeFile(deep + "/file", "");
    fs::create_directories("/data/ZUL/deep/d/d/other/d");
    rlimit usual;
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit few{static_cast<rlim_t>(dup(0)) + 12, usual.rlim_max};
    close(static_cast<int>(few.rlim_cur) - 12);
    setrlimit(RLIMIT_NOFILE, &few);
    removeWithShell("/data/ZUL/deep", ";");
    setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_FALSE(exists("/data/ZUL/deep"));
    EXPECT_THAT(mLog.take(), IsEmpty());
}

struct RefusedCase {
    const char* name;
    std::string path;
};

using RefusedRemovalTest = TableTest<RefusedCase>;

TEST_P(RefusedRemovalTest, TouchesNothing) {
    fs::create_directories("/data/ZUL/victim/inner");
    writeFile("/data/ZUL/victim/file", "");
    ASSERT_EQ(chdir("/data/ZUL"), 0);
    std::string path = GetParam().path;
    ZulService::deleteOldDir(path);
    ZulService::removeFilePath(path.data());
    EXPECT_THAT(list("/data/ZUL"), ElementsAre("victim"));
    EXPECT_THAT(list("/data/ZUL/victim"), ElementsAre("file", "inner"));
    EXPECT_THAT(mLog.take(), ElementsAre("E not removed, not a plain path: " + path,
                                         "E not removed, not a plain path: " + path));
    ASSERT_EQ(chdir("/"), 0);
}

const RefusedCase kRefusedCases[] = {
        {"Empty", ""},
        {"Root", "/"},
        {"RootAgain", "/./"},
        {"Relative", "victim"},
        {"Option", "-rf"},
        {"Upwards", "/data/ZUL/a/../victim"},
        {"UpwardsAtTheEnd", "/data/ZUL/a/.."},
        {"NoName", "/data/./ZUL/victim"},
        {"NoNameAtTheEnd", "/data/ZUL/victim/."},
};
INSTANTIATE_TEST_SUITE_P(Paths, RefusedRemovalTest, testing::ValuesIn(kRefusedCases), caseName);

TEST_F(ShellRemovalTest, EachByteIsPlainOrRefused) {
    const std::string plain = "/._-+:,@%=#~!^";
    for (int byte = 0; byte < 256; byte++) {
        const char c = static_cast<char>(byte);
        const std::string path = std::string("/data/ZUL/a") + c + "b";
        const bool isPlain =
                byte >= 0x80 || isalnum(byte) != 0 || plain.find(c) != std::string::npos;
        EXPECT_EQ(removeWithShell(path, ";"),
                  isPlain ? (c == '/' ? Removal::DONE : Removal::SHELL_EXITED) : Removal::REFUSED)
                << byte;
    }
    EXPECT_THAT(list("/data/ZUL"), IsEmpty());
    mLog.take();
}

TEST_F(ShellRemovalTest, PlainPathsGoWhole) {
    for (const std::string path : {"/data/ZUL/a_2025_03_04_-5.zul", "/data/ZUL/\xc3\xa4_1",
                                   "/data/ZUL/..a/-rf", "/data/ZUL/#~!^+:,@%="}) {
        fs::create_directories(path + "/inner");
        EXPECT_EQ(removeWithShell(path, ";"), Removal::SHELL_EXITED) << path;
        EXPECT_FALSE(exists(path)) << path;
    }
    EXPECT_THAT(mLog.take(), IsEmpty());
}

}  // namespace
}  // namespace zul::test
