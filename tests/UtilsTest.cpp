// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <utils/RefBase.h>
#include <utils/String16.h>
#include <utils/String8.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using android::RefBase;
using android::sp;
using android::String16;
using android::String8;
using android::wp;

/** What happened to an object, one letter an event: it outlives the object. */
struct Diary {
    std::string text;
};

class Watched : public virtual RefBase {
  public:
    explicit Watched(Diary* diary) : mDiary(diary) {}
    ~Watched() override { mDiary->text += 'D'; }
    void onFirstRef() override { mDiary->text += 'F'; }
    void onLastStrongRef(const void*) override { mDiary->text += 'L'; }
    void onLastWeakRef(const void*) override { mDiary->text += 'W'; }

    sp<Watched> next;

  private:
    Diary* const mDiary;
};

class Other : public virtual RefBase {
  public:
    int value = 7;
};

/** Two roads to one virtual base, as an interface and its implementation have. */
class Diamond : public Other, public Watched {
  public:
    using Watched::Watched;
};

class LongLived : public Watched {
  public:
    explicit LongLived(Diary* diary, bool revivable = true)
          : Watched(diary), mRevivable(revivable) {
        extendObjectLifetime(OBJECT_LIFETIME_WEAK);
    }
    bool onIncStrongAttempted(uint32_t flags, const void*) override {
        return mRevivable && flags == FIRST_INC_STRONG;
    }

  private:
    const bool mRevivable;
};

TEST(RefBaseTest, livesFromTheFirstReferenceToTheLast) {
    Diary diary;
    {
        sp<Watched> first = sp<Watched>::make(&diary);
        EXPECT_EQ("F", diary.text);
        sp<Watched> second = first;
        EXPECT_EQ(2, first->getStrongCount());
        sp<Watched> third = std::move(second);
        EXPECT_TRUE(second == nullptr);  // NOLINT: what a moved pointer holds is the point
        EXPECT_EQ(2, first->getStrongCount());
        first.clear();
        EXPECT_EQ("F", diary.text);
        EXPECT_EQ(1, third->getStrongCount());
    }
    EXPECT_EQ("FLD", diary.text);
}

TEST(RefBaseTest, assignmentSurvivesItselfAndAnOwnerThatGoes) {
    Diary head, tail;
    sp<Watched> node = new Watched(&head);
    node->next = new Watched(&tail);
    sp<Watched>& alias = node;
    node = alias;
    EXPECT_EQ(1, node->getStrongCount());
    node = node->next;
    EXPECT_EQ("FLD", head.text);
    EXPECT_EQ("F", tail.text);
    node = std::move(alias);
    EXPECT_EQ(1, node->getStrongCount());
    node = nullptr;
    EXPECT_EQ("FLD", tail.text);
}

TEST(RefBaseTest, convertsAndCompares) {
    Diary diary;
    Diamond* raw = new Diamond(&diary);
    sp<Diamond> object = raw;
    sp<Other> other = object;
    sp<RefBase> base = other;
    EXPECT_EQ(7, other->value);
    EXPECT_EQ(3, object->getStrongCount());
    EXPECT_TRUE(object == raw && object == other && other == base && base != nullptr && object);
    EXPECT_FALSE(sp<Other>() == other || object == nullptr || base < base);
    const sp<Watched> moved = std::move(object);
    EXPECT_TRUE(moved == raw && object == nullptr);  // NOLINT: as above
    EXPECT_EQ(3, raw->getStrongCount());
}

TEST(RefBaseTest, weakReferencesDoNotKeepAlive) {
    Diary diary;
    sp<Diamond> object = new Diamond(&diary);
    const wp<Diamond> weak = object;
    wp<Watched> copy = weak;
    wp<RefBase> none;
    EXPECT_TRUE(weak.promote() == object && copy.promote() == object && none.promote() == nullptr);
    EXPECT_EQ(3, object->getWeakRefs()->getWeakCount());
    EXPECT_EQ(1, object->getStrongCount());
    object.clear();
    EXPECT_EQ("FLD", diary.text);
    EXPECT_TRUE(weak.promote() == nullptr && copy.promote() == nullptr);
    // The way to a virtual base leads through the object, which is gone.
    const wp<RefBase> late = weak;
    EXPECT_TRUE(late == nullptr && late.promote() == nullptr);
    EXPECT_FALSE(weak == nullptr);
}

TEST(RefBaseTest, weakReferencesOutliveAnObjectThatWasNeverCounted) {
    Diary diary;
    wp<Watched> weak;
    {
        auto local = std::make_unique<Watched>(&diary);
        weak = wp<Watched>(local.get());
        EXPECT_EQ(0, local->getStrongCount());
    }
    EXPECT_EQ("D", diary.text);
    EXPECT_TRUE(weak.promote() == nullptr);
}

TEST(RefBaseTest, promotingBeforeTheFirstReferenceMakesIt) {
    Diary diary;
    const wp<Watched> weak = new Watched(&diary);
    EXPECT_EQ("", diary.text);
    EXPECT_EQ(1, weak.promote()->getStrongCount());
    EXPECT_EQ("FLD", diary.text);
    EXPECT_TRUE(weak.promote() == nullptr);
}

