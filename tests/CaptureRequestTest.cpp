// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>

#include <filesystem>

#include "tests/support/FakeActivity.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

enum Kind { kZul, kSimpZul, kSimpMultiPidZul, kMultiPidZul };
constexpr Kind kAllKinds[] = {kZul, kSimpZul, kSimpMultiPidZul, kMultiPidZul};

constexpr char kTag[] = "0xffff0101";
constexpr char kFolder[] = "/data/ZUL/0xffff/0xffff0101_2025_03_04_17_06_07_0";
constexpr char kTime[] = "2025-03-04 17:06:07";
constexpr char kPids[] = "12,345";
constexpr long kCopyBuffer = 1L << 62;
constexpr char kVendorList[] = "/a;/data/vendor/aee_exp/x/db.fatal.08.EE.dbg";

std::string kindName(const testing::TestParamInfo<Kind>& info) {
    const char* names[] = {"Zul", "SimpZul", "SimpMultiPidZul", "MultiPidZul"};
    return names[info.param];
}

class CaptureRequestTest : public ServiceTest {
  protected:
    CaptureRequestTest() {
        writeTagTable(
                "0xffff0101\tFLAG_ZUL_LOG|FLAG_ZUL_BINDER\tls\t/p\tcrash\tjava\n"
                "0xffffff0a\tFLAG_ZUL_USER_PS|FLAG_ZUL_LOG\t\t\t\t\n"
                "0xffff0109\t\t\t/a;/data/vendor/aee_exp/x/db.fatal.08.EE.dbg\t\t\n"
                "0xffff1003\tFLAG_ZUL_COPY_BUFFER\tc\tmarker\t\t\n"
                "0xffffffff\t\t\ttag:NEW,enable:1\t\t\n");
        admit(kTag);
        orderCollector();
        FakeActivity::get().mPackage = "com.x";
        // What an earlier request left behind.
        mService->mZulCmd = mService->mEventType = mService->mEventSubType = mService->mMultiPid =
                "old";
        mService->mPid = 5;
    }

    /** The request with mask 0x201 and text "/p", as the tag library has them for kTag. */
    void request(Kind kind, const std::string& tag = kTag, const std::string& text = "/p",
                 long mask = 0x201, int pid = 77) {
        switch (kind) {
            case kZul:
                return mService->startZul(tag, mask, pid, text);
            case kSimpZul:
                return mService->startSimpZul(tag, pid);
            case kSimpMultiPidZul:
                return mService->startSimpMultiPidZul(tag, kPids);
            case kMultiPidZul:
                return mService->startMultiPidZul(tag, mask, kPids, text);
        }
    }
    static bool byTag(Kind kind) { return kind == kSimpZul || kind == kSimpMultiPidZul; }
    static bool several(Kind kind) { return kind == kSimpMultiPidZul || kind == kMultiPidZul; }

    /** What the log tells of a capture of kTag before it is prepared. */
    static std::vector<std::string> linesBeforePreparation(Kind kind) {
        if (!byTag(kind)) return {"D sceneType===0xffff0101,sceneType.length()=10,mFlag=0x201"};
        std::vector<std::string> lines = {"D getZulInfoByTag tagId===0xffff0101",
                                          "D sceneType===0xffff0101,sceneType.length()=10"};
        if (kind == kSimpZul) {
            for (const char* told : {"flag = FLAG_ZUL_LOG|FLAG_ZUL_BINDER", "mZulCmd = ls",
                                     "extraInfo = /p", "eventType = crash", "eventSubType = java"})
                lines.push_back(std::string("I startSimpZul ") + told);
        }
        lines.push_back("I log flagstr = FLAG_ZUL_LOG|FLAG_ZUL_BINDER");
        lines.push_back("I getZulInfo flagvalue = 0x201");
        lines.push_back(
                std::string(kind == kSimpZul ? "I startSimpZul" : "I startSimpMultiPidZul") +
                " sceneType===0xffff0101, flag = 0x201; mZulCmd = ls; extraInfo = /p; "
                "mEventType = crash; mEventSubType = java");
        return lines;
    }

    static void configure(std::string text) { ZulService::parseRemoteConfig(text); }

