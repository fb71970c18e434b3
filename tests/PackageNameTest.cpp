// SPDX-License-Identifier: Apache-2.0

#include <string.h>

#include <filesystem>

#include "tests/support/FakeActivity.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

class PackageNameTest : public ServiceTest {
  protected:
    static std::string nameOf(int pid) {
        // One byte behind the buffer, which must stay as it is.
        char name[ZulService::kNameSize + 1] = "untouched";
        name[ZulService::kNameSize] = 'X';
        ZulService::getNameByPid(pid, name);
        EXPECT_EQ(name[ZulService::kNameSize], 'X');
        return name;
    }
};

TEST_F(PackageNameTest, IsTheActivityManagersAnswer) {
    FakeActivity::get().mPackage = "com.x.\xc3\xa4.\xf0\x9f\x98\x80";
    EXPECT_EQ(nameOf(1234567), FakeActivity::get().mPackage);
    EXPECT_EQ(FakeActivity::get().mAskedPid, 1234567);
    EXPECT_THAT(mLog.take(), IsEmpty());
}

TEST_F(PackageNameTest, LongAnswerIsCut) {
    FakeActivity::get().mPackage = std::string(300, 'p');
    EXPECT_EQ(nameOf(1), std::string(255, 'p'));
}

TEST_F(PackageNameTest, RefusedQueryLeavesTheNameEmpty) {
    FakeActivity::get().mPackage = "com.x";
    FakeActivity::get().mStatus = android::BAD_VALUE;
    errno = ENOENT;
    EXPECT_EQ(nameOf(1), "untouched");
    FakeActivity::get().mStatus = android::OK;
    EXPECT_THAT(mLog.take(), ElementsAre("D remoteConfig activity->transact error:-22,No such "
                                         "file or directory"));
}

/** In a process of its own, which does not see what this one offers. */
TEST_F(PackageNameTest, MissingServiceLeavesTheNameEmpty) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Done already when that process comes here.
    std::error_code done;
    std::filesystem::rename("/dev/socket", "/dev/socket.away", done);
    EXPECT_EXIT(
            {
                mLog.release();
                const bool untouched = nameOf(1) == "untouched";
                fprintf(stderr, "[%s after %u seconds]", untouched ? "nothing" : "a name",
                        FakeTime::slept.load());
                _exit(0);
            },
            testing::ExitedWithCode(0), "nothing after 5 seconds");
    std::filesystem::rename("/dev/socket.away", "/dev/socket");
}

}  // namespace
}  // namespace zul::test
