// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/Store.h"

namespace bench {

/** One event, with what the contenders other than the daemon cannot work out. */
struct Job {
    std::string tag;
    /** The event's text, which is the collector's order. */
    std::string text;
    /** The archive that has to go; empty for none. */
    std::string oldArchive;
};

/** Makes one capture and returns the seconds it took, or -1 when it failed. Ends its processes with itself. */
using Contender = std::function<double(const Job&)>;

/** A row of the table. */
struct ContenderKind {
    const char* name;
    /** Where its output goes. */
    const char* root;
    /** Starts it on a filled store, which must live as long; empty when it does not come up. */
    Contender (*start)(const Store& store);
};
extern const std::vector<ContenderKind> kContenders;

}  // namespace bench