TEST(RefBaseTest, anObjectMayLiveByItsWeakReferences) {
    Diary diary;
    sp<Watched> object = new LongLived(&diary);
    wp<Watched> weak = object;
    object.clear();
    EXPECT_EQ("FL", diary.text);
    object = weak.promote();
    ASSERT_TRUE(object != nullptr);
    EXPECT_EQ(1, object->getStrongCount());
    object.clear();
    EXPECT_EQ("FLL", diary.text);
    weak.clear();
    EXPECT_EQ("FLLWD", diary.text);

    Diary other;
    object = new LongLived(&other, false);
    weak = object;
    EXPECT_TRUE(weak.promote() == object);
    object.clear();
    EXPECT_TRUE(weak.promote() == nullptr);
    EXPECT_EQ("FL", other.text);
    weak.clear();
    EXPECT_EQ("FLWD", other.text);
}

class Counted : public RefBase {
  public:
    explicit Counted(std::atomic<int>* alive) : mAlive(alive) { ++*mAlive; }
    ~Counted() override { --*mAlive; }
    int value = 1;

  private:
    std::atomic<int>* const mAlive;
};

TEST(RefBaseTest, threadsMayPromoteWhileTheLastReferenceGoes) {
    std::atomic<int> alive = 0;
    int promoted = 0;
    for (int round = 0; round < 300; round++) {
        sp<Counted> object = sp<Counted>::make(&alive);
        std::atomic<int> successes = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; i++) {
            threads.emplace_back([&successes, weak = wp<Counted>(object)] {
                for (int turn = 0; turn < 20; turn++) {
                    const sp<Counted> strong = weak.promote();
                    if (strong != nullptr) successes += strong->value;
                }
            });
        }
        object.clear();
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_EQ(0, alive);
        promoted += successes;
    }
    RecordProperty("promoted", promoted);
}

TEST(RefBaseTest, threadsMayTakeTheFirstReferenceTogether) {
    std::atomic<int> alive = 0;
    for (int round = 0; round < 200; round++) {
        auto* raw = new Counted(&alive);
        sp<Counted> kept[2];
        std::thread other([&] { kept[0] = raw; });
        kept[1] = raw;
        other.join();
        ASSERT_EQ(2, raw->getStrongCount());
        kept[0].clear();
        ASSERT_EQ(1, alive);
        kept[1].clear();
        ASSERT_EQ(0, alive);
    }
}

struct Text {
    const char* name;
    std::string utf8;
    std::u16string utf16;
    /** Empty where the way back gives the same bytes. */
    std::string back;
};

TEST(StringTest, convertsBothWays) {
    const std::string bad = "\xEF\xBF\xBD";
    const Text cases[] = {
            {"empty", "", u"", ""},
            {"ascii", "com.example.app", u"com.example.app", ""},
            {"two bytes", "\xC3\xA4\xDF\xBF", u"\u00E4\u07FF", ""},
            {"three bytes", "\xE0\xA0\x80\xEF\xBF\xBF", u"\u0800\uFFFF", ""},
            {"four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF", ""},
            {"a lone continuation", "a\x80z", u"a\uFFFDz", "a" + bad + "z"},
            {"cut short", "a\xE2\x82", u"a\uFFFD\uFFFD", "a" + bad + bad},
            {"wrong continuation", "\xC3z", u"\uFFFDz", bad + "z"},
            {"too long a form", "\xC0\x80", u"\uFFFD\uFFFD", bad + bad},
            {"beyond the last plane", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD",
             bad + bad + bad + bad},
            {"half a pair in UTF-8", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", bad + bad + bad},
            {"no lead byte", "\xFF", u"\uFFFD", bad},
    };
    for (const Text& row : cases) {
        const String16 wide(row.utf8.c_str());
        EXPECT_EQ(row.utf16, std::u16string(wide.string(), wide.size())) << row.name;
        const std::string& back = row.back.empty() ? row.utf8 : row.back;
        EXPECT_EQ(back, String8(wide).c_str()) << row.name;
    }
}

TEST(StringTest, replacesHalfPairs) {
    const std::string bad = "\xEF\xBF\xBD";
    const struct {
        std::vector<char16_t> units;
        std::string expected;
    } cases[] = {
            {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
            {{0xD83D}, bad},
            {{0xDE00}, bad},
            {{0xDE00, 0xD83D}, bad + bad},
            {{0xD83D, u'a'}, bad + "a"},
            {{0xD83D, 0xD83D, 0xDE00}, bad + "\xF0\x9F\x98\x80"},
    };
    for (const auto& row : cases) {
        const String8 text(String16(row.units.data(), row.units.size()));
        EXPECT_EQ(row.expected, text.c_str());
        EXPECT_EQ(row.expected.size(), text.length());
    }
}

TEST(StringTest, keepsZerosAndOrders) {
    const String16 wide("a\0b", 3);
    EXPECT_EQ(3u, wide.size());
    EXPECT_EQ(3u, String8(wide).size());
    EXPECT_TRUE(String16("a") < String16("b") && String16(u"a") == String16("a"));
    EXPECT_LT(String16("a").compare(String16("ab")), 0);
    EXPECT_GT(String16(u"\uFFFF").compare(String16(u"\U00010000")), 0);
    EXPECT_EQ(0, String16().compare(String16("")));
}

}  // namespace
