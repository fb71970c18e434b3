// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "tests/support/FakeProgram.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

constexpr char kTag[] = "0xffff0101";
constexpr char kCollector[] = "/system_ext/bin/zul_dumpstate";

class CollectorTest : public ServiceTest {
  protected:
    CollectorTest() {
        admit(kTag);
        orderCollector();
    }
};

TEST_F(CollectorTest, ArgumentsArriveByteForByte) {
    const std::string texts[] = {
            "",        " two  blanks ", "'single' \"double\" \\", "line\nbreaks\r\n",
            "a|b#c;d", "$(id) *",       "\xc3\xa4\xff\x01",       std::string(64 * 1024, 'e'),
            "-x"};
    // A lock would hold every other capture up for as long as the collector runs.
    FakeSystem::onFork = [] { return !FakeSystem::locked; };
    for (const std::string& text : texts)
        mService->startZul(kTag, 0, 0, text);
    const auto runs = collectorRuns();
    ASSERT_EQ(runs.size(), std::size(texts));
    for (size_t i = 0; i < runs.size(); i++) {
        ASSERT_THAT(runs[i].arguments, SizeIs(10));
        EXPECT_EQ(runs[i].arguments[3], texts[i]);
    }
}

TEST_F(CollectorTest, TextThatNoProgramCanTakeIsTold) {
    mService->startZul(kTag, 0, 0, std::string(128 * 1024 - 1, 'e'));
    EXPECT_THAT(mLog.takeAboveDebug(), IsEmpty());
    mService->startZul(kTag, 0, 0, std::string(128 * 1024, 'e'));
    const auto lines = mLog.take();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], "E ret==-1,excel errno=7");
    EXPECT_EQ(lines.back(), "D zuldump child normal exit...");
    EXPECT_THAT(collectorRuns(), SizeIs(1));
    EXPECT_TRUE(exists(mService->mDumpPath));
}

TEST_F(CollectorTest, NumbersAreSignedDecimals) {
    struct {
        uint64_t mask;
        int pid;
        const char* maskText;
        const char* pidText;
    } const cases[] = {
            {0, 0, "0", "0"},
            {uint64_t{1} << 62, 7, "4611686018427387904", "7"},
            {uint64_t{1} << 63, 32768, "-9223372036854775808", "32768"},
            {~uint64_t{0}, 4194304, "-1", "4194304"},
            {1, -2147483647 - 1, "1", "-2147483648"},
    };
    for (const auto& c : cases)
        mService->startZul(kTag, static_cast<long>(c.mask), c.pid, "");
    const auto runs = collectorRuns();
    ASSERT_EQ(runs.size(), std::size(cases));
    for (size_t i = 0; i < runs.size(); i++) {
        EXPECT_EQ(runs[i].arguments[1], cases[i].maskText);
        EXPECT_EQ(runs[i].arguments[2], cases[i].pidText);
        EXPECT_THAT(runs[i].descriptors, ElementsAre(0, 1, 2));
    }
}

struct EndCase {
    const char* name;
    const char* orders;
    bool normal;
};

using CollectorEndTest = TableTest<EndCase, CollectorTest>;

TEST_P(CollectorEndTest, EndsTheRequest) {
    orderCollector(GetParam().orders);
    mService->startZul(kTag, 0, 0, "");
    EXPECT_EQ(mLog.take().back() == "D zuldump child normal exit...", GetParam().normal);
    EXPECT_THAT(collectorRuns(), SizeIs(1));
}

const EndCase kEndCases[] = {
        {"Status", "exit 3\n", true},
        {"Killed", "signal 9\n", false},
};
INSTANTIATE_TEST_SUITE_P(Ends, CollectorEndTest, testing::ValuesIn(kEndCases), caseName);

TEST_F(CollectorTest, MissingOneIsToldByTheChildThatThenEnds) {
    FILE* file = fopen("/data/ZUL/buffered", "we");
    fputs("once", file);
    {
        const FakeProgram none(kCollector);
        mService->startZul(kTag, 5, 6, "");
    }
    // The child leaves alone what it has of ours.
    fclose(file);
    EXPECT_EQ(readFile("/data/ZUL/buffered"), "once");
    const std::vector<std::string> lines = mLog.take();
    const std::vector<std::string> last(lines.end() - 4, lines.end());
    EXPECT_THAT(last, ElementsAre("D startWork....", "D sceneFlag===5, mPid===6",
                                  "E ret==-1,excel errno=2", "D zuldump child normal exit..."));
    EXPECT_EQ(ZulService::mCompressFileCount, 1);
}

