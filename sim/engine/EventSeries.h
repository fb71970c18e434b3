// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "sim/engine/CallbackList.h"
#include "sim/engine/Event.h"

namespace sim {

struct EventResult {
    uint32_t number = 0;
    Delivery delivery;
    std::chrono::microseconds took{0};
};

/** Called for one result at a time; false means that nobody listens any more. */
using ResultListener = std::function<bool(const EventResult&)>;

/**
 * Sends `count` copies of an event, `parallel` of them in flight at once, and returns when all are
 * answered or failed. Event i goes to callback i modulo their number; `sinks` must not be empty.
 * Once the listener says false no further event starts.
 */
void runSeries(const CallbackList::Sinks& sinks, const Event& event, uint32_t count,
               uint32_t parallel, const ResultListener& listener);

}  // namespace sim
