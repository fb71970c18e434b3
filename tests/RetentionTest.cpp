// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

class RetentionTest : public ServiceTest {
  protected:
    /** A history of archives 1, 2, … that exist. */
    static void writeHistory(int lines) {
        std::string text;
        for (int i = 1; i <= lines; i++) {
            writeFile(archive(i), "archive");
            text += "0xffff0101|2025-03-04 05:06:07|" + archive(i) + "|build\n";
        }
        writeFile("/data/ZUL/zul_history", text);
    }
    static std::string archive(int number) {
        return "/data/ZUL/" + std::to_string(number) + ".zul";
    }

    static std::string specialCount() { return property("debug.zul.special.count"); }
};

struct LimitCase {
    const char* name;
    bool userMode;
    const char* property;
    int limit;
};

using LimitTest = TableTest<LimitCase>;

TEST_P(LimitTest, IsCappedAndFixedForUsers) {
    ZulService::mUserMode = GetParam().userMode;
    property_set("persist.sys.zul.count", GetParam().property);
    ZulService::getCompressFileCount();
    EXPECT_EQ(ZulService::mCompressFileLimit, GetParam().limit);
}

const LimitCase kLimitCases[] = {
        {"Unset", false, "", 400},     {"Large", false, "1000", 400}, {"Small", false, "50", 50},
        {"Negative", false, "-3", -3}, {"User", true, "50", 200},
};
INSTANTIATE_TEST_SUITE_P(Limits, LimitTest, testing::ValuesIn(kLimitCases), caseName);

using StartUpTest = TableTest<bool, RetentionTest>;

TEST_P(StartUpTest, CountsTaggedFilesOfTheTwoRoots) {
    FakeSystem::hidesFileTypes = GetParam();
    admit("0xffffff0a");
    admit("short");
    const std::string data = "/data/ZUL/0xffffff0a_1.zul";
    writeFile(data, "");
    writeFile("/data/ZUL/short", "");
    writeFile("/data/ZUL/0xffffff0b_1.zul", "");
    writeFile("/data/ZUL/zul_history", "");
    std::filesystem::create_directory("/data/ZUL/0xffffff0a_2.zul");
    (void)!symlink(data.c_str(), "/data/ZUL/0xffffff0a_3.zul");
    std::filesystem::create_directory("/data/ZUL/0xffff");
    writeFile("/data/ZUL/0xffff/0xffffff0a_4.zul", "");
    writeFile("/morvfs/stuck_logo/0xffffff0a_5.zul", "");
    writeFile("/morvfs/stuck_logo/no\nne\x7f", "");
    ZulService::mDebugLog = false;

    EXPECT_EQ(ZulService::getCompressFileCount(), 3);

    EXPECT_EQ(ZulService::mCompressFileCount, 3);
    EXPECT_THAT(archives("0xffffff0a"), ElementsAre(data, "/morvfs/stuck_logo/0xffffff0a_5.zul"));
    EXPECT_THAT(archives("short"), ElementsAre("/data/ZUL/short"));
    // Not bound to the debug switch.
    EXPECT_THAT(mLog.take(),
                UnorderedElementsAre("D dnam=0xffffff0a_5.zul", "D dnam=no\\x0ane\\x7f"));
}

INSTANTIATE_TEST_SUITE_P(FileTypes, StartUpTest, testing::Bool());

TEST_F(RetentionTest, StartUpListsArchivesInTheFoldersOwnOrder) {
    admit("0xffffff0a");
    for (const char* number : {"2", "9", "1", "5", "3"})
        writeFile(std::string("/data/ZUL/0xffffff0a") + number, "");
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator("/data/ZUL"))
        files.push_back(entry.path());
    ZulService::getCompressFileCount();
    EXPECT_EQ(archives("0xffffff0a"), files);
}

TEST_F(RetentionTest, StartUpMakesMissingRootsAndGoesOnWithoutThem) {
    std::filesystem::remove_all("/data/ZUL");
    std::filesystem::remove_all("/morvfs/stuck_logo");
    umask(0);
    EXPECT_EQ(ZulService::getCompressFileCount(), 0);
    for (const char* root : {"/data/ZUL", "/morvfs/stuck_logo"})
        EXPECT_EQ(std::filesystem::status(root).permissions(), std::filesystem::perms::all);
    EXPECT_THAT(mLog.take(), ElementsAre("D mCompressFileCount=0"));

    std::filesystem::remove_all("/data/ZUL");
    writeFile("/morvfs/stuck_logo/0xffffff0a_1.zul", "");
    admit("0xffffff0a");
    const auto before = std::filesystem::status("/data").permissions();
    std::filesystem::permissions("/data", std::filesystem::perms(0555));
    ZulService::getCompressFileCount();
    std::filesystem::permissions("/data", before);
    EXPECT_THAT(mLog.take(), ElementsAre("E FolderOperation main folder create "
                                         "/data/ZUL/ failed(Permission denied)",
                                         "D dnam=0xffffff0a_1.zul", "D mCompressFileCount=1"));
}

