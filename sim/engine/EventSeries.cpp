// SPDX-License-Identifier: Apache-2.0
#include "sim/engine/EventSeries.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace sim {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

void runSeries(const CallbackList::Sinks& sinks, const Event& event, uint32_t count,
               uint32_t parallel, const ResultListener& listener) {
    std::atomic<uint32_t> next{0};
    std::atomic<bool> listening{true};
    std::mutex reportLock;

    auto work = [&] {
        while (listening) {
            const uint32_t number = next++;
            if (number >= count) {
                return;
            }
            const auto start = Clock::now();
            EventResult result;
            result.number = number;
            result.delivery = sinks[number % sinks.size()]->deliver(event);
            result.took =
                    std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);

            std::lock_guard lock(reportLock);
            listening = listening && listener(result);
        }
    };

    std::vector<std::thread> workers;
    for (uint32_t i = 1; i < std::min(parallel, count); ++i) {
        workers.emplace_back(work);
    }
    work();
    for (std::thread& worker : workers) {
        worker.join();
    }
}

}  // namespace sim
