// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <thread>

namespace zul::test {

/** Waits for something that another thread or process brings about; false when it takes too long. */
template <class Condition>
bool eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return true;
}

}  // namespace zul::test
