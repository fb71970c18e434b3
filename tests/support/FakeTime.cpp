// SPDX-License-Identifier: Apache-2.0

#include "tests/support/FakeTime.h"

#include <stdlib.h>

namespace zul::test {

std::atomic<time_t> FakeTime::now{kStart};
std::atomic<unsigned> FakeTime::slept{0};
std::function<void()> FakeTime::onSleep;

void FakeTime::reset() {
    now = kStart;
    slept = 0;
    onSleep = nullptr;
    setenv("TZ", "EAST-3", 1);
    tzset();
}

}  // namespace zul::test

extern "C" unsigned int sleep(unsigned int seconds) {
    zul::test::FakeTime::slept += seconds;
    if (zul::test::FakeTime::onSleep) zul::test::FakeTime::onSleep();
    return 0;
}

extern "C" time_t time(time_t* out) noexcept {
    const time_t now = zul::test::FakeTime::now;
    if (out != nullptr) *out = now;
    return now;
}
