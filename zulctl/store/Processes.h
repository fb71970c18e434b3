// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <unordered_set>

namespace zulctl {

/** The processes of this device, as of one moment. */
class Processes {
  public:
    /** Looks at /proc, or what is like it. */
    static Processes look(const char* folder = "/proc");

    /** False when some are hidden from us, so that nothing is known of what runs. */
    bool seen() const { return mSeen; }
    /** A process has this as its argument 0, as the collector has its capture folder. */
    bool has(const std::string& argument) const { return mArguments.count(argument) > 0; }

  private:
    bool mSeen = false;
    std::unordered_set<std::string> mArguments;
};

}  // namespace zulctl
