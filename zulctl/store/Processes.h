// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <time.h>

#include <optional>
#include <string>
#include <unordered_set>

namespace zulctl {

/** The processes of the daemon's user on this device, as of one moment. Those of others can pretend anything. */
class Processes {
  public:
    /** Looks at /proc, or what is like it, for processes of that user. */
    static Processes look(const char* folder = "/proc", uid_t user = 0);

    /** False when some are hidden from us, so that nothing is known of what runs. */
    bool seen() const { return mSeen; }
    /** A process has this as its argument 0, as the collector has its capture folder. */
    bool has(const std::string& argument) const { return mArguments.count(argument) > 0; }
    /** When the running daemon has started; nothing where none is seen. */
    std::optional<time_t> daemonStart() const;

  private:
    bool mSeen = false;
    std::unordered_set<std::string> mArguments;
    /** In the kernel's ticks since the device's start. */
    std::optional<int64_t> mDaemonTicks;
};

}  // namespace zulctl