    /** The collector's argument, of the only run. */
    static std::string argument(size_t index) {
        const std::vector<CollectorRun> runs = collectorRuns();
        EXPECT_THAT(runs, SizeIs(1));
        return runs.empty() ? "(none)" : runs[0].arguments.at(index);
    }
    /** Nothing came of the request. */
    void expectNoCapture() {
        EXPECT_THAT(collectorRuns(), IsEmpty());
        EXPECT_FALSE(exists("/data/ZUL/zul_history"));
        EXPECT_EQ(ZulService::mCompressFileCount, 0);
    }
};

using EveryRequestTest = TableTest<Kind, CaptureRequestTest>;
INSTANTIATE_TEST_SUITE_P(Requests, EveryRequestTest, testing::ValuesIn(kAllKinds), kindName);

TEST_P(EveryRequestTest, CapturesWithItsOwnArguments) {
    const Kind kind = GetParam();
    request(kind);

    const auto runs = collectorRuns();
    ASSERT_THAT(runs, SizeIs(1));
    EXPECT_THAT(runs[0].arguments,
                ElementsAre(kFolder, "513", several(kind) ? "0" : "77", "/p", kTag,
                            byTag(kind) ? "crash" : "", byTag(kind) ? "java" : "",
                            byTag(kind) ? "ls" : "", kTime, several(kind) ? kPids : ""));
    EXPECT_EQ(readFile("/data/ZUL/zul_history"),
              std::string(kTag) + "|" + kTime + "|" + kFolder + ".zul|system_version_is_empty\n");
    EXPECT_THAT(archives(kTag), ElementsAre(std::string(kFolder) + ".zul"));
    EXPECT_EQ(ZulService::mCompressFileCount, 1);
}

TEST_P(EveryRequestTest, LogsItsOwnWay) {
    const Kind kind = GetParam();
    std::vector<std::string> expected = linesBeforePreparation(kind);
    const std::string rest = ", mCompressFileCount=1, extraInfo=/p";
    expected.push_back(
            several(kind)
                    ? "D multiPidPrepare.....sceneType=0xffff0101,flag=0x201,mMultiPid=12,345" +
                              rest
                    : "D prepare.....sceneType=0xffff0101,flag=0x201,pid=77" + rest);
    expected.push_back(std::string("D getZulBasePath:fileNum=0,folderName=") + kFolder);
    expected.push_back(std::string("D recordZulHistory:allContent===0xffff0101|") + kTime + "|" +
                       kFolder + ".zul|system_version_is_empty");
    expected.insert(expected.end(),
                    {"D write content to file!", "D startWork....",
                     several(kind) ? "D sceneFlag===513, mPid===0" : "D sceneFlag===513, mPid===77",
                     "D zuldump child normal exit..."});
    request(kind);
    EXPECT_EQ(mLog.take(), expected);

    // The switch silences preparation, store and launch, and nothing else.
    ZulService::mDebugLog = false;
    archives(kTag).assign(1, "/data/ZUL/gone.zul");
    for (int i = 0; i < 20; i++) {
        archives(kTag).push_back("/data/ZUL/" + std::to_string(i) + ".zul");
        writeFile(archives(kTag).back(), "");
    }
    writeFile("/data/ZUL/zul_history", "tag|time|/data/ZUL/5.zul|build\n");
    ZulService::mCompressFileCount = 401;
    request(kind);
    EXPECT_EQ(mLog.take(), linesBeforePreparation(kind));
    EXPECT_FALSE(exists("/data/ZUL/1.zul"));
    EXPECT_FALSE(exists("/data/ZUL/5.zul"));
}

TEST_P(EveryRequestTest, RefusesATagThatIsNotLegal) {
    const Kind kind = GetParam();
    configure("tag:0xffff01,pkgname:com.y");
    mLog.take();
    ZulService::mTagTable.clear();
    request(kind);
    std::vector<std::string> expected = linesBeforePreparation(kind);
    expected.push_back("D Illegal ZUL TAG 0xffff0101,break");
    EXPECT_EQ(mLog.take(), expected);
    expectNoCapture();
    EXPECT_EQ(mService->mPid, 0);
    EXPECT_EQ(mService->mMultiPid, "");
    EXPECT_EQ(mService->mZulCmd + mService->mEventType + mService->mEventSubType,
              byTag(kind) ? "lscrashjava" : "");
}

