// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

using testing::ElementsAre;

constexpr char kFullTag[] = "0xffff0101";
constexpr char kUserTag[] = "0xffffff0a";

struct FlagCase {
    const char* name;
    const char* sceneType;
    std::string names;
    uint64_t mask;
    const char* logged;
};

using FlagTest = TableTest<FlagCase>;

TEST_P(FlagTest, NamesMakeAMask) {
    const FlagCase& c = GetParam();
    EXPECT_EQ(static_cast<uint64_t>(mService->getZulFlag(c.names, c.sceneType)), c.mask);
    EXPECT_EQ(static_cast<uint64_t>(ZulService::mFlagValue), c.mask);
    EXPECT_THAT(mLog.take(), ElementsAre("I log flagstr = " + c.names,
                                         std::string("I getZulInfo flagvalue = ") + c.logged));
}

INSTANTIATE_TEST_SUITE_P(
        Names, FlagTest,
        testing::Values(
                FlagCase{"Empty", kFullTag, "", 0, "0x0"},
                FlagCase{"One", kFullTag, "FLAG_ZUL_LOG", 0x200, "0x200"},
                FlagCase{"Blanks", kFullTag, " FLAG_ZUL_ LOG |\n FLAG_ZUL_BINDER\n", 0x201,
                         "0x201"},
                FlagCase{"EmptyPieces", kFullTag, "|FLAG_ZUL_LOG||", 0x200, "0x200"},
                FlagCase{"Alias", kFullTag, "EXCEPTION_TYPE_JE|FLAG_ZUL_NET", 0x9203, "0x9203"},
                FlagCase{"Bit31IsNotASign", kFullTag, "FLAG_USAGESTATS", 0x80000000, "0x80000000"},
                FlagCase{"Bit62", kFullTag, "FLAG_ZUL_COPY_BUFFER", 0x4000000000000000,
                         "0x4000000000000000"},
                FlagCase{"NumbersAndCase", kFullTag, "0x200|flag_zul_log", 0, "0x0"},
                FlagCase{"CarriageReturnAndTab", kFullTag, "FLAG_ZUL_LOG\r|\tFLAG_ZUL_NET", 0,
                         "0x0"},
                FlagCase{"FullVocabulary", kFullTag, "FLAG_ZUL_USER_PS|FLAG_ZUL_LOG", 0x200,
                         "0x200"},
                FlagCase{"UserVocabulary", kUserTag, "FLAG_ZUL_USER_PS|FLAG_ZUL_LOG", 0x1000,
                         "0x1000"},
                FlagCase{"UserTextAnywhere", "x0xffffff", "FLAG_ZUL_MINIDUMP", 0x200000,
                         "0x200000"}),
        caseName<FlagCase>);

/** What the engine and the tag library count on, kind by kind. */
TEST(FlagTablesTest, HoldEveryBitOnceButForTheAliases) {
    uint64_t full = 0;
    uint64_t user = 0;
    int aliases = 0;
    for (const auto& [name, value] : ZulService::mFlagTable) {
        if (name.rfind("EXCEPTION_TYPE_", 0) == 0) {
            aliases++;
            continue;
        }
        EXPECT_EQ(full & static_cast<uint64_t>(value), 0u) << name;
        full |= static_cast<uint64_t>(value);
    }
    for (const auto& [name, value] : ZulService::mUserFlagTable) {
        EXPECT_EQ(user & static_cast<uint64_t>(value), 0u) << name;
        user |= static_cast<uint64_t>(value);
    }
    EXPECT_EQ(ZulService::mFlagTable.size(), 40u);
    EXPECT_EQ(aliases, 5);
    EXPECT_EQ(full, 0x4000000feffeffffu);
    EXPECT_EQ(ZulService::mUserFlagTable.size(), 28u);
    EXPECT_EQ(user, 0x1ffffffeu);
}

}  // namespace
}  // namespace zul::test
