// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <utils/RefBase.h>
#include <utils/String16.h>
#include <utils/String8.h>

#include <atomic>
#include <string>

namespace {

using android::RefBase;
using android::sp;
using android::String16;
using android::String8;
using android::wp;

std::atomic<int> gAlive{0};

class Counted : public virtual RefBase {
  public:
    Counted() { gAlive++; }
    ~Counted() override { gAlive--; }
    sp<Counted> next;
};

class Other : public virtual RefBase {
  public:
    int value = 7;
};

/** Two roads to one virtual base, as an interface and its implementation have. */
class Diamond : public Other, public Counted {};

TEST(RefBaseTest, livesFromTheFirstReferenceToTheLast) {
    sp<Counted> first = sp<Counted>::make();
    sp<Counted> second = first;
    sp<Counted> third = std::move(second);
    EXPECT_TRUE(second == nullptr);  // NOLINT: what a moved pointer holds is the point
    first.clear();
    EXPECT_EQ(1, gAlive);
    // From an owner that goes with the assignment.
    third->next = new Counted;
    third = third->next;
    EXPECT_EQ(1, gAlive);
    third = nullptr;
    EXPECT_EQ(0, gAlive);
}

TEST(RefBaseTest, convertsComparesAndIsWatchedWithoutBeingKept) {
    Diamond* raw = new Diamond;
    sp<Diamond> object = raw;
    sp<Other> other = object;
    EXPECT_EQ(7, other->value);
    EXPECT_TRUE(object == raw && object == other);
    const wp<Counted> weak = object;
    EXPECT_TRUE(weak.promote() == object);
    other.clear();
    object.clear();
    EXPECT_EQ(0, gAlive);
    EXPECT_TRUE(weak.promote() == nullptr);
}

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