TEST_F(CaptureRequestTest, RefusesATagThatTheLibraryDoesNotKnow) {
    admit("0xffff0999");
    for (const Kind kind : {kSimpZul, kSimpMultiPidZul}) {
        mService->mEventType = mService->mMultiPid = "old";
        request(kind, "0xffff0999");
        const std::string name = kind == kSimpZul ? "startSimpZul" : "startSimpMultiPidZul";
        EXPECT_THAT(mLog.take(), ElementsAre("D getZulInfoByTag tagId===0xffff0999",
                                             "D getZulInfoByTag getRowByKey fail",
                                             "D " + name + " Illegal ZUL TAG 0xffff0999,break"));
        expectNoCapture();
        EXPECT_EQ(mService->mEventType + mService->mMultiPid, "");
    }
}

TEST_P(EveryRequestTest, RefusesAVendorDatabaseWhoseCopyIsMissing) {
    admit("0xffff0109");
    request(GetParam(), "0xffff0109", kVendorList);
    std::vector<std::string> lines = mLog.take();
    // Those of the tag.
    if (byTag(GetParam())) lines.erase(lines.begin(), lines.end() - 2);
    EXPECT_THAT(lines, ElementsAre("E Unable to open filePath: /data/ZUL/db.fatal.08.EE.dbg ",
                                   "E /a;/data/vendor/aee_exp/x/db.fatal.08.EE.dbg copy to "
                                   "/a;/data/ZUL/db.fatal.08.EE.dbg failed."));
    expectNoCapture();
}

TEST_P(EveryRequestTest, HandsTheCopyOfAVendorDatabaseOn) {
    admit("0xffff0109");
    writeFile("/data/ZUL/db.fatal.08.EE.dbg", "");
    request(GetParam(), "0xffff0109", kVendorList);
    EXPECT_EQ(argument(3), "/a;/data/ZUL/db.fatal.08.EE.dbg");
    EXPECT_EQ(FakeTime::slept, 1u);
}

TEST_P(EveryRequestTest, UpdatesTheConfigurationInPlaceOfACapture) {
    request(GetParam(), "0xffffffff", "tag:NEW,enable:1");
    EXPECT_FALSE(exists("/data/ZUL/config")) << "the tag is not legal yet";
    admit("0xffffffff");
    mLog.take();
    FakeSystem::onSync = [](int) {
        EXPECT_TRUE(FakeSystem::locked);
        EXPECT_EQ(ZulService::mTagTable.count("NEW"), 0u) << "stored first";
    };
    request(GetParam(), "0xffffffff", "tag:NEW,enable:1");
    EXPECT_EQ(readFile("/data/ZUL/config"), "tag:NEW,enable:1");
    EXPECT_EQ(ZulService::mTagTable.count("NEW"), 1u);
    const std::vector<std::string> lines = mLog.take();
    EXPECT_THAT(std::vector(lines.end() - 2, lines.end()),
                ElementsAre("D remoteConfig.tag = NEW ", "D remoteConfig.enable = 1 "));
    expectNoCapture();
}

TEST_F(CaptureRequestTest, LegalTagIsAskedForAfterTheVendorCopyAndMustBeExact) {
    writeFile("/data/ZUL/db.fatal.08.EE.dbg", "");
    request(kZul, "0xffff0109", kVendorList);
    EXPECT_EQ(FakeTime::slept, 1u);
    EXPECT_EQ(mLog.take().back(), "D Illegal ZUL TAG 0xffff0109,break");
    admit("0xffffffff1");
    request(kZul, "0xffffffff1", "tag:NEW,enable:1");
    EXPECT_FALSE(exists("/data/ZUL/config"));
    EXPECT_THAT(collectorRuns(), SizeIs(1));
}

TEST_P(EveryRequestTest, FiltersPackagesOfOneProcessOnly) {
    configure("tag:0xffff01,pkgname:com.y.com.z");
    mLog.take();
    request(GetParam());
    if (several(GetParam())) {
        EXPECT_THAT(collectorRuns(), SizeIs(1));
    } else {
        std::vector<std::string> expected = linesBeforePreparation(GetParam());
        expected.push_back("D remoteConfig packageName is not com.x ,return");
        EXPECT_EQ(mLog.take(), expected);
        EXPECT_EQ(FakeActivity::get().mAskedPid, 77);
        expectNoCapture();
    }
}

