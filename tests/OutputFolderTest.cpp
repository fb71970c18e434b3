// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/FakeProgram.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

constexpr char kStamp[] = "2025_03_04_17_06_07";

mode_t modeOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

class OutputFolderTest : public ServiceTest {
  protected:
    /** createZulPath's path, or "" when it failed. */
    std::string create(const std::string& tag, int fileNum = 7) {
        char folder[ZulService::kPathSize] = {};
        const bool made = mService->createZulPath(tag.c_str(), fileNum, folder);
        mPath = folder;
        return made ? folder : "";
    }

    /** Lists `count` archives, which exist, for the tag: named 0.zul, 1.zul, … */
    void listArchives(const std::string& tag, int count) {
        std::filesystem::create_directory("/data/ZUL/old");
        for (int i = 0; i < count; i++) {
            archives(tag).push_back("/data/ZUL/old/" + std::to_string(i) + ".zul");
            writeFile(archives(tag).back(), "archive");
        }
        ZulService::mCompressFileCount = count;
    }

    std::string mPath;
};

struct NameCase {
    const char* name;
    const char* tag;
    bool userMode;
    int fileNum;
    std::string typeFolder;
    /** Behind this come the tag, the time and the number. */
    std::string parent;
    const char* number;
};

using FolderNameTest = TableTest<NameCase, OutputFolderTest>;

TEST_P(FolderNameTest, IsMadeEmptyAndListed) {
    const NameCase& c = GetParam();
    ZulService::mUserMode = c.userMode;
    admit(c.tag);
    const std::string expected = c.parent + "/" + c.tag + "_" + kStamp + c.number;

    EXPECT_EQ(create(c.tag, c.fileNum), expected);

    EXPECT_THAT(archives(c.tag), ElementsAre(expected + ".zul"));
    EXPECT_EQ(modeOf(c.typeFolder), 0777u);
    EXPECT_EQ(modeOf(expected), 0777u);
    EXPECT_THAT(list(expected), IsEmpty());
    EXPECT_STREQ(mService->mCaptureTime.get(), "2025-03-04 17:06:07");
    EXPECT_EQ(umask(0), 0u);
    EXPECT_THAT(mLog.take(), ElementsAre("D getZulBasePath:fileNum=" + std::to_string(c.fileNum) +
                                         ",folderName=" + expected));
}

const std::string kType = "/data/ZUL/0xffff";
const std::string kUserType = "/data/ZUL/0xffffff";
const std::string kLogo = "/morvfs/stuck_logo";

const NameCase kNameCases[] = {
        {"Plain", "0xffff0101", false, 42, kType, kType, "_42"},
        {"Remainder", "0xffff0101", false, 123, kType, kType, "_23"},
        {"Negative", "0xffff0101", false, -205, kType, kType, "_-5"},
        {"UserTag", "0xffffff0a", false, 7, kType, kType, "_7"},
        {"UserMode", "0xffffff0a", true, 7, kUserType, kUserType, "_7"},
        {"OtherTagInUserMode", "0x003effff", true, 0, "/data/ZUL/0x003e", "/data/ZUL/0x003e", "_0"},
        {"StuckLogo", "0xffffff06", false, 3, kType, kLogo, "_3"},
        {"UserStuckLogo", "0xffffff0e", true, 3, kUserType, kLogo, "_3"},
        {"NoStuckLogo", "0xffffff061", false, 3, kType, kType, "_3"},
        {"NorThis", "0xffffff0e1", false, 3, kType, kType, "_3"},
        {"SixLetters", "SCENE1", false, 1, "/data/ZUL/SCENE1", "/data/ZUL/SCENE1", "_1"},
};
INSTANTIATE_TEST_SUITE_P(Names, FolderNameTest, testing::ValuesIn(kNameCases), caseName);

TEST_F(OutputFolderTest, UnknownTagMakesNothingSilently) {
    EXPECT_EQ(create("0xffff0101"), "");
    EXPECT_THAT(list("/data/ZUL"), IsEmpty());
    EXPECT_EQ(mService->mCaptureTime, nullptr);
    EXPECT_EQ(umask(0), 0u);
    EXPECT_THAT(mLog.take(), IsEmpty());
}

