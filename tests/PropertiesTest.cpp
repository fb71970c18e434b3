// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>

#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kFolder = "/dev/__properties__";

class PropertiesTest : public testing::Test {
  protected:
    void SetUp() override { clear(); }
    void TearDown() override { clear(); }

    static void clear() {
        for (const auto& entry : fs::directory_iterator(kFolder))
            fs::remove(entry.path());
    }

    static std::string get(const char* key, const char* fallback = "default") {
        char value[PROPERTY_VALUE_MAX];
        const int length = property_get(key, value, fallback);
        EXPECT_EQ(strlen(value), static_cast<size_t>(length));
        return value;
    }

    static std::map<std::string, std::string> list() {
        std::map<std::string, std::string> all;
        auto keep = [](const char* key, const char* value, void* cookie) {
            (*static_cast<std::map<std::string, std::string>*>(cookie))[key] = value;
        };
        EXPECT_EQ(0, property_list(keep, &all));
        return all;
    }
};

TEST_F(PropertiesTest, givesTheDefaultForUnsetAndEmpty) {
    EXPECT_EQ(0, property_set("test.empty", nullptr));
    EXPECT_EQ(0, property_set("test.full", " kept\n"));
    for (const char* key : {"test.empty", "test.unset", "../test", "", ".", "/etc/hostname"}) {
        EXPECT_EQ("default", get(key)) << key;
        EXPECT_EQ("", get(key, nullptr)) << key;
        EXPECT_EQ(std::string(91, 'd'), get(key, std::string(500, 'd').c_str())) << key;
    }
    EXPECT_EQ("default", get(nullptr));
    EXPECT_EQ(" kept\n", get("test.full"));
}

TEST_F(PropertiesTest, readsBooleans) {
    const struct {
        const char* value;
        int8_t expected;
    } cases[] = {
            {"1", 1},  {"y", 1},    {"yes", 1},    {"true", 1},   {"on", 1},  {"0", 0},
            {"n", 0},  {"no", 0},   {"false", 0},  {"off", 0},    {"", 42},   {"2", 42},
            {"Y", 42}, {"On", 42},  {"TRUE", 42},  {"true ", 42}, {"00", 42}, {" 1", 42},
            {"t", 42}, {"1\n", 42}, {"trues", 42},
    };
    for (const auto& row : cases) {
        ASSERT_EQ(0, property_set("test.bool", row.value));
        EXPECT_EQ(row.expected, property_get_bool("test.bool", 42)) << "'" << row.value << "'";
    }
    EXPECT_EQ(42, property_get_bool(nullptr, 42));
}

TEST_F(PropertiesTest, readsIntegers) {
    const struct {
        const char* value;
        int32_t expected;
    } cases[] = {
            {"0", 0},
            {"-12", -12},
            {"+5", 5},
            {"010", 8},
            {"0x1F", 31},
            {"12kB", 12},
            {" 7", 7},
            {"08", 0},
            {"2147483647", INT32_MAX},
            {"-2147483648", INT32_MIN},
            {"2147483648", 99},
            {"-2147483649", 99},
            {"0xffffffff", 99},
            {"99999999999999999999999", 99},
            {"", 99},
            {"x1", 99},
            {"-", 99},
    };
    for (const auto& row : cases) {
        ASSERT_EQ(0, property_set("test.int", row.value));
        EXPECT_EQ(row.expected, property_get_int32("test.int", 99)) << "'" << row.value << "'";
    }
    EXPECT_EQ(99, property_get_int32(nullptr, 99));
}

TEST_F(PropertiesTest, acceptsLegalNamesOnly) {
    const std::string tooLong(300, 'n');
    for (const char* name : {"a", "A.b-c_d@e:9", "-", "_x", "debug.zul.dump"}) {
        EXPECT_EQ(0, property_set(name, "v")) << name;
        EXPECT_EQ("v", get(name)) << name;
    }
    for (const char* name : {"", ".", "..", ".a", "a.", "a..b", "a/b", "../a", "/a", "a b", "a\nb",
                             "\xc3\xa4", "a%", tooLong.c_str()}) {
        EXPECT_EQ(-1, property_set(name, "v")) << name;
    }
    EXPECT_EQ(-1, property_set(nullptr, "v"));
    EXPECT_EQ(5u, list().size());
    EXPECT_EQ(5, std::distance(fs::directory_iterator(kFolder), {})) << "files were left behind";
}

