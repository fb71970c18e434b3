// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
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

/** Something that makes captures. */
class Contender {
  public:
    virtual ~Contender() = default;
    /** Makes one capture and returns the seconds it took, or -1 when it failed. */
    virtual double capture(const Job& job) = 0;
};

/** A row of the table. */
struct ContenderKind {
    const char* name;
    /** Where its output goes. */
    const char* root;
    /** Starts it on a filled store; null when it does not come up. */
    std::unique_ptr<Contender> (*start)(const Store& store);
};
extern const std::vector<ContenderKind> kContenders;

}  // namespace bench