TEST_P(EveryRequestTest, TakesWhatTheConfigurationAdds) {
    configure("tag:0101,flag:0x1001,cmd:cmd1,path:/q|tag:0xffff0101,flag:0x2000");
    request(GetParam());
    EXPECT_EQ(argument(1), std::to_string(0x1201));
    EXPECT_EQ(argument(3), "/p/q#cmd1");
}

TEST_P(EveryRequestTest, StabilitySceneWritesItsMarkerAndRunsTheCollector) {
    const Kind kind = GetParam();
    admit("0xffff1003");
    request(kind);
    FakeSystem::onFork = [] {
        EXPECT_THAT(openFiles(), Not(Contains(HasSubstr("trace_marker"))));
        return true;
    };
    request(kind, "0xffff1003", "marker", kCopyBuffer);
    EXPECT_EQ(readFile(traceFile("stab", "trace_marker")), "marker");
    const auto runs = collectorRuns();
    ASSERT_THAT(runs, SizeIs(2));
    // Scene type and time are those of the capture before.
    EXPECT_THAT(runs[1].arguments,
                ElementsAre("0xffff1003", "4611686018427387904", several(kind) ? "0" : "77",
                            "/sys/kernel/tracing/instances/stab/trace_marker", kTag, "", "",
                            byTag(kind) ? "c" : "", kTime, several(kind) ? kPids : ""));
    EXPECT_EQ(ZulService::mCompressFileCount, 1);
}

struct SceneCase {
    const char* name;
    const char* tag;
    const char* text;
    bool userMode;
    long mask;
    /** The instance whose marker is written; null for a normal capture. */
    const char* instance;
};

using SpecialSceneTest = TableTest<SceneCase, CaptureRequestTest>;

TEST_P(SpecialSceneTest, WritesOneMarkerOrCaptures) {
    const SceneCase& c = GetParam();
    admit(c.tag);
    ZulService::mUserMode = c.userMode;
    const std::string debugRoot = "/sys/kernel/debug/tracing/instances/";
    for (const std::string& root : {std::string("/sys/kernel/tracing/instances/"), debugRoot}) {
        makeTraceInstances(root, {"perf", "power", "stab", "com", "cam"});
        mService->startZul(c.tag, c.mask, 0, c.text);
        for (const char* instance : {"perf", "power", "stab", "com", "cam"}) {
            const bool written = c.instance != nullptr && std::string(c.instance) == instance;
            EXPECT_EQ(readFile(root + instance + "/trace_marker"), written ? c.text : "");
        }
    }
    EXPECT_THAT(collectorRuns(), SizeIs(c.instance != nullptr ? 0 : 2));
}

const SceneCase kSceneCases[] = {
        {"Perf", "0xffff1001", "hello", false, kCopyBuffer, "perf"},
        {"Power", "0xffff1002", "a\nb", false, kCopyBuffer, "power"},
        {"StabWithoutTheFlag", "0xffff1003", "hello", false, ~kCopyBuffer, "stab"},
        {"Com", "0xffff1004", "hello", false, kCopyBuffer, "com"},
        {"ComAgain", "0xffff1005", "hello", false, kCopyBuffer, "com"},
        {"Cam", "0xffff1006", "hello", false, kCopyBuffer, "cam"},
        {"NoText", "0xffff1001", "", false, kCopyBuffer, nullptr},
        {"TooLong", "0xffff10033", "hello", false, kCopyBuffer, nullptr},
        {"UserMode", "0xffff1001", "hello", true, kCopyBuffer, nullptr},
};
INSTANTIATE_TEST_SUITE_P(Scenes, SpecialSceneTest, testing::ValuesIn(kSceneCases), caseName);

TEST_F(CaptureRequestTest, InstancesAreWherePerfIs) {
    const std::string debugRoot = "/sys/kernel/debug/tracing/instances/";
    makeTraceInstances(debugRoot, {"power"});
    admit("0xffff1002");
    mService->startZul("0xffff1002", 0, 0, "hello");
    EXPECT_EQ(readFile(debugRoot + "power/trace_marker"), "");
    EXPECT_EQ(readFile(traceFile("power", "trace_marker")), "hello");

    // Asked for by every request, which empties a plain file.
    makeTraceInstances(debugRoot, {"perf"});
    writeFile(debugRoot + "perf/trace_marker", "old");
    ZulService::mUserMode = true;
    request(kZul);
    EXPECT_EQ(readFile(debugRoot + "perf/trace_marker"), "");
}