TEST_F(PropertiesTest, boundsValues) {
    EXPECT_EQ(0, property_set("test.long", std::string(91, 'v').c_str()));
    EXPECT_EQ(-1, property_set("test.long", std::string(92, 'w').c_str()));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(std::string(91, 'v'), get("test.long"));

    const std::string longValue(2000, 'r');
    EXPECT_EQ(0, property_set("ro.test.long", longValue.c_str()));
    EXPECT_EQ(std::string(91, 'r'), get("ro.test.long"));
    EXPECT_EQ(longValue, list()["ro.test.long"]);

    // Whatever put it there, a reader's buffer has room for 92 bytes.
    std::ofstream(kFolder / "test.huge") << std::string(100000, 'h');
    EXPECT_EQ(std::string(91, 'h'), get("test.huge"));
}

TEST_F(PropertiesTest, setsReadOnlyNamesOnce) {
    EXPECT_EQ(0, property_set("ro.test", ""));
    EXPECT_EQ(-1, property_set("ro.test", "late"));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ("default", get("ro.test"));
    EXPECT_EQ(0, property_set("rose", "1"));
    EXPECT_EQ(0, property_set("rose", "2"));
}

TEST_F(PropertiesTest, lettingManyProcessesSetAReadOnlyNameOneSucceeds) {
    std::vector<pid_t> children;
    for (int i = 0; i < 8; i++) {
        const pid_t child = fork();
        if (child == 0) _exit(property_set("ro.race", std::to_string(i).c_str()) == 0 ? 0 : 1);
        children.push_back(child);
    }
    std::vector<size_t> winners;
    for (size_t i = 0; i < children.size(); i++) {
        int status = -1;
        waitpid(children[i], &status, 0);
        if (status == 0) winners.push_back(i);
    }
    ASSERT_EQ(1u, winners.size());
    EXPECT_EQ(std::to_string(winners[0]), get("ro.race"));
    EXPECT_EQ(1, std::distance(fs::directory_iterator(kFolder), {})) << "files were left behind";
}

TEST_F(PropertiesTest, readersSeeWholeValuesAndDescriptorsAreClosed) {
    const std::string first(91, 'a'), second(40, 'b');
    ASSERT_EQ(0, property_set("test.flip", first.c_str()));
    const auto descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), {});
    std::thread writer([&] {
        for (int i = 0; i < 500; i++)
            property_set("test.flip", (i % 2 ? first : second).c_str());
    });
    for (int i = 0; i < 500; i++) {
        const std::string value = get("test.flip");
        ASSERT_TRUE(value == first || value == second) << value;
    }
    writer.join();
    EXPECT_EQ(descriptors, std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

TEST_F(PropertiesTest, worksWithoutAFolder) {
    fs::rename(kFolder, "/dev/elsewhere");
    EXPECT_EQ("default", get("test.any"));
    EXPECT_EQ(-1, property_set("test.any", "v"));
    EXPECT_EQ(-1, property_list([](const char*, const char*, void*) {}, nullptr));
    fs::rename("/dev/elsewhere", kFolder);
}

TEST_F(PropertiesTest, theCommandsReadAndWrite) {
    const struct {
        const char* command;
        const char* output;
        int status;
    } cases[] = {
            {"setprop test.b 'two  words'", "", 0},
            {"setprop test.a ''", "", 0},
            {"setprop ro.c once", "", 0},
            {"getprop test.b", "two  words\n", 0},
            {"getprop test.a fallback", "fallback\n", 0},
            {"getprop ../test.b", "\n", 0},
            {"getprop", "[ro.c]: [once]\n[test.a]: []\n[test.b]: [two  words]\n", 0},
            {"setprop ro.c twice",
             "setprop: cannot set 'ro.c' to 'twice': it is set already, and a name that starts "
             "with \"ro.\" is set once only\n",
             1},
            {"setprop a/b v",
             "setprop: cannot set 'a/b' to 'v': the name is not legal or the value is longer "
             "than 91 characters\n",
             1},
            {"setprop test.b", "usage: setprop NAME VALUE\n", 2},
            {"getprop a b c", "usage: getprop [NAME [DEFAULT]]\n", 2},
    };
    for (const auto& row : cases) {
        FILE* pipe = popen((std::string(row.command) + " 2>&1").c_str(), "re");
        ASSERT_NE(nullptr, pipe);
        char output[1024];
        const size_t length = fread(output, 1, sizeof(output), pipe);
        EXPECT_EQ(row.status, WEXITSTATUS(pclose(pipe))) << row.command;
        EXPECT_EQ(row.output, std::string(output, length)) << row.command;
    }
}

}  // namespace
