// SPDX-License-Identifier: Apache-2.0
//
// What the desktop's platform layer has to do as a device's does, or a fault of the daemon would not
// show in any other test.

#include <android/binder_process.h>
#include <android/log.h>
#include <cutils/properties.h>
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>
#include <hidl/Status.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Files.h"

namespace zul::test {
namespace {

using android::hardware::configureRpcThreadpool;
using android::hardware::joinRpcThreadpool;
using android::hardware::Return;
using android::hardware::Status;

Return<int32_t> failed() {
    return Status::fromStatusT(android::DEAD_OBJECT);
}

Return<int32_t> moved(Return<int32_t> result) {
    return result;
}

TEST(FatalDeathTest, UncheckedFailuresAndPoolsWithoutThreadsEndTheProcess) {
    // Each use has a process of its own: none has used a pool yet.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const char* const unchecked = " F HidlSupport: Failed HIDL return status not checked: Status";
    const struct {
        const char* name;
        void (*use)();
        /** What the one fatal line says; null when the process goes on. */
        const char* fatal;
    } cases[] = {
            {"ignored", [] { failed(); }, unchecked},
            {"ignored with a cast", [] { (void)failed(); }, unchecked},
            {"assigned over", [] { failed() = Return<int32_t>(1); }, unchecked},
            {"converted", [] { EXPECT_EQ(int32_t{failed()}, 0); }, " Value of a failed HIDL call"},
            {"asked", [] { EXPECT_FALSE(failed().isOk()); }, nullptr},
            {"asked after a move", [] { EXPECT_FALSE(moved(failed()).isOk()); }, nullptr},
            {"default taken", [] { EXPECT_EQ(failed().withDefault(5), 5); }, nullptr},
            {"join", [] { joinRpcThreadpool(); }, " joinRpcThreadpool without"},
            {"none and join", [] { configureRpcThreadpool(0, true); }, " minimum of one thread"},
            {"shrunk",
             [] {
                 ABinderProcess_startThreadPool();
                 ABinderProcess_setThreadPoolMaxThreadCount(14);
             },
             " cannot be shrunk after starting"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.fatal != nullptr) {
            EXPECT_EXIT(c.use(), testing::KilledBySignal(SIGABRT), c.fatal);
        } else {
            c.use();
        }
    }
}

std::string get(const char* key, const char* fallback) {
    char value[PROPERTY_VALUE_MAX];
    property_get(key, value, fallback);
    return value;
}

TEST(PropertiesTest, ValuesReadAsOnADevice) {
    emptyFolder("/dev/__properties__");
    const struct {
        bool isBoolean;
        int expected;
        std::vector<const char*> values;
    } cases[] = {
            {true, 1, {"1", "y", "yes", "true", "on"}},
            {true, 0, {"0", "n", "no", "false", "off"}},
            {true, 99, {"", "2", "Y", "On", "TRUE", "true ", "00", " 1", "1\n", "trues"}},
            {false, 0, {"0", "08"}},
            {false, -12, {"-12", "-014"}},
            {false, 31, {"31", " 31", "31kB", "037", "0x1F"}},
            {false, INT32_MAX, {"2147483647"}},
            {false, 99, {"", "x1", "2147483648", "0xffffffff", "9999999999999999999999"}},
    };
    for (const auto& [isBoolean, expected, values] : cases) {
        for (const char* value : values) {
            ASSERT_EQ(0, property_set("test", value));
            const int32_t got =
                    isBoolean ? property_get_bool("test", 99) : property_get_int32("test", 99);
            EXPECT_EQ(expected, got) << "'" << value << "'";
        }
    }
    EXPECT_EQ(get("unset", "fallback"), "fallback");
    EXPECT_EQ(-1, property_set("a..b", "")) << "no legal name";
    EXPECT_EQ(-1, property_set("test", std::string(92, 'v').c_str())) << "too long";
    EXPECT_EQ(0, property_set("ro.test", std::string(92, 'r').c_str()));
    EXPECT_EQ(get("ro.test", ""), "Must use __system_property_read_callback() to read");
    EXPECT_EQ(-1, property_set("ro.test", "late"));
}

TEST(LogTest, RowsAreOneWriteOfBoundedSize) {
    const std::string m(1023, 'm');
    const std::pair<std::string, std::vector<std::string>> cases[] = {
            {"", {""}},
            {m, {m}},
            {m + "m", {m}},
            {"a\n" + std::string(2000, 'b'), {"a", std::string(1021, 'b')}},
            {"a\n03-04 05:06:07.089 1 2 D T: b\n\nc\n",
             {"a", "03-04 05:06:07.089 1 2 D T: b", "", "c\n"}},
    };
    for (const auto& [message, rows] : cases) {
        testing::internal::CaptureStderr();
        const int written = __android_log_print(ANDROID_LOG_INFO, "T", "%s", message.c_str());
        const std::string lines = testing::internal::GetCapturedStderr();
        const std::string time = lines.substr(0, 19);
        EXPECT_THAT(time, testing::MatchesRegex("..-.. ..:..:..\\.... "));
        std::string expected;
        for (const std::string& row : rows)
            expected += time + std::to_string(getpid()) + " " + std::to_string(gettid()) +
                        " I T: " + row + "\n";
        EXPECT_EQ(lines, expected);
        EXPECT_EQ(lines.size(), static_cast<size_t>(written));
    }
}

}  // namespace
}  // namespace zul::test
