// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "base/Files.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

std::vector<std::string> tags() {
    std::vector<std::string> tags;
    for (const auto& [tag, archives] : ZulService::mTagTable)
        tags.push_back(tag);
    return tags;
}

class InitializeTest : public ServiceTest {};

struct ModeCase {
    const char* name;
    const char* buildType;
    const char* adbSupport;
    const char* dump;
    bool userMode;
    bool debugLog;
};

using ModeTest = TableTest<ModeCase>;

TEST_P(ModeTest, FollowsProperties) {
    // An empty property is as good as none.
    property_set("ro.build.type", GetParam().buildType);
    property_set("persist.sys.adb.support", GetParam().adbSupport);
    property_set("debug.zul.dump", GetParam().dump);
    ZulService::Initialize();
    EXPECT_EQ(ZulService::mUserMode, GetParam().userMode);
    EXPECT_EQ(ZulService::mDebugLog, GetParam().debugLog);
    EXPECT_EQ(property("debug.atrace.tags.enableflags") == "(unset)", GetParam().userMode);
    EXPECT_THAT(mLog.take(), ElementsAre());
}

const ModeCase kModeCases[] = {
        {"NothingSet", "", "", "", true, true},
        {"User", "user", "0", "1", true, true},
        {"UserWithAdb", "user", "1", "", false, true},
        {"UserWithMuchAdb", "user", "2", "", false, true},
        {"UserWithOddAdb", "user", "yes", "", true, true},
        {"Userdebug", "userdebug", "", "", false, true},
        {"EngWithoutAdb", "eng", "0", "", false, true},
        {"LogOff", "", "", "off", true, false},
        {"OddLogStaysOn", "", "", "OFF", true, true},
};
INSTANTIATE_TEST_SUITE_P(Modes, ModeTest, testing::ValuesIn(kModeCases), caseName);

TEST_F(InitializeTest, UserModeKnowsItsOwnTagsAndNothingElse) {
    writeFile("/data/ZUL/ZUL_TAG.txt", "0xffff0101|crash\n");
    ZulService::Initialize();
    ASSERT_EQ(ZulService::mTagTable.size(), 257u);
    for (const char* tag : {"0xffffff00", "0xffffff0a", "0xffffffff", "0x003effff"}) {
        EXPECT_EQ(ZulService::mTagTable.count(tag), 1u) << tag;
    }
    EXPECT_EQ(property("debug.zul.trace.reinitsize"), "(unset)");
}

TEST_F(InitializeTest, TagFileGivesTheTextBeforeTheFirstBar) {
    property_set("ro.build.type", "userdebug");
    writeFile("/data/ZUL/ZUL_TAG.txt",
              "0xffff0101|crash|more\n0xffff0102\n\n|x\n0xffff0103 |y\r\n0xffff0101|again\nlast|");
    ZulService::Initialize();
    EXPECT_THAT(tags(), ElementsAre("", "0xffff0101", "0xffff0103 ", "last"));
}

TEST_F(InitializeTest, OddFilesAreAsGoodAsNone) {
    property_set("ro.build.type", "eng");
    // One that nobody writes into, and one that gives a text to whom reads it all the same.
    ASSERT_EQ(mkfifo("/data/ZUL/ZUL_TAG.txt", 0666), 0);
    ASSERT_EQ(mkfifo("/data/ZUL/config", 0666), 0);
    const ScopedFd fifo(open("/data/ZUL/config", O_RDWR | O_CLOEXEC));
    ASSERT_EQ(write(fifo.get(), "tag:A,enable:1\n", 15), 15);
    ZulService::Initialize();
    EXPECT_THAT(tags(), ElementsAre());
}

TEST_F(InitializeTest, LinksAreNotFollowed) {
    property_set("ro.build.type", "eng");
    writeFile("/data/ZUL/tags", "A|\n");
    writeFile("/data/ZUL/stored", "tag:B,enable:1");
    ASSERT_EQ(symlink("tags", "/data/ZUL/ZUL_TAG.txt"), 0);
    ASSERT_EQ(symlink("stored", "/data/ZUL/config"), 0);
    ZulService::Initialize();
    EXPECT_THAT(tags(), ElementsAre());
}

TEST_F(InitializeTest, LargeFilesAreNotRead) {
    property_set("ro.build.type", "eng");
    const std::string most = "B|" + std::string((4 << 20) - 2, 'x');
    writeFile("/data/ZUL/ZUL_TAG.txt", most);
    writeFile("/data/ZUL/config", "tag:A,enable:1," + std::string(4 << 20, 'x'));
    ZulService::Initialize();
    EXPECT_THAT(tags(), ElementsAre("B"));
    EXPECT_THAT(mLog.take(), ElementsAre("W /data/ZUL/config is not read, it has 4194319 bytes"));
}

TEST_F(InitializeTest, FileThatGrowsIsReadToTheSizeThatItHad) {
    property_set("ro.build.type", "eng");
    writeFile("/data/ZUL/ZUL_TAG.txt", "A|\nB|\n");
    FakeSystem::onRead = [](int fd) {
        if (std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)) ==
            "/data/ZUL/ZUL_TAG.txt") {
            std::ofstream("/data/ZUL/ZUL_TAG.txt", std::ios::app) << "C|\n";
        }
    };
    ZulService::Initialize();
    EXPECT_THAT(tags(), ElementsAre("A", "B"));
}

