// SPDX-License-Identifier: Apache-2.0

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

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
    // Of an earlier capture.
    mService->mDumpPath = "/data/ZUL/0xffffff/0xffffff0a";
    EXPECT_EQ(static_cast<uint64_t>(mService->getZulFlag(c.names, c.sceneType)), c.mask);
    EXPECT_EQ(static_cast<uint64_t>(ZulService::mFlagValue), c.mask);
    const std::vector<std::string> log = mLog.take();
    EXPECT_EQ(log.front(), "I log flagstr = " + c.names.substr(0, c.names.find('\n')));
    EXPECT_EQ(log.back(), std::string("I getZulInfo flagvalue = ") + c.logged);
}

const FlagCase kFlagCases[] = {
        {"Empty", kFullTag, "", 0, "0x0"},
        {"One", kFullTag, "FLAG_ZUL_LOG", 0x200, "0x200"},
        {"Blanks", kFullTag, " FLAG_ZUL_ LOG |\n FLAG_ZUL_BINDER\n", 0x201, "0x201"},
        {"Repeated", kFullTag, "FLAG_ZUL_LOG|EXCEPTION_TYPE_ANR", 0x2c1, "0x2c1"},
        {"EmptyPieces", kFullTag, "|FLAG_ZUL_LOG||", 0x200, "0x200"},
        {"Alias", kFullTag, "EXCEPTION_TYPE_JE|FLAG_ZUL_NET", 0x9203, "0x9203"},
        {"Bit31IsNotASign", kFullTag, "FLAG_USAGESTATS", 0x80000000, "0x80000000"},
        {"Bit62", kFullTag, "FLAG_ZUL_COPY_BUFFER", 0x4000000000000000, "0x4000000000000000"},
        {"NumbersAndCase", kFullTag, "0x200|flag_zul_log", 0, "0x0"},
        {"CarriageReturnAndTab", kFullTag, "FLAG_ZUL_LOG\r|\tFLAG_ZUL_NET", 0, "0x0"},
        {"FullVocabulary", kFullTag, "FLAG_ZUL_USER_PS|FLAG_ZUL_LOG", 0x200, "0x200"},
        {"UserVocabulary", kUserTag, "FLAG_ZUL_USER_PS|FLAG_ZUL_LOG", 0x1000, "0x1000"},
        {"UserTextAnywhere", "x0xffffff", "FLAG_ZUL_MINIDUMP", 0x200000, "0x200000"},
};
INSTANTIATE_TEST_SUITE_P(Names, FlagTest, testing::ValuesIn(kFlagCases), caseName);

TEST(FlagTablesTest, HoldEachNameWithItsBits) {
    const ZulService::FlagTable& full = ZulService::mFlagTable;
    EXPECT_EQ(full.size(), 40u);
    int64_t single = 0;
    for (const auto& [name, value] : full)
        single += name.starts_with("FLAG_") ? value : 0;
    EXPECT_EQ(single, 0x4000000FEFFEFFFF) << "a bit each, but 16, 28 and most above 35";
    EXPECT_EQ(full.at("EXCEPTION_TYPE_ANR"), 0x2c1);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_SWT"), 0x2c9);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_NE"), 0x200);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_JE"), 0x1203);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_KE"), 0x200);

    const ZulService::FlagTable& user = ZulService::mUserFlagTable;
    EXPECT_EQ(user.size(), 28u);
    single = 0;
    for (const auto& [name, value] : user)
        single += value;
    EXPECT_EQ(single, 0x1FFFFFFE) << "a bit each from 1 to 28";
}

}  // namespace
}  // namespace zul::test