struct CleanCase {
    const char* name;
    const char* special;
    int count;
    int limit;
    int removed;  // line number of the archive, 0 for none
};

using CleanTest = TableTest<CleanCase, RetentionTest>;

TEST_P(CleanTest, SelectsTheLineByHowFarTheCountIsOver) {
    const CleanCase& c = GetParam();
    writeHistory(5);
    property_set("debug.zul.special.count", c.special);
    ZulService::mCompressFileCount = c.count;
    ZulService::mCompressFileLimit = c.limit;

    ZulService::cleanOldFile();

    for (int i = 1; i <= 5; i++)
        EXPECT_EQ(exists(archive(i)), i != c.removed) << i;
    EXPECT_EQ(ZulService::mCompressFileCount, c.removed != 0 ? c.count - 1 : c.count);
    if (c.removed == 0) {
        EXPECT_THAT(mLog.take(), ElementsAre("E readSpecialLine failure!"));
    } else {
        EXPECT_THAT(mLog.take(), ElementsAre("D remove old file:filename=" + archive(c.removed),
                                             "D child normal exit...."));
    }
}

const CleanCase kCleanCases[] = {
        {"ThirdLine", "", 402, 400, 3},          {"SpecialsCount", "2", 400, 400, 3},
        {"FirstLine", "", 400, 400, 1},          {"LastLine", "", 404, 400, 5},
        {"BehindTheEnd", "", 405, 400, 0},       {"Zero", "", 399, 400, 0},
        {"NegativeSpecials", "-9", 402, 400, 0}, {"FarBehind", "2147483647", 402, 400, 0},
};
INSTANTIATE_TEST_SUITE_P(Lines, CleanTest, testing::ValuesIn(kCleanCases), caseName);

TEST_F(RetentionTest, ArchiveThatIsGoneChangesNoCount) {
    writeHistory(3);
    ZulService::mCompressFileCount = 402;
    std::filesystem::remove(archive(3));
    ZulService::cleanOldFile();
    EXPECT_EQ(ZulService::mCompressFileCount, 402);
    EXPECT_THAT(mLog.take(), ElementsAre("D remove old file:filename=" + archive(3),
                                         "E file " + archive(3) + " isn't exist!"));
    std::filesystem::remove("/data/ZUL/zul_history");
    ZulService::cleanOldFile();
    EXPECT_THAT(mLog.take(), ElementsAre("E readSpecialLine failure!"));
}

struct LineCase {
    const char* name;
    std::string history;
    int number;
    const char* archive;
};

/** What 255 bytes of a line reach of its archive. */
const std::string kFirstRead = "/" + std::string(250, 'c');

using HistoryLineTest = TableTest<LineCase, RetentionTest>;

TEST_P(HistoryLineTest, ArchiveIsTheThirdPiece) {
    const LineCase& c = GetParam();
    writeFile("/data/ZUL/zul_history", c.history);
    ZulService::mCompressFileCount = ZulService::mCompressFileLimit + c.number - 1;
    ZulService::cleanOldFile();
    std::string log;
    for (const std::string& row : mLog.take())
        log += row + ";";
    EXPECT_THAT(log, StartsWith(std::string("D remove old file:filename=") + c.archive + ";"));
}

const LineCase kLineCases[] = {
        {"Plain", "a|b|/c|d\n", 1, "/c"},
        {"EmptyPiecesDoNotCount", "||a||b|/c|d\n", 1, "/c"},
        {"LineEndBelongsToTheLastPiece", "a|b|/c\n", 1, "/c;E file /c;E  isn't exist!"},
        {"TwoPieces", "a|b\n", 1, ""},
        {"EmptyLine", "\na|b|/c|d\n", 1, ""},
        {"NoLineEndAtTheEnd", "x\na|b|/c", 2, "/c"},
        // 300 characters are two reads, of 255 and of 45.
        {"LongLineCountsTwice", std::string(300, 'x') + "\na|b|/c|d\n", 3, "/c"},
        {"EndsInItsArchive", "a|b|/" + std::string(251, 'c') + "|d\n", 1, kFirstRead.c_str()},
        {"RestOfALongLine", std::string(255, 'x') + "a|b|/c|d\n", 2, "/c"},
};
INSTANTIATE_TEST_SUITE_P(Lines, HistoryLineTest, testing::ValuesIn(kLineCases), caseName);