TEST_F(InitializeTest, OnlyAConfigurationOfTheDaemonsOwnUserCounts) {
    property_set("ro.build.type", "eng");
    writeFile("/data/ZUL/config", "tag:A,enable:1");
    writeFile("/data/ZUL/ZUL_TAG.txt", "B|");
    FakeSystem::ownUser = 1000;
    ZulService::Initialize();
    EXPECT_THAT(tags(), ElementsAre("B"));
    EXPECT_THAT(mLog.take(), ElementsAre("W /data/ZUL/config is not read, it belongs to user 0"));
}

TEST_F(InitializeTest, WhatAnUpdateLeftIsRemoved) {
    for (const char* name : {"config", "config.new", "config.new2", "new"})
        writeFile(std::string("/data/ZUL/") + name, "tag:A,enable:1");
    ZulService::Initialize();
    EXPECT_THAT(list("/data/ZUL"), ElementsAre("config", "config.new2", "new"));
}

TEST_F(InitializeTest, StoredConfigurationIsOneTextAndAppliesInBothModes) {
    writeFile("/data/ZUL/config", "tag:SCENE,ena\nble:1|tag:0xffffff\n05,enable:0\n");
    for (const char* buildType : {"userdebug", "user"}) {
        writeFile("/dev/__properties__/ro.build.type", buildType);
        ZulService::Initialize();
        EXPECT_EQ(ZulService::mTagTable.count("SCENE"), 1u) << buildType;
        EXPECT_EQ(ZulService::mTagTable.count("0xffffff05"), 0u) << buildType;
    }
}

struct TraceCase {
    const char* name;
    int processors;
    const char* zygote;
    const char* fans;
    const char* reinitSize;
    const char* bufferSize;
    const char* atraceMask;
};

class TraceTest : public ServiceTest, public testing::WithParamInterface<TraceCase> {
  protected:
    void SetUp() override {
        if (GetParam().processors < 0) std::filesystem::rename(kProcessors, kAway);
        if (GetParam().processors < 0) return;
        for (const char* name : {"cpufreq", "cpuidle", "cpu10", "node"})
            addProcessor(name);
        for (int i = 0; i < GetParam().processors; i++)
            addProcessor("cpu" + std::to_string(i));
    }
    ~TraceTest() override {
        std::error_code there;
        std::filesystem::rename(kAway, kProcessors, there);
        for (const std::string& name : list(kProcessors))
            std::filesystem::remove(kProcessors + name);
    }

    static void addProcessor(const std::string& name) {
        std::filesystem::create_directory(kProcessors + name);
    }

    inline static const std::string kProcessors = "/sys/devices/system/cpu/";
    inline static const std::string kAway = "/sys/devices/system/away";
};

TEST_P(TraceTest, BuffersFollowProcessorsAndZygote) {
    const TraceCase& c = GetParam();
    property_set("ro.build.type", "eng");
    property_set("ro.zygote", c.zygote);
    property_set("persist.sys.fans.support", c.fans);

    ZulService::Initialize();

    EXPECT_EQ(property("debug.zul.trace.reinitsize"), c.reinitSize);
    EXPECT_EQ(property("debug.atrace.tags.enableflags"), c.atraceMask);
    for (const char* instance : {"perf", "power", "stab"}) {
        EXPECT_EQ(readFile(traceFile(instance, "buffer_size_kb")), c.bufferSize) << instance;
    }
    EXPECT_EQ(readFile(traceFile("com", "buffer_size_kb")), "1408\n");
}

const TraceCase kTraceCases[] = {
        {"ManyProcessors32", 8, "zygote32_64", "1", "4096", "1024", "0xeeffe"},
        {"FiveProcessorsNoZygote", 5, "", "0", "4096", "1024", "0x66"},
        {"ManyProcessors64", 8, "zygote64_32", "2", "8192", "2048", "0x66"},
        {"NoFolder", -1, "zygote32", "", "8192", "2048", "0x66"},
        {"FewProcessors", 4, "zygote32", "", "8192", "2048", "0x66"},
};
INSTANTIATE_TEST_SUITE_P(Traces, TraceTest, testing::ValuesIn(kTraceCases), caseName);

TEST_F(InitializeTest, BufferSizeGoesToTheFirstRootThatHasTheInstance) {
    property_set("ro.build.type", "eng");
    makeTraceInstances("/sys/kernel/debug/tracing/instances/", {"perf"});
    std::filesystem::remove_all("/sys/kernel/tracing/instances/stab");
    ZulService::Initialize();
    EXPECT_EQ(readFile("/sys/kernel/debug/tracing/instances/perf/buffer_size_kb"), "2048");
    EXPECT_EQ(readFile(traceFile("perf", "buffer_size_kb")), "1408\n");
    EXPECT_EQ(readFile(traceFile("power", "buffer_size_kb")), "2048");
    EXPECT_FALSE(exists("/sys/kernel/tracing/instances/stab"));
}

}  // namespace
}  // namespace zul::test
