// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>

#include <filesystem>

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

const std::string kUnset = "(unset)";

struct CopyCase {
    const char* name;
    const char* list;
    const char* rewritten;
    /** The two request properties, that of fatal databases first. */
    std::string requested;
};

using CopyVndFileTest = TableTest<CopyCase>;

TEST_P(CopyVndFileTest, RewritesAndRequests) {
    EXPECT_EQ(ZulService::copyVndFile(GetParam().list), GetParam().rewritten);
    EXPECT_EQ(property("debug.zul.aee.db.08ee") + property("debug.zul.aee.db.connsysdump"),
              GetParam().requested);
}

const CopyCase kCopyCases[] = {
        {"Empty", "", "", kUnset + kUnset},
        {"Other", "/a;/b", "/a;/b", kUnset + kUnset},
        {"Fatal", "/system/a.txt;/data/vendor/aee_exp/x/db.fatal.08.EE.dbg",
         "/system/a.txt;/data/ZUL/db.fatal.08.EE.dbg", "1" + kUnset},
        {"Scp", "/v/fatal.scp.00.dbg", "/data/ZUL/fatal.scp.00.dbg", "1" + kUnset},
        {"Connsys", "/v/db.fatal.connsysdump.dbg", "/data/ZUL/db.fatal.connsysdump.dbg",
         kUnset + "1"},
        {"NoConnsys", "/v/db.fatal.connsysdump.db", "/v/db.fatal.connsysdump.db", kUnset + kUnset},
        {"ConnsysFile", "/v/fatal.connsysdump.00.dbg/;/b;", "/data/ZUL/fatal.connsysdump.00.dbg;/b",
         kUnset + "1"},
        {"NoConnsysFile", "/v/fatal.connsysdump.00.db", "/v/fatal.connsysdump.00.db",
         kUnset + kUnset},
        {"NameInAFolder", "/db.fatal.08.EE.dbg/x", "/data/ZUL/x", "1" + kUnset},
        {"BothInOnePath", "/fatal.scp.00.dbg/fatal.connsysdump.00.dbg",
         "/data/ZUL/fatal.connsysdump.00.dbg", "11"},
        {"EmptyFirstPathLeavesNoTrace", ";/a", "/a", kUnset + kUnset},
        {"EmptyLaterPathStays", "/a;;/b", "/a;;/b", kUnset + kUnset},
};
INSTANTIATE_TEST_SUITE_P(Lists, CopyVndFileTest, testing::ValuesIn(kCopyCases), caseName);

struct ExistCase {
    const char* name;
    std::string list;
    bool found;
    const char* requested;
    /** The copy that the log says cannot be opened. */
    std::string missing;
};

using VndFileExistTest = TableTest<ExistCase>;

TEST_P(VndFileExistTest, TakesRequestsBackAndOpensCopies) {
    writeFile("/data/ZUL/db.fatal.08.EE.dbg", "");
    writeFile("/data/ZUL/fatal.connsysdump.00.dbg", "");
    writeFile("/data/ZUL/sealed.fatal.scp.00.dbg", "");
    std::filesystem::permissions("/data/ZUL/sealed.fatal.scp.00.dbg", std::filesystem::perms::none);
    property_set("debug.zul.aee.db.08ee", "1");
    property_set("debug.zul.aee.db.connsysdump", "1");
    std::string text = GetParam().list;
    EXPECT_EQ(ZulService::vndFileExist(text), GetParam().found);
    EXPECT_EQ(text, GetParam().list);
    EXPECT_EQ(FakeTime::slept, 1u);
    EXPECT_EQ(property("debug.zul.aee.db.08ee") + property("debug.zul.aee.db.connsysdump"),
              GetParam().requested);
    std::vector<std::string> lines;
    if (!GetParam().missing.empty()) {
        lines.push_back("E Unable to open filePath: " + GetParam().missing + " ");
    }
    EXPECT_EQ(mLog.take(), lines);
}

const std::string kFatal = "/data/ZUL/db.fatal.08.EE.dbg";
const std::string kConnsys = "/data/ZUL/fatal.connsysdump.00.dbg";
const std::string kScp = "/data/ZUL/fatal.scp.00.dbg";
const std::string kSealed = "/data/ZUL/sealed.fatal.scp.00.dbg";
const std::string kBoth = "/fatal.scp.00.dbg/fatal.connsysdump.00.dbg";

const ExistCase kExistCases[] = {
        {"Empty", "", false, "11", ""},
        {"OthersAlone", "/a;/b", false, "11", ""},
        {"Fatal", "/a;" + kFatal, true, "01", ""},
        {"Both", kFatal + ";" + kConnsys, true, "00", ""},
        {"FirstMissing", kScp + ";" + kConnsys, false, "01", kScp},
        {"CannotBeOpened", kSealed, false, "01", kSealed},
        {"SecondMissing", kConnsys + ";" + kScp, false, "00", kScp},
        {"BothNamesTakeBackTheFatalOne", kBoth, false, "01", kBoth},
};
INSTANTIATE_TEST_SUITE_P(Lists, VndFileExistTest, testing::ValuesIn(kExistCases), caseName);

}  // namespace
}  // namespace zul::test
