// SPDX-License-Identifier: Apache-2.0

#include <filesystem>

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

constexpr char kLibrary[] = "/system_ext/lib64/libzulid_config.so";
constexpr char kAway[] = "/system_ext/lib64/away.so";

class TagInformationTest : public ServiceTest {
  protected:
    TagInformationTest() {
        writeTagTable("0xffff0101\tFLAG_ZUL_LOG|FLAG_ZUL_BINDER\tls\t/p\tcrash\tjava\n");
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

}  // namespace
}  // namespace zul::test
