// SPDX-License-Identifier: Apache-2.0

#include "service/EngineWatch.h"

#include <deque>
#include <mutex>
#include <string>

#include "tests/support/Eventually.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

/** An engine that is told what to answer, and by whom it is asked in which order. */
class FakeLink : public EngineLink {
  public:
    Outcome registerCallbacks() override {
        note("register");
        poolSizeFor(3);
        return next(mOutcomes, Outcome::REGISTERED);
    }
    bool linkToDeath() override {
        note("link");
        return next(mLives, true);
    }
    void waitForEngine() override { note("wait"); }

    void note(const std::string& call) {
        const std::lock_guard<std::mutex> lock(mLock);
        mCalls += call + " ";
    }
    /** What was asked since the last time, once it is as long as this. */
    std::string takeCalls(const std::string& wanted) {
        eventually([&] {
            const std::lock_guard<std::mutex> lock(mLock);
            return mCalls.size() >= wanted.size();
        });
        const std::lock_guard<std::mutex> lock(mLock);
        return std::exchange(mCalls, "");
    }

    std::deque<Outcome> mOutcomes;
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

class EngineWatchTest : public ServiceTest {
  protected:
    /** The daemon's lines once it has registered again. */
    std::vector<std::string> linesOfReturn() {
        std::vector<std::string> lines;
        eventually([&] {
            for (std::string& line : mLog.take())
                lines.push_back(std::move(line));
            return lines.size() >= 2;
        });
        return lines;
    }
};

TEST_F(EngineWatchTest, RegistersUntilAnEngineStays) {
    // Both outlive the test, as the watch's thread does.
    static FakeLink& link = *new FakeLink();
    static EngineWatch& watch = *new EngineWatch();
    FakeTime::onSleep = [] { link.note("sleep"); };
    using Outcome = EngineLink::Outcome;

    watch.watch(link);
    EXPECT_EQ(link.takeCalls("link "), "link ");
    link.mOutcomes = {Outcome::NO_ANSWER, Outcome::NOT_FOUND};
    link.mLives = {false};
    watch.engineDied();
    const std::string all = "register sleep register wait register link sleep register link ";
    EXPECT_EQ(link.takeCalls(all), all);
    EXPECT_THAT(linesOfReturn(),
                ElementsAre("W engine is gone", "I engine is back, thread number=3"));
    EXPECT_EQ(FakeTime::slept, 2u);
}

TEST_F(EngineWatchTest, RegistersAgainWhenTheEngineWasGoneBeforeItWasWatched) {
    static FakeLink& link = *new FakeLink();
    static EngineWatch& watch = *new EngineWatch();
    link.mLives = {false};
    watch.watch(link);
    EXPECT_EQ(link.takeCalls("link register link "), "link register link ");
    EXPECT_THAT(linesOfReturn(),
                ElementsAre("W engine is gone", "I engine is back, thread number=3"));
}

}  // namespace
}  // namespace zul::test