TEST_F(OutputFolderTest, TagThatMakesNoFolderNameFails) {
    // Too short for its prefix, a way out of the store, and one that would forge history lines.
    for (const std::string tag : {"0x003", "../../data/prey", "0xffff\nforged"}) {
        admit(tag);
        EXPECT_EQ(create(tag), "") << tag;
        EXPECT_THAT(mLog.take(),
                    ElementsAre("E getZulBasePath sceneType info error!!",
                                "D getZulBasePath:fileNum=7,folderName=",
                                "E FolderOperation LOG folder create  failed(No such file or "
                                "directory)"));
        EXPECT_THAT(list("/data/ZUL"), IsEmpty()) << tag;
        EXPECT_THAT(archives(tag), IsEmpty()) << tag;
    }
}

TEST_F(OutputFolderTest, PathOfMoreThan255BytesMakesNothing) {
    // 40 bytes besides the tag.
    const std::string longest = "0xffff" + std::string(209, 'a');
    admit(longest);
    EXPECT_EQ(create(longest, 42).size(), 255u);
    const std::string tooLong = "0xfffe" + std::string(210, 'a');
    admit(tooLong);
    mLog.take();
    EXPECT_EQ(create(tooLong, 42), "");
    EXPECT_EQ(mPath, "");
    EXPECT_THAT(mLog.take(), ElementsAre("E tag too long for a capture folder: " + tooLong));
    EXPECT_THAT(list("/data/ZUL"), ElementsAre("0xffff"));
}

TEST_F(OutputFolderTest, MissingRootIsToldForTypeAndCaptureFolder) {
    admit("0xffff0101");
    std::filesystem::remove("/data/ZUL");
    EXPECT_EQ(create("0xffff0101"), "");
    const std::string failed = " folder create /data/ZUL/0xffff failed(No such file or directory)";
    EXPECT_THAT(mLog.take(), ElementsAre("E FolderOperation sceneType LOG" + failed,
                                         "D getZulBasePath:fileNum=7,folderName=/data/ZUL/0xffff",
                                         "E FolderOperation LOG" + failed));
    EXPECT_THAT(archives("0xffff0101"), IsEmpty());
}

TEST_F(OutputFolderTest, TypeFolderThatIsAFileFailsAtTheCaptureFolder) {
    admit("0xffff0101");
    writeFile("/data/ZUL/0xffff", "");
    EXPECT_EQ(create("0xffff0101"), "");
    EXPECT_THAT(mLog.takeAboveDebug(), ElementsAre("E FolderOperation LOG folder create " + mPath +
                                                   " failed(Not a directory)"));
}

TEST_F(OutputFolderTest, LeftoverOfTheSameNameIsEmptied) {
    admit("0xffff0101");
    const std::string folder = create("0xffff0101");
    writeFile(folder + "/half_written", "x");
    FakeSystem::onFork = [] {
        EXPECT_FALSE(FakeSystem::locked);
        // A configuration withdraws the tag meanwhile.
        return ZulService::mTagTable.erase("0xffff0101") == 1;
    };
    EXPECT_EQ(create("0xffff0101", 107), folder);
    EXPECT_THAT(list(folder), IsEmpty());
    EXPECT_THAT(ZulService::mTagTable, IsEmpty());
}

TEST_F(OutputFolderTest, LeftoverThatStaysFailsWithoutALine) {
    admit("0xffff0101");
    const std::string folder = create("0xffff0101");
    mLog.take();
    const FakeProgram none("/system/bin/sh");
    EXPECT_EQ(create("0xffff0101"), "");
    EXPECT_THAT(mLog.takeAboveDebug(),
                ElementsAre("E execl on command ' rm -rf " + folder + ";' failed"));
}

TEST_F(OutputFolderTest, VanishedArchivesAreDroppedBeforeTheLimitApplies) {
    admit("0xffff0101");
    listArchives("0xffff0101", 21);
    std::filesystem::remove("/data/ZUL/old/0.zul");
    std::filesystem::remove("/data/ZUL/old/20.zul");
    // A link may lead to where a look never returns.
    std::filesystem::create_symlink("/data/ZUL/old/1.zul", "/data/ZUL/old/20.zul");
    std::filesystem::permissions("/data/ZUL/old/19.zul", std::filesystem::perms::none);
    const std::string made = create("0xffff0101");
    EXPECT_EQ(archives("0xffff0101").size(), 20u);
    EXPECT_EQ(archives("0xffff0101").front(), "/data/ZUL/old/1.zul");
    EXPECT_EQ(ZulService::mCompressFileCount, 19);
    EXPECT_THAT(mLog.take(),
                ElementsAre("D file /data/ZUL/old/0.zul isn't exist!,erase it from vector",
                            "D file /data/ZUL/old/20.zul isn't exist!,erase it from vector",
                            "D getZulBasePath:fileNum=7,folderName=" + made));
}