TEST_F(CaptureRequestTest, UnknownSpecialSceneIsTold) {
    for (const std::string tag : {"0xffff1007", "0xffff1000", "x0xffff100", "0xffff100a"}) {
        admit(tag);
        mService->startZul(tag, 0, 0, "hello");
        EXPECT_THAT(mLog.takeAboveDebug(),
                    ElementsAre(std::string("E unknow special scene type:") + tag.back()));
    }
    expectNoCapture();
}

TEST_F(CaptureRequestTest, MissingTraceInstanceIsPassedOver) {
    std::filesystem::remove_all("/sys/kernel/tracing/instances/stab");
    admit("0xffff1003");
    mService->startZul("0xffff1003", kCopyBuffer, 0, "hello");
    EXPECT_THAT(mLog.takeAboveDebug(), IsEmpty());
    // No capture was made before: no time, but the list stays in its place.
    EXPECT_EQ(argument(8), "");
    EXPECT_EQ(argument(4), "");
    EXPECT_THAT(collectorRuns()[0].arguments, SizeIs(10));
}

struct FilterCase {
    const char* name;
    const char* filter;
    const char* package;
    int pid;
    bool passes;
};

using PackageFilterTest = TableTest<FilterCase, CaptureRequestTest>;

TEST_P(PackageFilterTest, LooksForTheNameInTheFilter) {
    const FilterCase& c = GetParam();
    configure(std::string("tag:0xffff0101,pkgname:") + c.filter);
    FakeActivity::get().mPackage = c.package;
    request(kZul, kTag, "", 0, c.pid);
    EXPECT_THAT(collectorRuns(), SizeIs(c.passes ? 1 : 0));
}

const FilterCase kFilterCases[] = {
        {"Same", "com.x.y", "com.x.y", 1, true},
        {"PartOfTheFilter", "com.x.y", "com.x", 1, true},
        {"Other", "com.x.y", "com.e", 1, false},
        {"Longer", "com.x.y", "com.x.y.z", 1, false},
        {"NoProcess", "com.x.y", "com.e", 0, true},
        {"Negative", "com.x.y", "com.e", -1, false},
        {"NoName", "com.x.y", "", 1, true},
};
INSTANTIATE_TEST_SUITE_P(Filters, PackageFilterTest, testing::ValuesIn(kFilterCases), caseName);

TEST_F(CaptureRequestTest, UserTagsHaveTheirOwnVocabulary) {
    admit("0xffffff0a");
    mService->startSimpZul("0xffffff0a", 0);
    EXPECT_EQ(argument(1), std::to_string(0x1000));
}

TEST_F(CaptureRequestTest, ConfigurationOfTheFirstMatchingEntryAlone) {
    for (const char* text : {"tag:0xffff02,cmd:no|tag:ffff,cmd:cmd1|tag:0xffff0101,path:/q",
                             "tag:0xffff01012,cmd:no|tag:0xffff0101,path:/q", "|"}) {
        ZulService::mRemoteConfigs.clear();
        configure(text);
        request(kZul, kTag, "/data/vendor/x");
    }
    const auto runs = collectorRuns();
    ASSERT_THAT(runs, SizeIs(3));
    EXPECT_EQ(runs[0].arguments[3], "/data/vendor/x#cmd1");
    EXPECT_EQ(runs[1].arguments[3], "/data/vendor/x/q");
    EXPECT_EQ(runs[2].arguments[3], "/data/vendor/x");
}

TEST_F(CaptureRequestTest, ConfigurationStaysAsItWasFound) {
    configure("tag:0xffff0101,pkgname:com.x,cmd:before");
    FakeActivity::get().mOnQuery = [] {
        ASSERT_FALSE(FakeSystem::locked);
        configure("tag:0xffff0101,cmd:meanwhile");
    };
    request(kZul);
    FakeActivity::get().mOnQuery = nullptr;
    EXPECT_EQ(argument(3), "/p#before");
}

}  // namespace
}  // namespace zul::test
