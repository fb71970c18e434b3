// SPDX-License-Identifier: Apache-2.0

#include <deque>
#include <mutex>
#include <string>

#include "service/EngineLink.h"
#include "tests/support/Eventually.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

/** An engine that is told what to answer, and tells in which order it is asked. */
class FakeLink : public EngineLink {
  public:
    bool find() override {
        note("find");
        return next(mThere, true);
    }
    Answer registerCallbacks() override {
        note("register");
        takeThreadNumber(3);
        return next(mAnswers, Answer::REGISTERED);
    }
    bool linkToDeath() override {
        note("link");
        return next(mLives, true);
    }

    void note(const std::string& call) {
        const std::lock_guard<std::mutex> lock(mLock);
        mCalls += call + " ";
    }
    /** What was asked, once it is as long as this. */
    std::string callsLike(const std::string& wanted) {
        const auto calls = [this] {
            const std::lock_guard<std::mutex> lock(mLock);
            return mCalls;
        };
        eventually([&] { return calls().size() >= wanted.size(); });
        return calls();
    }

    std::deque<bool> mThere;
    std::deque<Answer> mAnswers;
    std::deque<bool> mLives;

  private:
    template <class T>
    static T next(std::deque<T>& answers, T otherwise) {
        if (answers.empty()) return otherwise;
        const T answer = answers.front();
        answers.pop_front();
        return answer;
    }

    std::mutex mLock;
    std::string mCalls;
};

struct DeathCase {
    const char* name;
    std::deque<bool> there;
    std::deque<EngineLink::Answer> answers;
    std::deque<bool> lives;
    std::string calls;
    std::vector<std::string> lines;
};

using EngineDeathTest = TableTest<DeathCase>;

TEST_P(EngineDeathTest, IsFollowedByARegistration) {
    const DeathCase& c = GetParam();
    // Outlives the test, as the thread may.
    auto& link = *new FakeLink();
    link.mThere = c.there;
    link.mAnswers = c.answers;
    link.mLives = c.lives;
    FakeTime::onSleep = [&link] { link.note("sleep"); };
    engineDied(link);
    EXPECT_EQ(link.callsLike(c.calls), c.calls);
    EXPECT_THAT(mLog.take(), ElementsAreArray(c.lines));
}

using Answer = EngineLink::Answer;
const std::string kGone = "W engine is gone";
const std::string kBack = "I engine is back, thread number=3";

const DeathCase kDeathCases[] = {
        {"ThereAgain", {}, {}, {}, "find register link ", {kGone, kBack}},
        {"ThereLate",
         {false, false},
         {},
         {},
         "find sleep find sleep find register link ",
         {kGone, kBack}},
        {"GivesNoNumber",
         {},
         {Answer::NO_NUMBER},
         {},
         "find register sleep find register link ",
         {kGone, kBack}},
        {"GoneInItsRegistration",
         {},
         {Answer::GONE},
         {},
         "find register sleep find register link ",
         {kGone, kBack}},
        {"GoneBeforeItIsWatched",
         {},
         {},
         {false},
         "find register link sleep find register link ",
         {kGone, kBack, kGone, kBack}},
};
INSTANTIATE_TEST_SUITE_P(Engines, EngineDeathTest, testing::ValuesIn(kDeathCases), caseName);

}  // namespace
}  // namespace zul::test