struct PruneCase {
    const char* name;
    const char* tag;
    bool userMode;
    int listed;
    int firstErased;
    int erased;
};

using PruneTest = TableTest<PruneCase, OutputFolderTest>;

TEST_P(PruneTest, ErasesTheOldestButPerhapsTheFirst) {
    const PruneCase& c = GetParam();
    ZulService::mUserMode = c.userMode;
    admit(c.tag);
    listArchives(c.tag, c.listed);

    const std::string made = create(c.tag);

    std::vector<std::string> kept;
    std::vector<std::string> lines;
    const int end = c.firstErased + c.erased;
    for (int i = 0; i < c.listed; i++) {
        const std::string archive = "/data/ZUL/old/" + std::to_string(i) + ".zul";
        const bool erased = i >= c.firstErased && i < end;
        if (!erased) kept.push_back(archive);
        EXPECT_EQ(exists(archive), !erased) << archive;
        // The first entry that stays behind the erased ones has been looked at, too.
        if (c.erased > 0 && i <= end) lines.push_back("D current file path is " + archive);
        if (erased) lines.push_back("D createZulPath:erase " + archive);
    }
    kept.push_back(made + ".zul");
    lines.push_back("D getZulBasePath:fileNum=7,folderName=" + made);
    EXPECT_THAT(archives(c.tag), ElementsAreArray(kept));
    EXPECT_THAT(mLog.take(), ElementsAreArray(lines));
    EXPECT_EQ(ZulService::mCompressFileCount, c.listed - c.erased);
}

const PruneCase kPruneCases[] = {
        {"KeepFirst19", "0xffffff0a", false, 19, 1, 0},
        {"KeepFirst20", "0xffffff0a", false, 20, 1, 1},
        {"KeepFirst21", "0xffff0101", false, 21, 1, 2},
        {"KeepFirst25", "0xffff0101", false, 25, 1, 6},
        {"FrontPruned19", "0xffffff07", false, 19, 0, 0},
        {"FrontPruned20", "0xffffff08", false, 20, 0, 1},
        {"FrontPruned25", "x0xffffff07", false, 25, 0, 6},
        {"UserMode9", "0xffffff0a", true, 9, 1, 0},
        {"UserMode10", "0xffffff0a", true, 10, 1, 1},
        {"UserModeFrontPruned12", "0xffffff08", true, 12, 0, 3},
        {"Unlimited", "0x003effff", false, 40, 0, 0},
        {"UnlimitedInUserMode", "0x003e0001", true, 40, 0, 0},
};
INSTANTIATE_TEST_SUITE_P(Lists, PruneTest, testing::ValuesIn(kPruneCases), caseName);

TEST_F(OutputFolderTest, ArchiveThatCannotBeRemovedTakesItsFolderAlong) {
    admit("0xffff0101");
    listArchives("0xffff0101", 23);
    // Neither file nor empty folder: it stays, but the capture folder that it was to come from goes.
    std::filesystem::remove("/data/ZUL/old/1.zul");
    std::filesystem::create_directories("/data/ZUL/old/1.zul/inner");
    std::filesystem::create_directories("/data/ZUL/old/1/inner");
    // An empty folder goes as a file does, and the folder beside it stays.
    std::filesystem::remove("/data/ZUL/old/2.zul");
    std::filesystem::create_directory("/data/ZUL/old/2.zul");
    std::filesystem::create_directories("/data/ZUL/old/2/inner");
    // Too short to have a folder.
    archives("0xffff0101")[3] = "/data";
    FakeSystem::onFork = [] { return FakeSystem::locked.load(); };
    create("0xffff0101");
    EXPECT_TRUE(exists("/data/ZUL/old/1.zul/inner"));
    EXPECT_FALSE(exists("/data/ZUL/old/1"));
    EXPECT_FALSE(exists("/data/ZUL/old/2.zul"));
    EXPECT_TRUE(exists("/data/ZUL/old/2"));
    EXPECT_EQ(archives("0xffff0101").size(), 20u);
    EXPECT_THAT(archives("0xffff0101"), Not(Contains(HasSubstr("old/1.zul"))));
    EXPECT_EQ(ZulService::mCompressFileCount, 19);
    EXPECT_THAT(mLog.takeAboveDebug(), IsEmpty());
}

}  // namespace
}  // namespace zul::test
