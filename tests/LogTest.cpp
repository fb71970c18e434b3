// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

/** Puts a datagram socket in the place of standard error: each write arrives as one packet. */
class LogTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, mPair));
        mSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        dup2(mPair[1], STDERR_FILENO);
    }

    void TearDown() override {
        dup2(mSaved, STDERR_FILENO);
        for (const int fd : {mPair[0], mPair[1], mSaved})
            close(fd);
    }

    /** The next packet; empty when there is none. */
    std::string packet() {
        std::string text(256 * 1024, '\0');
        const ssize_t length = recv(mPair[0], text.data(), text.size(), MSG_DONTWAIT);
        text.resize(length < 0 ? 0 : length);
        return text;
    }

    int mPair[2] = {-1, -1};
    int mSaved = -1;
};

TEST_F(LogTest, writesOneLineWithEveryField) {
    const int written = __android_log_print(ANDROID_LOG_INFO, "ZUL_DEBUG", "%s=%d", "count", 7);
    const std::string line = packet();
    EXPECT_EQ(line.size(), static_cast<size_t>(written));
    EXPECT_THAT(line, MatchesRegex("[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\."
                                   "[0-9][0-9][0-9] .*"));
    EXPECT_THAT(line, EndsWith(" " + std::to_string(getpid()) + " " + std::to_string(gettid()) +
                               " I ZUL_DEBUG: count=7\n"));
    EXPECT_EQ("", packet());
}

TEST_F(LogTest, tellsLocalTime) {
    const time_t before = time(nullptr);
    __android_log_print(ANDROID_LOG_INFO, "T", "x");
    const time_t after = time(nullptr);
    const std::string line = packet();
    bool found = false;
    for (time_t moment = before; moment <= after; moment++) {
        struct tm local {};
        char text[32];
        strftime(text, sizeof(text), "%m-%d %H:%M:%S.", localtime_r(&moment, &local));
        found = found || line.starts_with(text);
    }
    EXPECT_TRUE(found) << line;
}

TEST_F(LogTest, namesPriorities) {
    const struct {
        int priority;
        char letter;
    } cases[] = {
            {ANDROID_LOG_UNKNOWN, '?'},
            {ANDROID_LOG_VERBOSE, 'V'},
            {ANDROID_LOG_DEBUG, 'D'},
            {ANDROID_LOG_INFO, 'I'},
            {ANDROID_LOG_WARN, 'W'},
            {ANDROID_LOG_ERROR, 'E'},
            {ANDROID_LOG_FATAL, 'F'},
            {ANDROID_LOG_SILENT, 'S'},
            {9, '?'},
            {-1, '?'},
    };
    for (const auto& row : cases) {
        __android_log_print(row.priority, "T", "x");
        EXPECT_THAT(packet(), EndsWith(std::string(" ") + row.letter + " T: x\n")) << row.priority;
    }
}

TEST_F(LogTest, keepsMessageBytes) {
    const char* cases[] = {"", "plain", "line\n", "two\nlines", "\xff\xfe bytes", "\t%s\r"};
    for (const char* message : cases) {
        __android_log_print(ANDROID_LOG_ERROR, "T", "%s", message);
        EXPECT_THAT(packet(), EndsWith(std::string(" E T: ") + message + "\n"));
    }
}

TEST_F(LogTest, cutsWhatIsTooLong) {
    for (const size_t size : {4067u, 4068u, 4069u, 64u * 1024, 200u * 1024}) {
        __android_log_print(ANDROID_LOG_INFO, "T", "%s", std::string(size, 'm').c_str());
        const std::string line = packet();
        const std::string kept(std::min<size_t>(size, 4068), 'm');
        EXPECT_THAT(line, EndsWith(" I T: " + kept + "\n")) << size;
        EXPECT_EQ("", packet()) << size;
    }
    __android_log_print(ANDROID_LOG_INFO, std::string(5000, 't').c_str(), "x");
    EXPECT_THAT(packet(), EndsWith(" I " + std::string(128, 't') + ": x\n"));
    __android_log_print(ANDROID_LOG_INFO, nullptr, "x");
    EXPECT_THAT(packet(), EndsWith(" I : x\n"));
}

TEST_F(LogTest, tellsAWriteThatFailsAndLeavesErrnoAlone) {
    close(STDERR_FILENO);
    errno = ENOTTY;
    EXPECT_EQ(-EBADF, __android_log_print(ANDROID_LOG_INFO, "T", "x"));
    EXPECT_EQ(ENOTTY, errno);
}

// The child of a fork inherits locks that no thread of its own will ever release.
TEST_F(LogTest, worksInForkedChildrenWhateverOtherThreadsHold) {
    std::atomic<bool> stop = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; i++) {
        threads.emplace_back([&stop] {
            while (!stop) {
                const time_t now = 0;
                struct tm local {};
                localtime_r(&now, &local);
            }
        });
    }
    int failures = 0;
    for (int i = 0; i < 100; i++) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(10);
            _exit(__android_log_print(ANDROID_LOG_INFO, "T", "child") > 0 ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        failures += status != 0;
        EXPECT_THAT(packet(), HasSubstr(" " + std::to_string(child) + " "));
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, failures);
}

}  // namespace
