// SPDX-License-Identifier: Apache-2.0

#include <cutils/properties.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>
#include <utility>

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

constexpr char kHistory[] = "/data/ZUL/zul_history";

class HistoryLogTest : public ServiceTest {
  protected:
    static void record(const std::string& tag, std::string folder) {
        ZulService::recordZulHistory(tag.c_str(), folder.data());
    }
};

TEST_F(HistoryLogTest, AppendsOneLineForEachCapture) {
    umask(0);
    std::string calls;
    FakeSystem::onWrite = [&calls](size_t size) {
        calls += "write ";
        return size;
    };
    FakeSystem::onSync = [&calls](int) { calls += "sync"; };
    record("0xffff0101", "/data/ZUL/0xffff/a_1");
    EXPECT_EQ(calls, "write sync");
    property_set("ro.build.display.id", "AOSP|14 test-keys");
    FakeTime::now++;
    record("0xffffff06", "/morvfs/stuck_logo/b_2");
    const std::string first =
            "0xffff0101|2025-03-04 17:06:07|/data/ZUL/0xffff/a_1.zul|system_version_is_empty";
    const std::string second =
            "0xffffff06|2025-03-04 17:06:08|/morvfs/stuck_logo/b_2.zul|AOSP|14 test-keys";
    EXPECT_EQ(readFile(kHistory), first + "\n" + second + "\n");
    struct stat status = {};
    ASSERT_EQ(stat(kHistory, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0666u);
    EXPECT_THAT(
            mLog.take(),
            ElementsAre("D recordZulHistory:allContent===" + first, "D write content to file!",
                        "D recordZulHistory:allContent===" + second, "D write content to file!"));
}

TEST_F(HistoryLogTest, LongRecordLosesItsBuildTextButNeverItsArchive) {
    property_set("ro.build.display.id", std::string(91, 'b').c_str());
    // What stands before the build text, without the folder.
    const size_t around = std::string("0xffff0101|2025-03-04 17:06:07|.zul|").size();
    record("0xffff0101", "/" + std::string(254 - around, 'f'));
    const std::string line = readFile(kHistory);
    EXPECT_EQ(line.size(), 256u);
    EXPECT_EQ(line.substr(line.size() - 6), ".zul|\n");

    record("0xffff0101", "/" + std::string(255 - around, 'f'));
    EXPECT_EQ(readFile(kHistory), line);
    EXPECT_THAT(mLog.takeAboveDebug(),
                ElementsAre(testing::StartsWith("E history record too long")));
}

struct BlockedCase {
    const char* name;
    void (*block)();
};

using BlockedHistoryTest = TableTest<BlockedCase, HistoryLogTest>;

TEST_P(BlockedHistoryTest, LosesTheLineAlone) {
    GetParam().block();
    record("0xffff0101", "/data/ZUL/0xffff/a_1");
    EXPECT_THAT(mLog.takeAboveDebug(), ElementsAre("E open /data/ZUL/zul_history failure:"));
    EXPECT_FALSE(exists("/data/elsewhere"));
}

const BlockedCase kBlockedCases[] = {
        {"Folder", [] { std::filesystem::create_directory(kHistory); }},
        {"LinkElsewhere", [] { (void)!symlink("/data/elsewhere", kHistory); }},
        {"Fifo", [] { mkfifo(kHistory, 0666); }},
        {"NoRoot", [] { std::filesystem::remove_all("/data/ZUL"); }},
};
INSTANTIATE_TEST_SUITE_P(Blocks, BlockedHistoryTest, testing::ValuesIn(kBlockedCases), caseName);

TEST_F(HistoryLogTest, LineIsKeptWithoutALock) {
    FakeSystem::refusesRecordLocks = true;
    record("0xffff0101", "/data/ZUL/0xffff/a_1");
    EXPECT_THAT(mLog.takeAboveDebug(),
                ElementsAre("W fcntl F_SETLKW /data/ZUL/zul_history failure:",
                            "W fcntl F_SETLK /data/ZUL/zul_history failure:"));
    EXPECT_TRUE(readFile(kHistory).ends_with("|system_version_is_empty\n"));
}

TEST_F(HistoryLogTest, TornLineIsEndedInTheSameWrite) {
    for (const char* before : {"a\nb", "a\n", "torn", "\n", ""}) {
        writeFile(kHistory, before);
        // Only reads.
        ZulService::getCompressFileCount();
        EXPECT_EQ(readFile(kHistory), before);
        int writes = 0;
        FakeSystem::onWrite = [&writes](size_t size) {
            writes++;
            return size;
        };
        record("0xffff0101", "/data/ZUL/0xffff/a_1");
        EXPECT_EQ(writes, 1);
        const std::string whole = before;
        const bool torn = !whole.empty() && !whole.ends_with("\n");
        EXPECT_THAT(readFile(kHistory), StartsWith(whole + (torn ? "\n" : "") + "0xffff0101|"));
    }
}

/** Holds the record lock on the history until it is killed. */
pid_t lockHistory() {
    EXPECT_TRUE(writeFile(kHistory, ""));
    int locked[2];
    EXPECT_EQ(pipe(locked), 0);
    const pid_t other = fork();
    if (other == 0) {
        const int fd = open(kHistory, O_RDWR);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        fcntl(fd, F_SETLK, &lock);
        (void)!write(locked[1], "x", 1);
        pause();
    }
    char ready;
    EXPECT_EQ(read(locked[0], &ready, 1), 1);
    close(locked[0]);
    close(locked[1]);
    return other;
}

TEST_F(HistoryLogTest, CapturesWaitForALockOfAnotherProcessAndTheStartDoesNot) {
    const pid_t other = lockHistory();
    ZulService::getCompressFileCount();
    mLog.take();
    std::thread writer([] { record("0xffff0101", "/data/ZUL/0xffff/a_1"); });
    // The writer announces its record before it asks for the lock.
    while (mLog.take().empty())
        std::this_thread::yield();
    EXPECT_EQ(readFile(kHistory), "");
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    writer.join();
    EXPECT_NE(readFile(kHistory), "");
}

TEST_F(HistoryLogTest, LockIsKeptUntilItsOwnLineIsSynced) {
    // Whoever closes the file drops the locks of all threads on it.
    std::atomic<bool> otherSynced = false;
    std::thread other;
    FakeSystem::onSync = [&](int) {
        if (other.joinable()) {
            otherSynced = true;
            return;
        }
        other = std::thread([] { record("0xffff0102", "/data/ZUL/0xffff/b_1"); });
        usleep(20000);
        EXPECT_FALSE(otherSynced);
        EXPECT_THAT(readFile(kHistory), Not(HasSubstr("0xffff0102")));
    };
    record("0xffff0101", "/data/ZUL/0xffff/a_1");
    other.join();
    EXPECT_TRUE(otherSynced);
}

}  // namespace
}  // namespace zul::test
