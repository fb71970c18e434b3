// SPDX-License-Identifier: Apache-2.0
#include <android/log.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <string>

namespace {

using testing::EndsWith;

/** Puts a datagram socket in the place of standard error: each write arrives as one packet. */
class LogTest : public testing::Test {
  protected:
    LogTest() : mSaved(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, mPair));
        dup2(mPair[1], STDERR_FILENO);
    }
    ~LogTest() override {
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

    const int mSaved;
    int mPair[2] = {-1, -1};
};

TEST_F(LogTest, writesOneLineWithEveryField) {
    const time_t before = time(nullptr);
    const int written = __android_log_print(ANDROID_LOG_INFO, "ZUL_DEBUG", "%s=%d", "count", 7);
    const std::string line = packet();
    EXPECT_EQ(line.size(), static_cast<size_t>(written));
    EXPECT_THAT(line.substr(0, 19), testing::MatchesRegex(".* ..:..:..\\.[0-9][0-9][0-9] "));
    EXPECT_EQ(line.substr(19), std::to_string(getpid()) + " " + std::to_string(gettid()) +
                                       " I ZUL_DEBUG: count=7\n");
    EXPECT_EQ("", packet());
    struct tm local {};
    char text[32];
    strftime(text, sizeof(text), "%m-%d %H:%M:", localtime_r(&before, &local));
    EXPECT_TRUE(line.starts_with(text) || time(nullptr) / 60 > before / 60) << "not local time";
}

TEST_F(LogTest, cutsWhatIsTooLong) {
    for (const size_t size : {0u, 1022u, 1023u, 1024u, 4068u, 4069u, 200u * 1024}) {
        const std::string message(size, 'm');
        __android_log_print(ANDROID_LOG_INFO, "T", "%s", message.c_str());
        EXPECT_THAT(packet(), EndsWith(" I T: " + message.substr(0, 1023) + "\n")) << size;
        __android_log_write(ANDROID_LOG_INFO, "T", message.c_str());
        EXPECT_THAT(packet(), EndsWith(" I T: " + message.substr(0, 4068) + "\n")) << size;
        EXPECT_EQ("", packet()) << size;
    }
    __android_log_print(ANDROID_LOG_INFO, std::string(5000, 't').c_str(), "100%%");
    EXPECT_THAT(packet(), EndsWith(" I " + std::string(128, 't') + ": 100%\n"));
    __android_log_write(ANDROID_LOG_WARN, nullptr, "100%% %s");
    EXPECT_THAT(packet(), EndsWith(" W : 100%% %s\n"));
}

}  // namespace
