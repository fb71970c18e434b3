// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>
#include <time.h>

#include <optional>
#include <string>
#include <unordered_set>

namespace zulctl {

double secondsOf(const timespec& time);

/** The processes of the daemon's user on this device, as of one moment. Those of others can pretend anything. */
class Processes {
  public:
    /** Looks at /proc, or what is like it, for processes of that user. */
    static Processes look(const char* folder = "/proc", uid_t user = 0);

    /** False when some are hidden from us, so that nothing is known of what runs. */
    bool seen() const { return mSeen; }
    /** A process has this as its argument 0, as the collector has its capture folder. */
    bool has(const std::string& argument) const { return mArguments.count(argument) > 0; }
    /** Seconds since 1970 when the running daemon started, or before; nothing where none is seen. */
    std::optional<double> daemonStart() const { return mDaemonStart; }

  private:
    bool mSeen = false;
    std::unordered_set<std::string> mArguments;
    std::optional<double> mDaemonStart;
};

}  // namespace zulctl
