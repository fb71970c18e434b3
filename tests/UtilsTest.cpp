// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <utils/String16.h>
#include <utils/String8.h>

#include <string>

namespace {

using android::String16;
using android::String8;

TEST(StringTest, convertsBothWays) {
    const std::string bad = "\xEF\xBF\xBD";
    const struct {
        const char* name;
        std::string utf8;
        std::u16string utf16;
        /** What comes back. */
        std::string back = utf8;
    } cases[] = {
            {"empty", "", u""},
            {"ascii", "com.example.app", u"com.example.app"},
            {"two bytes", "\xC3\xA4\xDF\xBF", u"\u00E4\u07FF"},
            {"three bytes", "\xE0\xA0\x80\xEF\xBF\xBF", u"\u0800\uFFFF"},
            {"four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
            {"a lone continuation", "a\x80z", u"a\uFFFDz", "a" + bad + "z"},
            {"cut short", "a\xE2\x82", u"a\uFFFD\uFFFD", "a" + bad + bad},
            {"wrong continuation", "\xC3z", u"\uFFFDz", bad + "z"},
            {"too long a form", "\xC0\x80", u"\uFFFD\uFFFD", bad + bad},
            {"half a pair", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", bad + bad + bad},
            {"no lead byte", "\xFF", u"\uFFFD", bad},
    };
    for (const auto& row : cases) {
        const String16 wide(row.utf8.c_str());
        EXPECT_EQ(row.utf16, std::u16string(wide.string(), wide.size())) << row.name;
        EXPECT_EQ(row.back, String8(wide).c_str()) << row.name;
    }
    const char16_t halves[] = {0xDE00, 0xD83D, u'a', 0xD83D};
    EXPECT_STREQ("a", String8(String16(halves, 4)).c_str());
    EXPECT_EQ(3u, String8(String16("a\0b", 3)).size());
    EXPECT_TRUE(String16("a") < String16("ab") && String16(u"a") == String16("a"));
}

}  // namespace
