// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <time.h>

#include <atomic>
#include <functional>

namespace zul::test {

/**
 * The time that the whole test program sees: sleep() returns at once, time() stands still.
 */
struct FakeTime {
    /** 2025-03-04 17:06:07 in the zone three hours east that the tests run in. */
    static constexpr time_t kStart = 1741097167;

    static std::atomic<time_t> now;
    /** The seconds that were slept. */
    static std::atomic<unsigned> slept;
    /** Called by every sleep. */
    static std::function<void()> onSleep;

    static void reset();
};

}  // namespace zul::test
