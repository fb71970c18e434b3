// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <thread>

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

using testing::ElementsAre;

constexpr char kLibrary[] = "/system_ext/lib64/libzulid_config.so";
constexpr char kAway[] = "/system_ext/lib64/away.so";

class TagInformationTest : public ServiceTest {
  protected:
    TagInformationTest() {
        writeTagTable("0xffff0101,FLAG_ZUL_LOG|FLAG_ZUL_BINDER,ls,/p,crash,java\n");
    }

    static std::vector<std::string> lookUp(const std::string& tag) {
        const RowData row = ZulService::getZulInfoByTag(tag);
        return {row.tagId, row.flag, row.cmd, row.extraInfo, row.eventType, row.eventSubType};
    }

    const std::vector<std::string> kNoRow = std::vector<std::string>(6);
    const std::vector<std::string> kRow = {
            "0xffff0101", "FLAG_ZUL_LOG|FLAG_ZUL_BINDER", "ls", "/p", "crash", "java"};
};

TEST_F(TagInformationTest, MissingLibraryIsTriedAgainAtEveryLookUp) {
    std::filesystem::rename(kLibrary, kAway);
    EXPECT_EQ(lookUp("0xffff0101"), kNoRow);
    EXPECT_EQ(lookUp("0xffff0101"), kNoRow);
    std::filesystem::rename(kAway, kLibrary);
    EXPECT_THAT(
            mLog.take(),
            ElementsAre("D getZulInfoByTag tagId===0xffff0101", "E libzulid_config dlopen fail",
                        "D getZulInfoByTag tagId===0xffff0101", "E libzulid_config dlopen fail"));
    EXPECT_EQ(lookUp("0xffff0101"), kRow);
    // Kept from now on.
    std::filesystem::rename(kLibrary, kAway);
    EXPECT_EQ(lookUp("0xffff0101"), kRow);
    std::filesystem::rename(kAway, kLibrary);
}

TEST_F(TagInformationTest, TagIsPassedOnUnchanged) {
    EXPECT_EQ(lookUp("0XFFFF0101"), kNoRow);
    EXPECT_EQ(lookUp("0xffff0101 "), kNoRow);
    EXPECT_THAT(mLog.take(), ElementsAre("D getZulInfoByTag tagId===0XFFFF0101",
                                         "D getZulInfoByTag getRowByKey fail",
                                         "D getZulInfoByTag tagId===0xffff0101 ",
                                         "D getZulInfoByTag getRowByKey fail"));
}

TEST_F(TagInformationTest, LibraryWithoutTheFunctionIsTold) {
    std::filesystem::rename(kLibrary, kAway);
    std::filesystem::copy_file("/system_ext/lib64/libzul_other.so", kLibrary);
    EXPECT_EQ(lookUp("0xffff0101"), kNoRow);
    std::filesystem::rename(kAway, kLibrary);
    EXPECT_THAT(mLog.take(), ElementsAre("D getZulInfoByTag tagId===0xffff0101",
                                         "D getZulInfoByTag Error: Failed to find function"));
}

TEST_F(TagInformationTest, SharedStateHoldsUnderThreads) {
    constexpr int kRounds = 200;
    admit("0xffff0101");
    std::vector<std::thread> threads;
    threads.emplace_back([] {
        for (int i = 0; i < kRounds; i++) {
            std::string text = "tag:T" + std::to_string(i % 5) + ",enable:" + std::to_string(i % 2);
            const ScopedServiceLock lock(ZulService::mServiceLock);
            ZulService::parseRemoteConfig(text);
        }
    });
    for (int t = 0; t < 2; t++) {
        threads.emplace_back([this, t] {
            const std::string scene = t == 0 ? "0xffff0101" : "0xffffff01";
            const std::string names = t == 0 ? "FLAG_ZUL_LOG" : "FLAG_ZUL_USER_PS";
            for (int i = 0; i < kRounds; i++) {
                EXPECT_EQ(mService->getZulFlag(names, scene), t == 0 ? 0x200 : 0x1000);
            }
        });
        threads.emplace_back([this] {
            for (int i = 0; i < kRounds; i++)
                EXPECT_EQ(lookUp("0xffff0101"), kRow);
        });
        threads.emplace_back([] {
            const android::sp<ZulService> service = new ZulService();
            for (int i = 0; i < kRounds / 10; i++)
                service->startZul("0xffff0101", 1, 0, "text");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ZulService::mCompressFileCount.load(),
              static_cast<int>(archives("0xffff0101").size()));
}

}  // namespace
}  // namespace zul::test
