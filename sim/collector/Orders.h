// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace sim {

/** What the collector does once it has obeyed its orders. */
enum class NextStep {
    WORK,
    SKIP_WORK,
    REFUSE,
};

/**
 * Obeys the orders of the file /data/ZUL/collector_orders, if there is one (main.cpp lists them),
 * and may not return: an order can end the process. An order that is not understood gives `REFUSE`
 * after a line on standard error.
 */
NextStep obeyOrders(int count, char** arguments);

}  // namespace sim
