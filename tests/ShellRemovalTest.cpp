// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <filesystem>

#include "store/ShellRemoval.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ShellRemovalTest : public ServiceTest {};

TEST_F(ShellRemovalTest, RunsTheExactCommandOfEitherOperation) {
    // A shell that only tells how it was called.
    std::filesystem::rename("/system/bin/sh", "/system/bin/sh.away");
    writeFile("/system/bin/sh",
              "#!/bin/sh\nprintf '%s|' \"$#\" \"$@\" >>/data/ZUL/calls\nexit 3\n");
    std::filesystem::permissions("/system/bin/sh", std::filesystem::perms::all);
    std::string folder = "/data/ZUL/a_1";
    ZulService::deleteOldDir(folder);
    ZulService::removeFilePath(folder.data());
    std::filesystem::rename("/system/bin/sh.away", "/system/bin/sh");

    EXPECT_EQ(readFile("/data/ZUL/calls"),
              "2|-c| rm -rf /data/ZUL/a_1;|2|-c| rm -rf /data/ZUL/a_1|");
    EXPECT_THAT(mLog.take(), ElementsAre("D child normal exit...."));
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

INSTANTIATE_TEST_SUITE_P(
        Paths, RefusedRemovalTest,
        testing::Values(RefusedCase{"Empty", ""}, RefusedCase{"Root", "/"},
                        RefusedCase{"RootAgain", "/./"}, RefusedCase{"Relative", "victim"},
                        RefusedCase{"Option", "-rf"},
                        RefusedCase{"Blank", "/data/ZUL/a /data/ZUL/victim"},
                        RefusedCase{"Tab", "/data/ZUL/a\t/data/ZUL/victim"},
                        RefusedCase{"LineBreak", "/data/ZUL/a\nrm -rf /data/ZUL/victim"},
                        RefusedCase{"Semicolon", "/data/ZUL/a;rm -rf victim"},
                        RefusedCase{"Ampersand", "/data/ZUL/a&rm${IFS}victim"},
                        RefusedCase{"Pipe", "/data/ZUL/a|rm"},
                        RefusedCase{"Substitution", "/data/ZUL/$(rm -rf victim)"},
                        RefusedCase{"Backquotes", "/data/ZUL/`rm -rf victim`"},
                        RefusedCase{"Variable", "/data/ZUL/$PWD"},
                        RefusedCase{"SingleQuote", "/data/ZUL/vic'tim'"},
                        RefusedCase{"DoubleQuote", "/data/ZUL/\"victim\""},
                        RefusedCase{"Backslash", "/data/ZUL/vic\\tim"},
                        RefusedCase{"Glob", "/data/ZUL/vic*"},
                        RefusedCase{"QuestionMark", "/data/ZUL/victi?"},
                        RefusedCase{"Brackets", "/data/ZUL/victi[m]"},
                        RefusedCase{"Braces", "/data/ZUL/{victim,b}"},
                        RefusedCase{"Tilde", "/data/ZUL/~"}, RefusedCase{"Hash", "/data/#"},
                        RefusedCase{"Redirection", "/data/ZUL/a>victim/file"},
                        RefusedCase{"Upwards", "/data/ZUL/a/../victim"},
                        RefusedCase{"UpwardsAtTheEnd", "/data/ZUL/a/.."}),
        caseName<RefusedCase>);

TEST_F(ShellRemovalTest, PlainPathsGoWhole) {
    for (const std::string path :
         {"/data/ZUL/a_2025_03_04_-5.zul", "/data/ZUL/\xc3\xa4_1", "/data/ZUL/..a/-rf"}) {
        std::filesystem::create_directories(path + "/inner");
        EXPECT_TRUE(removeWithShell(path, ";")) << path;
        EXPECT_FALSE(exists(path)) << path;
    }
    EXPECT_THAT(mLog.take(), IsEmpty());
}

}  // namespace
}  // namespace zul::test