TEST_F(CollectorTest, RequestEndsWhereNoChildCanBeStarted) {
    FakeSystem::onFork = [] { return false; };
    mService->startZul(kTag, 0, 0, "");
    const std::string folder = mService->mDumpPath;
    EXPECT_EQ(mLog.take().back(), "E *** fork fail\n");
    // The same folder again, which cannot be emptied now.
    ZulService::mCompressFileCount = 0;
    mService->startZul(kTag, 0, 0, "");
    std::string leftover = folder;
    ZulService::deleteOldDir(leftover);
    ZulService::removeFilePath(leftover.data());
    EXPECT_THAT(mLog.takeAboveDebug(),
                ElementsAre("E *** vfork fail\n", "E createZulPath failure...", "E *** fork fail\n",
                            "E *** vfork fail\n", "E *** vfork fail\n"));
    EXPECT_TRUE(exists(folder));
}

TEST_F(CollectorTest, RunsAlsoWhenNoFolderCouldBeMade) {
    mService->startZul(kTag, 0, 0, "first");
    std::filesystem::rename("/data/ZUL/0xffff", "/data/ZUL/away");
    writeFile("/data/ZUL/0xffff", "");
    admit("0xffff0202");
    mService->startZul("0xffff0202", 3, 4, "second");
    EXPECT_THAT(mLog.takeAboveDebug(),
                ElementsAre(StartsWith("E FolderOperation LOG folder create"),
                            "E createZulPath failure..."));
    const auto runs = collectorRuns();
    ASSERT_THAT(runs, SizeIs(2));
    EXPECT_THAT(runs[1].arguments, ElementsAre("0xffff0202", "3", "4", "second", kTag, "", "", "",
                                               "2025-03-04 17:06:07", ""));
    EXPECT_EQ(ZulService::mCompressFileCount, 1);
}

TEST_F(CollectorTest, TagsWithoutHistoryLeaveNoLine) {
    admit("x0x003effff");
    mService->startZul("x0x003effff", 0, 0, "");
    EXPECT_THAT(collectorRuns(), SizeIs(1));
    EXPECT_FALSE(exists("/data/ZUL/zul_history"));
    admit("0x003e0001");
    mService->startZul("0x003e0001", 0, 0, "");
    EXPECT_TRUE(exists("/data/ZUL/zul_history"));
}

struct OverCase {
    const char* name;
    const char* tag;
    int index;
    const char* special;
    bool userMode;
    bool cleans;
};

using GlobalLimitTest = TableTest<OverCase, CollectorTest>;

TEST_P(GlobalLimitTest, CleansWhenIndexAndSpecialsAreOverIt) {
    const OverCase& c = GetParam();
    ZulService::mUserMode = c.userMode;
    ZulService::mCompressFileCount = c.index;
    property_set("debug.zul.special.count", c.special);
    admit(c.tag);
    mService->prepare(c.tag, 0, 0, "");
    // The history has one line at most, so a clean-up finds nothing.
    EXPECT_EQ(mLog.take().back() == "E readSpecialLine failure!", c.cleans);
}

const OverCase kOverCases[] = {
        {"AtTheLimit", kTag, 400, "", false, false},
        {"WithoutHistory", "0x003effff", 401, "", false, true},
        {"Over", kTag, 401, "", false, true},
        {"SpecialsAtTheLimit", kTag, 390, "10", false, false},
        {"SpecialsOver", kTag, 391, "10", false, true},
        {"ManySpecials", kTag, 5, "2147483647", false, true},
        {"User", kTag, 401, "", true, false},
};
INSTANTIATE_TEST_SUITE_P(Counts, GlobalLimitTest, testing::ValuesIn(kOverCases), caseName);

TEST_F(CollectorTest, RequestsOnOneObjectRunOneAfterTheOther) {
    inThreads(4, [this](int t) {
        const std::string number = std::to_string(t);
        for (int i = 0; i < 10; i++)
            mService->startMultiPidZul(kTag, t, "pids" + number, "text" + number);
    });
    const auto runs = collectorRuns();
    EXPECT_THAT(runs, SizeIs(40));
    for (const CollectorRun& run : runs) {
        EXPECT_EQ("text" + run.arguments[1], run.arguments[3]);
        EXPECT_EQ("pids" + run.arguments[1], run.arguments[9]);
    }
}

TEST_F(CollectorTest, PreparationsThatFailGiveTheirIndexBack) {
    ZulService::mDebugLog = false;
    // Another thread takes some all the time, so that none can be taken or given back in two steps. What
    // counts is how often the two met: on a busy machine they may take turns.
    std::atomic<bool> done = false;
    std::atomic<int> others = 0;
    inThreads(2, [&](int t) {
        for (; t == 1 && !done; others++)
            ZulService::mCompressFileCount++;
        for (int i = 0, met = 0; t == 0 && i < 200000 && met < 10000; i++) {
            const int before = others;
            mService->prepare("not legal", 0, 0, "");
            met += others != before;
        }
        done = true;
    });
    EXPECT_EQ(ZulService::mCompressFileCount, others);
}

}  // namespace
}  // namespace zul::test