TEST_F(RetentionTest, ArchiveOfTheSpecialTagLowersItsOwnCount) {
    const std::string special = "/data/ZUL/0xffff0000/1.zul";
    std::filesystem::create_directory("/data/ZUL/0xffff0000");
    for (const char* before : {"3", "100000", "0", ""}) {
        writeFile(special, "");
        writeFile("/data/ZUL/zul_history", "0xffff0000|t|" + special + "|b\n");
        property_set("debug.zul.special.count", before);
        const int specials = property_get_int32("debug.zul.special.count", 0);
        ZulService::mCompressFileCount = 400 - specials;
        ZulService::cleanOldFile();
        EXPECT_FALSE(exists(special));
        EXPECT_EQ(ZulService::mCompressFileCount, 400 - specials);
        EXPECT_EQ(specialCount(), std::to_string(std::max(specials - 1, 0)));
    }
    // Looked for in the path alone.
    writeFile(archive(1), "");
    writeFile("/data/ZUL/zul_history", "0xffff0000|t|" + archive(1) + "|0xffff0000\n");
    ZulService::mCompressFileCount = 400;
    ZulService::cleanOldFile();
    EXPECT_EQ(ZulService::mCompressFileCount, 399);
}

TEST_F(RetentionTest, SpecialCountThatChangesMeanwhileIsLowered) {
    writeFile("/data/ZUL/0xffff0000_1.zul", "");
    writeFile("/data/ZUL/zul_history", "0xffff0000|t|/data/ZUL/0xffff0000_1.zul|b\n");
    ZulService::mCompressFileCount = 400;
    FakeSystem::onFork = [] { return property_set("debug.zul.special.count", "8") == 0; };
    ZulService::cleanOldFile();
    EXPECT_EQ(specialCount(), "7");
}

TEST_F(RetentionTest, RefusedLineTouchesNothingAndChangesNoCount) {
    constexpr char kNotInStore[] = "E not removed, not in the store: ";
    constexpr char kGone[] = "E file %s isn't exist!";
    const std::pair<std::string, std::string> cases[] = {
            {"/data/prey", kNotInStore},
            {"/data/ZULU", kNotInStore},
            {"/data/ZUL/", kNotInStore},
            {"/data/ZUL/.", kNotInStore},
            {"/data//ZUL", kNotInStore},
            {"/morvfs/stuck_logo/", kNotInStore},
            {"/tmp/data/ZUL/a", kNotInStore},
            {"data/ZUL/a", kGone},
            {"/data/ZUL/../ZULU", "E not removed, not a plain path: "},
            {"/data/ZUL/link", kGone},
            {"/data/ZUL/link/prey", kGone},
            {"/data/ZUL/a b", "E not removed, not a plain path: "},
    };
    std::filesystem::create_directories("/data/prey/inner");
    std::filesystem::create_directories("/tmp/data/ZUL/a");
    std::filesystem::create_directories("/data/ZULU");
    std::filesystem::create_directories("/data/ZUL/a b");
    ASSERT_EQ(symlink("/data", "/data/ZUL/link"), 0);
    std::filesystem::permissions("/data/ZUL", std::filesystem::perms::all);
    for (const auto& [path, line] : cases) {
        writeFile("/data/ZUL/zul_history", "x|t|" + path + "|b\n");
        ZulService::mCompressFileCount = 400;
        ZulService::cleanOldFile();
        for (const char* stays : {"/data/prey/inner", "/data/ZULU", "/data/ZUL/zul_history",
                                  "/morvfs/stuck_logo", "/tmp/data/ZUL/a", "/data/ZUL/a b"}) {
            EXPECT_TRUE(exists(stays)) << stays << " and " << path;
        }
        EXPECT_EQ(ZulService::mCompressFileCount, 400) << path;
        const std::string expected =
                line == kGone ? "E file " + path + " isn't exist!" : line + path;
        EXPECT_THAT(mLog.takeAboveDebug(), ElementsAre(expected));
    }
}

TEST_F(RetentionTest, RemovalThatFailsCountsAllTheSame) {
    writeHistory(1);
    ZulService::mCompressFileCount = 400;
    FakeSystem::onFork = [] { return false; };
    ZulService::cleanOldFile();
    EXPECT_EQ(ZulService::mCompressFileCount, 399);
    EXPECT_THAT(mLog.takeAboveDebug(), ElementsAre("E *** vfork fail"));
}

}  // namespace
}  // namespace zul::test
