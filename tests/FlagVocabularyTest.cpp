// SPDX-License-Identifier: Apache-2.0

#include <sstream>

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
    EXPECT_THAT(mLog.take(), ElementsAre("I log flagstr = " + c.names,
                                         std::string("I getZulInfo flagvalue = ") + c.logged));
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

/** The names of the bits from 0 on, without what they begin with; "-" is a bit without a name. */
void expectBits(const ZulService::FlagTable& table, const std::string& prefix, const char* names) {
    std::istringstream words(names);
    std::string word;
    for (int64_t bit = 1; words >> word; bit <<= 1) {
        if (word == "-") continue;
        EXPECT_THAT(table, Contains(Pair(prefix + word, bit)));
    }
}

TEST(FlagTablesTest, HoldEachNameWithItsBits) {
    const ZulService::FlagTable& full = ZulService::mFlagTable;
    expectBits(full, "FLAG_ZUL_",
               "BINDER WINDOW PROC_MEM PROC_BASIC PROC_STACK SYS_MEM ANR_TRACE SYS_TRACE "
               "HPROF LOG FD BASIC PACKAGE CAMERA MEDIA NET "
               "- CPU_INFO DB_INFO BUGREPORT POWER THERMAL PERF_BUFFER POWER_BUFFER "
               "STAB_BUFFER COM_BUFFER CAMERA_BUFFER MODEM_BUFFER - AUDIO_DUMP DISPLAY - "
               "BINDER_CALLS_STATS LOOPER_STATS SYS_MEM_EXT APP_INFO");
    EXPECT_EQ(full.at("FLAG_USAGESTATS"), int64_t{1} << 31);
    EXPECT_EQ(full.at("FLAG_ZUL_COPY_BUFFER"), int64_t{1} << 62);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_ANR"), 0x2c1);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_SWT"), 0x2c9);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_NE"), 0x200);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_JE"), 0x1203);
    EXPECT_EQ(full.at("EXCEPTION_TYPE_KE"), 0x200);
    EXPECT_EQ(full.size(), 40u);

    const ZulService::FlagTable& user = ZulService::mUserFlagTable;
    expectBits(user, "FLAG_ZUL_USER_",
               "- LOG_MAIN_SYS LOG_EVENT LOG_RADIO LOG_CRASH LOG_KERNEL ANR_TRACE BINDER "
               "MAPS SIGNAL_TRACE NATIVE_TRACE LAST_KMSG PS PROC_MEMINFO ZONE_INFO BLOCKIO "
               "MMSTAT RAM_CONSOLE PROPERTY DF MOUNT - WINDOW PROC_BASIC "
               "BASIC CPU_INFO SYS_MEM BINDER_CALLS_STATS LOOPER_STATS");
    EXPECT_EQ(user.at("FLAG_ZUL_MINIDUMP"), 0x200000);
    EXPECT_EQ(user.size(), 28u);
}

}  // namespace
}  // namespace zul::test
