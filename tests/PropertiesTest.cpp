// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>

#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kFolder = "/dev/__properties__";

class PropertiesTest : public testing::Test {
  protected:
    PropertiesTest() { clear(); }
    ~PropertiesTest() override { clear(); }

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
};

TEST_F(PropertiesTest, givesTheDefaultForUnsetAndEmpty) {
    EXPECT_EQ(0, property_set("test.empty", nullptr));
    EXPECT_EQ(0, property_set("test.full", " kept\n"));
    for (const char* key : {"test.empty", "test.unset", "../test", "", ".", "/etc/hostname"}) {
        EXPECT_EQ("default", get(key)) << key;
        EXPECT_EQ("", get(key, nullptr)) << key;
        EXPECT_EQ(std::string(91, 'd'), get(key, std::string(500, 'd').c_str())) << key;
    }
    EXPECT_EQ(" kept\n", get("test.full"));
}

TEST_F(PropertiesTest, readsBooleansAndIntegers) {
    const struct {
        bool isBoolean;
        int expected;
        std::vector<const char*> values;
    } cases[] = {
            {true, 1, {"1", "y", "yes", "true", "on"}},
            {true, 0, {"0", "n", "no", "false", "off"}},
            {true, 99, {"", "2", "Y", "On", "TRUE", "true ", "00", " 1", "t", "1\n", "trues"}},
            {false, 0, {"0", "08", "-0"}},
            {false, -12, {"-12", "-014"}},
            {false, 31, {"31", "+31", " 31", "31kB", "037", "0x1F"}},
            {false, INT32_MAX, {"2147483647", "0x7fffffff"}},
            {false, INT32_MIN, {"-2147483648"}},
            {false, 99, {"2147483648", "-2147483649", "0xffffffff", "9999999999999999999999"}},
            {false, 99, {"", "x1", "-"}},
    };
    for (const auto& [isBoolean, expected, values] : cases) {
        for (const char* value : values) {
            ASSERT_EQ(0, property_set("test", value));
            const int32_t got =
                    isBoolean ? property_get_bool("test", 99) : property_get_int32("test", 99);
            EXPECT_EQ(expected, got) << "'" << value << "'";
        }
    }
}

TEST_F(PropertiesTest, acceptsLegalNamesOnly) {
    const std::string tooLong(300, 'n');
    for (const char* name : {"a", "A.b-c_d@e:9", "debug.zul.dump"}) {
        EXPECT_EQ(0, property_set(name, "v")) << name;
        EXPECT_EQ("v", get(name)) << name;
    }
    for (const char* name : {"", "..", ".a", "a.", "a..b", "../a", "a b", "a\nb", tooLong.c_str()})
        EXPECT_EQ(-1, property_set(name, "v")) << name;
    EXPECT_EQ(3, std::distance(fs::directory_iterator(kFolder), {})) << "files were left behind";
}

TEST_F(PropertiesTest, boundsValuesAndSetsReadOnlyNamesOnce) {
    EXPECT_EQ(0, property_set("test.long", std::string(91, 'v').c_str()));
    EXPECT_EQ(-1, property_set("test.long", std::string(92, 'w').c_str()));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(std::string(91, 'v'), get("test.long"));
    EXPECT_EQ(0, property_set("ro.test.long", std::string(92, 'r').c_str()));
    EXPECT_EQ("Must use __system_property_read_callback() to read", get("ro.test.long"));
    EXPECT_EQ(0, property_set("ro.test.fits", std::string(91, 'r').c_str()));
    EXPECT_EQ(std::string(91, 'r'), get("ro.test.fits"));

    EXPECT_EQ(0, property_set("ro.test", ""));
    EXPECT_EQ(-1, property_set("ro.test", "late"));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ("default", get("ro.test"));
    EXPECT_EQ(0, property_set("rose", "1"));
    EXPECT_EQ(0, property_set("rose", "2"));
}

}  // namespace
