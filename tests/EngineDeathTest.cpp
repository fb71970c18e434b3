// SPDX-License-Identifier: Apache-2.0

#include <pthread.h>

#include <chrono>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "service/EngineLink.h"
#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

/** An engine that answers one question after the other, and tells in which order it is asked. */
class FakeLink : public EngineLink {
  public:
    /** '-' is an engine that is not there, gives no number or is gone; the last answers are good ones. */
    explicit FakeLink(std::string answers) : mAnswers(std::move(answers)) {}

    bool find() override { return ask('f'); }
    Answer registerCallbacks() override {
        takeThreadNumber(3);
        // As a pool that starts does.
        pthread_setname_np(pthread_self(), "pool");
        return ask('r') ? Answer::REGISTERED : mBad;
    }
    bool linkToDeath() override {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        EXPECT_STREQ(name, "zul_engine");
        return ask('l');
    }

    bool ask(char question) {
        const std::lock_guard<std::mutex> lock(mLock);
        const size_t number = mCalls.size();
        mCalls += question;
        return number >= mAnswers.size() || mAnswers[number] != '-';
    }
    std::string calls() {
        const std::lock_guard<std::mutex> lock(mLock);
        return mCalls;
    }

    Answer mBad = Answer::NO_NUMBER;

  private:
    const std::string mAnswers;
    std::mutex mLock;
    std::string mCalls;
};

struct DeathCase {
    const char* name;
    const char* answers;
    /** What was asked: find, register, link; s is a pause. */
    std::string calls;
    int returns = 1;
    EngineLink::Answer bad = EngineLink::Answer::NO_NUMBER;
};

using EngineDeathTest = TableTest<DeathCase>;

TEST_P(EngineDeathTest, IsFollowedByARegistration) {
    const DeathCase& c = GetParam();
    // They outlive the test, as the thread may.
    static auto& links = *new std::deque<FakeLink>();
    FakeLink& link = links.emplace_back(c.answers);
    link.mBad = c.bad;
    FakeTime::onSleep = [&link] { link.ask('s'); };
    engineDied(link);
    for (int i = 0; i < 60000 && link.calls().size() < c.calls.size(); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(link.calls(), c.calls);
    std::vector<std::string> lines;
    for (int i = 0; i < c.returns; i++) {
        lines.emplace_back("W engine is gone");
        lines.emplace_back("I engine is back, thread number=3");
    }
    EXPECT_THAT(mLog.take(), ElementsAreArray(lines));
}

const DeathCase kDeathCases[] = {
        {"ThereAgain", "", "frl"},
        {"ThereLate", "- - ", "fsfsfrl"},
        {"GivesNoNumber", " - ", "frsfrl"},
        {"GoneInItsRegistration", " - ", "frsfrl", 1, EngineLink::Answer::GONE},
        {"GoneBeforeItIsWatched", "  -", "frlsfrl", 2},
};
INSTANTIATE_TEST_SUITE_P(Engines, EngineDeathTest, testing::ValuesIn(kDeathCases), caseName);

}  // namespace
}  // namespace zul::test
